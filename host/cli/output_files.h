/// \file
/// What a command writes must not be what it reads.
#ifndef DX7_CLI_OUTPUT_FILES_H
#define DX7_CLI_OUTPUT_FILES_H

#include "host/cli/connection.h"

namespace dx7::cli {

/// Refuses a recording (--record) into a file that the command also reads or writes: its line, the file of
/// -c, the driver library, FILE, or where standard output goes. Throws UsageError. Other spellings, links and
/// second names of a file are known.
void checkRecordingPath(const Driver& loaded, const LineSettings& settings, const CommonOptions& options);

/// The same for the file of a log, which is not the recording either.
void checkLogPath(const Driver& loaded, const LineSettings& settings, const CommonOptions& options,
                  const QString& path);

/// The same for FILE as what the command writes, but for the recording.
void checkFilePath(const Driver& loaded, const LineSettings& settings, const CommonOptions& options);

}  // namespace dx7::cli

#endif

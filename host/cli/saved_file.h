/// \file
/// The file of --save, which --force replaces.
#ifndef DX7_CLI_SAVED_FILE_H
#define DX7_CLI_SAVED_FILE_H

#include <QByteArray>

#include "host/cli/connection.h"

namespace dx7::cli {

/// Before anything is heard or sent: whether FILE can be written, where the options name one, and is nothing
/// that the command reads. Throws UsageError, also for --force without it.
void checkSavedFile(const Driver& loaded, const LineSettings& settings, const CommonOptions& options,
                    bool force);

/// Writes FILE. Returns what is to be said of the one before: "; the one before is a.toml.~1~", or nothing.
/// Throws LineError.
QString saveFile(const CommonOptions& options, const QByteArray& content, bool force);

}  // namespace dx7::cli

#endif

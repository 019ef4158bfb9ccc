/// \file
/// dx7 check -c FILE: a whole file, without its lines.
#ifndef DX7_CLI_CHECK_FILE_H
#define DX7_CLI_CHECK_FILE_H

#include "host/cli/connection.h"

namespace dx7::cli {

/// Says every fault of the file, registers that several tags read, and what polling costs each line. The exit
/// code: 2 for a file with a fault, 1 for intervals that a line cannot keep. Throws UsageError for a file
/// that cannot be read as a whole.
int checkFile(const Driver& loaded, const CommonOptions& options);

}  // namespace dx7::cli

#endif

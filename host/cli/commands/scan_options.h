/// \file
/// The options of scan, and its search for a line's settings.
#ifndef DX7_CLI_SCAN_OPTIONS_H
#define DX7_CLI_SCAN_OPTIONS_H

#include "host/cli/options.h"

namespace dx7::cli {

struct ScanOptions : CommonOptions {
    /// "1-247", with --find "1-16", when none are given.
    std::string stations;
    bool find = false;
    bool first = false;
    bool force = false;
};

/// scan --find: tries baud rates and parities until stations answer, or another master is heard. Returns the
/// exit code.
int runFind(const ScanOptions& options);

}  // namespace dx7::cli

#endif

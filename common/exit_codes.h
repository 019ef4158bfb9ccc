/// \file
/// How the programs dx7 and dx7-device end.
#ifndef DX7_COMMON_EXIT_CODES_H
#define DX7_COMMON_EXIT_CODES_H

namespace dx7common {

/// What dx7 and dx7-device end with.
enum ExitCode : int {
    /// What was asked for is done; dx7-device was ended by quit or a signal.
    EXIT_DONE = 0,
    /// The device or the line failed.
    EXIT_FAILED = 1,
    /// Nothing was begun: a wrong argument, file or line.
    EXIT_USAGE = 2
};

}  // namespace dx7common

#endif

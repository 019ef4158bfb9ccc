/// \file
#ifndef DX7_DEVICE_EXIT_CODES_H
#define DX7_DEVICE_EXIT_CODES_H

namespace dx7sim {

enum ExitCode : int {
    EXIT_DONE = 0,         ///< Ended by quit or a signal.
    EXIT_LINE_FAILED = 1,  ///< The line failed while the device ran.
    EXIT_WRONG_USAGE = 2   ///< The device did not start: a wrong argument, file or line.
};

}  // namespace dx7sim

#endif

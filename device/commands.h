/// \file
/// The command channel: lines of text that change a running device.
#ifndef DX7_DEVICE_COMMANDS_H
#define DX7_DEVICE_COMMANDS_H

#include <string>

#include "device/station/device.h"

namespace dx7sim {

/// What a command answers and whether the device is to end.
struct CommandResult {
    /// Lines, each ended; may be empty.
    std::string answer;
    bool quit = false;
};

/// Carries out one line at the device's time `now`; errors become the answer. `droppedBytes` is shown in the
/// summary. On the thread that uses `device`.
CommandResult runCommand(const std::string& line, Device& device, Time now, std::size_t droppedBytes);

}  // namespace dx7sim

#endif

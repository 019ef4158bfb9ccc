/// \file
/// The command channel: lines on standard input that change a running device.
#ifndef DX7_DEVICE_COMMANDS_H
#define DX7_DEVICE_COMMANDS_H

#include <string>

#include "device/station/device.h"

namespace dx7sim {

enum class CommandKind { Nothing, Set, Get, Silence, Revive, Fault, Clock, Summary, Help, Quit };

struct Command {
    CommandKind kind = CommandKind::Nothing;
    /// Of Set and Get.
    Target target{{RegisterType::CW, 0}, {}};
    /// Of Set.
    std::uint16_t value = 0;
    /// Of Silence and Revive.
    int station = 0;
    /// Of Fault.
    FaultPlan faults;
};

/// Reads one line. An empty line is Nothing. Throws UsageError for what is no command.
Command parseCommand(const std::string& line);

/// What a command answers and whether the device is to end.
struct CommandResult {
    /// Lines, each ended; may be empty.
    std::string answer;
    bool quit = false;
};

/// Carries out one line; errors become the answer. `droppedBytes` is shown in the summary.
CommandResult runCommand(const std::string& line, Device& device, Time now, std::size_t droppedBytes);

}  // namespace dx7sim

#endif

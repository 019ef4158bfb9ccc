/// \file
/// The commands, one function each.
#ifndef DX7_CLI_COMMANDS_H
#define DX7_CLI_COMMANDS_H

#include "host/cli/options.h"

namespace dx7::cli {

/// Each is in its own file and adds its command to the program.
void addCheckCommand(CommandLine& program);
void addCopiesCommand(CommandLine& program);
void addListenCommand(CommandLine& program);
void addMonitorCommand(CommandLine& program);
void addParamsCommand(CommandLine& program);
void addPlanCommand(CommandLine& program);
void addPortsCommand(CommandLine& program);
void addRawCommand(CommandLine& program);
void addReadCommand(CommandLine& program);
void addReplayCommand(CommandLine& program);
void addScanCommand(CommandLine& program);
void addTypesCommand(CommandLine& program);
void addWriteCommand(CommandLine& program);

}  // namespace dx7::cli

#endif

/// \file
/// The table of commands.
#ifndef DX7_CLI_COMMANDS_H
#define DX7_CLI_COMMANDS_H

#include <CLI/CLI.hpp>

#include "host/cli/options.h"

namespace dx7::cli {

// One function per command, each in its own file; each adds its subcommand, which sets `run` when it is
// chosen.
void addCheckCommand(CLI::App& app, Run& run);
void addCopiesCommand(CLI::App& app, Run& run);
void addMonitorCommand(CLI::App& app, Run& run);
void addParamsCommand(CLI::App& app, Run& run);
void addPlanCommand(CLI::App& app, Run& run);
void addReadCommand(CLI::App& app, Run& run);
void addReplayCommand(CLI::App& app, Run& run);
void addScanCommand(CLI::App& app, Run& run);
void addTypesCommand(CLI::App& app, Run& run);
void addWriteCommand(CLI::App& app, Run& run);

}  // namespace dx7::cli

#endif

/// \file
/// Ctrl-C and termination as a question that loops ask.
#ifndef DX7_CLI_STOP_SIGNAL_H
#define DX7_CLI_STOP_SIGNAL_H

namespace dx7::cli {

/// From now on SIGINT and SIGTERM set a mark instead of ending the program; a second one ends it at once.
void watchStopSignals();
bool stopRequested();

}  // namespace dx7::cli

#endif

/// \file
/// Ctrl-C, termination and the loss of the terminal as a question that loops ask.
#ifndef DX7_CLI_STOP_SIGNAL_H
#define DX7_CLI_STOP_SIGNAL_H

#include <string>

namespace dx7::cli {

/// From now on SIGINT, SIGTERM and SIGHUP set a mark instead of ending the program. A second SIGINT or
/// SIGTERM ends it at once; a second SIGHUP does not, for a terminal that goes away sends several. SIGHUP
/// stays ignored where it is (nohup). Output into a closed pipe fails instead of ending the program, too.
void watchStopSignals();
bool stopRequested();

/// While a program has taken the terminal on standard input and output over: a signal that ends the program
/// at once (a second SIGINT or SIGTERM, SIGQUIT) first gives the terminal the modes that it has now back and
/// writes `farewell`, its control sequences for a screen as it was. At most one lives at a time.
class TerminalGuard {
public:
    TerminalGuard();
    ~TerminalGuard();
    TerminalGuard(const TerminalGuard&) = delete;
    TerminalGuard& operator=(const TerminalGuard&) = delete;

    static void setFarewell(const std::string& farewell);
};

}  // namespace dx7::cli

#endif

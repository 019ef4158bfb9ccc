/// \file
/// What the terminal can show.
#ifndef DX7_HOST_CLI_TERMINAL_KIND_H
#define DX7_HOST_CLI_TERMINAL_KIND_H

#include <string>

namespace dx7::cli {

enum class TerminalKind {
    /// The environment's TERM names none that the computer knows.
    Unknown,
    /// Shows nothing but one line after the other.
    Lines,
    /// Shows text anywhere.
    Screen
};

/// The kind of terminal that standard output is, by the environment's TERM.
TerminalKind terminalKind();

/// The control sequences that give the terminal that ncurses has taken over its screen, cursor and keys back.
std::string farewellOfScreen();

}  // namespace dx7::cli

#endif

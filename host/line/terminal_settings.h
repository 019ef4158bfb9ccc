/// \file
/// Baud rate and format of a serial port. Its descriptor is borrowed; nothing is kept between calls.
#ifndef DX7_HOST_TERMINAL_SETTINGS_H
#define DX7_HOST_TERMINAL_SETTINGS_H

#include <memory>

#include "host/line/line_settings.h"

struct termios2;

namespace dx7 {

/// How a port was set up.
using TerminalState = std::shared_ptr<const termios2>;

/// Null with `errno` when `port` is not a terminal.
TerminalState terminalState(int port);
/// False with `errno` when it was refused.
bool setTerminalState(int port, const termios2& state);
/// The same state, in which the system sends nothing by itself: no echo, and no sign that its buffer is full.
TerminalState withoutEcho(const termios2& state);
/// Gives the port the baud rate and format of the settings in place of those in `before`: raw, without flow
/// control and modem lines; a character that came damaged is dropped. A read of no bytes means the end of the
/// port from then on (VMIN is 1). Every baud rate is tried, also one without a name. False with `errno` when
/// it was refused.
bool setUpTerminal(int port, const termios2& before, const LineSettings& settings);

/// Bytes that the port has not sent; 0 where that is not known.
int unsentBytes(int port);
/// Drops them.
void dropUnsentBytes(int port);

}  // namespace dx7

#endif

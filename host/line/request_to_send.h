/// \file
/// RTS, the line of a serial port by which some adapters switch their transmitter on. Its descriptor is
/// borrowed; nothing is kept between calls, and none of them fails.
#ifndef DX7_HOST_REQUEST_TO_SEND_H
#define DX7_HOST_REQUEST_TO_SEND_H

namespace dx7 {

enum class Rts {
    /// The port has none, or does not tell.
    None,
    Low,
    High
};

/// Lowers RTS, where the port has it. The system raises it when it opens a port, and nothing keeps it from
/// that.
void lowerRts(int port);
Rts rtsOf(int port);

}  // namespace dx7

#endif

/// \file
/// The speed that a terminal is set to.
#ifndef DX7_DEVICE_PORT_SPEED_H
#define DX7_DEVICE_PORT_SPEED_H

namespace dx7sim {

struct PortSpeed {
    /// Bits in a second; 0 when the system does not tell.
    int baud = 0;
    /// 1 or 2.
    int stopBits = 1;
};

/// Of the terminal that the descriptor leads to; of a pseudo-terminal's end for clients where it is the other
/// end.
PortSpeed portSpeed(int descriptor);

}  // namespace dx7sim

#endif

#include "device/line/port_speed.h"

// They know every baud rate, and do not go together with those of the C library.
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/ioctl.h>

namespace dx7sim {

PortSpeed portSpeed(int descriptor) {
    termios2 now{};
    if (::ioctl(descriptor, TCGETS2, &now) != 0) {
        return {};
    }
    return {static_cast<int>(now.c_ospeed), (now.c_cflag & CSTOPB) != 0 ? 2 : 1};
}

}  // namespace dx7sim

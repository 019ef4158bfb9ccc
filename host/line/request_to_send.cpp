#include "host/line/request_to_send.h"

#include <sys/ioctl.h>

namespace dx7 {

void lowerRts(int port) {
    const int rts = TIOCM_RTS;
    ::ioctl(port, TIOCMBIC, &rts);
}

Rts rtsOf(int port) {
    int lines = 0;
    if (::ioctl(port, TIOCMGET, &lines) != 0) {
        return Rts::None;
    }
    return (lines & TIOCM_RTS) != 0 ? Rts::High : Rts::Low;
}

}  // namespace dx7

// Loaded before the C library: a kernel whose serial ports know what pseudo-terminals do not.
//
// The RS-485 mode: what a program asks for goes into the file named by DX7_RS485_RECORD, a line each: port,
// flags, both delays. An RTS line: it is high when a port is opened, and can be lowered unless DX7_RTS_STUCK
// is set. Everything else is left to the real ioctl.
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int recordMode(int descriptor, const serial_rs485& mode) {
    char port[PATH_MAX] = "";
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t length = ::readlink(link.c_str(), port, sizeof port - 1);
    const char* path = std::getenv("DX7_RS485_RECORD");
    const int record = path == nullptr ? -1 : ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (length <= 0 || ::isatty(descriptor) == 0 || record < 0) {
        errno = ENOTTY;
        return -1;
    }
    ::dprintf(record, "%s %u %u %u\n", port, static_cast<unsigned>(mode.flags),
              static_cast<unsigned>(mode.delay_rts_before_send),
              static_cast<unsigned>(mode.delay_rts_after_send));
    ::close(record);
    return 0;
}

int modemLines = TIOCM_DTR | TIOCM_RTS;

// TIOCMGET and TIOCMBIC.
int useModemLines(unsigned long request, int* lines) {
    if (request == TIOCMGET) {
        *lines = modemLines;
    } else if (std::getenv("DX7_RTS_STUCK") == nullptr) {
        modemLines &= ~*lines;
    }
    return 0;
}

}  // namespace

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == TIOCSRS485) {
        return recordMode(descriptor, *static_cast<const serial_rs485*>(argument));
    }
    if ((request == TIOCMGET || request == TIOCMBIC) && ::isatty(descriptor) != 0) {
        return useModemLines(request, static_cast<int*>(argument));
    }
    using Ioctl = int (*)(int, unsigned long, ...);
    static const auto real = reinterpret_cast<Ioctl>(::dlsym(RTLD_NEXT, "ioctl"));
    return real(descriptor, request, argument);
}

// Loaded before the C library: a kernel whose serial ports have an RTS line, which pseudo-terminals do not.
// It is high when a port is opened, and can be lowered unless DX7_RTS_STUCK is set. Everything else is left
// to the real ioctl.
#include <dlfcn.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>

namespace {

int modemLines = TIOCM_DTR | TIOCM_RTS;

}  // namespace

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    using Ioctl = int (*)(int, unsigned long, ...);
    static const auto real = reinterpret_cast<Ioctl>(::dlsym(RTLD_NEXT, "ioctl"));
    const bool lines = request == TIOCMGET || request == TIOCMBIC;
    if (!lines || ::isatty(descriptor) == 0) {
        return real(descriptor, request, argument);
    }
    if (request == TIOCMGET) {
        *static_cast<int*>(argument) = modemLines;
    } else if (std::getenv("DX7_RTS_STUCK") == nullptr) {
        modemLines &= ~*static_cast<const int*>(argument);
    }
    return 0;
}

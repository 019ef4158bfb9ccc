// The kernel's own declarations, for they alone have any baud rate; they do not go together with <termios.h>.
#include "host/line/terminal_settings.h"

#include <asm/termbits.h>
#include <linux/serial.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace dx7 {

namespace {

struct NamedSpeed {
    int baud;
    tcflag_t name;
};

// Drivers of old boards know no others.
constexpr NamedSpeed NAMED_SPEEDS[] = {
    {50, B50},           {75, B75},           {110, B110},         {134, B134},         {150, B150},
    {200, B200},         {300, B300},         {600, B600},         {1200, B1200},       {1800, B1800},
    {2400, B2400},       {4800, B4800},       {9600, B9600},       {19200, B19200},     {38400, B38400},
    {57600, B57600},     {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
    {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000}, {1500000, B1500000},
    {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000}, {3500000, B3500000}, {4000000, B4000000}};

tcflag_t speedName(int baud) {
    const auto* found = std::find_if(std::begin(NAMED_SPEEDS), std::end(NAMED_SPEEDS),
                                     [&](const NamedSpeed& speed) { return speed.baud == baud; });
    return found == std::end(NAMED_SPEEDS) ? tcflag_t(BOTHER) : found->name;
}

tcflag_t formatFlags(const LineSettings& settings) {
    tcflag_t flags = settings.dataBits == 7 ? CS7 : CS8;
    flags |= settings.stopBits == 2 ? CSTOPB : 0U;
    flags |= settings.parity == Parity::None ? 0U : PARENB;
    flags |= settings.parity == Parity::Odd ? PARODD : 0U;
    return flags;
}

termios2 lineState(const termios2& before, const LineSettings& settings) {
    termios2 state = before;
    state.c_iflag = IGNPAR;
    state.c_oflag = 0;
    state.c_lflag = 0;
    state.c_cflag &=
        ~tcflag_t(CBAUD | (CBAUD << IBSHIFT) | CSIZE | CSTOPB | PARENB | PARODD | CMSPAR | CRTSCTS);
    state.c_cflag |= CREAD | CLOCAL | speedName(settings.baud) | formatFlags(settings);
    state.c_ispeed = state.c_ospeed = static_cast<speed_t>(settings.baud);
    state.c_cc[VMIN] = 1;
    state.c_cc[VTIME] = 0;
    return state;
}

// A divisor that was set for what is called 38400 baud would hold for us, too.
void clearCustomDivisor(int port) {
    serial_struct serial{};
    constexpr auto CUSTOM_DIVISOR = static_cast<int>(ASYNC_SPD_MASK);
    if (::ioctl(port, TIOCGSERIAL, &serial) == 0 && (serial.flags & CUSTOM_DIVISOR) != 0) {
        serial.flags &= ~CUSTOM_DIVISOR;
        serial.custom_divisor = 0;
        ::ioctl(port, TIOCSSERIAL, &serial);
    }
}

// The calls that have every baud rate are not known everywhere: an emulated processor may know the old ones
// alone.
bool knowsOldCallsAlone(int error) {
    return error == ENOSYS || error == ENOTTY;
}

}  // namespace

TerminalState terminalState(int port) {
    const auto state = std::make_shared<termios2>();
    if (::ioctl(port, TCGETS2, state.get()) == 0) {
        return state;
    }
    termios old{};
    if (!knowsOldCallsAlone(errno) || ::ioctl(port, TCGETS, &old) != 0) {
        return nullptr;
    }
    *state = termios2();
    state->c_iflag = old.c_iflag;
    state->c_oflag = old.c_oflag;
    state->c_cflag = old.c_cflag;
    state->c_lflag = old.c_lflag;
    state->c_line = old.c_line;
    std::copy(std::begin(old.c_cc), std::end(old.c_cc), std::begin(state->c_cc));
    return state;
}

bool setTerminalState(int port, const termios2& state) {
    if (::ioctl(port, TCSETS2, &state) == 0) {
        return true;
    }
    if (!knowsOldCallsAlone(errno) || (state.c_cflag & CBAUD) == BOTHER) {
        return false;
    }
    termios old{};
    old.c_iflag = state.c_iflag;
    old.c_oflag = state.c_oflag;
    old.c_cflag = state.c_cflag;
    old.c_lflag = state.c_lflag;
    old.c_line = state.c_line;
    std::copy(std::begin(state.c_cc), std::end(state.c_cc), std::begin(old.c_cc));
    return ::ioctl(port, TCSETS, &old) == 0;
}

TerminalState withoutEcho(const termios2& state) {
    auto silent = std::make_shared<termios2>(state);
    silent->c_lflag &= ~tcflag_t(ECHO | ECHONL);
    // Nor its signs that it is full.
    silent->c_iflag &= ~tcflag_t(IXOFF | IMAXBEL);
    return silent;
}

bool setUpTerminal(int port, const termios2& before, const LineSettings& settings) {
    if (!setTerminalState(port, lineState(before, settings))) {
        return false;
    }
    clearCustomDivisor(port);
    return true;
}

int unsentBytes(int port) {
    int count = 0;
    return ::ioctl(port, TIOCOUTQ, &count) == 0 ? count : 0;
}

void dropUnsentBytes(int port) {
    ::ioctl(port, TCFLSH, TCOFLUSH);
}

}  // namespace dx7

#include "tests/kit/pseudo_terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>

namespace kit {

PseudoTerminal::PseudoTerminal()
    : end_(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)), held_(-1) {
    if (end_ < 0 || ::grantpt(end_) != 0 || ::unlockpt(end_) != 0) {
        throw std::runtime_error("no pseudo-terminal can be made");
    }
    name_ = ::ptsname(end_);
    held_ = ::open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios raw{};
    ::tcgetattr(held_, &raw);
    ::cfmakeraw(&raw);
    ::tcsetattr(held_, TCSANOW, &raw);
}

PseudoTerminal::~PseudoTerminal() {
    ::close(held_);
    ::close(end_);
}

}  // namespace kit

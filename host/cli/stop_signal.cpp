#include "host/cli/stop_signal.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

namespace dx7::cli {

namespace {

// A terminal may take nothing, whatever is done.
constexpr int FAREWELL_PATIENCE_MS = 100;

volatile std::sig_atomic_t stopMark = 0;

// What the handlers need of the terminal; they run at any time, so it is plain memory.
volatile std::sig_atomic_t guarded = 0;
termios modesBefore{};
char farewellText[256];
volatile std::sig_atomic_t farewellLength = 0;

void giveTerminalBack() {
    // In the background it is another program's.
    if (guarded == 0 || ::tcgetpgrp(STDIN_FILENO) != ::getpgrp()) {
        return;
    }
    // Output that Ctrl-S holds would hold the farewell, too: without that flow control it goes on.
    termios flowing = modesBefore;
    flowing.c_iflag &= ~static_cast<tcflag_t>(IXON);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &flowing);
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    if (farewellLength > 0 && ::poll(&output, 1, FAREWELL_PATIENCE_MS) > 0) {
        const ssize_t written =
            ::write(STDOUT_FILENO, farewellText, static_cast<std::size_t>(farewellLength));
        static_cast<void>(written);
    }
    ::tcsetattr(STDIN_FILENO, TCSANOW, &modesBefore);
}

// Ends the program as the signal does where nothing handles it.
void endAtOnce(int signalNumber) {
    giveTerminalBack();
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ::sigaction(signalNumber, &action, nullptr);
    ::raise(signalNumber);
}

void onHangUp(int) {
    stopMark = 1;
}

void handle(int signalNumber, void (*handler)(int));

void onSignal(int signalNumber) {
    const int error = errno;
    stopMark = 1;
    handle(signalNumber, endAtOnce);
    errno = error;
}

void handle(int signalNumber, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    ::sigaction(signalNumber, &action, nullptr);
}

bool ignored(int signalNumber) {
    struct sigaction action = {};
    return ::sigaction(signalNumber, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void watchStopSignals() {
    handle(SIGINT, onSignal);
    handle(SIGTERM, onSignal);
    if (!ignored(SIGHUP)) {
        handle(SIGHUP, onHangUp);
    }
    handle(SIGPIPE, SIG_IGN);
}

bool stopRequested() {
    return stopMark != 0;
}

TerminalGuard::TerminalGuard() {
    farewellLength = 0;
    if (::tcgetattr(STDIN_FILENO, &modesBefore) == 0) {
        guarded = 1;
        handle(SIGQUIT, endAtOnce);
    }
}

TerminalGuard::~TerminalGuard() {
    if (guarded != 0) {
        handle(SIGQUIT, SIG_DFL);
        guarded = 0;
    }
}

void TerminalGuard::setFarewell(const std::string& farewell) {
    farewellLength = 0;
    const std::size_t length = std::min(farewell.size(), sizeof farewellText);
    std::copy_n(farewell.begin(), length, farewellText);
    farewellLength = static_cast<std::sig_atomic_t>(length);
}

}  // namespace dx7::cli

#include "stop_signal.h"

#include <csignal>

namespace dx7::cli {

namespace {

volatile std::sig_atomic_t stopMark = 0;

void onSignal(int) {
    stopMark = 1;
}

}  // namespace

void watchStopSignals() {
    struct sigaction action = {};
    action.sa_handler = onSignal;
    // After the first signal the default is back, so that a second one always ends the program.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool stopRequested() {
    return stopMark != 0;
}

}  // namespace dx7::cli

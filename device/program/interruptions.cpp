#include "device/program/interruptions.h"

#include <signal.h>
#include <sys/time.h>

namespace dx7sim {

namespace {

constexpr int INTERRUPTION_US = 100000;

void setTimer(int intervalUs) {
    itimerval timer{};
    timer.it_interval.tv_usec = intervalUs;
    timer.it_value.tv_usec = intervalUs;
    ::setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace

Interruptions::Interruptions() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &action, nullptr);
    sigset_t alarm;
    ::sigemptyset(&alarm);
    ::sigaddset(&alarm, SIGALRM);
    ::sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
    setTimer(INTERRUPTION_US);
}

Interruptions::~Interruptions() {
    setTimer(0);
}

}  // namespace dx7sim

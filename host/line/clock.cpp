#include "host/line/clock.h"

#include <chrono>
#include <thread>

namespace dx7 {

namespace {
using Steady = std::chrono::steady_clock;
}

qint64 SystemClock::nowUs() {
    const auto sinceStart = Steady::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(sinceStart).count();
}

void SystemClock::sleepUntilUs(qint64 timeUs) {
    std::this_thread::sleep_until(Steady::time_point(std::chrono::microseconds(timeUs)));
}

}  // namespace dx7

// Loaded before the C library: a time of day that begins at the seconds since 1970 in DX7_TIME when it is
// first asked for. Other clocks are left as they are.
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

namespace {

time_t secondsAhead(time_t now) {
    static const char* const wanted = std::getenv("DX7_TIME");
    static const time_t ahead = wanted == nullptr ? 0 : static_cast<time_t>(std::atoll(wanted)) - now;
    return ahead;
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int result = static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    if (result == 0 && clock == CLOCK_REALTIME) {
        time->tv_sec += secondsAhead(time->tv_sec);
    }
    return result;
}

extern "C" int gettimeofday(timeval* time, void*) noexcept {
    timespec now{};
    const int result = ::clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return result;
}

/// \file
/// Waits that end.
#ifndef DX7_TESTS_KIT_PATIENCE_H
#define DX7_TESTS_KIT_PATIENCE_H

#include <poll.h>

#include <chrono>

namespace kit {

using Clock = std::chrono::steady_clock;

/// Waits until the descriptor is readable. False when it is not in time.
inline bool readable(int fd, Clock::time_point until) {
    pollfd one{fd, POLLIN, 0};
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
    return left > 0 && ::poll(&one, 1, static_cast<int>(left)) > 0;
}

}  // namespace kit

#endif

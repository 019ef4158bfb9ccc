/// \file
/// Time as an argument: what polls, and the rules about time, take it from a Clock or are given it. Ports and
/// connections that open or close on helper threads, and the waits of EpollPoller, use the system's own.
#ifndef DX7_HOST_CLOCK_H
#define DX7_HOST_CLOCK_H

#include <QtGlobal>
#include <algorithm>
#include <optional>

namespace dx7 {

/// When something is due, in microseconds on a Clock; empty where nothing is, until something new comes.
using DueUs = std::optional<qint64>;

/// The one that comes first.
inline DueUs sooner(DueUs one, DueUs other) {
    return one && other ? std::min(one, other) : one ? one : other;
}

/// A monotonic clock in microseconds. Its zero is arbitrary. One thread at a time.
class Clock {
public:
    virtual ~Clock() = default;
    virtual qint64 nowUs() = 0;
    /// Returns at once when `timeUs` has passed already.
    virtual void sleepUntilUs(qint64 timeUs) = 0;
};

/// The machine's monotonic clock. Any thread may use it.
class SystemClock : public Clock {
public:
    qint64 nowUs() override;
    void sleepUntilUs(qint64 timeUs) override;
};

}  // namespace dx7

#endif

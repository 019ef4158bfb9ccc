/// \file
/// Waiting for several lines and for time, in one place.
#ifndef DX7_HOST_POLLER_H
#define DX7_HOST_POLLER_H

#include "host/line/line.h"

namespace dx7 {

/// Waits for lines and time, in microseconds. Borrows the lines from add() to remove(). One thread, but for
/// wake().
class Poller {
public:
    virtual ~Poller() = default;

    /// On the time base of the Clock (clock.h).
    virtual qint64 nowUs() = 0;
    /// From now on the line is looked at, whenever it is open. Again after it was reopened: its descriptor
    /// has changed. The line must outlive that, or be removed.
    virtual void add(Line& line) = 0;
    virtual void remove(Line& line) = 0;
    /// Until when, at least, a line that was added need not be looked at (bytes that are on the wire cannot
    /// be there before); 0 = watch it now. When that time is over, wait() ends and the line is ready(), once,
    /// whether anything has come or not.
    virtual void ignoreUntil(Line& line, qint64 timeUs) = 0;
    /// Waits until an added line that is not ignored has what expect() asked for, is lost, or can go on
    /// sending; until `untilUs`; or until a signal or wake() comes. It may end for nothing. With `untilUs` in
    /// the past it looks without waiting.
    virtual void wait(qint64 untilUs) = 0;
    /// Whether the last wait() found something at the line: only then must it be looked at.
    virtual bool ready(const Line& line) const = 0;
    /// Ends the wait() under way, or the next one. From a signal handler or another thread.
    virtual void wake() = 0;
};

}  // namespace dx7

#endif

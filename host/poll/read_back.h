/// \file
/// Reading written values back: which ones, and how long a device may take until it shows them.
#ifndef DX7_HOST_READ_BACK_H
#define DX7_HOST_READ_BACK_H

#include <optional>

#include "host/items/item_notation.h"
#include "host/line/clock.h"

namespace dx7 {

/// What a write is worth without, and with, reading it back.
enum class ReadBackRule {
    /// It is not read back; an acknowledgement is enough.
    None,
    /// It is read back once and shown: the device may have cleared it by itself.
    Show,
    /// It has failed unless it reads back equal.
    Demand
};

/// The rule for a write of `point`: as the user has `chosen` for all writes, else as the point's own `verify`
/// says, else by its type. A broadcast cannot be read back. Pure.
ReadBackRule readBackRule(const Point& point, std::optional<bool> chosen);

/// When a written value that reads otherwise is read back again: after a pause, so that the device can get on
/// with it, and for one second from the first answer on. Pure, for one thread; times are microseconds on the
/// caller's clock.
class ReadBackWindow {
public:
    /// A read-back was answered at `nowUs`.
    void answered(qint64 nowUs);
    /// When the next one begins, after one was answered; empty when the second would be over by then.
    DueUs nextUs() const;
    /// Whether one may begin at `nowUs`, which can be later than it was to be.
    bool mayBegin(qint64 nowUs) const;

private:
    std::optional<qint64> firstUs_;
    qint64 lastUs_ = 0;
};

}  // namespace dx7

#endif

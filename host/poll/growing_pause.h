/// \file
/// The pause before something that failed is tried again.
#ifndef DX7_HOST_GROWING_PAUSE_H
#define DX7_HOST_GROWING_PAUSE_H

#include <QtGlobal>
#include <algorithm>

namespace dx7 {

/// Half a second at first, half a second longer each time, 10 s at most. A value.
class GrowingPause {
public:
    /// The next pause, in microseconds.
    qint64 next() {
        us_ = std::min(us_ + STEP_US, LONGEST_US);
        return us_;
    }
    void reset() { us_ = 0; }

private:
    static constexpr qint64 STEP_US = 500000;
    static constexpr qint64 LONGEST_US = 10000000;

    qint64 us_ = 0;
};

}  // namespace dx7

#endif

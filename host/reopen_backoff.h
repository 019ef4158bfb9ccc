/// \file
/// When a lost line is opened again. Pure: time is passed in.
#ifndef DX7_HOST_REOPEN_BACKOFF_H
#define DX7_HOST_REOPEN_BACKOFF_H

#include <QtGlobal>
#include <algorithm>

namespace dx7 {

/// Attempts 0.25 s after the loss, then after twice the pause each time up to 5 s.
class ReopenBackoff {
public:
    void lost(qint64 nowUs) {
        pauseUs_ = FIRST_PAUSE_US;
        nextUs_ = nowUs + pauseUs_;
    }
    void failed(qint64 nowUs) {
        pauseUs_ = std::min(2 * pauseUs_, LONGEST_PAUSE_US);
        nextUs_ = nowUs + pauseUs_;
    }
    /// When the next attempt is due.
    qint64 nextUs() const { return nextUs_; }

private:
    static constexpr qint64 FIRST_PAUSE_US = 250000;
    static constexpr qint64 LONGEST_PAUSE_US = 5000000;
    qint64 pauseUs_ = FIRST_PAUSE_US;
    qint64 nextUs_ = 0;
};

}  // namespace dx7

#endif

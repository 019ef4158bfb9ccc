/// \file
/// When a lost line is opened again. Pure: time is passed in, in microseconds.
#ifndef DX7_HOST_REOPEN_BACKOFF_H
#define DX7_HOST_REOPEN_BACKOFF_H

#include <QtGlobal>
#include <algorithm>

namespace dx7 {

/// Attempts 0.25 s after the loss, then after twice the pause each time up to 5 s. A line that opens and is
/// lost again before anything good came over it counts as an attempt that failed.
class ReopenBackoff {
public:
    /// The line was lost, or could not be opened.
    void failed(qint64 nowUs) {
        pauseUs_ = pauseUs_ == 0 ? FIRST_PAUSE_US : std::min(2 * pauseUs_, LONGEST_PAUSE_US);
        nextUs_ = nowUs + pauseUs_;
    }
    /// A good reply came over the line.
    void proved() { pauseUs_ = 0; }
    /// When the next attempt is due.
    qint64 nextUs() const { return nextUs_; }

private:
    static constexpr qint64 FIRST_PAUSE_US = 250000;
    static constexpr qint64 LONGEST_PAUSE_US = 5000000;
    /// The pause before the next attempt; 0 while the line has proved itself.
    qint64 pauseUs_ = 0;
    qint64 nextUs_ = 0;
};

}  // namespace dx7

#endif

/// \file
/// How much of a line's time goes to what does not answer.
#ifndef DX7_HOST_PROBE_BUDGET_H
#define DX7_HOST_PROBE_BUDGET_H

#include <QtGlobal>

namespace dx7 {

/// All probes of a line together: of silent stations, and of what stations refuse. After a probe that took a
/// time the next one waits for PAUSES times as long, so that probes take less than a tenth of the line's time
/// and the living are polled less than a tenth more slowly. While nothing else is to be polled the time is
/// idle, and the budget does not hold. A value; times are microseconds on the caller's clock.
class ProbeBudget {
public:
    static constexpr qint64 PAUSES = 12;

    /// A probe took the line from `beganUs` to `endedUs`.
    void spent(qint64 beganUs, qint64 endedUs) { fromUs_ = endedUs + PAUSES * (endedUs - beganUs); }
    /// When the next one may begin.
    qint64 fromUs() const { return fromUs_; }

private:
    qint64 fromUs_ = 0;
};

}  // namespace dx7

#endif

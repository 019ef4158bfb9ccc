/// \file
/// Durations counted in classes, so that percentiles of any number of them cost a fixed amount of memory.
#ifndef DX7_HOST_LATENCY_HISTOGRAM_H
#define DX7_HOST_LATENCY_HISTOGRAM_H

#include <QtGlobal>
#include <array>

namespace dx7 {

/// Classes are exact below 64 us and at most 1/32 wide above; smallest and largest duration are kept exactly.
/// For one thread; allocates nothing; nothing of it fails.
class LatencyHistogram {
public:
    void add(qint64 durationUs);
    qint64 count() const { return count_; }
    qint64 minUs() const { return minUs_; }
    qint64 maxUs() const { return maxUs_; }
    /// The duration that `percent` of all do not exceed, to the width of a class; 0 when there are none.
    qint64 percentileUs(double percent) const;

private:
    static constexpr int SUB_BITS = 5;
    static constexpr int SUB_CLASSES = 1 << SUB_BITS;
    static constexpr int OCTAVES = 34;
    static constexpr int CLASSES = (OCTAVES + 2) * SUB_CLASSES;
    static int classOf(qint64 durationUs);
    static qint64 upperEdge(int index);

    std::array<quint32, CLASSES> counts_ = {};
    qint64 count_ = 0;
    qint64 minUs_ = 0;
    qint64 maxUs_ = 0;
};

}  // namespace dx7

#endif

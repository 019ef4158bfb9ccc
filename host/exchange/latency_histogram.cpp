#include "host/exchange/latency_histogram.h"

#include <algorithm>
#include <cmath>

namespace dx7 {

int LatencyHistogram::classOf(qint64 durationUs) {
    const qint64 value = std::max<qint64>(durationUs, 0);
    int octave = 0;
    while ((value >> octave) >= qint64(2) * SUB_CLASSES) {
        ++octave;
    }
    const int index = octave * SUB_CLASSES + static_cast<int>(value >> octave);
    return std::min(index, CLASSES - 1);
}

qint64 LatencyHistogram::upperEdge(int index) {
    const int octave = std::max(index / SUB_CLASSES - 1, 0);
    return ((qint64(index - octave * SUB_CLASSES) + 1) << octave) - 1;
}

void LatencyHistogram::add(qint64 durationUs) {
    minUs_ = count_ == 0 ? durationUs : std::min(minUs_, durationUs);
    maxUs_ = count_ == 0 ? durationUs : std::max(maxUs_, durationUs);
    ++counts_[static_cast<size_t>(classOf(durationUs))];
    ++count_;
}

qint64 LatencyHistogram::percentileUs(double percent) const {
    if (count_ == 0) {
        return 0;
    }
    const auto wanted =
        std::max<qint64>(1, std::llround(std::ceil(static_cast<double>(count_) * percent / 100)));
    qint64 seen = 0;
    for (size_t i = 0; i < counts_.size(); ++i) {
        seen += counts_[i];
        if (seen >= wanted) {
            return std::clamp(upperEdge(static_cast<int>(i)), minUs_, maxUs_);
        }
    }
    return maxUs_;
}

}  // namespace dx7

#include "device/line/framing.h"

#include <algorithm>

namespace dx7sim {

namespace {

enum : std::size_t {
    SHORTEST_FRAME = 4,
    PLAIN_FRAME = 8,
    BYTE_COUNT_INDEX = 6,
    WRITE_OVERHEAD = 9,
    LONGEST_FRAME = 256,
    MOST_UNDER_WAY = 1024
};

// Length of the request that `bytes` begin with; none when it is not known (yet).
std::optional<std::size_t> requestLength(const Bytes& bytes) {
    if (bytes.size() < 2) {
        return std::nullopt;
    }
    switch (bytes[1]) {
        case 1:
        case 2:
        case 3:
        case 4:
        case 5:
        case 6:
            return PLAIN_FRAME;
        case 7:
            return SHORTEST_FRAME;
        case 15:
        case 16:
            if (bytes.size() > BYTE_COUNT_INDEX) {
                return WRITE_OVERHEAD + bytes[BYTE_COUNT_INDEX];
            }
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

}  // namespace

Framing::Framing(Time charTime, Time silence) : charTime_(charTime), silence_(silence) {}

std::vector<ReceivedFrame> Framing::take(const Bytes& bytes, Time now) {
    if (pending_.empty()) {
        first_ = now;
    }
    last_ = now;
    pending_.insert(pending_.end(), bytes.begin(), bytes.end());

    std::vector<ReceivedFrame> frames;
    for (auto length = requestLength(pending_); length && pending_.size() >= *length;
         length = requestLength(pending_)) {
        if (!endsInGoodCrc(pending_, *length)) {
            break;
        }
        frames.push_back(cut(*length));
    }
    if (pending_.size() > LONGEST_FRAME) {
        drop();
    }
    return frames;
}

std::optional<Time> Framing::deadline() const {
    return pending_.empty() ? std::nullopt : std::optional<Time>(last_ + silence_);
}

std::optional<ReceivedFrame> Framing::silence(Time now) {
    if (pending_.empty() || now < last_ + silence_) {
        return std::nullopt;
    }
    if (pending_.size() >= SHORTEST_FRAME && endsInGoodCrc(pending_, pending_.size())) {
        return cut(pending_.size());
    }
    drop();
    return std::nullopt;
}

void Framing::reset() {
    pending_.clear();
}

ReceivedFrame Framing::cut(std::size_t length) {
    const auto end = pending_.begin() + static_cast<std::ptrdiff_t>(length);
    ReceivedFrame frame{Bytes(pending_.begin(), end), Time()};
    const Time carried = first_ + charTime_ * static_cast<Time::rep>(length);
    const Time latest = last_ + charTime_ * static_cast<Time::rep>(MOST_UNDER_WAY);
    frame.complete = std::max(last_, std::min(carried, latest));
    pending_.erase(pending_.begin(), end);
    first_ = frame.complete;
    return frame;
}

void Framing::drop() {
    droppedBytes_ += pending_.size();
    pending_.clear();
}

}  // namespace dx7sim

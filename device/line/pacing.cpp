#include "device/line/pacing.h"

#include <algorithm>
#include <utility>

namespace dx7sim {

namespace {

constexpr std::size_t MOST_FRAMES = 32;
constexpr std::size_t MOST_BYTES = 4096;

}  // namespace

LineTiming LineTiming::ofBaud(int baud, int bitsPerChar) {
    constexpr int FIXED_SILENCE_ABOVE = 19200;
    const Time charTime = Time(std::chrono::seconds(1)) * bitsPerChar / baud;
    const Time fixedSilence = std::chrono::microseconds(1750);
    return {charTime, baud > FIXED_SILENCE_ABOVE ? fixedSilence : charTime * 7 / 2};
}

void Pacing::queue(const Bytes& frame, Time earliest, Time pause) {
    const Time start = std::max(std::max(earliest, lineFree_) + pause, busyUntil_);
    frames_.push_back({frame, start, 0});
    waitingBytes_ += frame.size();
    lineFree_ = through(frames_.back(), frame.size());
}

void Pacing::echo(const Bytes& bytes, Time begun) {
    const Time start = std::max(begun, echoFree_);
    if (start <= begun + charTime_ * static_cast<Time::rep>(MOST_BYTES)) {
        echoFree_ = start + charTime_ * static_cast<Time::rep>(bytes.size());
        putAside({bytes, start, 0});
    }
}

void Pacing::echoWhole(const Bytes& frame, Time complete) {
    echo(frame, complete - charTime_ * static_cast<Time::rep>(frame.size()));
}

void Pacing::copy(const Bytes& frame, Time pause) {
    putAside({frame, lineFree_ + pause, 0});
}

void Pacing::putAside(Frame frame) {
    constexpr std::size_t MOST_ASIDE = 1048576;
    if (asideBytes_ + frame.bytes.size() > MOST_ASIDE) {
        return;
    }
    asideBytes_ += frame.bytes.size();
    // The first one may be on the line already.
    const bool begun = !aside_.empty() && aside_.front().sent > 0;
    frame.start = std::max(frame.start, busyUntil_);
    const auto place = std::upper_bound(aside_.begin() + (begun ? 1 : 0), aside_.end(), frame.start,
                                        [](Time start, const Frame& other) { return start < other.start; });
    aside_.insert(place, std::move(frame));
}

bool Pacing::asideIsNext() const {
    if (aside_.empty() || frames_.empty()) {
        return frames_.empty();
    }
    const Frame& aside = aside_.front();
    const Frame& reply = frames_.front();
    return reply.sent == 0 && (aside.sent > 0 || aside.start <= reply.start);
}

Bytes Pacing::due(Time now) {
    Bytes bytes;
    while (!isEmpty()) {
        const bool aside = asideIsNext();
        std::deque<Frame>& frames = aside ? aside_ : frames_;
        std::size_t& waiting = aside ? asideBytes_ : waitingBytes_;
        Frame& frame = frames.front();
        while (frame.sent < frame.bytes.size() && through(frame, frame.sent + 1) <= now) {
            bytes.push_back(frame.bytes[frame.sent++]);
            --waiting;
        }
        if (frame.sent < frame.bytes.size()) {
            break;
        }
        busyUntil_ = through(frame, frame.bytes.size());
        frames.pop_front();
        moveAfter(busyUntil_);
    }
    return bytes;
}

// What would start before the line is free at `end` starts then. Replies keep their distances.
void Pacing::moveAfter(Time end) {
    for (auto frame = aside_.begin(); frame != aside_.end() && frame->start < end; ++frame) {
        frame->start = end;
    }
    if (!frames_.empty() && frames_.front().start < end) {
        const Time shift = end - frames_.front().start;
        for (Frame& frame : frames_) {
            frame.start += shift;
        }
        lineFree_ += shift;
    }
}

std::optional<Time> Pacing::nextDue(Time now) const {
    if (isEmpty()) {
        return std::nullopt;
    }
    const Frame& frame = next();
    const Time first = through(frame, frame.sent + 1);
    const Time end = through(frame, frame.bytes.size());
    return std::min(end, std::max(first, now + std::chrono::milliseconds(1)));
}

bool Pacing::isFull() const {
    return frames_.size() >= MOST_FRAMES || waitingBytes_ >= MOST_BYTES;
}

void Pacing::clear() {
    frames_.clear();
    aside_.clear();
    waitingBytes_ = 0;
    asideBytes_ = 0;
    lineFree_ = Time();
    echoFree_ = Time();
    busyUntil_ = Time();
}

Time Pacing::through(const Frame& frame, std::size_t byteCount) const {
    return frame.start + charTime_ * static_cast<Time::rep>(byteCount);
}

}  // namespace dx7sim

#include "device/line/pacing.h"

#include <algorithm>
#include <utility>

namespace dx7sim {

namespace {

enum : std::size_t { MOST_FRAMES = 32, MOST_BYTES = 4096 };

}  // namespace

LineTiming LineTiming::ofBaud(int baud, int bitsPerChar) {
    enum : int { FIXED_SILENCE_ABOVE = 19200 };
    const Time charTime = Time(std::chrono::seconds(1)) * bitsPerChar / baud;
    const Time fixedSilence = std::chrono::microseconds(1750);
    return {charTime, baud > FIXED_SILENCE_ABOVE ? fixedSilence : charTime * 7 / 2};
}

void Pacing::queue(const Bytes& frame, Time earliest, Time pause) {
    const Time start = std::max(std::max(earliest, m_lineFree) + pause, m_busyUntil);
    m_frames.push_back({frame, start, 0});
    m_waitingBytes += frame.size();
    m_lineFree = through(m_frames.back(), frame.size());
}

void Pacing::echo(const Bytes& bytes, Time begun) {
    const Time start = std::max(begun, m_echoFree);
    if (start <= begun + m_charTime * static_cast<Time::rep>(MOST_BYTES)) {
        m_echoFree = start + m_charTime * static_cast<Time::rep>(bytes.size());
        putAside({bytes, start, 0});
    }
}

void Pacing::echoWhole(const Bytes& frame, Time complete) {
    echo(frame, complete - m_charTime * static_cast<Time::rep>(frame.size()));
}

void Pacing::copy(const Bytes& frame, Time pause) {
    putAside({frame, m_lineFree + pause, 0});
}

void Pacing::putAside(Frame frame) {
    enum : std::size_t { MOST_ASIDE = 1048576 };
    if (m_asideBytes + frame.bytes.size() > MOST_ASIDE) {
        return;
    }
    m_asideBytes += frame.bytes.size();
    // The first one may be on the line already.
    const bool begun = !m_aside.empty() && m_aside.front().sent > 0;
    frame.start = std::max(frame.start, m_busyUntil);
    const auto place = std::upper_bound(m_aside.begin() + (begun ? 1 : 0), m_aside.end(), frame.start,
                                        [](Time start, const Frame& other) { return start < other.start; });
    m_aside.insert(place, std::move(frame));
}

bool Pacing::asideIsNext() const {
    if (m_aside.empty() || m_frames.empty()) {
        return m_frames.empty();
    }
    const Frame& aside = m_aside.front();
    const Frame& reply = m_frames.front();
    return reply.sent == 0 && (aside.sent > 0 || aside.start <= reply.start);
}

Bytes Pacing::due(Time now) {
    Bytes bytes;
    while (!isEmpty()) {
        const bool aside = asideIsNext();
        std::deque<Frame>& frames = aside ? m_aside : m_frames;
        std::size_t& waiting = aside ? m_asideBytes : m_waitingBytes;
        Frame& frame = frames.front();
        while (frame.sent < frame.bytes.size() && through(frame, frame.sent + 1) <= now) {
            bytes.push_back(frame.bytes[frame.sent++]);
            --waiting;
        }
        if (frame.sent < frame.bytes.size()) {
            break;
        }
        m_busyUntil = through(frame, frame.bytes.size());
        frames.pop_front();
        moveBehind(m_busyUntil);
    }
    return bytes;
}

/// What would start before the line is free at `end` starts then. Replies keep their distances.
void Pacing::moveBehind(Time end) {
    for (auto frame = m_aside.begin(); frame != m_aside.end() && frame->start < end; ++frame) {
        frame->start = end;
    }
    if (!m_frames.empty() && m_frames.front().start < end) {
        const Time shift = end - m_frames.front().start;
        for (Frame& frame : m_frames) {
            frame.start += shift;
        }
        m_lineFree += shift;
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
    return m_frames.size() >= MOST_FRAMES || m_waitingBytes >= MOST_BYTES;
}

void Pacing::clear() {
    m_frames.clear();
    m_aside.clear();
    m_waitingBytes = 0;
    m_asideBytes = 0;
    m_lineFree = Time();
    m_echoFree = Time();
    m_busyUntil = Time();
}

Time Pacing::through(const Frame& frame, std::size_t byteCount) const {
    return frame.start + m_charTime * static_cast<Time::rep>(byteCount);
}

}  // namespace dx7sim

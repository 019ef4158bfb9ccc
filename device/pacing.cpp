#include "pacing.h"

#include <algorithm>

namespace dx7sim {

LineTiming LineTiming::ofBaud(int baud, int bitsPerChar) {
    enum : int { FIXED_SILENCE_ABOVE = 19200 };
    const Time charTime = Time(std::chrono::seconds(1)) * bitsPerChar / baud;
    const Time fixedSilence = std::chrono::microseconds(1750);
    return {charTime, baud > FIXED_SILENCE_ABOVE ? fixedSilence : charTime * 7 / 2};
}

void Pacing::queue(const Bytes& frame, Time earliest, Time pause) {
    const Time start = std::max(earliest, m_lineFree) + pause;
    m_frames.push_back({frame, start, 0});
    m_waitingBytes += frame.size();
    m_lineFree = through(m_frames.back(), frame.size());
}

Bytes Pacing::due(Time now) {
    Bytes bytes;
    while (!m_frames.empty()) {
        Frame& frame = m_frames.front();
        while (frame.sent < frame.bytes.size() && through(frame, frame.sent + 1) <= now) {
            bytes.push_back(frame.bytes[frame.sent++]);
            --m_waitingBytes;
        }
        if (frame.sent < frame.bytes.size()) {
            break;
        }
        m_frames.pop_front();
    }
    return bytes;
}

std::optional<Time> Pacing::nextDue(Time now) const {
    if (m_frames.empty()) {
        return std::nullopt;
    }
    const Frame& frame = m_frames.front();
    const Time next = through(frame, frame.sent + 1);
    const Time end = through(frame, frame.bytes.size());
    return std::min(end, std::max(next, now + std::chrono::milliseconds(1)));
}

bool Pacing::isFull() const {
    enum : std::size_t { MOST_FRAMES = 32, MOST_BYTES = 4096 };
    return m_frames.size() >= MOST_FRAMES || m_waitingBytes >= MOST_BYTES;
}

void Pacing::clear() {
    m_frames.clear();
    m_waitingBytes = 0;
    m_lineFree = Time();
}

Time Pacing::through(const Frame& frame, std::size_t byteCount) const {
    return frame.start + m_charTime * static_cast<Time::rep>(byteCount);
}

}  // namespace dx7sim

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

/// Length of the request that `bytes` begin with; none when it is not known (yet).
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

Framing::Framing(Time charTime, Time silence) : m_charTime(charTime), m_silence(silence) {}

std::vector<ReceivedFrame> Framing::take(const Bytes& bytes, Time now) {
    if (m_pending.empty()) {
        m_first = now;
    }
    m_last = now;
    m_pending.insert(m_pending.end(), bytes.begin(), bytes.end());

    std::vector<ReceivedFrame> frames;
    for (auto length = requestLength(m_pending); length && m_pending.size() >= *length;
         length = requestLength(m_pending)) {
        if (!endsInGoodCrc(m_pending, *length)) {
            break;
        }
        frames.push_back(cut(*length));
    }
    if (m_pending.size() > LONGEST_FRAME) {
        drop();
    }
    return frames;
}

std::optional<Time> Framing::deadline() const {
    return m_pending.empty() ? std::nullopt : std::optional<Time>(m_last + m_silence);
}

std::optional<ReceivedFrame> Framing::silence(Time now) {
    if (m_pending.empty() || now < m_last + m_silence) {
        return std::nullopt;
    }
    if (m_pending.size() >= SHORTEST_FRAME && endsInGoodCrc(m_pending, m_pending.size())) {
        return cut(m_pending.size());
    }
    drop();
    return std::nullopt;
}

void Framing::reset() {
    m_pending.clear();
}

ReceivedFrame Framing::cut(std::size_t length) {
    const auto end = m_pending.begin() + static_cast<std::ptrdiff_t>(length);
    ReceivedFrame frame{Bytes(m_pending.begin(), end), Time()};
    const Time carried = m_first + m_charTime * static_cast<Time::rep>(length);
    const Time latest = m_last + m_charTime * static_cast<Time::rep>(MOST_UNDER_WAY);
    frame.complete = std::max(m_last, std::min(carried, latest));
    m_pending.erase(m_pending.begin(), end);
    m_first = frame.complete;
    return frame;
}

void Framing::drop() {
    m_droppedBytes += m_pending.size();
    m_pending.clear();
}

}  // namespace dx7sim

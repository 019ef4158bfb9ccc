/// \file
/// When each byte of a reply goes out.
#ifndef DX7_DEVICE_PACING_H
#define DX7_DEVICE_PACING_H

#include <deque>
#include <optional>

#include "crc16.h"
#include "device_time.h"

namespace dx7sim {

/// The time behaviour of a serial line.
struct LineTiming {
    Time charTime{};  ///< Of one character; 0 when bytes take no time.
    Time
        turnaround{};  ///< Silence between a request and its reply: 3.5 characters, 1.75 ms above 19200 baud.

    /// `bitsPerChar` is 10 (one start, eight data, one stop bit) or 11 with parity or a second stop bit.
    static LineTiming ofBaud(int baud, int bitsPerChar);
};

/// Frames waiting to go out, one after the other, each byte when its last bit would be through on the line.
class Pacing {
public:
    explicit Pacing(Time charTime) : m_charTime(charTime) {}

    /// Queues `frame` to start `pause` after `earliest` or, when something is queued already, `pause` behind
    /// that.
    void queue(const Bytes& frame, Time earliest, Time pause);

    /// Takes out the bytes that are through at `now`.
    Bytes due(Time now);

    /// When to ask again: when the next byte is through, but not more often than every millisecond within a
    /// frame.
    std::optional<Time> nextDue(Time now) const;

    /// Whether so much waits that a request cannot be taken any more: 32 frames or 4096 bytes. What is queued
    /// all the same goes out.
    bool isFull() const;

    /// Drops what is queued, for a new client.
    void clear();

private:
    struct Frame {
        Bytes bytes;
        Time start;
        std::size_t sent;
    };

    Time through(const Frame& frame, std::size_t byteCount) const;

    Time m_charTime;
    std::deque<Frame> m_frames;
    std::size_t m_waitingBytes = 0;
    Time m_lineFree{};
};

}  // namespace dx7sim

#endif

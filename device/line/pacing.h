/// \file
/// When each byte of a reply goes out.
#ifndef DX7_DEVICE_PACING_H
#define DX7_DEVICE_PACING_H

#include <deque>
#include <optional>

#include "device/line/device_time.h"
#include "device/line/frame.h"

namespace dx7sim {

/// The time behaviour of a serial line.
struct LineTiming {
    /// Of one character; 0 when bytes take no time.
    Time charTime{};
    /// Silence between a request and its reply: 3.5 characters, 1.75 ms above 19200 baud.
    Time turnaround{};

    /// `bitsPerChar` is 10 (one start, eight data, one stop bit) or 11 with parity or a second stop bit.
    static LineTiming ofBaud(int baud, int bitsPerChar);

    /// What is left of the turnaround when the device has worked for `work` in it.
    Time turnaroundAfter(Time work) const { return turnaround - (work < turnaround ? work : turnaround); }
};

/// Frames waiting to go out, one after the other, each byte when its last bit would be through on the line.
///
/// Replies go out in the order in which they are queued, so a late one holds up those after it. Echoes and
/// copies have times of their own and may go out between two replies. Two frames never mix: what is due while
/// another frame is on the line follows it, and an echo goes before a reply that is due at the same time.
///
/// It has no clock: times are handed in. One thread uses it.
class Pacing {
public:
    explicit Pacing(Time charTime) : charTime_(charTime) {}

    /// Queues `frame` to start `pause` after `earliest` or, when replies are queued already, `pause` after
    /// the last of them.
    void queue(const Bytes& frame, Time earliest, Time pause);

    /// Queues `bytes` that an adapter echoes as the line carries them from `begun` on. What would echo more
    /// than 4096 characters late is lost.
    void echo(const Bytes& bytes, Time begun);

    /// The same for a whole frame that is through on the line at `complete`.
    void echoWhole(const Bytes& frame, Time complete);

    /// Queues `frame` to start `pause` after the end of the last queued reply, whatever is queued later. Lost
    /// while copies and echoes of 1 MiB wait.
    void copy(const Bytes& frame, Time pause);

    /// Takes out the bytes that are through at `now`.
    Bytes due(Time now);

    /// When to ask again: when the next byte is through, but not more often than every millisecond within a
    /// frame.
    std::optional<Time> nextDue(Time now) const;

    /// Whether so many replies wait that a request cannot be taken any more: 32 frames or 4096 bytes. What is
    /// queued all the same goes out.
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
    void putAside(Frame frame);
    /// The frame that is on the line or the next one to be; there is one.
    bool asideIsNext() const;
    const Frame& next() const { return asideIsNext() ? aside_.front() : frames_.front(); }
    bool isEmpty() const { return frames_.empty() && aside_.empty(); }
    void moveAfter(Time end);

    Time charTime_;
    /// Replies, in the order of their starts.
    std::deque<Frame> frames_;
    /// Echoes and copies, in the order of their starts.
    std::deque<Frame> aside_;
    std::size_t waitingBytes_ = 0;
    std::size_t asideBytes_ = 0;
    /// When the last queued reply is through.
    Time lineFree_{};
    /// When the last queued echo is.
    Time echoFree_{};
    /// When the last frame that went out was.
    Time busyUntil_{};
};

}  // namespace dx7sim

#endif

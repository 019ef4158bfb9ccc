/// \file
/// Requests out of the bytes that arrive on a line.
#ifndef DX7_DEVICE_FRAMING_H
#define DX7_DEVICE_FRAMING_H

#include <optional>
#include <vector>

#include "device/line/device_time.h"
#include "device/line/frame.h"

namespace dx7sim {

/// A request and when its last byte was through on the line.
struct ReceivedFrame {
    Bytes bytes;
    Time complete{};
};

/// Cuts requests out of a stream of bytes. It has no clock: times are handed in and do not decrease. One
/// thread uses it.
///
/// A request of a known function code is complete as soon as the length that follows from its bytes is there
/// and its CRC is right: nothing is gained by waiting for silence on a line that has a scheduler in it.
/// Everything else is judged when the line has fallen silent: it is a request when it ends in a good CRC (a
/// function code of unknown length), else it is noise, which is dropped and counted; so reception always
/// starts afresh after a damaged request.
///
/// A Modbus/TCP request is complete with the last byte of the length in its head. What has no such head is
/// dropped with all that has come.
///
/// Bytes that arrive faster than the simulated line carries them count as still under way on it, up to 1024
/// characters: a client that floods the line does not put it off for hours.
class Framing {
public:
    /// `charTime`: how long one character takes on the simulated line, 0 when bytes take no time. `silence`:
    /// how long nothing must arrive for the line to count as silent.
    Framing(Time charTime, Time silence, Protocol protocol = Protocol::Rtu);

    /// Takes in bytes that arrived at `now` and returns the requests they complete.
    std::vector<ReceivedFrame> take(const Bytes& bytes, Time now);

    /// When silence has to be looked at; none while nothing is pending.
    std::optional<Time> deadline() const;

    /// The request that silence completes at `now`, if it does.
    std::optional<ReceivedFrame> silence(Time now);

    /// Forgets what is pending, for a new client.
    void reset();

    /// Bytes came that are no Modbus/TCP head, and the next request may begin anywhere. reset() ends that.
    bool isLost() const { return lost_; }

    /// Noise so far.
    std::size_t droppedBytes() const { return droppedBytes_; }

private:
    std::optional<std::size_t> wholeRequest();
    ReceivedFrame cut(std::size_t length);
    void drop();

    Time charTime_;
    Time silence_;
    Protocol protocol_;
    Bytes pending_;
    Time first_{};
    Time last_{};
    std::size_t droppedBytes_ = 0;
    bool lost_ = false;
};

}  // namespace dx7sim

#endif

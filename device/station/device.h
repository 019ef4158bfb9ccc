/// \file
/// The simulated stations of one line.
#ifndef DX7_DEVICE_DEVICE_H
#define DX7_DEVICE_DEVICE_H

#include <map>
#include <vector>

#include "device/station/engine.h"
#include "device/station/faults.h"
#include "device/station/notation.h"
#include "device/station/statistics.h"

namespace dx7sim {

/// How a frame takes its place among the others.
enum class Way {
    /// After the line's turnaround and the reply before it.
    InTurn,
    /// Counted from the end of the reply before it, whatever is sent in between.
    Copy,
    /// While the request arrives.
    Echo
};

/// A frame to send, `pause` later than its way says.
struct Outgoing {
    Bytes bytes;
    Time pause{};
    Way way = Way::InTurn;
};

/// The stations of one line: their values, the faults to make, and what was counted.
///
/// It has no clock, no thread and no line: every call gets the time since the device was switched on, and the
/// caller sends what handle() returns. All calls come from one thread.
class Device {
public:
    /// `stations` are 1..247 and not empty. Stations that `plan` silences but that are not simulated throw
    /// UsageError, and so do faults of a serial line for Modbus/TCP; std::runtime_error comes from the
    /// engine, which needs two descriptors. A late reply is `lateBy` late, the copy of a reply `copyAfter`
    /// after its end; with 0 it follows at once, before anything else.
    Device(const std::vector<int>& stations, const FaultPlan& plan, std::uint64_t seed, Time lateBy,
           Movement movement = Movement::Natural, Time copyAfter = Time(), Protocol protocol = Protocol::Rtu);

    Protocol protocol() const { return engine_.protocol(); }

    /// Carries out a whole frame of the protocol, of at least 4 bytes, and returns what goes back, usually
    /// one frame or none. An echo is among it only where not every byte is echoed. Throws std::system_error
    /// when the engine cannot be given the frame.
    std::vector<Outgoing> handle(const Bytes& frame, Time now);

    /// Counts a request that came while too many replies waited; nothing else becomes of it.
    void countOverrun() { ++statistics_.overruns; }

    /// Whether every byte that arrives is to be sent back at once, of a request or not.
    bool echoesEveryByte() const { return faults_.plan().shareOf(Fault::Echo) >= 1; }

    /// How long a request is worked at. It is the pause of the first reply to a request, too.
    Time delay() const { return faults_.plan().delay; }

    // The rest is the user's side. Each throws UsageError when the station is not simulated.

    /// Sets an item of one station, or of all.
    void set(const Target& target, std::uint16_t value, Time now);
    /// The item's value by station, for one station or for all.
    std::map<int, std::uint16_t> values(const Target& target, Time now) const;
    void setSilent(int station, bool silent);
    /// From now on faults are as often as in `plan`; what it says of silent stations adds to those. Those of
    /// a serial line are refused for Modbus/TCP.
    void setFaults(const FaultPlan& plan);

    std::vector<int> stations() const;
    const Statistics& statistics() const { return statistics_; }

private:
    struct Station {
        Model model;
        bool silent = false;
    };

    std::vector<Outgoing> echo(const Bytes& frame);
    std::vector<Outgoing> replies(const Bytes& frame, Time now);
    void broadcast(const Bytes& frame, Time now);
    std::vector<Outgoing> answer(const Bytes& frame, Model& model, StationStatistics& counts, Time now);
    Answer carryOut(const Bytes& frame, Model& model, StationStatistics& counts, Time now);
    std::vector<Outgoing> damaged(const Bytes& reply, const FaultDecision& decision) const;
    std::vector<Outgoing> doubled(const Bytes& reply) const;
    void count(Fault fault);
    void requireStation(int station) const;

    std::map<int, Station> stations_;
    Engine engine_;
    FaultInjector faults_;
    Time lateBy_;
    Time copyAfter_;
    /// To the request before; kept while replies are one request late.
    Bytes replyBefore_;
    Statistics statistics_;
};

}  // namespace dx7sim

#endif

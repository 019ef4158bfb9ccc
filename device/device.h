/// \file
/// The simulated stations behind one line.
#ifndef DX7_DEVICE_DEVICE_H
#define DX7_DEVICE_DEVICE_H

#include <map>
#include <vector>

#include "engine.h"
#include "faults.h"
#include "notation.h"
#include "statistics.h"

namespace dx7sim {

/// A frame to send, `pause` after the line's turnaround or after the frame before it.
struct Outgoing {
    Bytes bytes;
    Time pause{};
};

class Device {
public:
    /// `stations` are 1..247 and not empty. Stations that `plan` silences but that are not simulated throw
    /// UsageError. A late reply is `lateBy` late.
    Device(const std::vector<int>& stations, const FaultPlan& plan, std::uint64_t seed, Time lateBy,
           Movement movement = Movement::Natural);

    /// Carries out a whole frame of at least 4 bytes and returns what goes back, usually one frame or none.
    std::vector<Outgoing> handle(const Bytes& frame, Time now);

    /// Counts a request that came while too many replies waited; nothing else becomes of it.
    void countOverrun() { ++m_statistics.overruns; }

    // The rest is the user's side. Each throws UsageError when the station is not simulated.

    /// Sets an item of one station, or of all.
    void set(const Target& target, std::uint16_t value, Time now);
    /// The item's value by station, for one station or for all.
    std::map<int, std::uint16_t> values(const Target& target, Time now) const;
    void setSilent(int station, bool silent);
    /// From now on faults are as often as in `plan`; what it says of silent stations adds to those.
    void setFaults(const FaultPlan& plan);

    std::vector<int> stations() const;
    const Statistics& statistics() const { return m_statistics; }

private:
    struct Station {
        Model model;
        bool silent = false;
    };

    void broadcast(const Bytes& frame, Time now);
    std::vector<Outgoing> answer(const Bytes& frame, Model& model, StationStatistics& counts, Time now);
    std::vector<Outgoing> damaged(const Bytes& reply, const FaultDecision& decision) const;
    void requireStation(int station) const;

    std::map<int, Station> m_stations;
    Engine m_engine;
    FaultInjector m_faults;
    Time m_lateBy;
    Statistics m_statistics;
};

}  // namespace dx7sim

#endif

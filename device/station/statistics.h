/// \file
/// What the device saw and did.
#ifndef DX7_DEVICE_STATISTICS_H
#define DX7_DEVICE_STATISTICS_H

#include <array>
#include <cstddef>
#include <map>
#include <string>

#include "device/station/faults.h"

namespace dx7sim {

/// What one station counted since the start.
struct StationStatistics {
    /// By function code; those left unanswered included.
    std::map<int, std::size_t> requests;
    /// Replies by exception code; those made as faults not included.
    std::map<int, std::size_t> exceptions;
    /// Requests that came while the station was silent.
    std::size_t unanswered = 0;
};

/// What the device counted since the start.
struct Statistics {
    std::map<int, StationStatistics> stations;
    /// By function code.
    std::map<int, std::size_t> broadcasts;
    /// Requests to stations that are not simulated.
    std::size_t otherStations = 0;
    /// Whole frames that the engine did not take for requests.
    std::size_t refused = 0;
    /// Requests lost because too many replies waited.
    std::size_t overruns = 0;
    /// Faults made, in the order of Fault.
    std::array<std::size_t, FAULT_KINDS> faults{};
};

/// The summary shown at the end; several lines, each ended. `droppedBytes` arrived but belonged to no frame.
std::string summaryText(const Statistics& statistics, std::size_t droppedBytes);

}  // namespace dx7sim

#endif

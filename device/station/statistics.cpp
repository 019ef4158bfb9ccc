#include "device/station/statistics.h"

#include <sstream>

namespace dx7sim {

namespace {

std::size_t total(const std::map<int, std::size_t>& counts) {
    std::size_t sum = 0;
    for (const auto& entry : counts) {
        sum += entry.second;
    }
    return sum;
}

// " (FC 1: 5, FC 3: 2)", nothing for no counts.
std::string parts(const std::map<int, std::size_t>& counts, const std::string& label) {
    std::string text;
    for (const auto& entry : counts) {
        text += (text.empty() ? " (" : ", ") + label + " " + std::to_string(entry.first) + ": " +
                std::to_string(entry.second);
    }
    return text.empty() ? text : text + ")";
}

}  // namespace

std::string summaryText(const Statistics& statistics, std::size_t droppedBytes) {
    std::ostringstream out;
    for (const auto& [number, station] : statistics.stations) {
        out << "station " << number << ": " << total(station.requests) << " requests"
            << parts(station.requests, "FC") << ", " << total(station.exceptions) << " exceptions"
            << parts(station.exceptions, "code");
        if (station.unanswered != 0) {
            out << ", " << station.unanswered << " unanswered while silent";
        }
        out << '\n';
    }
    out << "broadcasts: " << total(statistics.broadcasts) << parts(statistics.broadcasts, "FC") << '\n';
    out << "not for us: " << statistics.otherStations << " requests to other stations, " << statistics.refused
        << " frames that are no requests, " << droppedBytes << " stray bytes\n";
    if (statistics.overruns != 0) {
        out << "overrun: " << statistics.overruns << " requests lost while replies waited\n";
    }
    out << "faults made:";
    for (std::size_t kind = 0; kind < FAULT_KINDS; ++kind) {
        out << (kind == 0 ? " " : ", ") << faultName(static_cast<Fault>(kind)) << " "
            << statistics.faults[kind];
    }
    out << '\n';
    return out.str();
}

}  // namespace dx7sim

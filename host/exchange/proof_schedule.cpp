#include "host/exchange/proof_schedule.h"

#include <algorithm>
#include <tuple>

namespace dx7 {

namespace {

constexpr qint64 PROOF_INTERVAL_US = 1000000;

// The poller queries a silent station itself, when its probe is due.
bool asksItself(const StationRecord& station, const QueryConditions& line, qint64 nowUs) {
    return !station.probed && station.mayAsk(line, nowUs);
}

}  // namespace

void ProofSchedule::querySent(int station, qint64 nowUs) {
    turn_ = station;
    queryUs_ = nowUs;
    queriedSince_ = true;
    // A station that was never proven is queried in the same cycle.
    const bool more = std::any_of(window_.held().begin(), window_.held().end(), [&](const auto& held) {
        const StationRecord& other = stations_.at(held.station);
        return held.station != station && !other.proven && other.queries == 0;
    });
    cycleEnded_ = cycleEnded_ && more;
}

// One query for each request at most, however much comes in between.
bool ProofSchedule::disturbedToAsk() const {
    return window_.disturbed() && disturbedStation_ && !queriedSince_;
}

bool ProofSchedule::proofDue(qint64 nowUs) const {
    const bool soon = (cycleEnded_ || window_.full()) && !window_.trusted();
    return finishing_ || soon || nowUs - queryUs_ >= PROOF_INTERVAL_US || introducing();
}

// A station has answered one query in its place, and was never proven.
bool ProofSchedule::introducing() const {
    return window_.newcomers() &&
           std::any_of(window_.held().begin(), window_.held().end(), [this](const auto& held) {
               const StationRecord& station = stations_.at(held.station);
               return !station.proven && station.provenKinds != 0 && station.queries == 0;
           });
}

std::optional<int> ProofSchedule::nextInTurn(const QueryConditions& line, qint64 nowUs) const {
    // Those that need answers of their own, then those that any answer proves; of either, the next in turn.
    std::optional<int> best;
    const auto rank = [this](int number) {
        return std::make_tuple(!stations_.at(number).needsOwn(), turn_ && number <= *turn_, number);
    };
    for (const ProofWindow::Held& held : window_.held()) {
        const StationRecord& station = stations_.at(held.station);
        const bool may = finishing_ ? station.mayAsk(line, nowUs) || station.queries > 0
                                    : asksItself(station, line, nowUs);
        if (may && (!best || rank(held.station) < rank(*best))) {
            best = held.station;
        }
    }
    return best;
}

std::optional<int> ProofSchedule::station(const QueryConditions& line, qint64 nowUs) const {
    for (const int number : stations_.asked()) {
        const StationRecord& station = stations_.at(number);
        if (station.owesData && asksItself(station, line, nowUs)) {
            return number;
        }
    }
    const bool needless = finishing_ && window_.empty();
    if (disturbedToAsk() && !needless && stations_.at(*disturbedStation_).mayAsk(line, nowUs)) {
        return disturbedStation_;
    }
    return !window_.empty() && proofDue(nowUs) ? nextInTurn(line, nowUs) : std::optional<int>();
}

DueUs ProofSchedule::dueUs(const QueryConditions& line, qint64 nowUs) const {
    DueUs dueUs;
    const auto consider = [&](DueUs timeUs) {
        if (timeUs && *timeUs > nowUs) {
            dueUs = sooner(dueUs, timeUs);
        }
    };
    const qint64 intervalUs = queryUs_ + PROOF_INTERVAL_US;
    for (const ProofWindow::Held& held : window_.held()) {
        const StationRecord& station = stations_.at(held.station);
        const DueUs mayUs = station.askUs(line);
        if (!mayUs || (station.probed && !finishing_)) {
            continue;
        }
        consider(std::max(intervalUs, *mayUs));
        if (*mayUs <= intervalUs) {
            // None is sooner, however many are held.
            break;
        }
    }
    for (const int number : stations_.asked()) {
        const StationRecord& station = stations_.at(number);
        if (station.owesData) {
            consider(std::max(station.owedUs + FORGET_US, stations_.forgetUs()));
            consider(station.probed ? DueUs() : station.askUs(line));
        }
        if (station.queries > 0) {
            consider(std::max(station.out[0].endUs + FORGET_US, stations_.forgetUs()));
        }
    }
    if (disturbedToAsk() && !finishing_) {
        consider(stations_.at(*disturbedStation_).askUs(line));
    }
    return dueUs;
}

}  // namespace dx7

/// \file
/// Which station is to be queried next, and when.
#ifndef DX7_HOST_PROOF_SCHEDULE_H
#define DX7_HOST_PROOF_SCHEDULE_H

#include <optional>

#include "host/exchange/proof_window.h"
#include "host/exchange/station_ledger.h"

namespace dx7 {

/// At once after a disturbance, to a station that owes a reply, and to one that has answered its first query;
/// at the end of each cycle until the line can be trusted; once a second while anything is held. The stations
/// take turns.
///
/// Kept in the LineBooks. Pure, for one thread: times are microseconds on the caller's clock; nothing of it
/// fails.
class ProofSchedule {
public:
    /// Both outlive it.
    ProofSchedule(const StationLedger& stations, const ProofWindow& window)
        : stations_(stations), window_(window) {}

    void cycleEnded() { cycleEnded_ = true; }
    /// What is held is to be proven as soon as nothing else is under way, or no longer.
    void setFinishing(bool finishing) { finishing_ = finishing; }
    bool finishing() const { return finishing_; }
    /// Something came in between; the station is asked whether that is over. Empty where none is known.
    void setDisturbed(std::optional<int> station) { disturbedStation_ = station; }
    void requestSent() { queriedSince_ = false; }
    void querySent(int station, qint64 nowUs);

    /// The station that is to be queried now; empty without one.
    std::optional<int> station(const QueryConditions& line, qint64 nowUs) const;
    /// When one that is not to be queried now will be, at the latest.
    DueUs dueUs(const QueryConditions& line, qint64 nowUs) const;
    /// The station that was queried last; empty before the first.
    std::optional<int> turn() const { return turn_; }
    /// When it was queried.
    qint64 queryUs() const { return queryUs_; }

private:
    bool proofDue(qint64 nowUs) const;
    bool introducing() const;
    std::optional<int> nextInTurn(const QueryConditions& line, qint64 nowUs) const;
    bool disturbedToAsk() const;

    const StationLedger& stations_;
    const ProofWindow& window_;
    bool cycleEnded_ = false;
    bool finishing_ = false;
    /// A query was sent after the last request.
    bool queriedSince_ = false;
    std::optional<int> disturbedStation_;
    std::optional<int> turn_;
    qint64 queryUs_ = 0;
};

}  // namespace dx7

#endif

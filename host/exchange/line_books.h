/// \file
/// What is known of the stations of one line and of their replies.
#ifndef DX7_HOST_LINE_BOOKS_H
#define DX7_HOST_LINE_BOOKS_H

#include <vector>

#include "host/exchange/exchange_note.h"
#include "host/exchange/proof_schedule.h"
#include "host/exchange/proof_window.h"
#include "host/exchange/station_ledger.h"

namespace dx7 {

/// The books of one line, shared by those who send and those who judge. Its owner is the line's Exchange; for
/// one thread. It stays where it is: its parts refer to each other.
struct LineBooks {
    LineBooks() = default;
    LineBooks(const LineBooks&) = delete;
    LineBooks& operator=(const LineBooks&) = delete;

    /// What each station was asked and owes.
    StationLedger stations;
    /// The replies that are held.
    ProofWindow window{stations};
    /// Whom to query when.
    ProofSchedule schedule{stations, window};
    /// What was met and not told yet.
    std::vector<ExchangeNote> notes;

    /// Adds a note; see there.
    void note(ExchangeNote::Kind kind, std::optional<int> station, qint64 afterUs = 0, int value = 0) {
        ExchangeNote met;
        met.kind = kind;
        met.station = station;
        met.afterUs = afterUs;
        met.value = value;
        notes.push_back(met);
    }
    /// The same of bytes without a valid CRC.
    void noteDamage(const ExchangeNote& met) { notes.push_back(met); }
};

}  // namespace dx7

#endif

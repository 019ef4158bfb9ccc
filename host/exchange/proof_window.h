/// \file
/// The replies that are held until they are proven, or found doubtful.
#ifndef DX7_HOST_PROOF_WINDOW_H
#define DX7_HOST_PROOF_WINDOW_H

#include <QtGlobal>
#include <optional>
#include <vector>

#include "host/exchange/station_ledger.h"

namespace dx7 {

/// Whether the reply with this ticket is proven to be the one to its request.
struct Settlement {
    quint64 ticket = 0;
    bool good = false;
};

/// A window begins with the proof before it and ends with the next one, or with the first thing that comes in
/// between: then everything in it is doubtful, and what is held from then on, too, up to the next proof.
///
/// Kept in the LineBooks. Pure, for one thread; it knows no time, and nothing of it fails.
class ProofWindow {
public:
    /// A reply that is held.
    struct Held {
        quint64 ticket = 0;
        /// Of its request.
        quint64 sequence = 0;
        int station = 0;
        /// Function code 7, asked for as data.
        bool status = false;
        /// The acknowledgement of code 5 or 6, which an echo could be.
        bool mirror = false;
        /// It came twice.
        bool confirmed = false;
        /// The kinds of query that were answered after it, in their place.
        unsigned kinds = 0;
        /// Their number.
        int answers = 0;
    };

    /// `stations` outlives it.
    explicit ProofWindow(StationLedger& stations) : stations_(stations) {}

    /// Holds the reply to the station's last request. Returns its ticket, 1 and up.
    quint64 hold(int number, bool refusal);
    const std::vector<Held>& held() const { return held_; }
    bool empty() const { return held_.empty(); }

    /// A query to the station was answered in its place. `alone`: no other query has that answer.
    void close(int number, const StatusQuery& query, bool alone, bool strangerNear);
    /// Something else came in between.
    void disturb();
    bool disturbed() const { return disturbed_; }
    /// The reply with this ticket came twice; or it and that to the request before are alike, and each reply
    /// since the last proof was that to an earlier request. Where each one came twice, none was: true.
    bool confirm(int number, std::optional<quint64> ticket);
    /// What the station's held replies are is known otherwise.
    void settleStation(int number, bool good);
    /// What is held is doubtful, and a new window begins.
    void reset();

    /// A reply of a station that was never proven is held.
    bool newcomers() const { return newcomers_; }
    /// Enough is held for a query of its own.
    bool full() const { return static_cast<int>(held_.size()) >= limit_; }
    /// The line was undisturbed for so long that a query now and then is enough.
    bool trusted() const;

    /// What was settled since this was called last, in the order of the tickets.
    const std::vector<Settlement>& settlements() const { return settlements_; }
    void clearSettlements() { settlements_.clear(); }

private:
    void settle(const Held& held, bool good);
    void settleAll(bool good);
    /// What an answer in its place says of a held reply.
    enum class Verdict { Good, Doubtful, Open };
    Verdict judge(Held& held, int number, const StatusQuery& query, bool strangerNear);
    void noteOldest();

    StationLedger& stations_;
    std::vector<Held> held_;
    std::vector<Settlement> settlements_;
    quint64 ticket_ = 0;
    /// Held is a reply of a station that was never proven.
    bool newcomers_ = false;
    bool disturbed_ = false;
    /// In which replies were held.
    int cleanWindows_ = 0;
    /// Since the last answer in its place.
    bool repliesCame_ = false;
    int limit_ = MOST_HELD;
    static constexpr int MOST_HELD = 1 << 20;
};

}  // namespace dx7

#endif

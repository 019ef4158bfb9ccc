#include "host/exchange/proof_window.h"

#include <algorithm>

#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr int CLEAN_WINDOWS = 3;

}  // namespace

quint64 ProofWindow::hold(int number, bool refusal) {
    StationRecord& station = stations_.at(number);
    const int function = byteAt(station.request, 1);
    const bool status = function == READ_EXCEPTION_STATUS;
    const bool mirror = !refusal && (function == 5 || function == 6);
    held_.push_back(Held{++ticket_, station.sequence, number, status, mirror, false, 0, 0});
    if (++station.held == 1) {
        station.oldestKinds = 0;
    }
    station.heldMirrors += mirror ? 1 : 0;
    if (!status) {
        station.otherSequence = station.sequence;
    }
    repliesCame_ = true;
    newcomers_ = newcomers_ || !station.proven;
    if (disturbed_) {
        settleAll(false);
    }
    return ticket_;
}

void ProofWindow::settle(const Held& held, bool good) {
    StationRecord& station = stations_.at(held.station);
    --station.held;
    station.heldMirrors -= held.mirror ? 1 : 0;
    settlements_.push_back(Settlement{held.ticket, good});
}

void ProofWindow::settleAll(bool good) {
    for (const Held& held : held_) {
        settle(held, good);
    }
    held_.clear();
    newcomers_ = false;
}

void ProofWindow::settleStation(int number, bool good) {
    std::size_t left = 0;
    for (const Held& held : held_) {
        if (held.station == number) {
            settle(held, good);
        } else {
            held_[left++] = held;
        }
    }
    held_.resize(left);
}

void ProofWindow::reset() {
    settleAll(false);
    disturbed_ = false;
    cleanWindows_ = 0;
}

void ProofWindow::disturb() {
    limit_ = std::max(std::min(limit_, static_cast<int>(held_.size())) / 2, 1);
    settleAll(false);
    disturbed_ = true;
    cleanWindows_ = 0;
}

bool ProofWindow::trusted() const {
    return cleanWindows_ >= CLEAN_WINDOWS && !newcomers_;
}

bool ProofWindow::confirm(int number, std::optional<quint64> ticket) {
    bool all = true;
    for (Held& held : held_) {
        held.confirmed = held.confirmed || held.ticket == ticket;
        all = all && (held.station != number || held.confirmed);
    }
    return all;
}

void ProofWindow::close(int number, const StatusQuery& query, bool alone, bool strangerNear) {
    StationRecord& proven = stations_.at(number);
    proven.statusData = false;
    if (!alone && strangerNear) {
        // Another master's query of the same kind has the same answer.
        settleAll(false);
        disturbed_ = false;
        return;
    }
    if (!alone && query.diagnostic && proven.diagnosticCounted) {
        // The refusal may be anybody's.
        disturbed_ = false;
        return;
    }
    proven.noteProof(query.kind());
    if (disturbed_) {
        disturbed_ = false;
        return;
    }
    if (proven.forgotten && !proven.mayAnswerDiagnostics()) {
        // So has the query that was forgotten.
        settleStation(number, false);
        return;
    }
    proven.forgotten = false;
    cleanWindows_ += repliesCame_ ? 1 : 0;
    repliesCame_ = false;
    limit_ = std::min(2 * limit_, MOST_HELD);
    std::size_t left = 0;
    for (Held& held : held_) {
        const Verdict verdict = judge(held, number, query, strangerNear);
        if (verdict == Verdict::Open) {
            held_[left++] = held;
        } else {
            settle(held, verdict == Verdict::Good);
        }
    }
    held_.resize(left);
    newcomers_ = std::any_of(held_.begin(), held_.end(),
                             [this](const Held& held) { return !stations_.at(held.station).proven; });
    noteOldest();
    proven.closedSequence = query.sequence;
}

void ProofWindow::noteOldest() {
    for (auto held = held_.rbegin(); held != held_.rend(); ++held) {
        stations_.at(held->station).oldestKinds = held->kinds;
    }
}

ProofWindow::Verdict ProofWindow::judge(Held& held, int number, const StatusQuery& query, bool strangerNear) {
    StationRecord& proven = stations_.at(number);
    StationRecord& holder = stations_.at(held.station);
    const bool mine = held.station == number;
    if (held.sequence >= query.sequence || (!mine && (held.mirror || holder.unproven))) {
        return Verdict::Open;
    }
    // The answer may be the reply to function code 7 that was asked for as data, unless a reply of another
    // kind came after that.
    if (mine && held.status && held.kinds == 0 && !query.diagnostic && proven.otherSequence < held.sequence) {
        if (!proven.mayAnswerDiagnostics() && held.sequence < proven.closedSequence) {
            return Verdict::Doubtful;
        }
        proven.statusData = true;
        return Verdict::Open;
    }
    held.kinds |= query.kind();
    ++held.answers;
    if (strangerNear) {
        // The counter alone tells; but where the acknowledgement may be an echo, so may the answer.
        return held.mirror && holder.mayAnswerStatus() ? Verdict::Doubtful : Verdict::Good;
    }
    if ((holder.kinds() & ~held.kinds) != 0) {
        return Verdict::Open;
    }
    holder.noteInStep(held.answers);
    return holder.established() ? Verdict::Good : Verdict::Open;
}

}  // namespace dx7

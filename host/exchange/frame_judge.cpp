#include "host/exchange/frame_judge.h"

#include <algorithm>

#include "host/exchange/reply_times.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

FrameJudge::FrameJudge(const LineSettings& settings, LineBooks& books, LineTraffic& traffic)
    : settings_(settings), books_(books), traffic_(traffic), copies_(operationTimeUs(settings)) {
    reply_.reserve(LONGEST_FRAME_BYTES);
    mismatch_.reserve(LONGEST_FRAME_BYTES);
}

void FrameJudge::begin() {
    damaged_ = false;
    reply_.resize(0);
    mismatch_.resize(0);
}

Verdict FrameJudge::judge(FrameStream::Kind kind, const UnderWay& underWay, qint64 nowUs) {
    const QByteArray& frame = traffic_.frame();
    if (kind == FrameStream::Kind::Frame) {
        return judgeFrame(underWay, nowUs);
    }
    if (kind == FrameStream::Kind::OtherId) {
        countOtherId(nowUs);
        return {};
    }
    if (kind == FrameStream::Kind::Echo) {
        books_.note(ExchangeNote::Echo, byteAt(frame, 0));
        books_.stations.at(byteAt(frame, 0)).takeEcho(frame);
        return {};
    }
    return takeDamage(kind, underWay);
}

Verdict FrameJudge::judgeFrame(const UnderWay& underWay, qint64 nowUs) {
    const QByteArray& frame = traffic_.frame();
    const bool echoes = traffic_.echo().echoes();
    const int number = byteAt(frame, 0);
    StationRecord& station = books_.stations.at(number);
    station.heardUs = nowUs;
    if (echoes && station.takeEcho(frame)) {
        books_.note(ExchangeNote::Echo, number);
        return {};
    }
    // Right after a frame like it, one is its copy.
    const bool copy = copies_.repeatsLast(frame, traffic_.sequence());
    const std::optional<int> index = copy ? std::nullopt : station.answeredQuery(frame, echoes);
    if (number > 0 && station.answersData(frame, echoes)) {
        return acceptData(number, underWay, nowUs);
    }
    if (number > 0 && index) {
        return acceptQuery(number, *index, underWay, nowUs);
    }
    if (traffic_.hasIds()) {
        return refuseUnderId(underWay);
    }
    putAside(underWay, nowUs);
    return {};
}

Verdict FrameJudge::acceptData(int number, const UnderWay& underWay, qint64 nowUs) {
    StationRecord& station = books_.stations.at(number);
    const qint64 afterUs = std::max<qint64>(nowUs - station.endUs, 0);
    const qint64 replyUs = lineTimeUs(settings_, station.expectLen);
    const bool inTime = afterUs <= timeoutUs(settings_) + replyUs;
    const bool current = underWay.present == number && !station.reported;
    station.owesData = false;
    const bool undisturbed = afterUs <= patienceUs(settings_, station) + replyUs &&
                             !books_.window.disturbed() && !strangerNear(nowUs);
    if (station.mayHaveSlipped(station.passQueries(undisturbed))) {
        disturb(number, underWay);
    }
    station.learnPace(afterUs);
    copies_.take(traffic_.frame(), traffic_.sequence(), nowUs);
    traffic_.echo().answered(station.sequence, repliesLikeItself(byteAt(station.request, 1)));
    if (!inTime) {
        station.doubt();
        station.disturbed = true;
        books_.note(ExchangeNote::Late, number, afterUs);
    }
    return current ? holdReply(number) : Verdict();
}

Verdict FrameJudge::holdReply(int number) {
    copyBytes(reply_, traffic_.frame());
    if (books_.stations.at(number).isDeaf()) {
        // Silence is the only proof that there is, and there was none.
        books_.window.settleStation(number, false);
    }
    Verdict verdict;
    verdict.refusal = (byteAt(reply_, 1) & EXCEPTION_BIT) != 0;
    verdict.ticket = books_.window.hold(number, verdict.refusal);
    copies_.setTicket(*verdict.ticket);
    if (traffic_.hasIds()) {
        books_.window.settleStation(number, true);
    }
    return verdict;
}

Verdict FrameJudge::acceptQuery(int number, int index, const UnderWay& underWay, qint64 nowUs) {
    Verdict verdict;
    const QByteArray& frame = traffic_.frame();
    StationRecord& station = books_.stations.at(number);
    const StatusQuery query = station.out[static_cast<std::size_t>(index)];
    const qint64 afterUs = std::max<qint64>(nowUs - query.endUs, 0);
    const int value = byteAt(frame, 2);
    const bool refusal = (byteAt(frame, 1) & EXCEPTION_BIT) != 0;
    books_.note(ExchangeNote::QueryAnswer, number, afterUs, refusal ? -value : query.diagnostic ? 0 : value);
    (query.diagnostic ? station.diagnosticAnswered : station.statusAnswered) = true;
    (query.diagnostic ? station.diagnosticPassed : station.statusPassed) = 0;
    if (query.diagnostic && station.noteCounted(!refusal)) {
        disturb(number, underWay);
    }
    station.learnPace(afterUs);
    traffic_.echo().answered(query.sequence, query.diagnostic);
    if (afterUs > operationTimeUs(settings_) && !station.mayAnswerDiagnostics()) {
        // It may be the answer to an earlier query like it.
        station.forgotten = true;
    }
    copies_.take(frame, traffic_.sequence(), nowUs);
    if (query.passed) {
        // The reply that came first was not that to the request after the query.
        disturb(number, underWay);
        if (!station.owesData) {
            station.owesData = station.reported = true;
        }
    }
    if (station.owesData && station.sequence < query.sequence) {
        station.owesData = false;
        verdict.lost = underWay.present == number && !station.reported;
    }
    if (station.mayHaveSlipped(station.dropQueries(query.sequence, !books_.window.disturbed()))) {
        disturb(number, underWay);
    }
    if (station.queries == 0) {
        books_.window.close(number, query, !refusal && query.diagnostic, strangerNear(nowUs));
        verdict.answered = number;
    }
    return verdict;
}

// Queries of another master, or their answers, came of late.
bool FrameJudge::strangerNear(qint64 nowUs) const {
    return strangerUs_ && nowUs - *strangerUs_ < FORGET_US;
}

QueryConditions FrameJudge::conditions() const {
    return QueryConditions{traffic_.echo().known(), strangerNear(traffic_.lastActivityUs())};
}

bool FrameJudge::needsSilence() const {
    const std::vector<int>& asked = books_.stations.asked();
    return std::any_of(asked.begin(), asked.end(), [this](int number) {
        return books_.stations.at(number).held > 0 && books_.stations.at(number).isDeaf();
    });
}

void FrameJudge::takeSilence() {
    for (const int number : books_.stations.asked()) {
        if (books_.stations.at(number).isDeaf()) {
            books_.window.settleStation(number, !books_.stations.at(number).disturbed);
        }
    }
}

// Frames that answer nothing.

void FrameJudge::putAside(const UnderWay& underWay, qint64 nowUs) {
    const QByteArray& frame = traffic_.frame();
    const int number = byteAt(frame, 0);
    if (copies_.repeatsLast(frame, traffic_.sequence())) {
        books_.note(ExchangeNote::Copy, number);
        if (!books_.window.confirm(number, copies_.absorb(nowUs))) {
            disturb(number, underWay);
        }
        return;
    }
    StationRecord& station = books_.stations.at(number);
    const int function = byteAt(frame, 1) & ~EXCEPTION_BIT;
    if (function == DIAGNOSTICS && station.queryUs > 0) {
        // It answers them, if too late.
        station.diagnosticAnswered = true;
    }
    if (number == underWay.present && byteAt(frame, 1) == underWay.function &&
        (underWay.reply || underWay.queried)) {
        copyBytes(mismatch_, frame);
    }
    if (copies_.recognise(frame, nowUs)) {
        books_.note(ExchangeNote::Copy, number);
    } else {
        const bool asked = station.wasAskedWith(byteAt(frame, 1));
        books_.note(asked ? ExchangeNote::Surplus : ExchangeNote::Foreign, number);
        if (function == READ_EXCEPTION_STATUS || function == DIAGNOSTICS) {
            strangerUs_ = nowUs;
        }
    }
    disturb(number, underWay);
}

// The reply came after its time-out, or answers no request.
void FrameJudge::countOtherId(qint64 nowUs) {
    const int number = byteAt(traffic_.frame(), 0);
    if (const std::optional<qint64> askedUs = traffic_.askedUs()) {
        // The next one is waited for as long.
        books_.stations.at(number).heardUs = nowUs;
        books_.stations.at(number).learnPace(nowUs - *askedUs);
        books_.note(ExchangeNote::Late, number, nowUs - *askedUs);
    } else {
        books_.note(ExchangeNote::Surplus, number);
    }
}

// It came under the id of what was asked, and does not answer that: nothing else will.
Verdict FrameJudge::refuseUnderId(const UnderWay& underWay) {
    const QByteArray& frame = traffic_.frame();
    const int number = byteAt(frame, 0);
    if (number == underWay.present && byteAt(frame, 1) == underWay.function) {
        copyBytes(mismatch_, frame);
    }
    books_.note(ExchangeNote::Surplus, number);
    Verdict verdict;
    verdict.damaged = true;
    return verdict;
}

Verdict FrameJudge::takeDamage(FrameStream::Kind kind, const UnderWay& underWay) {
    const QByteArray& frame = traffic_.frame();
    const bool like = kind == FrameStream::Kind::Damaged;
    ExchangeNote met;
    met.kind = like ? ExchangeNote::Damaged : ExchangeNote::Noise;
    met.station = like ? underWay.present : std::nullopt;
    met.value = frame.size();
    met.damage = like ? damageIn(frame, traffic_.awaited()) : Damage::Noise;
    met.awaited = traffic_.awaited().length;
    met.ofQuery = like && !underWay.reply;
    books_.noteDamage(met);
    if (underWay.reply && like) {
        keepDamaged(underWay.expectLen);
    }
    // Fewer bytes cannot be a damaged frame: a line picks them up between frames.
    if (frame.size() >= SHORTEST_FRAME_BYTES) {
        disturb(underWay.queried ? underWay.queried : underWay.present, underWay, !like);
    }
    if (underWay.queried && like && books_.stations.at(*underWay.queried).queries > 0) {
        books_.stations.at(*underWay.queried).newestQuery().damaged = true;
    }
    Verdict verdict;
    verdict.damaged = like;
    return verdict;
}

// The driver looks at the CRC alone: a frame whose own byte count belies it is kept from it.
void FrameJudge::keepDamaged(int expectLen) {
    const QByteArray& frame = traffic_.frame();
    const int length = std::min(frame.size(), expectLen);
    QByteArray& taken = endsWithCrc(frame, 0, length) ? mismatch_ : reply_;
    taken.resize(0);
    taken.append(frame.constData(), length);
    damaged_ = damaged_ || &taken == &reply_;
}

// Something else came in between; `more`: besides what was awaited, and not in place of it.
void FrameJudge::disturb(std::optional<int> number, const UnderWay& underWay, bool more) {
    if (traffic_.hasIds()) {
        return;
    }
    books_.window.disturb();
    copies_.suspect(std::min(timeoutUs(settings_) / 10, PIECE_GAP_US));
    // Nothing was asked of station 0 or of one that does not exist.
    const bool asked = number && *number > 0 && books_.stations.at(*number).functions != 0;
    const std::optional<int> other = underWay.present ? underWay.present : books_.schedule.turn();
    const std::optional<int> disturbed = asked ? number : other;
    books_.schedule.setDisturbed(disturbed);
    if (!disturbed) {
        return;
    }
    StationRecord& station = books_.stations.at(*disturbed);
    if (more) {
        station.disturb();
    } else {
        station.doubt();
    }
    station.disturbed = true;
}

}  // namespace dx7

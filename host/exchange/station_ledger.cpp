#include "host/exchange/station_ledger.h"

#include <algorithm>

namespace dx7 {

namespace {

// A query of one kind that is passed as often is not answered by the station.
constexpr int FEWEST_PASSED = 2;
// A program that ended before may have left a reply and the answers to two queries behind, one of each kind:
// in place of a third comes the reply to the first request of this one.
constexpr int ESTABLISHING_ANSWERS = 3;
// A station that refuses code 8 so often, though it has counted before, is another one now.
constexpr int CEASING_REFUSALS = 10;
constexpr qint64 PACE_MEMORY = 16;
// How often forget() looks.
constexpr qint64 FORGET_INTERVAL_US = 50000;

}  // namespace

bool repliesLikeItself(int function) {
    return function == 5 || function == 6 || function == DIAGNOSTICS;
}

void StationRecord::noteRequest(const QByteArray& frame, int replyBytes, quint64 number,
                                qint64 requestEndUs) {
    owesData = true;
    reported = echoed = false;
    copyBytes(request, frame);
    expectLen = replyBytes;
    endUs = owedUs = requestEndUs;
    sequence = number;
    statusData = statusData || byteAt(frame, 1) == READ_EXCEPTION_STATUS;
}

bool StationRecord::owesStatus() const {
    return std::any_of(out.begin(), out.begin() + queries,
                       [](const StatusQuery& query) { return !query.diagnostic; });
}

bool StationRecord::owesDiagnostic() const {
    return std::any_of(out.begin(), out.begin() + queries,
                       [](const StatusQuery& query) { return query.diagnostic; });
}

bool StationRecord::owesLike(const QByteArray& frame) const {
    return byteAt(frame, 1) == READ_EXCEPTION_STATUS && owesStatus();
}

int StationRecord::unpassed() const {
    return static_cast<int>(std::count_if(out.begin(), out.begin() + queries,
                                          [](const StatusQuery& query) { return !query.passed; }));
}

// The reply to a frame cannot come before its echo.
bool StationRecord::takeEcho(const QByteArray& frame) {
    if (owesData && !echoed && frame == request) {
        return echoed = true;
    }
    for (int i = 0; i < queries; ++i) {
        StatusQuery& query = out[static_cast<std::size_t>(i)];
        if (query.diagnostic && !query.echoed && byteAt(frame, 1) == DIAGNOSTICS &&
            wordAt(frame, 4) == query.counter) {
            return query.echoed = true;
        }
    }
    return false;
}

bool StationRecord::answersData(const QByteArray& frame, bool echoes) const {
    const int asked = byteAt(request, 1);
    const int function = byteAt(frame, 1);
    if (!owesData || (echoes && repliesLikeItself(asked) && !echoed)) {
        return false;
    }
    if (function == (asked | EXCEPTION_BIT)) {
        return frame.size() == EXCEPTION_FRAME_BYTES;
    }
    if (function != asked || frame.size() != expectLen) {
        return false;
    }
    if (isWriteFunction(asked)) {
        return frame.mid(ECHO_START, ECHO_BYTES) == request.mid(ECHO_START, ECHO_BYTES);
    }
    return asked == READ_EXCEPTION_STATUS || byteAt(frame, 2) == frame.size() - EXCEPTION_FRAME_BYTES;
}

std::optional<int> StationRecord::answeredQuery(const QByteArray& frame, bool echoes) const {
    const int function = byteAt(frame, 1);
    for (int i = 0; i < queries; ++i) {
        const StatusQuery& query = out[static_cast<std::size_t>(i)];
        const bool refusal =
            function == (query.function() | EXCEPTION_BIT) && frame.size() == EXCEPTION_FRAME_BYTES;
        const bool counted = wordAt(frame, 2) == 0 && wordAt(frame, 4) == query.counter;
        const bool echo = echoes && !query.echoed;
        const bool answer = function == query.function() && frame.size() == query.answerBytes() &&
                            (!query.diagnostic || (counted && !echo));
        if (refusal || answer) {
            return i;
        }
    }
    return {};
}

void StationRecord::addQuery(const StatusQuery& query) {
    diagnosticNext = !query.diagnostic;
    if (queries == static_cast<int>(out.size())) {
        std::copy(out.begin() + 1, out.end(), out.begin());
        --queries;
        disturb();
        forgotten = true;
    }
    out[static_cast<std::size_t>(queries++)] = query;
}

unsigned StationRecord::passQueries(bool count) {
    unsigned kinds = 0;
    for (int i = 0; i < queries; ++i) {
        StatusQuery& query = out[static_cast<std::size_t>(i)];
        if (query.sequence > sequence || query.passed) {
            continue;
        }
        query.passed = true;
        kinds |= query.damaged ? 0U : query.kind();
        (query.diagnostic ? diagnosticPassed : statusPassed) += count ? 1 : 0;
    }
    return kinds;
}

unsigned StationRecord::dropQueries(quint64 upTo, bool count) {
    unsigned kinds = 0;
    int left = 0;
    for (int i = 0; i < queries; ++i) {
        const StatusQuery query = out[static_cast<std::size_t>(i)];
        if (query.sequence > upTo) {
            out[static_cast<std::size_t>(left++)] = query;
        } else if (query.sequence < upTo && !query.passed) {
            kinds |= query.damaged ? 0U : query.kind();
            (query.diagnostic ? diagnosticPassed : statusPassed) += count ? 1 : 0;
        }
    }
    queries = left;
    return kinds;
}

bool StationRecord::mayHaveSlipped(unsigned missing) {
    const unsigned answered =
        (statusAnswered ? STATUS_QUERY : 0U) | (diagnosticAnswered ? DIAGNOSTIC_QUERY : 0U);
    missedKinds |= missing;
    const bool slipped = !diagnosticCounted && (missedKinds & answered) != 0;
    missedKinds &= ~answered;
    return slipped;
}

void StationRecord::learnPace(qint64 afterUs) {
    slowUs = std::max(afterUs, slowUs - (slowUs - afterUs) / PACE_MEMORY);
}

void StationRecord::doubt() {
    unproven = true;
    provenKinds = 0;
}

void StationRecord::disturb() {
    doubt();
    inStep = false;
}

void StationRecord::noteProof(QueryKind kind) {
    provenKinds |= kind;
    const bool enough = diagnosticCounted ? kind == DIAGNOSTIC_QUERY : (kinds() & ~provenKinds) == 0;
    if (enough && established()) {
        unproven = false;
        proven = true;
    }
}

// A refusal may be another's, or a gateway's that is busy.
bool StationRecord::noteCounted(bool counted) {
    refusedCounts = counted ? 0 : refusedCounts + 1;
    const bool ceases = diagnosticCounted && refusedCounts >= CEASING_REFUSALS;
    diagnosticCounted = counted || (diagnosticCounted && !ceases);
    return ceases;
}

void StationRecord::noteInStep(int answers) {
    if (!established() && answers >= ESTABLISHING_ANSWERS) {
        inStep = true;
        unproven = false;
        proven = true;
    }
}

unsigned StationRecord::kinds() const {
    return (mayAnswerStatus() ? STATUS_QUERY : 0U) | (mayAnswerDiagnostics() ? DIAGNOSTIC_QUERY : 0U);
}

bool StationRecord::answeredKindOfLast() const {
    return queries > 0 && newestQuery().diagnostic ? diagnosticAnswered : statusAnswered;
}

bool StationRecord::mayAnswerStatus() const {
    return statusAnswered || statusPassed < FEWEST_PASSED;
}

bool StationRecord::mayAnswerDiagnostics() const {
    return diagnosticAnswered || diagnosticPassed < FEWEST_PASSED;
}

bool StationRecord::useDiagnostic(const QueryConditions& line) const {
    if (!line.echoKnown || !mayAnswerDiagnostics()) {
        return false;
    }
    if (!mayAnswerStatus()) {
        return true;
    }
    // A reply to function code 7 that was asked for as data or by another master, or is owed, could pass for
    // the answer.
    if (statusData || owesStatus() || line.strangerNear) {
        return true;
    }
    // So would a refusal of code 8 for that of the next one.
    if (owesDiagnostic() && !diagnosticCounted) {
        return false;
    }
    return oldestKinds == STATUS_QUERY || (oldestKinds != DIAGNOSTIC_QUERY && diagnosticNext);
}

DueUs StationRecord::alikeUntilUs(const QueryConditions& line) const {
    if (!statusAnswered || useDiagnostic(line)) {
        return {};
    }
    const auto* const end = out.begin() + queries;
    const auto* const status =
        std::find_if(out.begin(), end, [](const StatusQuery& query) { return !query.diagnostic; });
    return status != end ? DueUs(status->endUs + FORGET_US) : DueUs();
}

DueUs StationRecord::askUs(const QueryConditions& line) const {
    if (isDeaf()) {
        return {};
    }
    return std::max(unpassed() > 0 ? queryUs + ASK_AGAIN_US : 0, alikeUntilUs(line).value_or(0));
}

void StationLedger::noteAsked(int number, qint64 endUs) {
    StationRecord& station = at(number);
    if (station.askedUs == 0 && number > 0) {
        asked_.push_back(number);
    }
    station.askedUs = endUs;
}

void StationLedger::reset() {
    for (StationRecord& station : stations_) {
        station.owesData = station.reported = false;
        station.queries = 0;
        station.disturb();
    }
}

void StationLedger::forget(qint64 nowUs, std::optional<int> awaited, std::optional<int> queried) {
    if (nowUs < forgetUs_) {
        return;
    }
    forgetUs_ = nowUs + FORGET_INTERVAL_US;
    for (const int number : asked_) {
        StationRecord& station = at(number);
        const bool waitedFor = number == awaited && !station.reported;
        if (station.owesData && !waitedFor && nowUs - station.owedUs >= FORGET_US) {
            station.owesData = false;
            station.disturb();
            station.forgotten = true;
        }
        while (number != queried && station.queries > 0 && nowUs - station.out[0].endUs >= FORGET_US) {
            station.dropQueries(station.out[0].sequence, false);
            station.disturb();
            station.forgotten = true;
        }
    }
}

}  // namespace dx7

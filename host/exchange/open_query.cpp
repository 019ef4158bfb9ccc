#include "host/exchange/open_query.h"

#include <algorithm>

#include "host/exchange/reply_times.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

void append16(QByteArray& bytes, int word) {
    bytes.append(static_cast<char>(word >> 8));
    bytes.append(static_cast<char>(word & 0xFF));
}

}  // namespace

OpenQuery::OpenQuery(const LineSettings& settings, LineBooks& books, LineTraffic& traffic)
    : settings_(settings), books_(books), traffic_(traffic) {
    bytes_.reserve(LONGEST_FRAME_BYTES);
}

void OpenQuery::open(int station, Purpose purpose) {
    station_ = station;
    purpose_ = purpose;
}

bool OpenQuery::close() {
    const bool test = echoTest_;
    plain_ = echoTest_ = false;
    return test;
}

bool OpenQuery::last() const {
    return books_.schedule.finishing() && purpose_ == Purpose::Proof && !plain_;
}

void OpenQuery::build(StatusQuery& query) {
    bytes_.resize(0);
    bytes_.append(static_cast<char>(station_));
    bytes_.append(static_cast<char>(query.function()));
    if (query.diagnostic) {
        query.counter = ++counter_;
        append16(bytes_, 0);
        append16(bytes_, query.counter);
    }
    appendCrc(bytes_);
}

void OpenQuery::send(const QueryConditions& line, qint64 nowUs) {
    StationRecord& asked = books_.stations.at(station_);
    StatusQuery query;
    // One that asks for the status is of the other kind only where its answer could not be told from one
    // owed.
    query.diagnostic = !echoTest_ && (!plain_ || asked.owesStatus()) && asked.useDiagnostic(line);
    build(query);
    asked.noteAskedWith(query.function());
    traffic_.send(bytes_, station_ > 0 && repliesLikeItself(query.function()), nowUs);
    query.endUs = traffic_.lastActivityUs();
    query.sequence = traffic_.sequence();
    books_.stations.noteAsked(station_, query.endUs);
    asked.addQuery(query);
    asked.queryUs = nowUs;
    books_.schedule.querySent(station_, nowUs);
    books_.note(ExchangeNote::Query, station_);
    traffic_.await(station_, query.function(), query.answerBytes());
}

qint64 OpenQuery::answerTimeUs() const {
    return lineTimeUs(settings_, record().newestQuery().answerBytes());
}

qint64 OpenQuery::deadlineUs(const OperationTime& operation, qint64 nowUs) const {
    const StationRecord& asked = record();
    const qint64 endUs = asked.newestQuery().endUs;
    const qint64 answerUs = endUs + patienceUs(settings_, asked);
    qint64 deadlineUs = operation.lastUs;
    switch (purpose_) {
        case Purpose::Resolve:
            deadlineUs = operation.others ? std::min(answerUs, deadlineUs) : deadlineUs;
            break;
        case Purpose::Precede:
            deadlineUs = operation.others || echoTest_ ? std::min(answerUs, std::max(deadlineUs, endUs))
                                                       : std::min(deadlineUs, asked.queryUs + ASK_AGAIN_US);
            break;
        case Purpose::Proof:
            deadlineUs = answerUs;
            // The last proof has the time of an operation, both kinds of query together.
            if (books_.schedule.finishing() && (asked.answeredKindOfLast() || asked.queries > 1)) {
                const qint64 firstUs = asked.answeredKindOfLast() ? endUs : asked.out[0].endUs;
                deadlineUs = std::max(deadlineUs, firstUs + operationTimeUs(settings_));
            }
            break;
    }
    return std::max(deadlineUs, nowUs);
}

bool OpenQuery::asksOtherwise(const QueryConditions& line) const {
    const StationRecord& asked = record();
    return asked.queries == 1 && !plain_ && !echoTest_ &&
           asked.useDiagnostic(line) != asked.out[0].diagnostic;
}

bool OpenQuery::asksAgain(const QueryConditions& line, const OperationTime& operation, qint64 nowUs) const {
    const StationRecord& asked = record();
    if (purpose_ == Purpose::Precede) {
        return asked.owesData && asked.mayAsk(line, nowUs) && nowUs < operation.lastUs;
    }
    return last() && asked.unpassed() == 1 && !asked.answeredKindOfLast();
}

std::optional<qint64> OpenQuery::echoAloneUntilUs(qint64 nowUs) const {
    const StationRecord& asked = record();
    if (!echoTest_ || !traffic_.echo().echoes() || asked.queries == 0) {
        return {};
    }
    const qint64 untilUs = asked.out[0].endUs + operationTimeUs(settings_);
    return nowUs < untilUs ? std::optional<qint64>(untilUs) : std::optional<qint64>();
}

}  // namespace dx7

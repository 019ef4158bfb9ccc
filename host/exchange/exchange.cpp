#include "host/exchange/exchange.h"

#include <algorithm>

#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr qint64 SECOND_US = 1000000;
constexpr int SILENT_TIMEOUTS = 10;
constexpr int SILENCE_ATTEMPTS = 20;
// A few are enough wherever anything can be proven.
constexpr int MOST_LAST_PROOFS = 100;

}  // namespace

Exchange::Exchange(const LineSettings& settings)
    : settings_(settings),
      traffic_(settings_),
      judge_(settings_, books_, traffic_),
      query_(settings_, books_, traffic_) {
    request_.reserve(LONGEST_FRAME_BYTES);
}

void Exchange::reset() {
    books_.window.reset();
    books_.stations.reset();
    traffic_.reset();
    phase_ = Phase::Idle;
    present_.reset();
    requestSent_ = false;
    end_.reset();
}

void Exchange::notSent() {
    requestSent_ = requestSent_ && !traffic_.carries(request_);
    if (phase_ == Phase::Query && traffic_.carries(query_.bytes())) {
        phase_ = Phase::Idle;
    }
}

// Time.

qint64 Exchange::clearUs() const {
    const qint64 gapUs = silentIntervalUs(settings_);
    // A line that never falls silent is used all the same.
    const qint64 latestUs = idleSinceUs_ + std::max(SECOND_US, SILENCE_ATTEMPTS * gapUs);
    return std::max(std::min(lastActivityUs() + gapUs, latestUs), judge_.copiesEndUs().value_or(0));
}

// When bytes that nothing awaits are the end of what they begin; empty without any.
DueUs Exchange::flushUs() const {
    if (!partial() || awaiting() || traffic_.hasIds()) {
        return {};
    }
    return lastActivityUs() + std::max(PIECE_GAP_US, silentIntervalUs(settings_));
}

// When the line has been silent for a time-out.
qint64 Exchange::silentUs() const {
    return lastActivityUs() + timeoutUs(settings_);
}

DueUs Exchange::nextDueUs() const {
    DueUs dueUs;
    if (phase_ == Phase::Waiting) {
        dueUs = clearUs();
    } else if (phase_ != Phase::Idle) {
        dueUs = deadlineUs_;
    } else if (judge_.needsSilence()) {
        dueUs = silentUs();
    }
    return sooner(dueUs, flushUs());
}

void Exchange::advance(qint64 nowUs) {
    books_.stations.forget(nowUs, phase_ != Phase::Idle ? present_ : std::nullopt, queried());
    if (const DueUs restUs = flushUs(); restUs && nowUs >= *restUs) {
        takePieces(true, nowUs);
    }
    if (phase_ == Phase::Idle && nowUs >= silentUs()) {
        judge_.takeSilence();
    }
    if (phase_ == Phase::Waiting) {
        sendWhenClear(nowUs);
    } else if (phase_ == Phase::Data && nowUs >= deadlineUs_) {
        onDataDeadline(nowUs);
    } else if (phase_ == Phase::Query && nowUs >= deadlineUs_) {
        onQueryDeadline(nowUs);
    } else if (phase_ == Phase::Pause && nowUs >= deadlineUs_) {
        takePieces(true, nowUs);
        rest(nowUs);
        end(ExchangeEnd::Broadcast);
    }
}

void Exchange::rest(qint64 nowUs) {
    phase_ = Phase::Idle;
    idleSinceUs_ = nowUs;
}

// Sending.

void Exchange::sendAt(Next next, qint64 nowUs) {
    next_ = next;
    phase_ = Phase::Waiting;
    idleSinceUs_ = nowUs;
    sendWhenClear(nowUs);
}

// What the line has not been given yet goes first.
void Exchange::sendWhenClear(qint64 nowUs) {
    if (nowUs < clearUs() || !output().isEmpty()) {
        return;
    }
    if (next_ == Next::Data) {
        sendData(nowUs);
    } else {
        sendQuery(nowUs);
    }
}

void Exchange::begin(const QByteArray& request, int expectLen, bool first, qint64 nowUs) {
    copyBytes(request_, request);
    expectLen_ = expectLen;
    requestSent_ = false;
    lastProofs_ = 0;
    judge_.begin();
    const int number = byteAt(request, 0);
    present_ = number > 0 ? std::optional<int>(number) : std::nullopt;
    if (first || operationUs_ == 0) {
        operationUs_ = nowUs;
        refused_ = false;
    }
    if (refused_) {
        end(ExchangeEnd::Refused);
        return;
    }
    StationRecord& asked = station(number);
    asked.noteAskedWith(byteAt(request, 1));
    if (nowUs - std::max(asked.heardUs, asked.askedUs) >= SILENT_TIMEOUTS * timeoutUs(settings_)) {
        asked.disturbed = false;
    }
    if (expectLen <= 0 || !present_) {
        sendData(nowUs);
        return;
    }
    if (asked.owesData || asked.owesLike(request)) {
        if (asked.queries == 0 || asked.mayAsk(conditions(), nowUs)) {
            beginQuery(number, Purpose::Precede, nowUs);
        } else if (others_) {
            end(ExchangeEnd::Owed);
        } else {
            awaitOwedQuery(number, Purpose::Precede, nowUs);
        }
        return;
    }
    const bool echoTest = !traffic_.echo().known() && repliesLikeItself(byteAt(request, 1));
    query_.setEchoTest(echoTest);
    if (echoTest) {
        beginQuery(number, Purpose::Precede, nowUs);
    } else {
        sendData(nowUs);
    }
}

void Exchange::sendData(qint64 nowUs) {
    const int number = byteAt(request_, 0);
    const int function = byteAt(request_, 1);
    const bool asLong = expectLen_ == request_.size() && traffic_.echo().known();
    traffic_.send(request_, asLong || (number > 0 && repliesLikeItself(function)), nowUs);
    books_.stations.noteAsked(number, lastActivityUs());
    requestSent_ = true;
    requestUs_ = nowUs;
    books_.schedule.requestSent();
    if (expectLen_ <= 0 || !present_) {
        phase_ = Phase::Pause;
        deadlineUs_ = lastActivityUs() + settings_.turnaroundMs * qint64(1000);
        return;
    }
    StationRecord& asked = station(number);
    asked.noteRequest(request_, expectLen_, traffic_.sequence(), lastActivityUs());
    traffic_.await(number, function, expectLen_);
    phase_ = Phase::Data;
    deadlineUs_ = lastActivityUs() + patienceUs(settings_, asked) + lineTimeUs(settings_, expectLen_);
}

// Waits for a query that is out already.
void Exchange::awaitOwedQuery(int number, Purpose purpose, qint64 nowUs) {
    query_.open(number, purpose);
    phase_ = Phase::Query;
    deadlineUs_ = query_.deadlineUs(operation(), nowUs);
}

void Exchange::beginQuery(int number, Purpose purpose, qint64 nowUs) {
    query_.open(number, purpose);
    sendAt(Next::Query, nowUs);
}

void Exchange::sendQuery(qint64 nowUs) {
    query_.send(conditions(), nowUs);
    phase_ = Phase::Query;
    deadlineUs_ = query_.deadlineUs(operation(), nowUs) + query_.answerTimeUs();
}

// Bytes in.

void Exchange::feed(const char* bytes, int count, qint64 nowUs) {
    if (count <= 0) {
        return;
    }
    traffic_.append(bytes, count, nowUs);
    takePieces(false, nowUs);
}

UnderWay Exchange::underWay() const {
    return UnderWay{present_, byteAt(request_, 1), expectLen_, phase_ == Phase::Data, queried()};
}

void Exchange::takePieces(bool last, qint64 nowUs) {
    while (const std::optional<FrameStream::Kind> kind = traffic_.take(last, nowUs)) {
        follow(judge_.judge(*kind, underWay(), nowUs), last, nowUs);
    }
}

void Exchange::follow(const Verdict& verdict, bool last, qint64 nowUs) {
    if (verdict.lost) {
        endWithoutReply();
    }
    if (verdict.ticket) {
        onReply(verdict, nowUs);
    } else if (verdict.answered) {
        onQueriesAnswered(*verdict.answered, nowUs);
    } else if (verdict.damaged && phase_ == Phase::Data && !last) {
        resolve(nowUs);
    } else if (verdict.damaged && phase_ == Phase::Query && query_.asksOtherwise(conditions())) {
        sendAt(Next::Query, nowUs);
    }
}

void Exchange::onReply(const Verdict& verdict, qint64 nowUs) {
    end(verdict.refusal ? ExchangeEnd::Exception : ExchangeEnd::Reply, verdict.ticket);
    if (phase_ == Phase::Data) {
        rest(nowUs);
        traffic_.awaitNothing();
    } else {
        query_.setAnswered();
    }
}

void Exchange::onQueriesAnswered(int number, qint64 nowUs) {
    if (queried() == number) {
        finishQuery(true, nowUs);
    } else if (phase_ == Phase::Waiting && next_ == Next::Query && query_.purpose() == Purpose::Resolve) {
        phase_ = Phase::Idle;
    }
}

// Time-outs.

// Up to `latestUs`, a frame that is coming is not cut.
bool Exchange::frameIsComing(qint64 latestUs, qint64 nowUs) {
    if (!partial() || traffic_.wholeUs() <= nowUs || nowUs >= latestUs) {
        return false;
    }
    deadlineUs_ = traffic_.wholeUs();
    return true;
}

void Exchange::onDataDeadline(qint64 nowUs) {
    if (frameIsComing(operation().lastUs, nowUs)) {
        return;
    }
    takePieces(true, nowUs);
    if (phase_ == Phase::Data) {
        resolve(nowUs);
    }
}

// The present request has no reply: a query tells whether one may still come.
void Exchange::resolve(qint64 nowUs) {
    StationRecord& asked = station(*present_);
    if (traffic_.hasIds()) {
        // Whatever comes for it later has its id.
        asked.owesData = false;
        traffic_.awaitNothing();
        rest(nowUs);
        endWithoutReply();
        return;
    }
    asked.doubt();
    asked.disturbed = true;
    if (asked.isDeaf()) {
        rest(nowUs);
        asked.owesData = false;
        if (!asked.reported) {
            endWithoutReply();
        }
    } else if (nowUs < asked.alikeUntilUs(conditions()).value_or(0)) {
        rest(nowUs);
        asked.reported = true;
        end(ExchangeEnd::Owed);
    } else {
        beginQuery(*present_, Purpose::Resolve, nowUs);
    }
}

void Exchange::onQueryDeadline(qint64 nowUs) {
    const qint64 latestUs = books_.schedule.queryUs() + operationTimeUs(settings_) + SECOND_US;
    if (frameIsComing(latestUs, nowUs)) {
        return;
    }
    takePieces(true, nowUs);
    // A damaged answer may have been followed by another query.
    if (phase_ != Phase::Query || deadlineUs_ > nowUs) {
        return;
    }
    if (const auto untilUs = query_.echoAloneUntilUs(nowUs)) {
        deadlineUs_ = *untilUs;
        return;
    }
    station(query_.station()).doubt();
    traffic_.echo().silent();
    if (query_.asksAgain(conditions(), operation(), nowUs)) {
        sendAt(Next::Query, nowUs);
        return;
    }
    if (query_.last()) {
        books_.window.settleStation(query_.station(), false);
    }
    finishQuery(false, nowUs);
}

void Exchange::finishQuery(bool answered, qint64 nowUs) {
    rest(nowUs);
    traffic_.awaitNothing();
    StationRecord& asked = station(query_.station());
    const bool test = query_.close();
    if (traffic_.hasIds()) {
        asked.queries = 0;
    }
    if (query_.purpose() == Purpose::Precede) {
        if (asked.owesData || asked.owesLike(request_)) {
            end(ExchangeEnd::Owed);
        } else if (test && !answered && echoes()) {
            refused_ = true;
            end(ExchangeEnd::Refused);
        } else {
            // The wait for the adapter's echo is none of the operation's time.
            operationUs_ = test ? nowUs : operationUs_;
            sendAt(Next::Data, nowUs);
        }
    } else if (query_.purpose() == Purpose::Resolve && asked.owesData && !asked.reported) {
        asked.reported = true;
        end(ExchangeEnd::Owed);
    }
}

// Nothing, or what came in place of the reply, is all that will come.
void Exchange::endWithoutReply() {
    end(judge_.damaged() ? ExchangeEnd::Damaged : ExchangeEnd::Nothing);
}

void Exchange::end(ExchangeEnd::Kind kind, std::optional<quint64> ticket) {
    end_ = ExchangeEnd{kind, ticket, requestSent_, requestUs_};
    requestSent_ = false;
}

std::optional<ExchangeEnd> Exchange::takeEnd() {
    std::optional<ExchangeEnd> taken;
    taken.swap(end_);
    return taken;
}

// Proof.

DueUs Exchange::askAgainUs(int number) const {
    const StationRecord& asked = books_.stations.at(number);
    return asked.queries > 0 ? DueUs(asked.queryUs + ASK_AGAIN_US) : DueUs();
}

void Exchange::prove(qint64 nowUs) {
    const std::optional<int> number = books_.schedule.station(conditions(), nowUs);
    if (!number) {
        return;
    }
    lastProofs_ = finishing() ? lastProofs_ + 1 : 0;
    if (lastProofs_ > MOST_LAST_PROOFS) {
        // However many are answered, they prove nothing.
        lastProofs_ = 0;
        books_.window.settleStation(*number, false);
        return;
    }
    const StationRecord& asked = station(*number);
    if (asked.queries > 0 && !asked.mayAsk(conditions(), nowUs)) {
        awaitOwedQuery(*number, Purpose::Proof, nowUs);
        return;
    }
    beginQuery(*number, Purpose::Proof, nowUs);
}

void Exchange::query(int number, qint64 nowUs) {
    const StationRecord& asked = station(number);
    query_.setPlain();
    present_ = number;
    operationUs_ = nowUs;
    if (asked.queries > 0 && nowUs - asked.queryUs < ASK_AGAIN_US) {
        query_.open(number, Purpose::Proof);
        phase_ = Phase::Query;
        deadlineUs_ = nowUs + patienceUs(settings_, asked);
        return;
    }
    beginQuery(number, Purpose::Proof, nowUs);
}

}  // namespace dx7

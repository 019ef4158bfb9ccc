#include "host/exchange/exchange.h"

#include <algorithm>
#include <cstring>

#include "host/exchange/frame_tap.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr qint64 SECOND_US = 1000000;
constexpr int SILENT_TIMEOUTS = 10;
constexpr int SILENCE_ATTEMPTS = 20;

// A copy that keeps its own memory.
void assign(QByteArray& to, const QByteArray& from) {
    to.resize(from.size());
    std::memcpy(to.data(), from.constData(), static_cast<std::size_t>(from.size()));
}

void append16(QByteArray& bytes, int word) {
    bytes.append(static_cast<char>(word >> 8));
    bytes.append(static_cast<char>(word & 0xFF));
}

}  // namespace

Exchange::Exchange(const LineSettings& settings)
    : settings_(settings),
      window_(stations_),
      schedule_(stations_, window_),
      copies_(boundUs()),
      echo_(settings.echo) {
    for (QByteArray* const bytes : {&output_, &frame_, &query_, &reply_, &request_, &mismatch_}) {
        bytes->reserve(LONGEST_FRAME_BYTES);
    }
}

void Exchange::reset() {
    window_.reset();
    stations_.reset();
    stream_.drop(stream_.buffer().size());
    stream_.await(0, 0, 0);
    output_.resize(0);
    phase_ = Phase::Idle;
    present_ = queried_ = 0;
    requestSent_ = false;
    end_.reset();
}

void Exchange::notSent() {
    requestSent_ = requestSent_ && output_ != request_;
    if (phase_ == Phase::Query && output_ == query_) {
        phase_ = Phase::Idle;
    }
}

// Time.

qint64 Exchange::boundUs() const {
    return qint64(std::max(settings_.retries, 1)) * settings_.timeoutMs * 1000;
}

qint64 Exchange::waitUs(const StationRecord& station) const {
    const qint64 timeoutUs = settings_.timeoutMs * qint64(1000);
    return std::min(std::max(timeoutUs, station.slowUs * 3 / 2), boundUs());
}

qint64 Exchange::clearUs() const {
    const qint64 gapUs = silentIntervalUs(settings_);
    // A line that never falls silent is used all the same.
    const qint64 latestUs = idleSinceUs_ + std::max(SECOND_US, SILENCE_ATTEMPTS * gapUs);
    return std::max(std::min(lastActivityUs_ + gapUs, latestUs), copies_.pauseEndUs(sequence_));
}

// When bytes that nothing awaits are the end of what they begin; empty without any.
DueUs Exchange::flushUs() const {
    if (stream_.isEmpty() || awaiting()) {
        return {};
    }
    return lastActivityUs_ + std::max(PIECE_GAP_US, silentIntervalUs(settings_));
}

DueUs Exchange::nextDueUs() const {
    DueUs dueUs;
    if (phase_ == Phase::Waiting) {
        dueUs = clearUs();
    } else if (phase_ != Phase::Idle) {
        dueUs = deadlineUs_;
    } else if (std::any_of(stations_.asked().begin(), stations_.asked().end(), [this](int number) {
                   return stations_.at(number).held > 0 && stations_.at(number).isDeaf();
               })) {
        dueUs = silentUs();
    }
    return sooner(dueUs, flushUs());
}

void Exchange::advance(qint64 nowUs) {
    stations_.forget(nowUs, phase_ != Phase::Idle ? present_ : 0, phase_ == Phase::Query ? queried_ : 0);
    if (const DueUs restUs = flushUs(); restUs && nowUs >= *restUs) {
        takePieces(true, nowUs);
    }
    if (phase_ == Phase::Idle && nowUs >= silentUs()) {
        settleDeaf();
    }
    if (phase_ == Phase::Waiting) {
        sendWhenClear(nowUs);
    } else if (phase_ == Phase::Data && nowUs >= deadlineUs_) {
        onDataDeadline(nowUs);
    } else if (phase_ == Phase::Query && nowUs >= deadlineUs_) {
        onQueryDeadline(nowUs);
    } else if (phase_ == Phase::Pause && nowUs >= deadlineUs_) {
        takePieces(true, nowUs);
        phase_ = Phase::Idle;
        idleSinceUs_ = nowUs;
        end(ExchangeEnd::Broadcast);
    }
}

// Sending.

void Exchange::transmit(const QByteArray& frame, qint64 nowUs) {
    assign(output_, frame);
    const int function = byteAt(frame, 1);
    const bool broadcast = byteAt(frame, 0) == 0;
    const bool asLong = &frame == &request_ && expectLen_ == frame.size() && echo_.known();
    const bool alike = (repliesLikeItself(function) && !broadcast) || asLong;
    stream_.sent(frame, echo_.look(function, alike));
    echo_.sent(++sequence_);
    lastActivityUs_ = nowUs + lineTimeUs(settings_, frame.size());
    stations_.noteAsked(byteAt(frame, 0), lastActivityUs_);
    if (tap_ != nullptr) {
        tap_->requestSent(frame, 0);
    }
}

void Exchange::sendAt(Next next, qint64 nowUs) {
    next_ = next;
    phase_ = Phase::Waiting;
    idleSinceUs_ = nowUs;
    sendWhenClear(nowUs);
}

// What the line has not been given yet goes first.
void Exchange::sendWhenClear(qint64 nowUs) {
    if (nowUs < clearUs() || !output_.isEmpty()) {
        return;
    }
    if (next_ == Next::Data) {
        sendData(nowUs);
    } else {
        sendQuery(nowUs);
    }
}

void Exchange::begin(const QByteArray& request, int expectLen, bool first, qint64 nowUs) {
    assign(request_, request);
    expectLen_ = expectLen;
    requestSent_ = false;
    damaged_ = false;
    reply_.resize(0);
    mismatch_.resize(0);
    present_ = byteAt(request, 0);
    if (first || operationUs_ == 0) {
        operationUs_ = nowUs;
        refused_ = false;
    }
    if (refused_) {
        end(ExchangeEnd::Refused);
        return;
    }
    StationRecord& station = stations_.at(present_);
    station.noteAskedWith(byteAt(request, 1));
    if (nowUs - std::max(station.heardUs, station.askedUs) >=
        qint64(SILENT_TIMEOUTS) * settings_.timeoutMs * 1000) {
        station.disturbed = false;
    }
    if (expectLen <= 0 || present_ == 0) {
        sendData(nowUs);
        return;
    }
    if (station.owesData || station.owesLike(request)) {
        if (station.queries == 0 || station.mayAsk(conditions(), nowUs)) {
            beginQuery(present_, Purpose::Precede, nowUs);
        } else if (others_) {
            end(ExchangeEnd::Owed);
        } else {
            awaitOwedQuery(present_, Purpose::Precede, nowUs);
        }
        return;
    }
    echoTest_ = !echo_.known() && repliesLikeItself(byteAt(request, 1));
    if (echoTest_) {
        beginQuery(present_, Purpose::Precede, nowUs);
    } else {
        sendData(nowUs);
    }
}

void Exchange::sendData(qint64 nowUs) {
    transmit(request_, nowUs);
    requestSent_ = true;
    requestUs_ = nowUs;
    schedule_.requestSent();
    if (expectLen_ <= 0 || present_ == 0) {
        phase_ = Phase::Pause;
        deadlineUs_ = lastActivityUs_ + settings_.turnaroundMs * qint64(1000);
        return;
    }
    StationRecord& station = stations_.at(present_);
    station.owesData = true;
    station.reported = station.echoed = false;
    assign(station.request, request_);
    station.expectLen = expectLen_;
    station.endUs = station.owedUs = lastActivityUs_;
    station.sequence = sequence_;
    station.statusData = station.statusData || byteAt(request_, 1) == READ_EXCEPTION_STATUS;
    stream_.await(present_, byteAt(request_, 1), expectLen_);
    phase_ = Phase::Data;
    deadlineUs_ = lastActivityUs_ + waitUs(station) + lineTimeUs(settings_, expectLen_);
}

// Waits for a query that is out already.
void Exchange::awaitOwedQuery(int number, Purpose purpose, qint64 nowUs) {
    queried_ = number;
    purpose_ = purpose;
    phase_ = Phase::Query;
    awaitQuery(stations_.at(number), nowUs);
}

void Exchange::beginQuery(int station, Purpose purpose, qint64 nowUs) {
    queried_ = station;
    purpose_ = purpose;
    sendAt(Next::Query, nowUs);
}

void Exchange::sendQuery(qint64 nowUs) {
    StationRecord& station = stations_.at(queried_);
    StatusQuery query;
    // One that asks for the status is of the other kind only where its answer could not be told from one
    // owed.
    query.diagnostic =
        !echoTest_ && (!plainQuery_ || station.owesStatus()) && station.useDiagnostic(conditions());
    query_.resize(0);
    query_.append(static_cast<char>(queried_));
    if (query.diagnostic) {
        query.counter = ++counter_;
        query_.append(static_cast<char>(DIAGNOSTICS));
        append16(query_, 0);
        append16(query_, query.counter);
    } else {
        query_.append(static_cast<char>(READ_EXCEPTION_STATUS));
    }
    appendCrc(query_);
    station.noteAskedWith(byteAt(query_, 1));
    transmit(query_, nowUs);
    query.endUs = lastActivityUs_;
    query.sequence = sequence_;
    station.addQuery(query);
    station.queryUs = nowUs;
    schedule_.querySent(queried_, nowUs);
    note(ExchangeNote::Query, queried_);
    const int answerBytes = query.diagnostic ? query_.size() : int(EXCEPTION_FRAME_BYTES);
    stream_.await(queried_, query.diagnostic ? DIAGNOSTICS : READ_EXCEPTION_STATUS, answerBytes);
    phase_ = Phase::Query;
    awaitQuery(station, nowUs);
    deadlineUs_ += lineTimeUs(settings_, answerBytes);
}

// How long the line waits for the answer to the query that is out.
void Exchange::awaitQuery(const StationRecord& station, qint64 nowUs) {
    const qint64 endUs = station.newestQuery().endUs;
    const qint64 lastUs = operationUs_ + boundUs();
    switch (purpose_) {
        case Purpose::Resolve:
            deadlineUs_ = others_ ? std::min(endUs + waitUs(station), lastUs) : lastUs;
            break;
        case Purpose::Precede:
            deadlineUs_ = others_ || echoTest_ ? std::min(endUs + waitUs(station), std::max(lastUs, endUs))
                                               : std::min(lastUs, station.queryUs + ASK_AGAIN_US);
            break;
        case Purpose::Proof:
            deadlineUs_ = endUs + waitUs(station);
            // The last proof has the time of an operation, both kinds of query together.
            if (schedule_.finishing() && (station.answeredKindOfLast() || station.queries > 1)) {
                const qint64 firstUs = station.answeredKindOfLast() ? endUs : station.out[0].endUs;
                deadlineUs_ = std::max(deadlineUs_, firstUs + boundUs());
            }
            break;
    }
    deadlineUs_ = std::max(deadlineUs_, nowUs);
}

// Bytes in.

void Exchange::feed(const char* bytes, int count, qint64 nowUs) {
    if (count <= 0) {
        return;
    }
    stream_.append(bytes, count);
    lastActivityUs_ = nowUs;
    takePieces(false, nowUs);
}

void Exchange::takePieces(bool last, qint64 nowUs) {
    FrameStream::Piece piece;
    while (last ? stream_.last(&piece) : stream_.next(&piece)) {
        frame_.resize(0);
        frame_.append(stream_.buffer().constData(), piece.length);
        stream_.drop(piece.length);
        switch (piece.kind) {
            case FrameStream::Kind::Echo:
                note(ExchangeNote::Echo, byteAt(frame_, 0));
                stations_.at(byteAt(frame_, 0)).takeEcho(frame_);
                echo_.echoed();
                stream_.sent(QByteArray(), FrameStream::EchoLook::None);
                break;
            case FrameStream::Kind::Frame:
                onFrame(nowUs);
                break;
            default:
                noteDamage(piece.kind, last, nowUs);
        }
    }
}

void Exchange::onFrame(qint64 nowUs) {
    if (tap_ != nullptr) {
        tap_->frameReceived(frame_, std::max<qint64>(nowUs - lastActivityUs_, 0));
    }
    const int number = byteAt(frame_, 0);
    StationRecord& station = stations_.at(number);
    station.heardUs = nowUs;
    if (echoes() && station.takeEcho(frame_)) {
        note(ExchangeNote::Echo, number);
        return;
    }
    // Right after a frame like it, one is its copy.
    const bool copy = copies_.repeatsLast(frame_, sequence_);
    const int index = copy ? -1 : station.answeredQuery(frame_, echoes());
    if (number > 0 && station.answersData(frame_, echoes())) {
        acceptData(number, nowUs);
    } else if (number > 0 && index >= 0) {
        acceptQuery(number, index, nowUs);
    } else {
        putAside(nowUs);
    }
}

void Exchange::acceptData(int number, qint64 nowUs) {
    StationRecord& station = stations_.at(number);
    const qint64 afterUs = std::max<qint64>(nowUs - station.endUs, 0);
    const bool inTime =
        afterUs <= settings_.timeoutMs * qint64(1000) + lineTimeUs(settings_, station.expectLen);
    const bool current = present_ == number && !station.reported;
    station.owesData = false;
    const qint64 patienceUs = waitUs(station) + lineTimeUs(settings_, station.expectLen);
    const bool undisturbed = afterUs <= patienceUs && !window_.disturbed() && !strangerNear(nowUs);
    if (station.mayHaveSlipped(station.passQueries(undisturbed))) {
        disturb(number);
    }
    station.learnPace(afterUs);
    copies_.take(frame_, sequence_, nowUs);
    echo_.answered(station.sequence, repliesLikeItself(byteAt(station.request, 1)));
    if (!inTime) {
        station.doubt();
        station.disturbed = true;
        note(ExchangeNote::Late, number, afterUs);
    }
    if (!current) {
        return;
    }
    assign(reply_, frame_);
    if (station.isDeaf()) {
        // Silence is the only proof that there is, and there was none.
        window_.settleStation(number, false);
    }
    const bool refusal = (byteAt(frame_, 1) & EXCEPTION_BIT) != 0;
    const quint64 ticket = window_.hold(number, refusal);
    copies_.setTicket(ticket);
    end(refusal ? ExchangeEnd::Exception : ExchangeEnd::Reply, ticket);
    if (phase_ == Phase::Data) {
        phase_ = Phase::Idle;
        idleSinceUs_ = nowUs;
        stream_.await(0, 0, 0);
    } else {
        purpose_ = Purpose::Proof;
    }
}

void Exchange::acceptQuery(int number, int index, qint64 nowUs) {
    StationRecord& station = stations_.at(number);
    const StatusQuery query = station.out[static_cast<std::size_t>(index)];
    const qint64 afterUs = std::max<qint64>(nowUs - query.endUs, 0);
    const int value = byteAt(frame_, 2);
    const bool refusal = (byteAt(frame_, 1) & EXCEPTION_BIT) != 0;
    note(ExchangeNote::QueryAnswer, number, afterUs, refusal ? -value : query.diagnostic ? 0 : value);
    (query.diagnostic ? station.diagnosticAnswered : station.statusAnswered) = true;
    (query.diagnostic ? station.diagnosticPassed : station.statusPassed) = 0;
    if (query.diagnostic && station.noteCounted(!refusal)) {
        disturb(number);
    }
    station.learnPace(afterUs);
    echo_.answered(query.sequence, query.diagnostic);
    if (afterUs > boundUs() && !station.mayAnswerDiagnostics()) {
        // It may be the answer to an earlier query like it.
        station.forgotten = true;
    }
    copies_.take(frame_, sequence_, nowUs);
    if (query.passed) {
        // The reply that came first was not that to the request after the query.
        disturb(number);
        if (!station.owesData) {
            station.owesData = station.reported = true;
        }
    }
    if (station.owesData && station.sequence < query.sequence) {
        loseData(number);
    }
    if (station.mayHaveSlipped(station.dropQueries(query.sequence, !window_.disturbed()))) {
        disturb(number);
    }
    if (station.queries == 0) {
        window_.close(number, query, !refusal && query.diagnostic, strangerNear(nowUs));
        if (phase_ == Phase::Query && queried_ == number) {
            finishQuery(true, nowUs);
        } else if (phase_ == Phase::Waiting && next_ == Next::Query && purpose_ == Purpose::Resolve) {
            phase_ = Phase::Idle;
        }
    }
}

void Exchange::loseData(int number) {
    StationRecord& station = stations_.at(number);
    station.owesData = false;
    if (present_ == number && !station.reported) {
        end(damaged_ ? ExchangeEnd::Damaged : ExchangeEnd::Nothing);
    }
}

// Queries of another master, or their answers, came of late.
bool Exchange::strangerNear(qint64 nowUs) const {
    return strangerUs_ && nowUs - *strangerUs_ < FORGET_US;
}

// When the line has been silent for a time-out.
qint64 Exchange::silentUs() const {
    return lastActivityUs_ + settings_.timeoutMs * qint64(1000);
}

// Silence is the only proof for stations that answer no query.
void Exchange::settleDeaf() {
    for (const int number : stations_.asked()) {
        if (stations_.at(number).isDeaf()) {
            window_.settleStation(number, !stations_.at(number).disturbed);
        }
    }
}

QueryConditions Exchange::conditions() const {
    return QueryConditions{echo_.known(), strangerNear(lastActivityUs_)};
}

// Frames that answer nothing.

void Exchange::putAside(qint64 nowUs) {
    const int number = byteAt(frame_, 0);
    if (copies_.repeatsLast(frame_, sequence_)) {
        note(ExchangeNote::Copy, number);
        if (!window_.confirm(number, copies_.absorb(nowUs))) {
            disturb(number);
        }
        return;
    }
    StationRecord& station = stations_.at(number);
    const int function = byteAt(frame_, 1) & ~EXCEPTION_BIT;
    if (function == DIAGNOSTICS && station.queryUs > 0) {
        // It answers them, if too late.
        station.diagnosticAnswered = true;
    }
    if (number == present_ && byteAt(frame_, 1) == byteAt(request_, 1) && awaiting()) {
        assign(mismatch_, frame_);
    }
    if (copies_.recognise(frame_, nowUs)) {
        note(ExchangeNote::Copy, number);
    } else {
        note(station.wasAskedWith(byteAt(frame_, 1)) ? ExchangeNote::Surplus : ExchangeNote::Foreign, number);
        if (function == READ_EXCEPTION_STATUS || function == DIAGNOSTICS) {
            strangerUs_ = nowUs;
        }
    }
    disturb(number);
}

void Exchange::noteDamage(FrameStream::Kind kind, bool last, qint64 nowUs) {
    echo_.strayed();
    const bool like = kind == FrameStream::Kind::Damaged;
    note(like ? ExchangeNote::Damaged : ExchangeNote::Noise, like ? present_ : 0, 0, frame_.size());
    if (tap_ != nullptr) {
        tap_->frameReceived(frame_, std::max<qint64>(nowUs - lastActivityUs_, 0));
    }
    if (phase_ == Phase::Data && like) {
        takeDamaged();
    }
    // Fewer bytes cannot be a damaged frame: a line picks them up between frames.
    if (frame_.size() >= SHORTEST_FRAME_BYTES) {
        disturb(phase_ == Phase::Query ? queried_ : present_, !like);
    }
    if (phase_ == Phase::Query && like && stations_.at(queried_).queries > 0) {
        stations_.at(queried_).newestQuery().damaged = true;
    }
    if (phase_ == Phase::Data && like && !last) {
        resolve(nowUs);
    } else if (phase_ == Phase::Query && like) {
        askOtherwise(nowUs);
    }
}

// The answer to the query came damaged: the other kind of query may tell, unless that is out, too.
void Exchange::askOtherwise(qint64 nowUs) {
    const StationRecord& station = stations_.at(queried_);
    if (station.queries == 1 && !plainQuery_ && !echoTest_ &&
        station.useDiagnostic(conditions()) != station.out[0].diagnostic) {
        sendAt(Next::Query, nowUs);
    }
}

// The driver looks at the CRC alone: a frame whose own byte count belies it is kept from it.
void Exchange::takeDamaged() {
    const int length = std::min(frame_.size(), expectLen_);
    QByteArray& taken = endsWithCrc(frame_, 0, length) ? mismatch_ : reply_;
    taken.resize(0);
    taken.append(frame_.constData(), length);
    damaged_ = damaged_ || &taken == &reply_;
}

// Something else came in between; `more`: besides what was awaited, and not in place of it.
void Exchange::disturb(int number, bool more) {
    window_.disturb();
    const int other = present_ > 0 ? present_ : schedule_.turn();
    // Nothing was asked of station 0 or of one that does not exist.
    const int disturbed = stations_.at(number).functions != 0 && number > 0 ? number : other;
    schedule_.setDisturbed(disturbed);
    StationRecord& station = stations_.at(disturbed);
    if (more) {
        station.disturb();
    } else {
        station.doubt();
    }
    station.disturbed = true;
    copies_.suspect(std::min(settings_.timeoutMs * qint64(100), PIECE_GAP_US));
}

// Time-outs.

bool Exchange::replyIsComing(qint64 nowUs) {
    const qint64 nextUs = lastActivityUs_ + PIECE_GAP_US + lineTimeUs(settings_, stream_.missing());
    if (stream_.isEmpty() || nextUs <= nowUs || nowUs >= operationUs_ + boundUs()) {
        return false;
    }
    deadlineUs_ = nextUs;
    return true;
}

void Exchange::onDataDeadline(qint64 nowUs) {
    if (replyIsComing(nowUs)) {
        return;
    }
    takePieces(true, nowUs);
    if (phase_ == Phase::Data) {
        resolve(nowUs);
    }
}

// The present request has no reply: a query tells whether one may still come.
void Exchange::resolve(qint64 nowUs) {
    StationRecord& station = stations_.at(present_);
    station.doubt();
    station.disturbed = true;
    if (station.isDeaf()) {
        phase_ = Phase::Idle;
        idleSinceUs_ = nowUs;
        loseData(present_);
    } else if (nowUs < station.alikeUntilUs(conditions())) {
        phase_ = Phase::Idle;
        idleSinceUs_ = nowUs;
        station.reported = true;
        end(ExchangeEnd::Owed);
    } else {
        beginQuery(present_, Purpose::Resolve, nowUs);
    }
}

void Exchange::onQueryDeadline(qint64 nowUs) {
    // A frame that is coming is not cut.
    const qint64 nextUs = lastActivityUs_ + PIECE_GAP_US + lineTimeUs(settings_, stream_.missing());
    if (!stream_.isEmpty() && nextUs > nowUs && nowUs < schedule_.queryUs() + boundUs() + SECOND_US) {
        deadlineUs_ = nextUs;
        return;
    }
    takePieces(true, nowUs);
    // A damaged answer may have been followed by another query.
    if (phase_ != Phase::Query || deadlineUs_ > nowUs) {
        return;
    }
    StationRecord& station = stations_.at(queried_);
    // Only the echo came: what follows from that is far-reaching, so the reply has the time of an operation.
    const qint64 longestUs = station.queries > 0 ? station.out[0].endUs + boundUs() : 0;
    if (echoTest_ && echoes() && nowUs < longestUs) {
        deadlineUs_ = longestUs;
        return;
    }
    station.doubt();
    echo_.silent();
    if (purpose_ == Purpose::Precede && station.owesData && station.mayAsk(conditions(), nowUs) &&
        nowUs < operationUs_ + boundUs()) {
        sendAt(Next::Query, nowUs);
        return;
    }
    if (schedule_.finishing() && purpose_ == Purpose::Proof && !plainQuery_) {
        if (station.unpassed() == 1 && !station.answeredKindOfLast()) {
            sendAt(Next::Query, nowUs);
            return;
        }
        window_.settleStation(queried_, false);
    }
    finishQuery(false, nowUs);
}

void Exchange::finishQuery(bool answered, qint64 nowUs) {
    phase_ = Phase::Idle;
    idleSinceUs_ = nowUs;
    plainQuery_ = false;
    stream_.await(0, 0, 0);
    StationRecord& station = stations_.at(queried_);
    const bool test = echoTest_;
    echoTest_ = false;
    if (purpose_ == Purpose::Precede) {
        if (station.owesData || station.owesLike(request_)) {
            end(ExchangeEnd::Owed);
        } else if (test && !answered && echoes()) {
            refused_ = true;
            end(ExchangeEnd::Refused);
        } else {
            // The wait for the adapter's echo is none of the operation's time.
            operationUs_ = test ? nowUs : operationUs_;
            sendAt(Next::Data, nowUs);
        }
    } else if (purpose_ == Purpose::Resolve && station.owesData && !station.reported) {
        station.reported = true;
        end(ExchangeEnd::Owed);
    }
}

void Exchange::end(ExchangeEnd::Kind kind, quint64 ticket) {
    end_ = ExchangeEnd{kind, ticket, requestSent_, requestUs_};
    requestSent_ = false;
}

std::optional<ExchangeEnd> Exchange::takeEnd() {
    std::optional<ExchangeEnd> taken;
    taken.swap(end_);
    return taken;
}

// Proof.

// They take turns.
qint64 Exchange::askAgainUs(int number) const {
    const StationRecord& station = stations_.at(number);
    return station.queries > 0 ? station.queryUs + ASK_AGAIN_US : 0;
}

void Exchange::prove(qint64 nowUs) {
    const int number = schedule_.station(conditions(), nowUs);
    if (number == 0) {
        return;
    }
    StationRecord& station = stations_.at(number);
    if (station.queries > 0 && !station.mayAsk(conditions(), nowUs)) {
        awaitOwedQuery(number, Purpose::Proof, nowUs);
        return;
    }
    beginQuery(number, Purpose::Proof, nowUs);
}

void Exchange::query(int number, qint64 nowUs) {
    StationRecord& station = stations_.at(number);
    plainQuery_ = true;
    present_ = number;
    operationUs_ = nowUs;
    if (station.queries > 0 && nowUs - station.queryUs < ASK_AGAIN_US) {
        queried_ = number;
        purpose_ = Purpose::Proof;
        phase_ = Phase::Query;
        deadlineUs_ = nowUs + waitUs(station);
        return;
    }
    beginQuery(number, Purpose::Proof, nowUs);
}

void Exchange::note(ExchangeNote::Kind kind, int station, qint64 afterUs, int value) {
    notes_.push_back(ExchangeNote{kind, station, afterUs, value});
}

}  // namespace dx7

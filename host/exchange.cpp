#include "exchange.h"

#include <algorithm>
#include <cstring>

#include "frame_tap.h"
#include "rtu_frame.h"

namespace dx7 {

namespace {

enum {
    HIGHEST_STATION = 247,
    CLEAN_WINDOWS = 3,
    FEWEST_PASSED = 2,
    PATIENT_REPLIES = 20,
    MOST_WINDOW = 1 << 20
};

const qint64 SECOND_US = 1000000;
const qint64 PROOF_INTERVAL_US = SECOND_US;
const qint64 ASK_AGAIN_US = 3 * SECOND_US;
const qint64 FORGET_US = 10 * SECOND_US;
// Bytes of one reply do not lie further apart, whatever carries them.
const qint64 PIECE_GAP_US = 50000;
const qint64 COPY_SLACK_US = 5000;
const int SILENT_TIMEOUTS = 10;
const qint64 PACE_MEMORY = 16;
const int SILENCE_ATTEMPTS = 20;

// A copy that keeps its own memory.
void assign(QByteArray& to, const QByteArray& from) {
    to.resize(from.size());
    std::memcpy(to.data(), from.constData(), static_cast<std::size_t>(from.size()));
}

void append16(QByteArray& bytes, int word) {
    bytes.append(static_cast<char>(word >> 8));
    bytes.append(static_cast<char>(word & 0xFF));
}

// The reply of these may be the request itself.
bool repliesLikeItself(int function) {
    return function == 5 || function == 6 || function == DIAGNOSTICS;
}

}  // namespace

Exchange::Exchange(const LineSettings& settings)
    : settings_(settings), stations_(256), echo_(knownEcho(settings.echo)), windowLimit_(MOST_WINDOW) {
    for (QByteArray* const bytes : {&output_, &frame_, &query_, &reply_, &request_, &mismatch_}) {
        bytes->reserve(LONGEST_FRAME_BYTES);
    }
    for (Accepted& accepted : accepted_) {
        accepted.frame.reserve(LONGEST_FRAME_BYTES);
    }
}

Exchange::Echo Exchange::knownEcho(EchoMode mode) {
    return mode == EchoMode::Auto ? Echo::Unknown : mode == EchoMode::On ? Echo::Yes : Echo::No;
}

void Exchange::reset() {
    settleAll(false);
    for (Station& station : stations_) {
        station.owesData = station.reported = false;
        station.queries = 0;
        station.unproven = true;
    }
    stream_.drop(stream_.buffer().size());
    stream_.await(0, 0, 0);
    output_.resize(0);
    phase_ = Phase::Idle;
    present_ = queried_ = 0;
    requestSent_ = false;
    end_.reset();
    dirty_ = false;
    cleanWindows_ = 0;
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

qint64 Exchange::waitUs(const Station& station) const {
    const qint64 timeoutUs = settings_.timeoutMs * qint64(1000);
    return std::min(std::max(timeoutUs, station.slowUs * 3 / 2), boundUs());
}

qint64 Exchange::clearUs() const {
    const qint64 gapUs = silentIntervalUs(settings_);
    const bool copyComes = copyWaitUs_ > 0 && accepted_[newest_].copies < std::max(usualCopies_, 1) &&
                           acceptedSequence_ == sequence_;
    const qint64 waitUs = std::max(gapUs, copyComes ? copyWaitUs_ : 0);
    // A line that never falls silent is used all the same.
    const qint64 latestUs = idleSinceUs_ + std::max(SECOND_US, SILENCE_ATTEMPTS * waitUs);
    return std::min(lastActivityUs_ + waitUs, latestUs);
}

qint64 Exchange::nextDueUs() const {
    const bool flush = !stream_.isEmpty() && !awaiting();
    const qint64 flushUs = flush ? lastActivityUs_ + std::max(PIECE_GAP_US, silentIntervalUs(settings_)) : -1;
    qint64 dueUs = -1;
    if (phase_ == Phase::Waiting) {
        dueUs = clearUs();
    } else if (phase_ != Phase::Idle) {
        dueUs = deadlineUs_;
    } else if (std::any_of(asked_.begin(), asked_.end(), [this](int number) {
                   return stationAt(number).held > 0 && isDeaf(stationAt(number));
               })) {
        dueUs = silentUs();
    }
    return dueUs < 0 || (flush && flushUs < dueUs) ? flushUs : dueUs;
}

void Exchange::advance(qint64 nowUs) {
    forget(nowUs);
    if (!stream_.isEmpty() && !awaiting() && nowUs > nextDueUs() - 1 &&
        nowUs >= lastActivityUs_ + std::max(PIECE_GAP_US, silentIntervalUs(settings_))) {
        takePieces(true, nowUs);
    }
    if (phase_ == Phase::Idle && nowUs >= silentUs()) {
        settleDeaf();
    }
    if (phase_ == Phase::Waiting && nowUs >= clearUs()) {
        if (next_ == Next::Data) {
            sendData(nowUs);
        } else {
            sendQuery(nowUs);
        }
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

// What is owed for too long is not waited for any more; should it come, it is surplus.
void Exchange::forget(qint64 nowUs) {
    if (nowUs < forgetUs_) {
        return;
    }
    forgetUs_ = nowUs + PIECE_GAP_US;
    for (const int number : asked_) {
        Station& station = stationAt(number);
        const bool awaited = phase_ != Phase::Idle && present_ == number && !station.reported;
        if (station.owesData && !awaited && nowUs - station.owedUs >= FORGET_US) {
            station.owesData = false;
            station.unproven = station.forgotten = true;
        }
        if (phase_ == Phase::Query && queried_ == number) {
            continue;
        }
        while (station.queries > 0 && nowUs - station.out[0].endUs >= FORGET_US) {
            dropQueries(station, station.out[0].sequence);
            station.unproven = station.forgotten = true;
        }
    }
}

// Sending.

void Exchange::transmit(const QByteArray& frame, qint64 nowUs) {
    assign(output_, frame);
    const int function = byteAt(frame, 1);
    const bool broadcast = byteAt(frame, 0) == 0;
    const bool ambiguous = repliesLikeItself(function) && !broadcast;
    const bool likeReply = expectLen_ == frame.size() && echo_ == Echo::No;
    const bool strip = settings_.echo != EchoMode::Off &&
                       (echo_ == Echo::Yes || !(ambiguous || (likeReply && &frame == &request_)));
    stream_.sent(frame, strip);
    echoSeen_ = false;
    ++sequence_;
    lastActivityUs_ = nowUs + lineTimeUs(settings_, frame.size());
    Station& station = stationAt(byteAt(frame, 0));
    if (station.askedUs == 0 && !broadcast) {
        asked_.push_back(byteAt(frame, 0));
    }
    station.askedUs = lastActivityUs_;
    if (tap_ != nullptr) {
        tap_->requestSent(frame, 0);
    }
}

void Exchange::sendAt(Next next, qint64 nowUs) {
    next_ = next;
    phase_ = Phase::Waiting;
    idleSinceUs_ = nowUs;
    if (nowUs >= clearUs()) {
        if (next == Next::Data) {
            sendData(nowUs);
        } else {
            sendQuery(nowUs);
        }
    }
}

bool Exchange::wantsEchoTest(int function) const {
    return echo_ == Echo::Unknown && repliesLikeItself(function);
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
    Station& station = stationAt(present_);
    station.functions |= 1U << (byteAt(request, 1) & 31);
    if (nowUs - std::max(station.heardUs, station.askedUs) >=
        qint64(SILENT_TIMEOUTS) * settings_.timeoutMs * 1000) {
        station.disturbed = false;
    }
    if (expectLen <= 0 || present_ == 0) {
        sendData(nowUs);
        return;
    }
    if (station.owesData || owesLike(station, request)) {
        if (station.queries == 0 || mayQuery(station, nowUs)) {
            beginQuery(present_, Purpose::Precede, nowUs);
        } else if (others_) {
            end(ExchangeEnd::Owed);
        } else {
            awaitOwedQuery(present_, Purpose::Precede, nowUs);
        }
        return;
    }
    echoTest_ = wantsEchoTest(byteAt(request, 1));
    if (echoTest_) {
        beginQuery(present_, Purpose::Precede, nowUs);
    } else {
        sendData(nowUs);
    }
}

bool Exchange::owesStatus(const Station& station) {
    return std::any_of(station.out.begin(), station.out.begin() + station.queries,
                       [](const Query& query) { return !query.diagnostic; });
}

bool Exchange::owesDiagnostic(const Station& station) {
    return std::any_of(station.out.begin(), station.out.begin() + station.queries,
                       [](const Query& query) { return query.diagnostic; });
}

// Whether the station owes the answer to a query that is the request byte for byte.
bool Exchange::owesLike(const Station& station, const QByteArray& request) {
    return byteAt(request, 1) == READ_EXCEPTION_STATUS && owesStatus(station);
}

void Exchange::sendData(qint64 nowUs) {
    transmit(request_, nowUs);
    requestSent_ = true;
    requestUs_ = nowUs;
    askedSinceDirty_ = false;
    if (expectLen_ <= 0 || present_ == 0) {
        phase_ = Phase::Pause;
        deadlineUs_ = lastActivityUs_ + settings_.turnaroundMs * qint64(1000);
        return;
    }
    Station& station = stationAt(present_);
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

bool Exchange::mayAnswerDiagnostics(const Station& station) {
    return station.diagnosticAnswered || station.diagnosticPassed < FEWEST_PASSED;
}

bool Exchange::useDiagnostic(const Station& station) const {
    if (echo_ == Echo::Unknown || !mayAnswerDiagnostics(station)) {
        return false;
    }
    if (!station.statusAnswered && station.statusPassed >= FEWEST_PASSED) {
        return true;
    }
    // The echo of the query itself does not prove that the acknowledgement was not an echo, too.
    if (station.heldMirrors > 0 && !strangerNear(lastActivityUs_) && !owesStatus(station)) {
        return false;
    }
    // A reply to function code 7 that was asked for as data or by another master, or is owed, could pass for
    // the answer.
    if (station.statusData || owesStatus(station) || strangerNear(lastActivityUs_)) {
        return true;
    }
    // So would a refusal of code 8 for that of the next one.
    return station.diagnosticNext && (station.diagnosticCounted || !owesDiagnostic(station));
}

// Waits for a query that is out already.
void Exchange::awaitOwedQuery(int number, Purpose purpose, qint64 nowUs) {
    queried_ = number;
    purpose_ = purpose;
    phase_ = Phase::Query;
    awaitQuery(stationAt(number), nowUs);
}

void Exchange::beginQuery(int station, Purpose purpose, qint64 nowUs) {
    queried_ = station;
    purpose_ = purpose;
    sendAt(Next::Query, nowUs);
}

void Exchange::sendQuery(qint64 nowUs) {
    Station& station = stationAt(queried_);
    Query query;
    // One that asks for the status is of the other kind only where its answer could not be told from one
    // owed.
    query.diagnostic = !echoTest_ && (!plainQuery_ || owesStatus(station)) && useDiagnostic(station);
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
    station.functions |= 1U << (byteAt(query_, 1) & 31);
    transmit(query_, nowUs);
    query.endUs = lastActivityUs_;
    query.sequence = sequence_;
    station.diagnosticNext = !query.diagnostic;
    if (station.queries == static_cast<int>(station.out.size())) {
        std::copy(station.out.begin() + 1, station.out.end(), station.out.begin());
        --station.queries;
    }
    station.out[static_cast<std::size_t>(station.queries++)] = query;
    station.queryUs = queryUs_ = nowUs;
    turn_ = queried_;
    // One query for each request at most, however much comes in between.
    askedSinceDirty_ = true;
    note(ExchangeNote::Query, queried_);
    const int answerBytes = query.diagnostic ? query_.size() : int(EXCEPTION_FRAME_BYTES);
    stream_.await(queried_, query.diagnostic ? DIAGNOSTICS : READ_EXCEPTION_STATUS, answerBytes);
    phase_ = Phase::Query;
    awaitQuery(station, nowUs);
    deadlineUs_ += lineTimeUs(settings_, answerBytes);
    bool more = false;
    for (const Held& held : held_) {
        const Station& other = stationAt(held.station);
        more = more || (held.station != queried_ && !other.proven && other.queries == 0);
    }
    cycleEnded_ = cycleEnded_ && more;
}

// How long the line waits for the answer to the query that is out.
void Exchange::awaitQuery(const Station& station, qint64 nowUs) {
    const qint64 endUs = station.out[static_cast<std::size_t>(station.queries - 1)].endUs;
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
            deadlineUs_ = endUs + (finishing_ && (station.statusAnswered || station.diagnosticAnswered)
                                       ? boundUs()
                                       : waitUs(station));
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
                isEcho(stationAt(byteAt(frame_, 0)));
                echoSeen_ = true;
                echo_ = Echo::Yes;
                stream_.sent(QByteArray(), false);
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
    Station& station = stationAt(number);
    station.heardUs = nowUs;
    if (echo_ == Echo::Yes && isEcho(station)) {
        note(ExchangeNote::Echo, number);
        return;
    }
    // Right after a frame like it, one is its copy.
    const bool copy = acceptedSequence_ == sequence_ && accepted_[newest_].frame == frame_;
    const int index = copy ? -1 : answeredQuery(station);
    if (number > 0 && station.owesData && answersData(station)) {
        acceptData(number, nowUs);
    } else if (number > 0 && index >= 0) {
        acceptQuery(number, index, nowUs);
    } else {
        putAside(nowUs);
    }
}

// Whether the frame is a request, or a query, whose echo has not come yet. Its reply cannot come before that.
bool Exchange::isEcho(Station& station) const {
    if (station.owesData && !station.echoed && frame_ == station.request) {
        return station.echoed = true;
    }
    for (int i = 0; i < station.queries; ++i) {
        Query& query = station.out[static_cast<std::size_t>(i)];
        if (query.diagnostic && !query.echoed && byteAt(frame_, 1) == DIAGNOSTICS &&
            wordAt(frame_, 4) == query.counter) {
            return query.echoed = true;
        }
    }
    return false;
}

bool Exchange::answersData(const Station& station) const {
    const int asked = byteAt(station.request, 1);
    const int function = byteAt(frame_, 1);
    if (echo_ == Echo::Yes && repliesLikeItself(asked) && !station.echoed) {
        return false;
    }
    if (function == (asked | EXCEPTION_BIT)) {
        return frame_.size() == EXCEPTION_FRAME_BYTES;
    }
    if (function != asked || frame_.size() != station.expectLen) {
        return false;
    }
    if (isWriteFunction(asked)) {
        return frame_.mid(ECHO_START, ECHO_BYTES) == station.request.mid(ECHO_START, ECHO_BYTES);
    }
    return asked == READ_EXCEPTION_STATUS || byteAt(frame_, 2) == frame_.size() - EXCEPTION_FRAME_BYTES;
}

// Index of the oldest query that the frame answers; -1 without one.
int Exchange::answeredQuery(const Station& station) const {
    const int function = byteAt(frame_, 1);
    for (int i = 0; i < station.queries; ++i) {
        const Query& query = station.out[static_cast<std::size_t>(i)];
        const int asked = query.diagnostic ? DIAGNOSTICS : READ_EXCEPTION_STATUS;
        if (echo_ == Echo::Yes && query.diagnostic && !query.echoed) {
            continue;
        }
        const bool refusal = function == (asked | EXCEPTION_BIT);
        const bool answer =
            function == asked &&
            (!query.diagnostic || (wordAt(frame_, 2) == 0 && wordAt(frame_, 4) == query.counter));
        if (refusal || answer) {
            return i;
        }
    }
    return -1;
}

void Exchange::acceptData(int number, qint64 nowUs) {
    Station& station = stationAt(number);
    const qint64 afterUs = std::max<qint64>(nowUs - station.endUs, 0);
    const bool inTime =
        afterUs <= settings_.timeoutMs * qint64(1000) + lineTimeUs(settings_, station.expectLen);
    const bool current = present_ == number && !station.reported;
    station.owesData = false;
    const qint64 patienceUs = waitUs(station) + lineTimeUs(settings_, station.expectLen);
    passQueries(station, afterUs <= patienceUs, nowUs);
    learnPace(station, afterUs);
    remember(nowUs);
    if (!inTime) {
        station.unproven = station.disturbed = true;
        note(ExchangeNote::Late, number, afterUs);
    }
    if (!current) {
        return;
    }
    assign(reply_, frame_);
    const bool refusal = (byteAt(frame_, 1) & EXCEPTION_BIT) != 0;
    end(refusal ? ExchangeEnd::Exception : ExchangeEnd::Reply, ++ticket_);
    const int function = byteAt(request_, 1);
    if (isDeaf(station)) {
        // Silence is the only proof that there is, and there was none.
        settleStation(number, false);
    }
    const bool mirror = !refusal && (function == 5 || function == 6);
    ++station.held;
    station.heldMirrors += mirror ? 1 : 0;
    held_.push_back(Held{ticket_, station.sequence, number, function == READ_EXCEPTION_STATUS, mirror});
    newcomers_ = newcomers_ || !station.proven;
    accepted_[newest_].ticket = ticket_;
    if (!held_.back().status) {
        station.otherSequence = station.sequence;
    }
    if (dirty_) {
        settleAll(false);
    }
    if (phase_ == Phase::Data) {
        phase_ = Phase::Idle;
        idleSinceUs_ = nowUs;
        stream_.await(0, 0, 0);
    } else {
        purpose_ = Purpose::Proof;
    }
}

// One slow answer is not remembered for ever.
void Exchange::learnPace(Station& station, qint64 afterUs) {
    station.slowUs = std::max(afterUs, station.slowUs - (station.slowUs - afterUs) / PACE_MEMORY);
}

// A later reply of the station came without the answers to queries before it: there will be none, unless the
// reply is that to an earlier request. So they stay owed.
void Exchange::passQueries(Station& station, bool inTime, qint64 nowUs) {
    for (int i = 0; i < station.queries; ++i) {
        Query& query = station.out[static_cast<std::size_t>(i)];
        if (query.sequence > station.sequence || query.passed) {
            continue;
        }
        query.passed = true;
        if (inTime && !dirty_ && !strangerNear(nowUs)) {
            ++(query.diagnostic ? station.diagnosticPassed : station.statusPassed);
        }
    }
}

// The answers up to this one will not come any more.
void Exchange::dropQueries(Station& station, quint64 sequence) {
    int left = 0;
    for (int i = 0; i < station.queries; ++i) {
        const Query query = station.out[static_cast<std::size_t>(i)];
        if (query.sequence > sequence) {
            station.out[static_cast<std::size_t>(left++)] = query;
        } else if (query.sequence < sequence && !query.passed && !dirty_) {
            ++(query.diagnostic ? station.diagnosticPassed : station.statusPassed);
        }
    }
    station.queries = left;
}

void Exchange::acceptQuery(int number, int index, qint64 nowUs) {
    Station& station = stationAt(number);
    const Query query = station.out[static_cast<std::size_t>(index)];
    const qint64 afterUs = std::max<qint64>(nowUs - query.endUs, 0);
    const int value = byteAt(frame_, 2);
    const bool refusal = (byteAt(frame_, 1) & EXCEPTION_BIT) != 0;
    note(ExchangeNote::QueryAnswer, number, afterUs, refusal ? -value : query.diagnostic ? 0 : value);
    (query.diagnostic ? station.diagnosticAnswered : station.statusAnswered) = true;
    (query.diagnostic ? station.diagnosticPassed : station.statusPassed) = 0;
    station.diagnosticCounted = station.diagnosticCounted || (query.diagnostic && !refusal);
    learnPace(station, afterUs);
    if (echo_ == Echo::Unknown && !query.diagnostic && query.sequence == sequence_ && !echoSeen_) {
        echo_ = Echo::No;
    }
    if (afterUs > boundUs() && !mayAnswerDiagnostics(station)) {
        // It may be the answer to an earlier query like it.
        station.forgotten = true;
    }
    remember(nowUs);
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
    dropQueries(station, query.sequence);
    if (station.queries == 0) {
        close(number, query, !refusal && query.diagnostic, nowUs);
        if (phase_ == Phase::Query && queried_ == number) {
            finishQuery(true, nowUs);
        } else if (phase_ == Phase::Waiting && next_ == Next::Query && purpose_ == Purpose::Resolve) {
            phase_ = Phase::Idle;
        }
    }
}

void Exchange::loseData(int number) {
    Station& station = stationAt(number);
    station.owesData = false;
    if (present_ == number && !station.reported) {
        end(damaged_ ? ExchangeEnd::Damaged : ExchangeEnd::Nothing);
    }
}

// The query was answered in its place. `alone`: no other query has that answer.
void Exchange::close(int number, const Query& query, bool alone, qint64 nowUs) {
    Station& proven = stationAt(number);
    proven.unproven = proven.statusData = false;
    proven.proven = true;
    if (dirty_) {
        dirty_ = false;
        return;
    }
    if (!alone && strangerNear(nowUs)) {
        // Another master's query of the same kind has the same answer.
        settleAll(false);
        return;
    }
    if (proven.forgotten && !mayAnswerDiagnostics(proven)) {
        // So has the query that was forgotten.
        settleStation(number, false);
        return;
    }
    proven.forgotten = false;
    ++cleanWindows_;
    windowLimit_ = std::min(2 * windowLimit_, int(MOST_WINDOW));
    std::size_t left = 0;
    for (const Held& held : held_) {
        const bool before = held.sequence < query.sequence;
        const bool mine = held.station == number && before;
        const bool others =
            held.station != number && before && !held.mirror && !stationAt(held.station).unproven;
        // The answer may be the reply to function code 7 that was asked for as data, unless a reply of
        // another kind came after that.
        const bool alike = mine && held.status && !query.diagnostic && proven.otherSequence < held.sequence;
        const Station& holder = stationAt(held.station);
        const bool answersStatus = holder.statusAnswered || holder.statusPassed < FEWEST_PASSED;
        const bool echoLike = held.mirror && query.diagnostic && alone && answersStatus;
        const bool good = ((mine && !alike) || others) && !echoLike;
        const bool never = (echoLike && (mine || others) && strangerNear(nowUs)) ||
                           (alike && !mayAnswerDiagnostics(proven) && held.sequence < proven.closedSequence);
        if (good || never) {
            settle(held, good);
        } else {
            proven.statusData = proven.statusData || alike;
            held_[left++] = held;
        }
    }
    held_.resize(left);
    newcomers_ = std::any_of(held_.begin(), held_.end(),
                             [this](const Held& held) { return !stationAt(held.station).proven; });
    proven.closedSequence = query.sequence;
}

void Exchange::settleAll(bool good) {
    for (const Held& held : held_) {
        settle(held, good);
    }
    held_.clear();
    newcomers_ = false;
}

void Exchange::settleStation(int number, bool good) {
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

// Queries of another master, or their answers, came of late.
bool Exchange::strangerNear(qint64 nowUs) const {
    return strangerUs_ >= 0 && nowUs - strangerUs_ < FORGET_US;
}

int Exchange::unpassed(const Station& station) {
    return static_cast<int>(std::count_if(station.out.begin(), station.out.begin() + station.queries,
                                          [](const Query& query) { return !query.passed; }));
}

// When the line has been silent for a time-out.
qint64 Exchange::silentUs() const {
    return lastActivityUs_ + settings_.timeoutMs * qint64(1000);
}

// Silence is the only proof for stations that answer no query.
void Exchange::settleDeaf() {
    for (const int number : asked_) {
        if (isDeaf(stationAt(number))) {
            settleStation(number, !stationAt(number).disturbed);
        }
    }
}

bool Exchange::isDeaf(const Station& station) {
    return !station.statusAnswered && !station.diagnosticAnswered && station.statusPassed >= FEWEST_PASSED &&
           station.diagnosticPassed >= FEWEST_PASSED;
}

// Frames that answer nothing.

// A copy of the frame that was taken last, before anything else was sent, shifts nothing: whichever of the
// two is the reply, it says the same.
bool Exchange::absorbCopy(qint64 nowUs) {
    Accepted& last = accepted_[newest_];
    if (acceptedSequence_ != sequence_ || last.frame != frame_) {
        return false;
    }
    usualCopies_ = std::max(usualCopies_, ++last.copies);
    expectCopies(nowUs - last.atUs);
    note(ExchangeNote::Copy, byteAt(frame_, 0));
    confirm(byteAt(frame_, 0), last.ticket);
    return true;
}

// The latest of the frames that were taken which equals the present one; null without one.
Exchange::Accepted* Exchange::acceptedLike() {
    for (std::size_t i = 0; i < REMEMBERED; ++i) {
        Accepted& accepted = accepted_[(newest_ + REMEMBERED - i) % REMEMBERED];
        if (accepted.frame == frame_) {
            return &accepted;
        }
    }
    return nullptr;
}

// The reply with this ticket came twice; or it and that to the request before are alike, and each reply since
// the last proof was that to an earlier request. Where each one came twice, none was.
void Exchange::confirm(int number, quint64 ticket) {
    bool all = true;
    for (Held& held : held_) {
        held.confirmed = held.confirmed || held.ticket == ticket;
        all = all && (held.station != number || held.confirmed);
    }
    if (!all) {
        disturb(number);
    }
}

void Exchange::putAside(qint64 nowUs) {
    if (sequence_ > 0 && absorbCopy(nowUs)) {
        return;
    }
    const int number = byteAt(frame_, 0);
    Station& station = stationAt(number);
    if ((byteAt(frame_, 1) & ~EXCEPTION_BIT) == DIAGNOSTICS && station.queryUs > 0) {
        // It answers them, if too late.
        station.diagnosticAnswered = true;
    }
    if (number == present_ && byteAt(frame_, 1) == byteAt(request_, 1) && awaiting()) {
        assign(mismatch_, frame_);
    }
    Accepted* const known = acceptedLike();
    const bool asked = (station.functions >> (byteAt(frame_, 1) & 31) & 1U) != 0;
    if (known != nullptr) {
        usualCopies_ = std::max(usualCopies_, ++known->copies);
        note(ExchangeNote::Copy, number);
        expectCopies(nowUs - known->atUs);
    } else {
        note(asked ? ExchangeNote::Surplus : ExchangeNote::Foreign, number);
    }
    const int function = byteAt(frame_, 1) & ~EXCEPTION_BIT;
    if (known == nullptr && (function == READ_EXCEPTION_STATUS || function == DIAGNOSTICS)) {
        strangerUs_ = nowUs;
    }
    disturb(number);
}

void Exchange::noteDamage(FrameStream::Kind kind, bool last, qint64 nowUs) {
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
        disturb(phase_ == Phase::Query ? queried_ : present_);
    }
    if (phase_ == Phase::Data && like && !last) {
        resolve(nowUs);
    } else if (phase_ == Phase::Query && like) {
        askOtherwise(nowUs);
    }
}

// The answer to the query came damaged: the other kind of query may tell, unless that is out, too.
void Exchange::askOtherwise(qint64 nowUs) {
    const Station& station = stationAt(queried_);
    if (station.queries == 1 && !plainQuery_ && !echoTest_ &&
        useDiagnostic(station) != station.out[0].diagnostic) {
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

// Something else came in between.
void Exchange::disturb(int number) {
    windowLimit_ = std::max(std::min(windowLimit_, static_cast<int>(held_.size())) / 2, 1);
    settleAll(false);
    dirty_ = true;
    cleanWindows_ = 0;
    const bool asked = number >= 1 && number <= HIGHEST_STATION && stationAt(number).functions != 0;
    disturbedStation_ = asked ? number : present_ > 0 ? present_ : turn_;
    Station& station = stationAt(disturbedStation_);
    station.unproven = station.disturbed = true;
    copyWaitUs_ = std::max(copyWaitUs_, std::min(settings_.timeoutMs * qint64(100), PIECE_GAP_US));
    repliesWithoutCopy_ = 0;
}

void Exchange::expectCopies(qint64 lagUs) {
    copyWaitUs_ = std::min(std::max(copyWaitUs_, 2 * lagUs + COPY_SLACK_US), boundUs());
    repliesWithoutCopy_ = 0;
}

// Of the frame that was taken now.
void Exchange::remember(qint64 nowUs) {
    if (copyWaitUs_ > 0 && accepted_[newest_].copies == 0 && ++repliesWithoutCopy_ > PATIENT_REPLIES) {
        copyWaitUs_ = 0;
        usualCopies_ = 0;
    }
    newest_ = (newest_ + 1) % REMEMBERED;
    Accepted& accepted = accepted_[newest_];
    assign(accepted.frame, frame_);
    accepted.atUs = nowUs;
    accepted.copies = 0;
    accepted.ticket = 0;
    acceptedSequence_ = sequence_;
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
    Station& station = stationAt(present_);
    station.unproven = station.disturbed = true;
    if (isDeaf(station)) {
        phase_ = Phase::Idle;
        idleSinceUs_ = nowUs;
        loseData(present_);
    } else if (nowUs < alikeUntilUs(station)) {
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
    if (!stream_.isEmpty() && nextUs > nowUs && nowUs < queryUs_ + boundUs() + SECOND_US) {
        deadlineUs_ = nextUs;
        return;
    }
    takePieces(true, nowUs);
    if (phase_ != Phase::Query) {
        return;
    }
    Station& station = stationAt(queried_);
    station.unproven = true;
    if (echo_ == Echo::Unknown && !echoSeen_) {
        echo_ = Echo::No;
    }
    if (purpose_ == Purpose::Precede && station.owesData && mayQuery(station, nowUs) &&
        nowUs < operationUs_ + boundUs()) {
        sendAt(Next::Query, nowUs);
        return;
    }
    if (finishing_ && purpose_ == Purpose::Proof && !plainQuery_) {
        if (unpassed(station) == 1 && !station.statusAnswered && !station.diagnosticAnswered) {
            sendAt(Next::Query, nowUs);
            return;
        }
        settleStation(queried_, false);
    }
    finishQuery(false, nowUs);
}

void Exchange::finishQuery(bool answered, qint64 nowUs) {
    phase_ = Phase::Idle;
    idleSinceUs_ = nowUs;
    plainQuery_ = false;
    stream_.await(0, 0, 0);
    Station& station = stationAt(queried_);
    const bool test = echoTest_;
    echoTest_ = false;
    if (purpose_ == Purpose::Precede) {
        if (station.owesData || owesLike(station, request_)) {
            end(ExchangeEnd::Owed);
        } else if (test && !answered && echo_ == Echo::Yes) {
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

void Exchange::abandon() {
    Station& station = stationAt(present_);
    if (present_ > 0 && station.owesData) {
        station.reported = true;
    }
    phase_ = Phase::Idle;
    output_.resize(0);
    end_.reset();
    present_ = 0;
    requestSent_ = echoTest_ = plainQuery_ = false;
}

// Proof.

// Until when the answer that is owed would pass for that to the next query, which is like it; 0 = it would
// not.
qint64 Exchange::alikeUntilUs(const Station& station) const {
    if (!station.statusAnswered || useDiagnostic(station)) {
        return 0;
    }
    const auto* const end = station.out.begin() + station.queries;
    const auto* const status =
        std::find_if(station.out.begin(), end, [](const Query& query) { return !query.diagnostic; });
    return status != end ? status->endUs + FORGET_US : 0;
}

// When a query may go to the station; -1 = never.
qint64 Exchange::askUs(const Station& station) const {
    if (isDeaf(station)) {
        return -1;
    }
    const bool again = unpassed(station) > 0;
    return std::max(again ? station.queryUs + ASK_AGAIN_US : 0, alikeUntilUs(station));
}

bool Exchange::mayQuery(const Station& station, qint64 nowUs) const {
    return !isDeaf(station) && nowUs >= askUs(station);
}

// They take turns.
qint64 Exchange::askAgainUs(int number) const {
    const Station& station = stationAt(number);
    return station.queries > 0 ? station.queryUs + ASK_AGAIN_US : 0;
}

int Exchange::stationToProve(qint64 nowUs) const {
    int first = 0;
    int next = 0;
    for (const Held& held : held_) {
        const Station& station = stationAt(held.station);
        if (!mayQuery(station, nowUs) && !(finishing_ && station.queries > 0)) {
            continue;
        }
        int& best = held.station > turn_ ? next : first;
        best = best == 0 ? held.station : std::min(best, held.station);
    }
    return next > 0 ? next : first;
}

int Exchange::proofStation(qint64 nowUs) const {
    for (const int number : asked_) {
        const Station& station = stationAt(number);
        if (station.owesData && mayQuery(station, nowUs)) {
            return number;
        }
    }
    const bool needless = askedSinceDirty_ || (finishing_ && held_.empty());
    if (dirty_ && disturbedStation_ > 0 && !needless && mayQuery(stationAt(disturbedStation_), nowUs)) {
        return disturbedStation_;
    }
    if (held_.empty()) {
        return 0;
    }
    bool due = finishing_ || nowUs - queryUs_ >= PROOF_INTERVAL_US;
    if (!due && (cycleEnded_ || static_cast<int>(held_.size()) >= windowLimit_)) {
        due = cleanWindows_ < CLEAN_WINDOWS || newcomers_;
    }
    return due ? stationToProve(nowUs) : 0;
}

qint64 Exchange::proofUs(qint64 nowUs) const {
    qint64 dueUs = -1;
    const auto consider = [&](qint64 timeUs) {
        if (timeUs > nowUs) {
            dueUs = dueUs < 0 ? timeUs : std::min(dueUs, timeUs);
        }
    };
    const qint64 intervalUs = queryUs_ + PROOF_INTERVAL_US;
    for (const Held& held : held_) {
        const qint64 mayUs = askUs(stationAt(held.station));
        if (mayUs >= 0) {
            consider(std::max(intervalUs, mayUs));
        }
        if (mayUs >= 0 && mayUs <= intervalUs) {
            // None is sooner, however many are held.
            break;
        }
    }
    for (const int number : asked_) {
        const Station& station = stationAt(number);
        if (station.owesData) {
            consider(std::max(station.owedUs + FORGET_US, forgetUs_));
        }
        if (station.queries > 0) {
            consider(std::max(station.out[0].endUs + FORGET_US, forgetUs_));
        }
        if (station.owesData && !isDeaf(station)) {
            consider(askUs(station));
        }
    }
    if (dirty_ && !askedSinceDirty_ && disturbedStation_ > 0 && !finishing_ &&
        !isDeaf(stationAt(disturbedStation_))) {
        consider(askUs(stationAt(disturbedStation_)));
    }
    return dueUs;
}

void Exchange::prove(qint64 nowUs) {
    const int number = proofStation(nowUs);
    if (number == 0) {
        return;
    }
    Station& station = stationAt(number);
    if (station.queries > 0 && !mayQuery(station, nowUs)) {
        awaitOwedQuery(number, Purpose::Proof, nowUs);
        return;
    }
    beginQuery(number, Purpose::Proof, nowUs);
}

void Exchange::query(int number, qint64 nowUs) {
    Station& station = stationAt(number);
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

#include "host/poll/poll_engine.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace dx7 {

namespace {

// What is waited for when all stations owe replies.
constexpr qint64 STALL_US = 100000;

ItemRange rangeOf(const FRAME_PRO& frame) {
    // A status query reads one item, whatever its count.
    return ItemRange{frame.station, frame.regType, frame.address, frame.count};
}

// In the driver's buffers: two of a word, one of a bit or status.
int itemBytes(const FRAME_PRO& frame) {
    return frame.count > 0 && frame.dataCount >= 2 * frame.count ? 2 : 1;
}

ReadEnd readEnd(const Transaction& transaction) {
    if (transaction.outcome == Outcome::Exception) {
        return ReadEnd{ReadEnd::Refused, transaction.exceptionCode};
    }
    return ReadEnd{transaction.good() ? ReadEnd::Read : ReadEnd::Unanswered, 0};
}

Transaction cutShort(const ItemRange& range, const QString& reason, bool sent, bool unsettled) {
    Transaction transaction;
    transaction.frame.station = range.station;
    transaction.frame.regType = range.regType;
    transaction.frame.address = range.address;
    transaction.frame.count = range.count;
    transaction.outcome = Outcome::CutShort;
    transaction.info = reason;
    transaction.sent = sent;
    transaction.unsettled = unsettled;
    return transaction;
}

}  // namespace

PollEngine::PollEngine(DriverSession& session, CommLoop& loop, const LineSettings& settings, qint64 nowUs)
    : session_(session),
      loop_(loop),
      settings_(settings),
      values_(events_),
      polling_(session, silentIntervalUs(settings)),
      statistics_(nowUs) {
    CommLoop::Observers observers;
    observers.transaction = [this](const Transaction& transaction) { onTransaction(transaction); };
    observers.settled = [this](quint64 ticket, bool good) { onSettled(ticket, good); };
    observers.note = [this](const ExchangeNote& note) { onNote(note); };
    loop_.setObservers(std::move(observers));
}

void PollEngine::watch(const QVector<Point>& points, qint64 nowUs) {
    values_.watch(points, nowUs);
    polling_.watch(points, nowUs);
    for (const Point& point : points) {
        loop_.exchange().setProbed(point.station, false);
    }
    countOthers();
}

void PollEngine::read(const RegisterType& type, int station, int address, int count,
                      const Operation::Done& done) {
    queue(readOperations(type, station, address, count, settings_.block), done);
}

void PollEngine::write(const WriteRequest& request, const Operation::Done& done) {
    queue(writeOperations(request, settings_.block), done);
}

void PollEngine::queue(const QVector<Operation>& operations, const Operation::Done& done) {
    for (const Operation& operation : operations) {
        queue_.push_back(operation);
        queue_.back().done = done;
    }
}

int PollEngine::pendingOperations() const {
    const bool asked = active_ && current_.kind != Operation::Probe && current_.kind != Operation::Alone;
    return static_cast<int>(queue_.size()) + heldOperations_.count() + (asked ? 1 : 0) + queries_.pending();
}

void PollEngine::abandonOperations(const QString& reason) {
    HeldOperations held = std::exchange(heldOperations_, {});
    std::deque<Operation> left = std::exchange(queue_, {});
    queries_.clear();
    bool sent = false;
    bool unsettled = false;
    if (active_) {
        active_ = false;
        sent = loop_.requestOut() || loop_.exchange().requestSent();
        unsettled =
            current_.kind == Operation::Write && (loop_.writeUnsettled() || loop_.exchange().requestSent());
        left.push_front(current_);
    }
    held.cut(reason);
    for (const Operation& operation : left) {
        if (operation.done) {
            operation.done(cutShort(operation.range, reason, sent, unsettled));
        }
        sent = unsettled = false;
    }
}

void PollEngine::conclude() {
    concluding_ = true;
}

// Time and bytes.

void PollEngine::received(const char* bytes, int count, qint64 nowUs) {
    loop_.received(bytes, count, nowUs);
}

void PollEngine::advance(qint64 nowUs) {
    loop_.advance(nowUs);
    while (loop_.ready(nowUs) && begin(nowUs)) {
        loop_.advance(nowUs);
    }
}

// Begins what is to be sent next. False when there is nothing.
bool PollEngine::begin(qint64 nowUs) {
    if (queries_.waiting()) {
        endQuery(nowUs);
    }
    Exchange& exchange = loop_.exchange();
    if (loop_.betweenOperations()) {
        const Turn turn = concluding_ ? Turn() : polling_.next(nowUs);
        if (turn.begins) {
            values_.unread(turn.unread, nowUs);
            tellNotices();
        }
        if (probe(turn, nowUs)) {
            return true;
        }
        handOver(turn, nowUs);
        exchange.setFinishing(nothingElse());
        if (!active_ && queries_.beginNext(exchange, nowUs)) {
            return true;
        }
        // An operator's write goes first, unless what follows would be doubtful.
        const bool writeFirst =
            plan().underWay() && active_ && current_.kind == Operation::Write && !exchange.disturbed();
        if (!writeFirst && exchange.proofDue(nowUs)) {
            exchange.prove(nowUs);
            return true;
        }
        if (concluding_ && !active_) {
            return false;
        }
    }
    return nowUs >= stalledUntilUs_ && loop_.begin(nowUs, probing());
}

// A probe is one request: where it is lost, three would take the line for so long that the next one had to
// wait for all the longer.
bool PollEngine::probing() const {
    return active_ && (current_.kind == Operation::Probe || (current_.kind == Operation::Alone && probing_));
}

// Whether the proof of what is held is all that is left to do.
bool PollEngine::nothingElse() const {
    return concluding_ || (queue_.empty() && !active_ && !heldOperations_.empty());
}

// A dead station is asked with one query, or, when it answers none, with one read. True when the query was
// begun. What users asked for goes first.
bool PollEngine::probe(const Turn& turn, qint64 nowUs) {
    if (!turn.station || active_ || !queue_.empty() || queries_.waiting() || queries_.queued()) {
        return false;
    }
    const int station = *turn.station;
    const auto& points = table().points();
    const auto* const point = std::find_if(
        points.begin(), points.end(), [&](const Point& candidate) { return candidate.station == station; });
    polling_.beginOwn(nowUs);
    if (point == points.end()) {
        // It is not watched any more.
        polling_.endProbe(station, nowUs);
    } else if (loop_.exchange().deafToQueries(station)) {
        const ItemRange range{station, point->type.name, point->address, 1};
        begin(Operation{Operation::Probe, range, point->type, QByteArray(), {}});
    } else if (const DueUs againUs = loop_.exchange().askAgainUs(station); againUs > nowUs) {
        // One is out: its answer counts when it comes.
        polling_.postpone(station, *againUs);
    } else {
        queries_.beginProbe(station, loop_.exchange(), nowUs);
        return true;
    }
    return false;
}

// The wait for a query is over.
void PollEngine::endQuery(qint64 nowUs) {
    if (const std::optional<int> silent = queries_.end()) {
        failProbe(*silent, nowUs);
    }
}

// A silent station did not answer.
void PollEngine::failProbe(int station, qint64 nowUs) {
    polling_.endProbe(station, nowUs);
    values_.silent(station, nowUs);
}

DueUs PollEngine::nextDueUs(qint64 nowUs) const {
    const Exchange& exchange = loop_.exchange();
    if (!exchange.idle()) {
        return exchange.nextDueUs();
    }
    DueUs dueUs = exchange.nextDueUs();
    // Nothing begins before the line is clear.
    const auto consider = [&](qint64 timeUs) { dueUs = sooner(dueUs, std::max(timeUs, exchange.clearUs())); };
    const bool work = !queue_.empty() || active_ || queries_.queued() || queries_.waiting() ||
                      (!concluding_ && plan().underWay()) || exchange.proofDue(nowUs) ||
                      (nothingElse() && exchange.unproven() && !exchange.finishing());
    if (work) {
        consider(stalledUntilUs_);
    }
    if (const DueUs proofUs = exchange.proofUs(nowUs)) {
        consider(loop_.betweenOperations() ? *proofUs : std::max(*proofUs, stalledUntilUs_));
    }
    if (const DueUs turnUs = concluding_ ? DueUs() : polling_.nextDueUs(nowUs)) {
        consider(std::max(*turnUs, stalledUntilUs_));
    }
    return dueUs;
}

// Whether other stations can be served while one owes a reply.
void PollEngine::countOthers() {
    const QVector<int>& dead = health().dead();
    int stations = 0;
    int last = 0;
    const auto consider = [&](int station) {
        if (station != last && !dead.contains(station)) {
            ++stations;
            last = station;
        }
    };
    for (const Point& point : table().points()) {
        consider(point.station);
    }
    if (active_) {
        consider(current_.range.station);
    }
    for (std::size_t i = 0; i < queue_.size() && stations < 2; ++i) {
        consider(queue_[i].range.station);
    }
    loop_.exchange().setOthers(stations > 1);
}

// What users asked for goes first.
void PollEngine::handOver(const Turn& turn, qint64 nowUs) {
    if (active_) {
        return;
    }
    if (!queue_.empty()) {
        const Operation next = queue_.front();
        queue_.pop_front();
        begin(next);
    } else if (turn.read && !queries_.queued()) {
        const auto& points = table().points();
        const auto* const point = std::find_if(points.begin(), points.end(), [&](const Point& candidate) {
            return candidate.type.name == turn.read->regType;
        });
        probing_ = turn.probe;
        polling_.beginOwn(nowUs);
        begin(Operation{Operation::Alone, *turn.read, point->type, QByteArray(), {}});
    }
}

void PollEngine::begin(const Operation& operation) {
    current_ = operation;
    active_ = true;
    answered_ = false;
    countOthers();
    if (current_.kind == Operation::Write) {
        session_.addWrite(current_.range, current_.data);
    } else {
        session_.addRead(current_.range, current_.type.bit);
    }
}

// What comes back.

void PollEngine::onTransaction(const Transaction& transaction) {
    statistics_.count(transaction);
    const ItemRange range = rangeOf(transaction.frame);
    const bool cyclic = transaction.frame.opKind == TAG_CYCLIC;
    if (transaction.finished()) {
        skipped_ = transaction.outcome == Outcome::Skipped ? skipped_ + 1 : 0;
        if (skipped_ > std::max(plan().blockCount(), 1)) {
            skipped_ = 0;
            stalledUntilUs_ = transaction.endUs + STALL_US;
        }
    }
    if (transaction.good() && transaction.frame.opKind != TAG_WRITE) {
        takeValues(transaction, range);
    } else if (transaction.driverResult == DX7_REPLY_GIVEN_UP && transaction.frame.opKind != TAG_WRITE) {
        failRead(transaction, range);
    }
    if (cyclic) {
        onCyclicRead(transaction, range);
    } else if (active_) {
        answered_ = answered_ || transaction.answered();
        if (transaction.finished()) {
            onOperationEnd(transaction);
        }
    }
    if (events_.transaction) {
        events_.transaction(transaction);
    }
}

// What becomes of a refusal of the plan's, its search tells.
void PollEngine::failRead(const Transaction& transaction, const ItemRange& range) {
    const bool refused = transaction.outcome == Outcome::Exception;
    const bool planned =
        transaction.frame.opKind == TAG_CYCLIC || (active_ && current_.kind == Operation::Alone);
    if (!refused || !planned) {
        values_.fail(range, outcomeText(transaction), refused, transaction.endUs);
    }
}

void PollEngine::onCyclicRead(const Transaction& transaction, const ItemRange& range) {
    polling_.tried(range.station, transaction.answered(), transaction.sentUs);
    if (!transaction.finished()) {
        return;
    }
    if (transaction.answered()) {
        silenceCauses_.remove(range.station);
    } else if (transaction.outcome != Outcome::Skipped || !silenceCauses_.contains(range.station)) {
        silenceCauses_.insert(range.station, outcomeText(transaction));
    }
    const bool turnOver = polling_.blockEnded(range, readEnd(transaction), transaction.endUs);
    failRefused(transaction);
    if (turnOver) {
        onCycleEnd(transaction.endUs);
    }
}

// A refusal of a block says nothing of its items while the refused one is searched; "illegal function" holds
// for all items of the type.
void PollEngine::failRefused(const Transaction& transaction) {
    ItemRange range = rangeOf(transaction.frame);
    if (transaction.outcome != Outcome::Exception || !refused().isRefused(range)) {
        return;
    }
    if (refused().wholeType(range.station, range.regType)) {
        range.address = 0;
        range.count = std::numeric_limits<int>::max();
    }
    values_.fail(range, outcomeText(transaction), true, transaction.endUs);
}

void PollEngine::onCycleEnd(qint64 nowUs) {
    if (const auto tookUs = polling_.cycleUs(nowUs)) {
        statistics_.countCycle(*tookUs);
    }
    loop_.exchange().cycleEnded();
    for (const int station : polling_.cycleEnded(nowUs)) {
        countOthers();
        loop_.exchange().setProbed(station, true);
        values_.failStation(station, silenceCauses_.value(station), nowUs);
        if (events_.station) {
            events_.station(station, false);
        }
    }
    if (events_.cycle) {
        events_.cycle();
    }
}

void PollEngine::onAlive(int station) {
    if (polling_.heard(station)) {
        countOthers();
        loop_.exchange().setProbed(station, false);
        if (events_.station) {
            events_.station(station, true);
        }
    }
}

void PollEngine::onNote(const ExchangeNote& note) {
    statistics_.count(note);
    if (note.kind == ExchangeNote::QueryAnswer || note.kind == ExchangeNote::Late) {
        queries_.heard(*note.station);
        onAlive(*note.station);
    }
    if (note.kind == ExchangeNote::QueryAnswer && events_.answer) {
        events_.answer(
            QueryAnswer{*note.station, std::max(note.value, 0), std::max(-note.value, 0), note.afterUs});
    }
    if (events_.note) {
        events_.note(note);
    }
}

void PollEngine::onOperationEnd(const Transaction& transaction) {
    active_ = false;
    if (current_.kind == Operation::Probe) {
        // A refusal is an answer, too, although the driver calls the read failed.
        const int station = current_.range.station;
        if (answered_) {
            onAlive(station);
        } else {
            failProbe(station, transaction.endUs);
        }
    } else if (current_.kind == Operation::Alone) {
        endAlone(transaction);
    }
    if (!current_.done) {
        return;
    }
    const Operation ended = current_;
    Transaction last = transaction;
    if (last.good() && ended.kind == Operation::Read) {
        last.items = values_.lastItems();
    }
    if (last.ticket && last.answered()) {
        heldOperations_.hold(ended, last);
    } else {
        ended.done(last);
    }
}

void PollEngine::endAlone(const Transaction& transaction) {
    polling_.endAlone(current_.range, readEnd(transaction), probing_, transaction.endUs);
    failRefused(transaction);
    tellNotices();
}

void PollEngine::tellNotices() {
    // A list that may be changed would part from the empty one that all share.
    const QStringList notices = polling_.takeNotices();
    for (const QString& notice : notices) {
        if (events_.notice) {
            events_.notice(notice);
        }
    }
}

void PollEngine::takeValues(const Transaction& transaction, const ItemRange& range) {
    const bool writing = active_ && current_.kind == Operation::Write;
    values_.arrived(session_, range, itemBytes(transaction.frame), writing ? &current_.range : nullptr,
                    transaction.endUs, transaction.ticket.value_or(0));
}

void PollEngine::onSettled(quint64 ticket, bool good) {
    values_.settle(ticket, good);
    heldOperations_.settle(ticket, good);
}

void PollEngine::advanceWithoutLine(qint64 nowUs) {
    values_.unread(polling_.missed(nowUs), nowUs);
}

void PollEngine::lineLost(qint64 nowUs) {
    polling_.lineLost();
    queries_.lineLost(loop_.exchange().awaiting());
    HeldOperations held = std::exchange(heldOperations_, {});
    loop_.lineLost();
    values_.lineLost(nowUs);
    if (events_.line) {
        events_.line(false);
    }
    held.cut(QStringLiteral("the line was lost"));
}

void PollEngine::lineBack(qint64 nowUs) {
    values_.lineBack(nowUs);
    polling_.lineBack(nowUs);
    if (events_.line) {
        events_.line(true);
    }
}

}  // namespace dx7

#include "host/poll/poll_engine.h"

#include <algorithm>
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
    : session_(session), loop_(loop), settings_(settings), plan_(session), statistics_(nowUs) {
    CommLoop::Observers observers;
    observers.transaction = [this](const Transaction& transaction) { onTransaction(transaction); };
    observers.settled = [this](quint64 ticket, bool good) { onSettled(ticket, good); };
    observers.note = [this](const ExchangeNote& note) { onNote(note); };
    loop_.setObservers(std::move(observers));
}

void PollEngine::watch(const QVector<Point>& points) {
    table_.setPoints(points);
    plan_.setEntries(pollEntries(points));
    for (const Point& point : points) {
        health_.add(point.station);
    }
    replanNeeded_ = true;
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
    return static_cast<int>(queue_.size()) + heldOperations_.count() + (active_ ? 1 : 0) + queries_.pending();
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
        if (replanNeeded_ && !concluding_) {
            replan();
        }
        if (probe(nowUs)) {
            return true;
        }
        handOver();
        exchange.setFinishing(nothingElse());
        if (!active_ && queries_.beginNext(exchange, nowUs)) {
            return true;
        }
        // An operator's write goes first, unless what follows would be doubtful.
        const bool writeFirst =
            plan_.blockCount() > 0 && active_ && current_.kind == Operation::Write && !exchange.disturbed();
        if (!writeFirst && exchange.proofDue(nowUs)) {
            exchange.prove(nowUs);
            return true;
        }
        if (concluding_ && !active_) {
            return false;
        }
    }
    return nowUs >= stalledUntilUs_ && loop_.begin(nowUs);
}

// Whether the proof of what is held is all that is left to do.
bool PollEngine::nothingElse() const {
    return concluding_ || (queue_.empty() && !active_ && !heldOperations_.empty());
}

// A dead station is asked with one query, or, when it answers none, with one read. True when the query was
// begun.
bool PollEngine::probe(qint64 nowUs) {
    if (active_ || queries_.waiting() || concluding_) {
        return false;
    }
    for (const int station : health_.probesDue(nowUs)) {
        const auto& points = table_.points();
        const auto* const point = std::find_if(points.begin(), points.end(), [&](const Point& candidate) {
            return candidate.station == station;
        });
        const bool queued = std::any_of(queue_.begin(), queue_.end(), [&](const Operation& operation) {
            return operation.kind == Operation::Probe && operation.range.station == station;
        });
        if (queued) {
            continue;
        }
        if (point == points.end()) {
            // It is not watched any more.
            health_.probed(station, false, nowUs);
        } else if (loop_.exchange().deafToQueries(station)) {
            const ItemRange range{station, point->type.name, point->address, 1};
            queue_.push_back(Operation{Operation::Probe, range, point->type, QByteArray(), {}});
        } else if (const DueUs againUs = loop_.exchange().askAgainUs(station); againUs > nowUs) {
            // One is out: its answer counts when it comes.
            health_.postpone(station, *againUs);
        } else {
            queries_.beginProbe(station, loop_.exchange(), nowUs);
            return true;
        }
    }
    return false;
}

// The wait for a query is over.
void PollEngine::endQuery(qint64 nowUs) {
    if (const std::optional<int> silent = queries_.end()) {
        health_.probed(*silent, false, nowUs);
    }
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
                      (!concluding_ && (replanNeeded_ || plan_.blockCount() > 0)) ||
                      exchange.proofDue(nowUs) ||
                      (nothingElse() && exchange.unproven() && !exchange.finishing());
    if (work) {
        consider(stalledUntilUs_);
    }
    if (const DueUs proofUs = exchange.proofUs(nowUs)) {
        consider(loop_.betweenOperations() ? *proofUs : std::max(*proofUs, stalledUntilUs_));
    }
    if (const DueUs probeUs = health_.nextProbeUs(); probeUs && !concluding_) {
        consider(std::max(*probeUs, stalledUntilUs_));
    }
    return dueUs;
}

void PollEngine::replan() {
    plan_.rebuild(health_.dead());
    replanNeeded_ = false;
    cycleStartUs_.reset();
    countOthers();
}

// Whether other stations can be served while one owes a reply.
void PollEngine::countOthers() {
    const QVector<int> dead = health_.dead();
    int stations = 0;
    int last = 0;
    const auto consider = [&](int station) {
        if (station != last && !dead.contains(station)) {
            ++stations;
            last = station;
        }
    };
    for (const Point& point : table_.points()) {
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

void PollEngine::handOver() {
    if (active_ || queue_.empty()) {
        return;
    }
    current_ = queue_.front();
    queue_.pop_front();
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
    if (cyclic && !cycleStartUs_) {
        cycleStartUs_ = transaction.sentUs;
    }
    if (transaction.finished()) {
        skipped_ = transaction.outcome == Outcome::Skipped ? skipped_ + 1 : 0;
        if (skipped_ > std::max(plan_.blockCount(), 1)) {
            skipped_ = 0;
            stalledUntilUs_ = transaction.endUs + STALL_US;
        }
    }
    if (transaction.good() && transaction.frame.opKind != TAG_WRITE) {
        takeValues(transaction, range);
    } else if (transaction.driverResult == DX7_REPLY_GIVEN_UP && transaction.frame.opKind != TAG_WRITE) {
        reportPoints(table_.fail(range, outcomeText(transaction), transaction.outcome == Outcome::Exception),
                     events_.value);
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

void PollEngine::onCyclicRead(const Transaction& transaction, const ItemRange& range) {
    health_.polled(range.station, transaction.answered());
    if (transaction.finished() && plan_.blockDone()) {
        onCycleEnd(transaction.endUs);
    }
}

void PollEngine::onCycleEnd(qint64 nowUs) {
    if (cycleStartUs_) {
        statistics_.countCycle(nowUs - *cycleStartUs_);
    }
    cycleStartUs_ = nowUs;
    loop_.exchange().cycleEnded();
    for (const int station : health_.cycleEnd(nowUs)) {
        replanNeeded_ = true;
        reportPoints(table_.failStation(station, QStringLiteral("no reply")), events_.value);
        if (events_.station) {
            events_.station(station, false);
        }
    }
    if (events_.cycle) {
        events_.cycle();
    }
}

void PollEngine::onAlive(int station) {
    if (health_.isDead(station) && health_.probed(station, true, 0)) {
        replanNeeded_ = true;
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
            health_.probed(station, false, transaction.endUs);
        }
    }
    if (!current_.done) {
        return;
    }
    const Operation ended = current_;
    Transaction last = transaction;
    if (last.good() && ended.kind == Operation::Read) {
        last.items = heldReads_.lastItems();
    }
    if (last.ticket && last.answered()) {
        heldOperations_.hold(ended, last);
    } else {
        ended.done(last);
    }
}

void PollEngine::takeValues(const Transaction& transaction, const ItemRange& range) {
    const bool writing = active_ && current_.kind == Operation::Write;
    const ReadItems read =
        heldReads_.hold(session_, range, itemBytes(transaction.frame), writing ? &current_.range : nullptr,
                        transaction.endUs, transaction.ticket.value_or(0));
    changed_.clear();
    table_.arrive(read, &changed_);
    reportPoints(changed_, events_.fresh);
}

void PollEngine::onSettled(quint64 ticket, bool good) {
    changed_.clear();
    heldReads_.settle(ticket, good, table_, &changed_);
    reportPoints(changed_, events_.value);
    heldOperations_.settle(ticket, good);
}

template <typename Points>
void PollEngine::reportPoints(const Points& points, const std::function<void(int point)>& report) {
    if (report) {
        for (const int point : points) {
            report(point);
        }
    }
}

void PollEngine::lineLost() {
    cycleStartUs_.reset();
    queries_.lineLost(loop_.exchange().awaiting());
    HeldOperations held = std::exchange(heldOperations_, {});
    loop_.lineLost();
    reportPoints(table_.lineLost(), events_.value);
    if (events_.line) {
        events_.line(false);
    }
    held.cut(QStringLiteral("the line was lost"));
}

void PollEngine::lineBack(qint64 nowUs) {
    table_.lineBack();
    health_.lineBack(nowUs);
    if (events_.line) {
        events_.line(true);
    }
}

}  // namespace dx7

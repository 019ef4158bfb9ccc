#include "poll_engine.h"

#include <algorithm>

namespace dx7 {

namespace {

const qint64 LONGEST_NAP_US = 50000;

ItemRange rangeOf(const FRAME_PRO& frame) {
    // A status query reads one item, whatever its count.
    return ItemRange{frame.station, frame.regType, frame.address, frame.count};
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

QVector<ItemRange> requestRanges(const RegisterType& type, int station, int address, int count, int block) {
    QVector<ItemRange> ranges;
    const int limit = type.bit ? 8 * block : block;
    while (count > 0) {
        const int length = std::min(type.runLength(address, count), limit);
        ranges += ItemRange{station, type.name, address, length};
        address += length;
        count -= length;
    }
    return ranges;
}

PollEngine::PollEngine(DriverSession& session, CommLoop& loop, Clock& clock, const LineSettings& settings)
    : session_(session),
      loop_(loop),
      clock_(clock),
      settings_(settings),
      plan_(session),
      statistics_(clock.nowUs()) {
    loop_.setObserver([this](const Transaction& transaction) { onTransaction(transaction); });
    loop_.setLineObserver([this](bool open) { onLine(open); });
    // A probe is worth one request: the driver's further attempts would hold up the living.
    loop_.setSkipRepetition(
        [this](const FRAME_PRO&) { return active_ && current_.kind == Operation::Probe; });
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
                      const std::function<void(const Transaction&)>& done) {
    for (const ItemRange& range : requestRanges(type, station, address, count, settings_.block)) {
        queue_.push_back(Operation{Operation::Read, range, type, QByteArray(), done});
    }
}

void PollEngine::write(const WriteRequest& request, const std::function<void(const Transaction&)>& done) {
    const RegisterType& type = request.first.type;
    // A request writes one bit or one control word, and the driver's block limit of words.
    const bool single = type.bit || type.name == QLatin1String("CW");
    const QVector<ItemRange> ranges = requestRanges(type, request.first.station, request.first.address,
                                                    request.items.size(), settings_.block);
    int next = 0;
    for (const ItemRange& whole : ranges) {
        const int step = single ? 1 : whole.count;
        for (int offset = 0; offset < whole.count; offset += step) {
            Operation operation{Operation::Write, whole, type, QByteArray(), done};
            operation.range.address += offset;
            operation.range.count = step;
            for (int i = 0; i < step; ++i, ++next) {
                operation.data += static_cast<char>(request.items.at(next) & 0xFF);
                if (!type.bit) {
                    operation.data += static_cast<char>(request.items.at(next) >> 8);
                }
            }
            queue_.push_back(operation);
        }
    }
}

void PollEngine::abandonOperations(const QString& reason) {
    std::deque<Operation> left;
    left.swap(queue_);
    bool sent = false;
    bool unsettled = false;
    if (active_) {
        active_ = false;
        sent = loop_.requestOut();
        unsettled = current_.kind == Operation::Write && loop_.writeUnsettled();
        left.push_front(current_);
    }
    for (const Operation& operation : left) {
        if (operation.done) {
            operation.done(cutShort(operation.range, reason, sent, unsettled));
        }
        sent = unsettled = false;
    }
}

void PollEngine::awaitTurn() {
    if (loop_.betweenOperations()) {
        loop_.awaitSilence();
    }
}

CommLoop::Step PollEngine::step() {
    if (loop_.betweenOperations()) {
        if (replanNeeded_) {
            replan();
        }
        queueProbes();
        handOver();
    }
    return loop_.step();
}

qint64 PollEngine::wakeUs() {
    return clock_.nowUs() + LONGEST_NAP_US;
}

void PollEngine::replan() {
    plan_.rebuild(health_.dead());
    replanNeeded_ = false;
    cycleStartUs_ = -1;
}

void PollEngine::queueProbes() {
    if (active_ && current_.kind == Operation::Probe) {
        return;
    }
    for (const int station : health_.probesDue(clock_.nowUs())) {
        const bool queued = std::any_of(queue_.begin(), queue_.end(), [&](const Operation& operation) {
            return operation.kind == Operation::Probe && operation.range.station == station;
        });
        const auto& points = table_.points();
        const auto* const point = std::find_if(points.begin(), points.end(), [&](const Point& candidate) {
            return candidate.station == station;
        });
        if (!queued && point != points.end()) {
            const ItemRange range{station, point->type.name, point->address, 1};
            queue_.push_back(Operation{Operation::Probe, range, point->type, QByteArray(), {}});
        }
    }
}

void PollEngine::handOver() {
    if (active_ || queue_.empty()) {
        return;
    }
    current_ = queue_.front();
    queue_.pop_front();
    active_ = true;
    answered_ = false;
    if (current_.kind == Operation::Write) {
        session_.addWrite(current_.range, current_.data);
    } else {
        session_.addRead(current_.range, current_.type.bit);
    }
}

void PollEngine::onTransaction(const Transaction& transaction) {
    statistics_.count(transaction);
    const ItemRange range = rangeOf(transaction.frame);
    const bool cyclic = transaction.frame.opKind == TAG_CYCLIC;
    if (cyclic && cycleStartUs_ < 0) {
        cycleStartUs_ = transaction.sentUs;
    }
    if (transaction.good() && transaction.frame.opKind != TAG_WRITE) {
        takeValues(range);
    } else if (transaction.driverResult == OPERATION_FAILED && transaction.frame.opKind != TAG_WRITE) {
        reportQuality(table_.fail(range, outcomeText(transaction)));
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
        onCycleEnd();
    }
}

void PollEngine::onCycleEnd() {
    const qint64 nowUs = clock_.nowUs();
    if (cycleStartUs_ >= 0) {
        statistics_.countCycle(nowUs - cycleStartUs_);
    }
    cycleStartUs_ = nowUs;
    const QVector<int> before = health_.dead();
    if (health_.cycleEnd(nowUs)) {
        replanNeeded_ = true;
        for (const int station : health_.dead()) {
            if (!before.contains(station)) {
                reportQuality(table_.failStation(station));
                if (events_.station) {
                    events_.station(station, false);
                }
            }
        }
    }
    if (events_.cycle) {
        events_.cycle();
    }
}

void PollEngine::onOperationEnd(const Transaction& transaction) {
    const Operation ended = current_;
    active_ = false;
    if (ended.kind == Operation::Probe) {
        // A refusal is an answer, too, although the driver calls the read failed.
        const int station = ended.range.station;
        if (health_.probed(station, answered_, clock_.nowUs())) {
            replanNeeded_ = true;
            if (events_.station) {
                events_.station(station, true);
            }
        }
    }
    if (ended.done) {
        ended.done(transaction);
    }
}

void PollEngine::takeValues(const ItemRange& range) {
    const bool writing = active_ && current_.kind == Operation::Write;
    const QVector<int> changed =
        table_.take(session_, range, writing ? &current_.range : nullptr, clock_.nowUs());
    if (events_.value) {
        for (const int point : changed) {
            events_.value(point);
        }
    }
}

void PollEngine::reportQuality(const QVector<int>& points) {
    if (events_.quality) {
        for (const int point : points) {
            events_.quality(point);
        }
    }
}

void PollEngine::onLine(bool open) {
    cycleStartUs_ = -1;
    if (open) {
        table_.lineBack();
        health_.lineBack(clock_.nowUs());
    } else {
        reportQuality(table_.lineLost());
    }
    if (events_.line) {
        events_.line(open);
    }
}

}  // namespace dx7

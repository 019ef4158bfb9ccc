#include "truth_run.h"

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <vector>

#include "host/exchange/rtu_frame.h"
#include "host/poll/one_shot_read.h"
#include "host/poll/poll_engine.h"
#include "simulated_line.h"
#include "tests/host/loaded_driver.h"

namespace truth {

namespace {

const qint64 SECOND_US = 1000000;
const qint64 GRACE_US = 900 * SECOND_US;
enum { MOST_TURNS_AT_ONCE = 2000 };

using dx7::Transaction;

// A reply that the driver took, and the request that it is shown for.
struct Reading {
    QByteArray request;
    dx7::ItemRange range;
    qint64 sentUs = -1;          // When the line carried the request.
    std::uint64_t readings = 0;  // That the stations had taken before.
    qint64 endUs = 0;
    qint64 copyUs = 0;  // When the same frame came again before anything else was sent.
    std::size_t sends = 0;
};

dx7::Point pointOf(const Item& item) {
    dx7::Point point;
    point.type = notation().type(item.type);
    point.station = item.station;
    point.address = item.address;
    point.name = point.notation();
    return point;
}

QString timeText(qint64 us) {
    return QStringLiteral("%1").arg(static_cast<double>(us) / 1e6, 11, 'f', 6);
}

QString dueText(dx7::DueUs us) {
    return us ? timeText(*us) : QStringLiteral("none");
}

class Run {
public:
    Run(const Scenario& scenario, bool traced);
    Outcome run();

private:
    void trace(qint64 atUs, const QString& text);
    void turnUntil(qint64 untilUs, const std::function<bool()>& over);
    bool turn(qint64 untilUs);
    void startWork();
    void nextWork();
    void oneShot();
    void write();
    void onTransaction(const Transaction& transaction);
    void onNote(const dx7::ExchangeNote& note);
    void onValue(int point);
    void judge(const dx7::Point& point, const dx7::PointState& told);
    void judgeWrite(const Transaction& transaction);
    qint64 conversationUs(qint64 sentUs) const;
    void fail(Outcome::Kind kind, const QString& why, const QByteArray& request, qint64 sentUs);
    void judgeLife();

    const Scenario& scenario_;
    bool traced_;
    bool someEchoes_;  // The adapter echoes now and then.
    Outcome outcome_;
    Random random_;
    SimulatedLine line_;
    dx7::DriverSession session_;
    dx7::CommLoop loop_;
    dx7::PollEngine engine_;
    QVector<dx7::Point> points_;
    std::vector<std::unique_ptr<dx7::OneShotRead>> reads_;
    std::deque<Reading> readings_;
    std::map<int, qint64> lastGoodUs_;
    qint64 nowUs_ = SECOND_US;
    qint64 provenUs_ = 0;  // When a query was answered last before the present value's request.
    struct Proof {
        qint64 atUs;
        int noticed;
    };
    std::deque<Proof> proofs_;
    int noticed_ = 0;  // Frames that the host took for none of its business.
    int readsLeft_;
    int writesLeft_;
    int turnsAtOnce_ = 0;
    int lateQueries_ = 0;
    qint64 queriesSent_ = 0;
    std::size_t sends_ = 0;
    int written_ = 0;
};

Run::Run(const Scenario& scenario, bool traced)
    : scenario_(scenario),
      traced_(traced),
      someEchoes_(
          std::any_of(scenario.faults.begin(), scenario.faults.end(),
                      [](const Fault& fault) { return fault.kind == Fault::Echo && fault.percent < 100; })),
      random_(scenario.seed + 99),
      line_(scenario,
            [this](qint64 atUs, const char* what, const QByteArray& frame) {
                trace(atUs, QStringLiteral("%1 %2").arg(QLatin1String(what), -26).arg(dx7::hexText(frame)));
            }),
      session_(driverFunctions(), dx7::propertyText(scenario.settings, 1)),
      loop_(session_, scenario.settings),
      engine_(session_, loop_, scenario.settings, SECOND_US),
      readsLeft_(scenario.reads),
      writesLeft_(scenario.writes) {
    for (const Item& item : scenario.items) {
        points_ += pointOf(item);
    }
    dx7::EngineEvents events;
    events.transaction = [this](const Transaction& transaction) { onTransaction(transaction); };
    events.note = [this](const dx7::ExchangeNote& note) { onNote(note); };
    events.value = [this](int point) { onValue(point); };
    engine_.setEvents(events);
    loop_.exchange().setCounter(static_cast<quint16>(mixed(scenario.seed)));
}

void Run::trace(qint64 atUs, const QString& text) {
    if (traced_) {
        outcome_.conversation += timeText(atUs) + QLatin1Char(' ') + text;
    }
}

// One turn of the line's runner. False when nothing will happen any more.
bool Run::turn(qint64 untilUs) {
    engine_.advance(nowUs_);
    dx7::Exchange& exchange = loop_.exchange();
    if (!exchange.output().isEmpty()) {
        line_.send(exchange.output(), outcome_.queries > queriesSent_, nowUs_);
        queriesSent_ = outcome_.queries;
        ++sends_;
        exchange.outputTaken();
    }
    const dx7::DueUs dueUs = engine_.nextDueUs(nowUs_);
    const qint64 lineUs = line_.nextUs();
    qint64 nextUs = std::min(dueUs.value_or(untilUs), untilUs);
    nextUs = lineUs < 0 ? nextUs : std::min(lineUs, nextUs);
    turnsAtOnce_ = nextUs > nowUs_ ? 0 : turnsAtOnce_ + 1;
    if (turnsAtOnce_ > MOST_TURNS_AT_ONCE) {
        fail(Outcome::Endless,
             QStringLiteral(
                 "the engine has something to do all the time and does nothing: due %1, of the exchange "
                 "%2, clear %3, proof %4, probe %5, idle %6, line %7")
                 .arg(dueText(dueUs), dueText(exchange.nextDueUs()), timeText(exchange.clearUs()),
                      dueText(exchange.proofUs(nowUs_)), dueText(engine_.health().nextProbeUs()))
                 .arg(exchange.idle())
                 .arg(timeText(lineUs)),
             QByteArray(), 0);
    }
    nowUs_ = std::max(nextUs, nowUs_);
    const QByteArray bytes = line_.run(nowUs_);
    if (!bytes.isEmpty()) {
        engine_.received(bytes.constData(), bytes.size(), nowUs_);
    }
    return outcome_.failure.isEmpty();
}

void Run::turnUntil(qint64 untilUs, const std::function<bool()>& over) {
    while (nowUs_ < untilUs && !over() && turn(untilUs)) {
        nextWork();
    }
}

// One-shot reads and writes follow each other, at random with others between.
void Run::nextWork() {
    if (engine_.pendingOperations() > 0 && random_.chance(95)) {
        return;
    }
    const int left = readsLeft_ + writesLeft_;
    if (left == 0 || nowUs_ < SECOND_US + scenario_.durationUs * (scenario_.reads + scenario_.writes - left) /
                                              (scenario_.reads + scenario_.writes + 1)) {
        return;
    }
    if (random_.between(1, left) <= readsLeft_) {
        oneShot();
    } else {
        write();
    }
}

void Run::oneShot() {
    --readsLeft_;
    reads_.push_back(std::make_unique<dx7::OneShotRead>(engine_));
    reads_.back()->queue(points_);
}

void Run::write() {
    --writesLeft_;
    const int station = random_.between(1, scenario_.stations.size());
    const int kind = random_.between(0, 3);
    const char* const types[] = {"SDO", "F", "CW", "F"};
    const int addresses[] = {random_.between(1, 8), 150 + random_.between(0, 3), 0,
                             140 + random_.between(0, 2)};
    Item item{station, QString::fromLatin1(types[kind]), addresses[kind]};
    dx7::WriteRequest request;
    request.first = pointOf(item);
    const int count = kind == 3 ? random_.between(2, 5) : 1;
    for (int i = 0; i < count; ++i) {
        request.items += request.first.type.bit ? random_.between(0, 1) : random_.between(0, 3);
    }
    engine_.write(request, [this](const Transaction& transaction) { judgeWrite(transaction); });
}

void Run::onTransaction(const Transaction& transaction) {
    ++outcome_.requests;
    if (traced_) {
        trace(nowUs_, QStringLiteral("= %1 %2, held as %3")
                          .arg(dx7::hexText(transaction.request), dx7::outcomeText(transaction))
                          .arg(transaction.ticket.value_or(0)));
    }
    if (transaction.good() && transaction.frame.opKind != dx7::TAG_WRITE) {
        const FRAME_PRO& frame = transaction.frame;
        Reading reading;
        reading.request = transaction.request;
        reading.range = dx7::ItemRange{frame.station, frame.regType, frame.address, frame.count};
        reading.endUs = transaction.endUs;
        if (const auto* const sent = line_.record().lastSent(transaction.request, transaction.endUs)) {
            reading.sentUs = sent->atUs;
            reading.readings = sent->readings;
        }
        reading.copyUs = reading.endUs;
        reading.sends = sends_;
        readings_.push_back(reading);
    }
}

void Run::onNote(const dx7::ExchangeNote& note) {
    static const char* const NAMES[] = {"query",   "query answered", "late",  "surplus", "copy",
                                        "foreign", "echo",           "noise", "damaged"};
    if (traced_) {
        trace(nowUs_, QStringLiteral("! %1, station %2, %3 us, %4")
                          .arg(QLatin1String(NAMES[note.kind]))
                          .arg(note.station.value_or(0))
                          .arg(note.afterUs)
                          .arg(note.value));
    }
    if (note.kind == dx7::ExchangeNote::Copy && !readings_.empty() && readings_.back().sends == sends_) {
        // Whichever of the two is the reply, it says the same.
        readings_.back().copyUs = nowUs_;
    }
    if (note.kind == dx7::ExchangeNote::Query) {
        ++outcome_.queries;
        lateQueries_ += nowUs_ > 6 * SECOND_US ? 1 : 0;
    } else if (note.kind == dx7::ExchangeNote::QueryAnswer) {
        proofs_.push_back(Proof{nowUs_, noticed_});
    } else if (note.kind != dx7::ExchangeNote::Late &&
               (note.kind != dx7::ExchangeNote::Echo || someEchoes_)) {
        ++noticed_;
    }
}

// When the conversation with a request at `sentUs` began: with the last proof before it. But where a frame
// that the host did not ask for passed for a reply, an answer may have been that to an earlier query, and
// every proof since is none.
qint64 Run::conversationUs(qint64 sentUs) const {
    qint64 fromUs = 0;
    for (const Proof& proof : proofs_) {
        if (proof.atUs <= sentUs && line_.record().insertions(proof.atUs) <= proof.noticed) {
            fromUs = proof.atUs;
        }
    }
    return fromUs;
}

void Run::fail(Outcome::Kind kind, const QString& why, const QByteArray& request, qint64 sentUs) {
    if (!outcome_.failure.isEmpty()) {
        return;
    }
    if (!request.isEmpty() &&
        line_.record().undecidable(replyShape(request), conversationUs(sentUs), nowUs_)) {
        outcome_.undecidable = true;
        trace(nowUs_, QStringLiteral("? undecidable: %1").arg(why));
        return;
    }
    outcome_.kind = kind;
    outcome_.failure = why;
    trace(nowUs_, QStringLiteral("* %1").arg(why));
}

void Run::onValue(int index) {
    const dx7::PointState& told = engine_.table().told(index);
    if (traced_) {
        trace(nowUs_, QStringLiteral("~ %1 shown as 0x%2 %3, read at %4")
                          .arg(points_.at(index).name, QString::number(told.raw.value_or(0), 16),
                               dx7::qualityText(told.quality), timeText(told.readUs)));
    }
    if (told.quality == dx7::Quality::Doubtful) {
        ++outcome_.doubtful;
    }
    if (told.quality == dx7::Quality::Good) {
        judge(engine_.table().points().at(index), told);
        lastGoodUs_[index] = told.readUs;
    }
}

// The value must be the station's for exactly this item, taken after the request went out.
void Run::judge(const dx7::Point& point, const dx7::PointState& told) {
    ++outcome_.good;
    const auto reading = std::find_if(readings_.rbegin(), readings_.rend(), [&](const Reading& candidate) {
        const dx7::ItemRange& range = candidate.range;
        return candidate.endUs == told.readUs && range.station == point.station &&
               range.regType == point.type.name && range.address <= point.address &&
               point.address < range.address + std::max(range.count, 1);
    });
    const QString name =
        QStringLiteral("%1 shown as 0x%2, read at %3")
            .arg(point.name, QString::number(told.raw.value_or(0), 16), timeText(told.readUs));
    if (reading == readings_.rend() || reading->sentUs < 0) {
        fail(Outcome::FalseValue, name + QStringLiteral(": no such request was sent"), QByteArray(), 0);
        return;
    }
    const int function = dx7::byteAt(reading->request, 1);
    const int item = function == dx7::READ_EXCEPTION_STATUS
                         ? 0
                         : dx7::wordAt(reading->request, 2) + point.address - reading->range.address;
    const int mask = function <= 2 ? 1 : function == dx7::READ_EXCEPTION_STATUS ? 0xFF : 0xFFFF;
    const std::uint64_t last = line_.record().readingAt(reading->copyUs);
    for (std::uint64_t at = reading->readings + 1; at <= last; ++at) {
        if (told.raw == static_cast<quint32>(valueOf(point.station, function, item, at) & mask)) {
            return;
        }
    }
    fail(Outcome::FalseValue,
         name + QStringLiteral(" for the request of %1: the station had no such value")
                    .arg(timeText(reading->sentUs)),
         reading->request, reading->sentUs);
}

void Run::judgeWrite(const Transaction& transaction) {
    if (traced_) {
        trace(nowUs_, QStringLiteral("= write %1: %2")
                          .arg(dx7::hexText(transaction.request), dx7::outcomeText(transaction)));
    }
    if (!transaction.good()) {
        return;
    }
    ++outcome_.written;
    // One like it may have gone out at the moment at which this one ended.
    const auto* const sent =
        line_.record().lastSent(transaction.request, std::max(transaction.endUs - 1, transaction.sentUs));
    if (sent == nullptr || !line_.record().executed(transaction.request, sent->atUs, nowUs_)) {
        fail(Outcome::FalseWrite,
             QStringLiteral("the write %1 is reported as carried out, and was not")
                 .arg(dx7::hexText(transaction.request)),
             transaction.request, sent == nullptr ? 0 : sent->atUs);
    }
}

void Run::judgeLife() {
    for (int i = 0; i < points_.size(); ++i) {
        // A value that stays the same is no event.
        const dx7::PointState& told = engine_.table().told(i);
        if (told.quality == dx7::Quality::Good) {
            lastGoodUs_[i] = std::max(lastGoodUs_[i], told.readUs);
        }
        if (lastGoodUs_[i] < nowUs_ - scenario_.lifeUs) {
            fail(Outcome::NotShown,
                 QStringLiteral("%1 is not shown as good: %2 (%3), the last time at %4")
                     .arg(points_.at(i).name, dx7::qualityText(engine_.table().told(i).quality),
                          engine_.table().told(i).fault, timeText(lastGoodUs_[i])),
                 QByteArray(), 0);
        }
    }
    if (scenario_.faults.isEmpty() && lateQueries_ > (nowUs_ - 6 * SECOND_US) / SECOND_US + 1) {
        fail(Outcome::NotShown,
             QStringLiteral("%1 queries in %2 s of a clean line")
                 .arg(lateQueries_)
                 .arg((nowUs_ - 6 * SECOND_US) / SECOND_US),
             QByteArray(), 0);
    }
}

Outcome Run::run() {
    if (scenario_.watch) {
        engine_.watch(points_, nowUs_);
    }
    const qint64 endUs = SECOND_US + scenario_.durationUs;
    turnUntil(endUs, [] { return false; });
    if (scenario_.mustLive && scenario_.watch) {
        judgeLife();
    }
    readsLeft_ = writesLeft_ = 0;
    engine_.conclude();
    turnUntil(endUs + GRACE_US, [this] { return engine_.concluded(); });
    if (!engine_.concluded() && outcome_.failure.isEmpty()) {
        fail(Outcome::Endless, QStringLiteral("not concluded after %1 s").arg(GRACE_US / SECOND_US),
             QByteArray(), 0);
    }
    for (const auto& read : reads_) {
        for (int i = 0; i < read->table().size(); ++i) {
            if (read->table().state(i).quality == dx7::Quality::Good) {
                judge(read->table().points().at(i), read->table().state(i));
            }
        }
        if (scenario_.mustLive && !read->allGood()) {
            fail(Outcome::NotShown, QStringLiteral("a one-shot read is not good"), QByteArray(), 0);
        }
    }
    return outcome_;
}

}  // namespace

Outcome runScenario(const Scenario& scenario, bool traced) {
    return Run(scenario, traced).run();
}

Scenario shrunk(const Scenario& scenario, int most) {
    Scenario least = scenario;
    const Outcome::Kind kind = runScenario(scenario, false).kind;
    for (bool smaller = true; smaller;) {
        smaller = false;
        for (const Scenario& candidate : simpler(least)) {
            if (--most < 0) {
                return least;
            }
            if (!candidate.items.isEmpty() && runScenario(candidate, false).kind == kind) {
                least = candidate;
                smaller = true;
                break;
            }
        }
    }
    return least;
}

}  // namespace truth

#include "host/cli/connection.h"

#include <algorithm>
#include <limits>

#include "host/cli/listening.h"
#include "host/cli/output.h"
#include "host/cli/output_files.h"
#include "host/cli/protocol_hint.h"
#include "host/cli/stop_signal.h"
#include "host/error.h"
#include "host/files/named_items.h"
#include "host/files/wall_clock.h"

namespace dx7::cli {

namespace {

// A signal that comes just before a wait does not end it.
constexpr qint64 LONGEST_TURN_US = 250000;
constexpr qint64 LAST_PROOF_US = 3000000;

// Why the file gives no items, as a part of a sentence; empty where no file is named.
QString withoutTags(const CommonOptions& options) {
    const LineFile* file = options.lineFile();
    const QString line = file == nullptr ? QString() : file->lines().value(options.chosenLine());
    return file == nullptr ? QString()
           : line.isEmpty()
               ? QStringLiteral(", and %1 has no tags").arg(file->paths().first())
               : QStringLiteral(", and line \"%1\" of %2 has no tags").arg(line, file->paths().first());
}

// After the reason why the line did not open: where a dx7 has the port, what can be done.
QString inUseHint(const QString& failure, const CommonOptions& options) {
    return failure.contains(QLatin1String("in use by dx7 (process "))
               ? QStringLiteral("; ") + QLatin1String(options.inUseHint)
               : QString();
}

}  // namespace

// The driver reads the first item of the group after the last one; the table has none there.
void warnOfItemsBeyond(const QVector<Point>& points) {
    for (const Point& point : points) {
        if (point.type.beyondTable(point.address, point.items())) {
            printError(QStringLiteral("warning: %1 is beyond the end of %2, which has %3 to %4")
                           .arg(point.notation(), point.type.name, point.type.lowest, point.type.highest));
        }
    }
}

Driver::Driver(const CommonOptions& options)
    : library(text(options.driverPath)), notation(library.functions()) {}

QString Driver::parameter() const {
    QString parameter;
    library.functions().getDriverParameter(parameter);
    return parameter;
}

QVector<LineTag> Driver::tags(const CommonOptions& options) const {
    const LineFile* file = options.lineFile();
    QVector<LineTag> own;
    const int line = options.chosenLine();
    for (const LineTag& tag : file == nullptr ? QVector<LineTag>() : file->tags(notation)) {
        if (tag.line == line) {
            own += tag;
        }
    }
    return own;
}

QVector<Point> Driver::points(const CommonOptions& options, const std::vector<std::string>& arguments) const {
    const QVector<LineTag> all = tags(options);
    const NamedItems items(notation, all);
    QVector<Point> chosen;
    for (const QString& argument : texts(arguments)) {
        chosen += items.points(argument);
    }
    if (!arguments.empty()) {
        chosen = withoutRepetitions(chosen);
    } else if (all.isEmpty()) {
        throw UsageError(
            QStringLiteral(
                "no items are given%1, write TYPE:ADDRESS[,COUNT][@STATION[-LAST]], or name a file "
                "with tags (-c FILE)")
                .arg(withoutTags(options)));
    }
    for (const LineTag& tag : arguments.empty() ? all : QVector<LineTag>()) {
        chosen += tag.points;
    }
    warnOfItemsBeyond(chosen);
    return chosen;
}

QVector<WriteRequest> Driver::writes(const CommonOptions& options,
                                     const std::vector<std::string>& arguments) const {
    const NamedItems items(notation, tags(options));
    QVector<WriteRequest> requests;
    for (const QString& argument : texts(arguments)) {
        requests += items.writes(argument);
    }
    return requests;
}

std::unique_ptr<Line> openLine(const LineSettings& settings, const CommonOptions& options) {
    std::unique_ptr<Line> line = makeLine(settings);
    line->setStopRequest(stopRequested);
    if (!line->open()) {
        throw UsageError(
            QStringLiteral("%1 could not be opened: %2%3")
                .arg(describeLine(settings), line->failure(), inUseHint(line->failure(), options)));
    }
    return line;
}

Connection::Connection(const Driver& loaded, const LineSettings& settings, const CommonOptions& options)
    : settings_(settings),
      listens_(settings.carrier == Carrier::Serial && !options.anyway),
      session_(loaded.library.functions(), propertyText(settings, 1)),
      loop_(session_, settings),
      notices_(settings) {
    if (!options.recordPath.empty()) {
        checkRecordingPath(loaded, settings, options);
    }
    watchStopSignals();
    line_ = openLine(settings, options);
    loop_.exchange().setCounter(static_cast<quint16>(wallTimeUs()));
    if (!options.recordPath.empty()) {
        recorder_ = std::make_unique<Recorder>(text(options.recordPath), stopRequested);
        loop_.setTap(recorder_.get());
    }
    engine_ = std::make_unique<PollEngine>(session_, loop_, settings, clock_.nowUs());
    runner_ = std::make_unique<LineRunner>(*engine_, *line_, poller_);
    hear();
}

void Connection::setEvents(EngineEvents events) {
    events_ = std::move(events);
    hear();
}

void Connection::setReading(std::function<void(const Reading&)> reading) {
    reading_ = std::move(reading);
    hear();
}

// The connection is told first, then the command.
void Connection::hear() {
    EngineEvents events = events_;
    events.reading = reading_;
    events.transaction = [this](const Transaction& transaction) {
        watchSilence(transaction);
        if (events_.transaction) {
            events_.transaction(transaction);
        }
    };
    events.note = [this](const ExchangeNote& note) {
        take(note);
        if (events_.note) {
            events_.note(note);
        }
    };
    events.line = [this](bool open) {
        if (!open) {
            watchLoss();
        }
        if (events_.line) {
            events_.line(open);
        }
    };
    events.notice = [this](const QString& sentence) { say(sentence); };
    engine_->setEvents(events);
}

void Connection::take(const ExchangeNote& note) {
    if (note.kind == ExchangeNote::Noise || note.kind == ExchangeNote::Damaged) {
        say(protocolHint(settings_, loop_.exchange().firstBytes(), false));
    }
    const QString notice = notices_.take(note);
    if (!notice.isEmpty() && printNotices_) {
        printError(notice);
    }
}

// A notice that does not come from the exchange.
void Connection::say(const QString& sentence) {
    if (!sentence.isEmpty() && notices_.add(sentence) && printNotices_) {
        printError(sentence);
    }
}

// Such a loss may be a device that starts anew; one after the other is not.
void Connection::watchLoss() {
    const QString hint = protocolHint(settings_, loop_.exchange().firstBytes(), true);
    silentLosses_ = hint.isEmpty() ? 0 : silentLosses_ + 1;
    if (awaitsLostLine_) {
        say(hint);
    }
}

Connection::~Connection() {
    try {
        closeRecording();
    } catch (const LineError& error) {
        printError(error.text());
    }
}

void Connection::closeRecording() {
    if (recorder_) {
        recorder_->close();
    }
}

void Connection::step(qint64 untilUs) {
    turn([] { return true; }, untilUs);
}

// What ends before the wait needs none.
void Connection::turn(const std::function<bool()>& goesOn, qint64 untilUs) {
    runner_->prepare();
    if (runner_->lineOpen() && !goesOn()) {
        return;
    }
    const qint64 latestUs = std::min(clock_.nowUs() + LONGEST_TURN_US, untilUs);
    poller_.wait(std::min(runner_->nextDueUs().value_or(latestUs), latestUs));
    runner_->take();
}

void Connection::conclude() {
    engine_->conclude();
    // What is under way has its time, and so has its proof.
    const qint64 untilUs = clock_.nowUs() + 2 * operationTimeUs(settings_) + LAST_PROOF_US;
    while (runner_->lineOpen() && !engine_->concluded() && clock_.nowUs() < untilUs) {
        turn([this] { return !engine_->concluded(); }, untilUs);
    }
}

bool Connection::runOperations() {
    return runWhile([this] { return engine_->pendingOperations() > 0; }, std::numeric_limits<qint64>::max());
}

bool Connection::waitUntil(qint64 timeUs) {
    return runWhile([this, timeUs] { return clock_.nowUs() < timeUs; }, timeUs);
}

bool Connection::runWhile(const std::function<bool()>& goesOn, qint64 untilUs) {
    try {
        while (breakReason_.isEmpty() && goesOn()) {
            if (stopRequested()) {
                breakOffStopped();
                break;
            }
            turn(goesOn, untilUs);
            if (!runner_->lineOpen() && !stopRequested()) {
                breakOffLost();
            }
        }
    } catch (const LineError& error) {
        breakOff(QStringLiteral("the recording failed"), error.text());
    }
    if (breakReason_.isEmpty()) {
        return true;
    }
    engine_->abandonOperations(breakPhrase_);
    return false;
}

void Connection::breakOff(const QString& phrase, const QString& reason) {
    breakPhrase_ = phrase;
    breakReason_ = reason;
}

void Connection::breakOffStopped() {
    breakOff(QStringLiteral("dx7 was stopped"), QStringLiteral("stopped"));
}

void Connection::breakOffLost() {
    breakOff(QStringLiteral("the line was lost"),
             lossText(settings_, line_->failure(), loop_.exchange().firstBytes()));
}

void Connection::listenFirst() {
    if (!listens_) {
        return;
    }
    try {
        const QVector<HeardPiece> heard = listen(*line_, poller_, settings_, recorder_.get());
        const QString master = otherMasterText(heard);
        const QString stray = strayText(heard);
        if (!stray.isEmpty()) {
            printError(stray);
        }
        if (!master.isEmpty()) {
            breakOff(QStringLiteral("another master was heard"), master);
        } else if (stopRequested()) {
            breakOffStopped();
        } else if (!line_->isOpen()) {
            breakOffLost();
        }
    } catch (const LineError& error) {
        breakOff(QStringLiteral("the recording failed"), error.text());
    }
}

void Connection::watchSilence(const Transaction& transaction) {
    // A broadcast is not answered.
    if (!transaction.finished() || transaction.frame.station == 0) {
        return;
    }
    silentOperations_ = transaction.heard ? 0 : silentOperations_ + 1;
    if (!transaction.heard) {
        silentStations_ += transaction.frame.station;
    }
    const bool failed = abandonAfter_ == Abandon::Failure && !transaction.answered();
    if (failed || (abandonAfter_ != Abandon::Never && !transaction.heard)) {
        engine_->abandonOperations(silencePhrase(transaction.frame.station));
    }
}

QString silencePhrase(int station) {
    return QStringLiteral("station %1 did not answer").arg(station);
}

bool leftOpen(const Transaction& transaction) {
    return transaction.outcome == Outcome::CutShort ||
           (transaction.outcome == Outcome::Skipped && !transaction.unsettled);
}

QString unwrittenText(const Transaction& transaction) {
    const QString outcome = outcomeText(transaction);
    if (transaction.outcome == Outcome::CutShort) {
        return transaction.unsettled
                   ? QStringLiteral("unknown: sent, but %1 before the acknowledgement%2; read it back")
                         .arg(outcome, QLatin1String(transaction.doubtful ? " was proven" : ""))
                   : QStringLiteral("not sent: %1 before that").arg(outcome);
    }
    if (transaction.outcome == Outcome::Skipped && !transaction.unsettled) {
        return QStringLiteral("not sent: the station still owes the reply to the request before");
    }
    return transaction.unsettled
               ? QStringLiteral("%1; it is unknown whether the station carried it out: read it back")
                     .arg(outcome)
               : outcome;
}

}  // namespace dx7::cli

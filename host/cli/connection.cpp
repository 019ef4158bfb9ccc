#include "host/cli/connection.h"

#include "host/cli/output.h"
#include "host/cli/output_files.h"
#include "host/cli/stop_signal.h"
#include "host/error.h"
#include "host/files/wall_clock.h"

namespace dx7::cli {

namespace {

constexpr qint64 LONGEST_TURN_US = 50000;

// The driver reads the first item of the group after the last one; the table has none there.
void warnOfItemsBeyond(const QVector<Point>& points) {
    for (const Point& point : points) {
        if (point.type.beyondTable(point.address, point.items())) {
            printError(QStringLiteral("warning: %1 is beyond the end of %2, which has %3 to %4")
                           .arg(point.notation(), point.type.name, point.type.lowest, point.type.highest));
        }
    }
}

}  // namespace

Driver::Driver(const CommonOptions& options)
    : library(text(options.driverPath)), notation(library.functions()) {}

QString Driver::parameter() const {
    QString parameter;
    library.functions().getDriverParameter(parameter);
    return parameter;
}

QVector<LineTag> Driver::tags(const CommonOptions& options) const {
    const LineFile* file = options.lineFile();
    return file == nullptr ? QVector<LineTag>() : file->tags(notation);
}

QHash<QString, QVector<Point>> Driver::names(const QVector<LineTag>& tags) {
    QHash<QString, QVector<Point>> names;
    for (const LineTag& tag : tags) {
        names.insert(tag.name, tag.points);
        for (const Point& point : tag.points) {
            names.insert(point.name, {point});
        }
    }
    return names;
}

QVector<Point> Driver::points(const CommonOptions& options, const std::vector<std::string>& arguments) const {
    const QVector<LineTag> all = tags(options);
    const QHash<QString, QVector<Point>> byName = names(all);
    QVector<Point> chosen;
    for (const QString& argument : texts(arguments)) {
        const auto tag = byName.find(argument);
        chosen += tag != byName.end() ? *tag : notation.points(argument);
    }
    if (!arguments.empty()) {
        chosen = withoutRepetitions(chosen);
    } else if (all.isEmpty()) {
        throw UsageError(
            QStringLiteral("no items are given, write TYPE:ADDRESS[,COUNT][@STATION], or name a file with "
                           "tags (-c FILE)"));
    }
    for (const LineTag& tag : arguments.empty() ? all : QVector<LineTag>()) {
        chosen += tag.points;
    }
    warnOfItemsBeyond(chosen);
    return chosen;
}

QVector<WriteRequest> Driver::writes(const CommonOptions& options,
                                     const std::vector<std::string>& arguments) const {
    const QHash<QString, QVector<Point>> byName = names(tags(options));
    QVector<WriteRequest> requests;
    for (const QString& argument : texts(arguments)) {
        // A name may hold the sign, a value does not.
        const int equals = argument.lastIndexOf(QLatin1Char('='));
        const QString name = argument.left(equals);
        const auto tag = equals < 0 ? byName.end() : byName.find(name);
        requests += tag != byName.end() ? ItemNotation::writeTag(name, *tag, argument.mid(equals + 1))
                                        : notation.write(argument);
    }
    return requests;
}

Connection::Connection(const Driver& loaded, const LineSettings& settings, const CommonOptions& options)
    : settings_(settings),
      session_(loaded.library.functions(), propertyText(settings, 1)),
      line_(makeLine(settings)),
      loop_(session_, settings),
      notices_(settings) {
    if (!options.recordPath.empty()) {
        checkRecordingPath(loaded, settings, options);
    }
    watchStopSignals();
    line_->setStopRequest(stopRequested);
    if (!line_->open()) {
        throw UsageError(
            QStringLiteral("%1 could not be opened: %2").arg(describeLine(settings), line_->failure()));
    }
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

// The connection is told first, then the command.
void Connection::hear() {
    EngineEvents events = events_;
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
    engine_->setEvents(events);
}

void Connection::take(const ExchangeNote& note) {
    const QString notice = notices_.take(note);
    if (!notice.isEmpty() && printNotices_) {
        printError(notice);
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

void Connection::step() {
    runner_->turn(clock_.nowUs() + LONGEST_TURN_US);
}

void Connection::conclude() {
    engine_->conclude();
    while (runner_->lineOpen() && !engine_->concluded()) {
        step();
    }
}

bool Connection::runOperations() {
    try {
        while (breakReason_.isEmpty() && engine_->pendingOperations() > 0) {
            if (stopRequested()) {
                breakOff(QStringLiteral("dx7 was stopped"), QStringLiteral("stopped"));
                break;
            }
            step();
            if (!runner_->lineOpen() && !stopRequested()) {
                breakOff(QStringLiteral("the line was lost"),
                         QStringLiteral("%1 was lost: %2").arg(describeLine(settings_), line_->failure()));
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

void Connection::watchSilence(const Transaction& transaction) {
    if (!transaction.finished()) {
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

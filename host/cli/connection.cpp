#include "connection.h"

#include <algorithm>

#include "error.h"
#include "output.h"
#include "output_files.h"
#include "stop_signal.h"

namespace dx7::cli {

Driver::Driver(const CommonOptions& options)
    : library(text(options.driverPath)), notation(library.functions()) {}

QString Driver::parameter() const {
    QString parameter;
    library.functions().getDriverParameter(parameter);
    return parameter;
}

QVector<Point> Driver::tags(const CommonOptions& options) const {
    const LineFile* file = options.lineFile();
    return file == nullptr ? QVector<Point>() : file->tags(notation);
}

QVector<Point> Driver::points(const CommonOptions& options, const std::vector<std::string>& arguments) const {
    const QVector<Point> all = tags(options);
    QVector<Point> chosen;
    for (const QString& argument : texts(arguments)) {
        const auto* const tag =
            std::find_if(all.begin(), all.end(), [&](const Point& point) { return point.name == argument; });
        chosen += tag != all.end() ? QVector<Point>{*tag} : notation.points(argument);
    }
    if (!arguments.empty()) {
        return withoutRepetitions(chosen);
    }
    if (all.isEmpty()) {
        throw UsageError(
            QStringLiteral("no items are given, write TYPE:ADDRESS[,COUNT][@STATION], or name a file with "
                           "tags (-c FILE)"));
    }
    return all;
}

QVector<WriteRequest> Driver::writes(const CommonOptions& options,
                                     const std::vector<std::string>& arguments) const {
    const QVector<Point> all = tags(options);
    QVector<WriteRequest> requests;
    for (const QString& argument : texts(arguments)) {
        const int equals = argument.indexOf(QLatin1Char('='));
        const auto* const tag = std::find_if(all.begin(), all.end(), [&](const Point& point) {
            return equals >= 0 && point.name == argument.left(equals);
        });
        requests +=
            tag != all.end() ? notation.write(*tag, argument.mid(equals + 1)) : notation.write(argument);
    }
    return requests;
}

Connection::Connection(const Driver& loaded, const LineSettings& settings, const CommonOptions& options)
    : settings_(settings),
      session_(loaded.library.functions(), propertyText(settings, 1)),
      line_(makeLine(settings, clock_)) {
    if (!options.recordPath.empty()) {
        checkRecordingPath(loaded, settings, options);
    }
    QString why;
    if (!line_->open(&why)) {
        throw UsageError(QStringLiteral("%1 could not be opened: %2").arg(describeLine(settings), why));
    }
    watchStopSignals();
    loop_ = std::make_unique<CommLoop>(loaded.library.functions(), *line_, clock_, settings);
    loop_->setStopRequest(stopRequested);
    if (!options.recordPath.empty()) {
        recorder_ = std::make_unique<Recorder>(text(options.recordPath));
        loop_->setTap(recorder_.get());
    }
    engine_ = std::make_unique<PollEngine>(session_, *loop_, clock_, settings);
}

Connection::~Connection() {
    try {
        finish(EXIT_FAILED);
    } catch (const LineError& error) {
        complain(error.text());
    }
}

int Connection::finish(int exitCode) {
    if (recorder_) {
        recorder_->close();
    }
    return exitCode;
}

void Connection::step() {
    const CommLoop::Step step = engine_->step();
    if (step == CommLoop::Step::Idle || step == CommLoop::Step::NoLine) {
        clock_.sleepUntilUs(engine_->wakeUs());
    }
}

bool Connection::runOperations() {
    while (engine_->pendingOperations() > 0) {
        if (stopRequested()) {
            return false;
        }
        if (engine_->step() == CommLoop::Step::NoLine) {
            throw LineError(QStringLiteral("%1 was lost: %2").arg(describeLine(settings_), line_->failure()));
        }
    }
    return true;
}

}  // namespace dx7::cli

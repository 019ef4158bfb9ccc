#include "host/cli/value_log.h"

#include "host/cli/output.h"
#include "host/cli/output_files.h"
#include "host/error.h"
#include "host/files/csv_row.h"

namespace dx7::cli {

namespace {

constexpr char HEADER[] = "time,line,name,item,station,value,text,quality,fault";
constexpr qint64 MOST_FILES = 1000000;

LogRotation rotationOf(const LogOptions& options) {
    LogRotation rotation =
        options.rotate ? logRotation(text(*options.rotate), "--log-rotate") : LogRotation();
    if (options.keep) {
        rotation.keep = static_cast<int>(*options.keep);
    }
    return rotation;
}

QString checkedPath(const Driver& loaded, const LineSettings& settings, const CommonOptions& common,
                    const LogOptions& options) {
    checkLogPath(loaded, settings, common, text(options.path));
    return text(options.path);
}

// The number as JSON has it; nothing where it has none.
QString valueField(const Point& point, const PointState& state) {
    const Json number = state.raw ? numberJson(point.format, *state.raw) : Json(nullptr);
    return number.isNull() ? QString() : QString::fromStdString(number.dump());
}

}  // namespace

void addLogOptions(CommandLine& command, LogOptions& options) {
    command.add("--log", &options.path, "Append every reading to this file of comma-separated values")
        .check(notEmpty)
        .named("FILE");
    command
        .add("--log-rotate", &options.rotate,
             "Begin a new file before one is larger (10MB), or after a time (24h)")
        .named("SIZE|TIME")
        .suggest({"1MB", "10MB", "100MB", "1h", "24h"});
    command.add("--log-keep", &options.keep, "Keep so many of the files before, and remove older ones")
        .check(wholeNumber)
        .named("N");
    command.add("--changes", &options.changes, "Log a reading only where it differs from the one before");
}

void checkLogOptions(const LogOptions& options) {
    const char* const lone = options.rotate    ? "--log-rotate"
                             : options.keep    ? "--log-keep"
                             : options.changes ? "--changes"
                                               : nullptr;
    if (options.path.empty() && lone != nullptr) {
        throw UsageError(QStringLiteral("%1 needs a log, name its file with --log").arg(QLatin1String(lone)));
    }
    if (options.keep && (*options.keep < 1 || *options.keep > MOST_FILES)) {
        throw UsageError(
            QStringLiteral("--log-keep is %1, it must be 1 to %2").arg(*options.keep).arg(MOST_FILES));
    }
    if (options.keep && !options.rotate) {
        throw UsageError(QStringLiteral("--log-keep needs --log-rotate: without it there is one file"));
    }
    rotationOf(options);
}

ValueLog::ValueLog(const Driver& loaded, const LineSettings& settings, const CommonOptions& common,
                   const LogOptions& options, const QVector<Point>& points)
    : changes_(options.changes),
      points_(points),
      file_(checkedPath(loaded, settings, common, options), HEADER, rotationOf(options)),
      last_(static_cast<std::size_t>(points.size())),
      line_(lineName(settings)) {
    if (!file_.notice().isEmpty()) {
        printError(file_.notice());
    }
}

// What ended the run before close() is said already; the rows are worth another try.
ValueLog::~ValueLog() {
    if (ended_) {
        return;
    }
    try {
        file_.close();
    } catch (const Error& error) {
        printError(error.text());
    }
}

void ValueLog::flush() {
    ended_ = true;
    file_.flush();
    ended_ = false;
}

void ValueLog::close() {
    ended_ = true;
    file_.close();
}

void ValueLog::take(const Reading& reading) {
    Last& last = last_[static_cast<std::size_t>(reading.point)];
    const PointState& state = reading.state;
    const bool same = last.taken && last.state.quality == state.quality && last.state.raw == state.raw &&
                      last.state.fault == state.fault;
    last = Last{true, state};
    if (changes_ && same) {
        return;
    }
    const Point& point = points_.at(reading.point);
    const qint64 wallUs = wallTimeOf(state);
    ended_ = true;
    file_.add(csvRow({isoUtcTime(wallUs), line_, point.name, point.notation(), QString::number(point.station),
                      valueField(point, state),
                      state.raw ? valueText(point.format, point.type, *state.raw) : QString(),
                      qualityText(state.quality), state.fault}),
              wallUs);
    ended_ = false;
    if (row_) {
        row_(point, state, wallUs);
    }
}

void ValueLog::takeNeverRead(const ValueTable& table, qint64 nowUs) {
    for (int i = 0; i < table.size(); ++i) {
        if (!last_[static_cast<std::size_t>(i)].taken) {
            take(table.attempt(i, nowUs));
        }
    }
}

}  // namespace dx7::cli

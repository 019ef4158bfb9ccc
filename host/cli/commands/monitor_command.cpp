#include <QSet>
#include <algorithm>

#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"
#include "host/cli/screen/live_table.h"
#include "host/cli/screen/statistics_output.h"
#include "host/cli/stop_signal.h"
#include "host/cli/value_log.h"
#include "host/cli/value_offers.h"
#include "host/duration_text.h"
#include "host/error.h"
#include "host/files/wall_clock.h"

namespace dx7::cli {

namespace {

// How long a key waits at most.
constexpr qint64 SERVE_US = 50000;

struct MonitorOptions : CommonOptions {
    std::vector<std::string> items;
    std::optional<double> seconds;
    std::optional<qint64> count;
    bool stats = false;
    bool lines = false;
    bool fresh = false;
    std::optional<std::string> interval;
    LogOptions log;
};

/// Prints a line per changed value, and the summary.
class MonitorPrinter {
public:
    MonitorPrinter(Connection& connection, const MonitorOptions& options)
        : connection_(connection), options_(options), startUs_(connection.clock().nowUs()) {}

    /// With a log, JSON has its rows.
    void listen(ValueLog* log) {
        EngineEvents events;
        const ValueTable& table = connection_.engine().table();
        if (log != nullptr && options_.json) {
            log->setRow([this](const Point& point, const PointState& state, qint64 wallUs) {
                printRow(point, state, wallUs);
            });
        } else {
            events.value = [this, &table](int point) { printValue(point, table.told(point)); };
        }
        if (options_.fresh) {
            events.fresh = [this, &table](int point) { printValue(point, table.state(point)); };
        }
        events.station = [this](int station, bool alive) { printStation(station, alive); };
        events.line = [this](bool open) { printLine(open); };
        connection_.setEvents(events);
    }

    bool finished() const {
        return stopRequested() || connection_.clock().nowUs() >= endUs() ||
               (options_.count && lines_ >= *options_.count);
    }
    /// Of --seconds, on the clock of the connection.
    qint64 endUs() const {
        constexpr double LONGEST_SECONDS = 1e9;
        return startUs_ + static_cast<qint64>(
                              1e6 * std::min(options_.seconds.value_or(LONGEST_SECONDS), LONGEST_SECONDS));
    }

    /// Every item of which nothing could be told.
    void printNeverRead() {
        const ValueTable& table = connection_.engine().table();
        for (int i = 0; i < table.size(); ++i) {
            if (!printed_.contains(i)) {
                printValue(i, table.told(i));
            }
        }
    }

    void printSummary() const {
        const Counters& all = connection_.engine().statistics().all();
        const double seconds = static_cast<double>(connection_.clock().nowUs() - startUs_) / 1e6;
        qint64 changes = 0;
        for (int i = 0; i < connection_.engine().table().size(); ++i) {
            changes += connection_.engine().table().told(i).changes;
        }
        if (options_.json) {
            Json summary = summaryJson("monitor");
            summary["seconds"] = seconds;
            summary["requests"] = all.requests;
            summary["good"] = all.good;
            summary["bad"] = all.bad();
            summary["changes"] = changes;
            print(summary);
            return;
        }
        print(QStringLiteral("%1 s: %2, %3 good and %4 bad replies, %5")
                  .arg(seconds, 0, 'f', 1)
                  .arg(counted(all.requests, "request"))
                  .arg(all.good)
                  .arg(all.bad())
                  .arg(counted(changes, "change")));
    }

    /// How each interval was kept.
    void printIntervals() const {
        for (const IntervalTurns& turns : connection_.engine().turns()) {
            printTurns(turns);
        }
    }

private:
    void printTurns(const IntervalTurns& turns) const {
        if (options_.json) {
            Json json = eventJson("interval");
            json["interval_ms"] = static_cast<double>(turns.intervalUs) / 1000;
            json["turns"] = turns.turns;
            json["late"] = turns.late;
            json["achievable_ms"] =
                turns.achievableUs > 0 ? Json(static_cast<double>(turns.achievableUs) / 1000) : Json(nullptr);
            print(json);
            return;
        }
        QString text = QStringLiteral("interval %1: %2, ")
                           .arg(durationText(turns.intervalUs), counted(turns.turns, "turn"));
        text += turns.late == 0 ? QStringLiteral("none late") : QStringLiteral("%1 late").arg(turns.late);
        if (turns.achievableUs > 0) {
            text += QStringLiteral("; %1 would be kept").arg(durationText(turns.achievableUs));
        }
        print(text);
    }

    void printRow(const Point& point, const PointState& state, qint64 wallUs) {
        if (!options_.count || lines_ < *options_.count) {
            ++lines_;
            print(pointJson(lineName(connection_.settings()), point, state, wallUs));
        }
    }

    void printValue(int index, const PointState& state) {
        if (options_.count && lines_ >= *options_.count) {
            return;
        }
        const Point& point = connection_.engine().table().points().at(index);
        printed_.insert(index);
        ++lines_;
        if (options_.json) {
            print(pointJson(lineName(connection_.settings()), point, state, wallTimeOf(state)));
            return;
        }
        QString value = state.raw ? valueWithUnit(point.format, point.type, *state.raw) : QStringLiteral("-");
        if (state.quality != Quality::Good) {
            value += QStringLiteral(" (%1)").arg(causeText(state));
        }
        print(QStringLiteral("%1  %2  %3").arg(timeOfDay(wallTimeOf(state))).arg(point.name, -14).arg(value));
    }

    void printStation(int station, bool alive) const {
        if (options_.json) {
            print(Json{{"event", "station"}, {"time", isoTime()}, {"station", station}, {"alive", alive}});
            return;
        }
        const char* text = alive ? "answers again" : "does not answer; it is left out and probed";
        print(QStringLiteral("%1  station %2 %3")
                  .arg(timeOfDay(wallTimeUs()))
                  .arg(station)
                  .arg(QLatin1String(text)));
    }

    void printLine(bool open) const {
        if (options_.json) {
            print(Json{{"event", "line"}, {"time", isoTime()}, {"state", open ? "open" : "lost"}});
            return;
        }
        print(QStringLiteral("%1  %2 %3")
                  .arg(timeOfDay(wallTimeUs()), describeLine(connection_.settings()),
                       QLatin1String(open ? "is back" : "was lost; trying to reopen it")));
    }

    Connection& connection_;
    const MonitorOptions& options_;
    qint64 startUs_;
    qint64 lines_ = 0;
    /// Items of which there was a line.
    QSet<int> printed_;
};

void checkOptions(const MonitorOptions& options) {
    if (options.seconds && !(*options.seconds > 0)) {
        throw UsageError(QStringLiteral("--seconds is %1, it must be above 0").arg(*options.seconds));
    }
    if (options.count && *options.count < 1) {
        throw UsageError(QStringLiteral("--count is %1, it must be at least 1").arg(*options.count));
    }
    checkLogOptions(options.log);
}

// With the interval of --interval where a tag has none of its own.
QVector<Point> withIntervals(QVector<Point> points, const MonitorOptions& options) {
    if (options.interval) {
        const qint64 us = durationUs(text(*options.interval), "--interval", SHORTEST_INTERVAL_US);
        for (Point& point : points) {
            point.intervalUs = point.intervalUs.value_or(us);
        }
    }
    return points;
}

void pollUntilDone(Connection& connection, const MonitorPrinter& printer, LiveTable* table, ValueLog* log) {
    while (!printer.finished() && !connection.closedAgainAndAgain() && !(table != nullptr && table->quit())) {
        if (table != nullptr) {
            // A value typed during the silence before a request is written by that request: the turn before
            // ended with the silence.
            table->serve();
        }
        // Keys are not waited for.
        const qint64 serveUs = connection.clock().nowUs() + SERVE_US;
        connection.step(table != nullptr ? std::min(serveUs, printer.endUs()) : printer.endUs());
        if (log != nullptr) {
            log->flush();
        }
    }
}

int runMonitor(const MonitorOptions& options) {
    checkOptions(options);
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    const QVector<Point> points = withIntervals(loaded.points(options, options.items), options);
    std::unique_ptr<ValueLog> log;
    if (!options.log.path.empty()) {
        log = std::make_unique<ValueLog>(loaded, settings, options, options.log, points);
    }
    Connection connection(loaded, settings, options);
    if (log) {
        connection.setReading([&log](const Reading& reading) { log->take(reading); });
    }
    connection.awaitLostLine();
    MonitorPrinter printer(connection, options);
    connection.engine().watch(points, connection.clock().nowUs());
    std::unique_ptr<LiveTable> table;
    if (!options.json && !options.lines && !options.count && TerminalScreen::possible()) {
        QString why;
        table = LiveTable::open(connection, &why);
        if (!table) {
            printError(QStringLiteral("%1, so changes are printed line by line").arg(why));
        }
    }
    if (!table) {
        printer.listen(log.get());
    }
    QString fault;
    try {
        pollUntilDone(connection, printer, table.get(), log.get());
    } catch (const LineError& error) {
        fault = error.text();
    }
    // What a table is writing ends unfinished: nothing is proven after that.
    const bool proves = table ? log && connection.engine().pendingOperations() == 0 : true;
    if (fault.isEmpty() && proves) {
        connection.conclude();
    }
    const QStringList unfinished = table ? table->takeUnfinished() : QStringList();
    if (fault.isEmpty() && log) {
        log->takeNeverRead(connection.engine().table(), connection.clock().nowUs());
    }
    if (!table && fault.isEmpty() && !(log && options.json)) {
        printer.printNeverRead();
    }
    table.reset();
    for (const QString& write : unfinished) {
        printError(write);
    }
    if (connection.closedAgainAndAgain()) {
        printError(
            QStringLiteral("%1 is closed by the other end again and again before a byte has come: does "
                           "this port speak Modbus/TCP? (--modbus-tcp)")
                .arg(describeLine(settings)));
    }
    if (!fault.isEmpty()) {
        throw LineError(fault);
    }
    if (log) {
        log->close();
    }
    printer.printSummary();
    printer.printIntervals();
    if (options.stats) {
        printStatistics(connection.engine().statistics(), connection.clock().nowUs(), options.json);
    }
    const bool good = connection.engine().statistics().all().good > 0 && unfinished.isEmpty();
    connection.closeRecording();
    return good ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addMonitorCommand(CommandLine& program) {
    auto options = std::make_shared<MonitorOptions>();
    options->named = &options->items;
    CommandLine& command = program.addCommand("monitor", "Polls items and shows every change, until Ctrl-C");
    command
        .add("items", &options->items, "TYPE:ADDRESS[,COUNT][@STATION[-LAST]][/FORMAT...], or names of tags")
        .named("ITEM")
        .suggest(itemOffer(ItemWords::Read));
    command.add("--seconds", &options->seconds, "Stop after so many seconds").check(anyNumber).named("N");
    command.add("--count", &options->count, "Stop after so many lines of values")
        .check(wholeNumber)
        .named("N");
    command.add("--lines", &options->lines,
                "A line per change on a terminal, too, instead of the live table");
    command.add("--fresh", &options->fresh,
                "Print values at once, too, before they are proven to be no other request's");
    command.add("--interval", &options->interval, "Poll each item so often; a tag's own interval goes first")
        .check(notEmpty)
        .named("TIME")
        .suggest({"100ms", "500ms", "1s", "10s", "1min"});
    addLogOptions(command, options->log);
    command.add("--stats", &options->stats, "Print the statistics of the line at the end");
    addDeviceOptions(command, *options);
    command.footer(
        "Examples:\n"
        "  dx7 monitor --serial /dev/ttyUSB0 DI:1,6 AI:0,4 SW:0/binary\n"
        "  dx7 monitor --serial /dev/ttyUSB0 --seconds 60 F:3.0.25@1 F:3.0.25@2\n"
        "  dx7 monitor --tcp 192.168.0.10:8888 --json AI:0/signed/scale=0.1/unit=Hz\n"
        "  dx7 monitor -c line.toml --stats\n"
        "  dx7 monitor -c line.toml --interval 1s --log values.csv --log-rotate 24h\n"
        "On a terminal a live table is shown: arrow keys select, w writes, s shows statistics, q quits.\n"
        "Exit code 1 when no reply was good at all.");
    command.action([options] { return runMonitor(*options); });
}

}  // namespace dx7::cli

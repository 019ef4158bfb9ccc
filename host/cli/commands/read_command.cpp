#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"
#include "host/cli/value_offers.h"
#include "host/error.h"
#include "host/poll/one_shot_read.h"

namespace dx7::cli {

namespace {

struct ReadOptions : CommonOptions {
    std::vector<std::string> items;
};

void printPoint(const ReadOptions& options, const QString& line, const Point& point,
                const PointState& state) {
    if (options.json) {
        print(pointJson(line, point, state, wallTimeOf(state)));
    } else {
        const QString mark = state.quality == Quality::Good
                                 ? QString()
                                 : QStringLiteral(" (%1)").arg(qualityText(state.quality));
        print(QStringLiteral("%1 = %2").arg(point.name, valueWithUnit(point.format, point.type, *state.raw)) +
              mark);
    }
}

int runRead(const ReadOptions& options) {
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    const QVector<Point> points = loaded.points(options, options.items);
    Connection connection(loaded, settings, options);

    OneShotRead read(connection.engine());
    read.queue(points);
    bool good = connection.runOperations();
    int done = 0;
    for (int i = 0; i < points.size(); ++i) {
        PointState state = read.table().state(i);
        if (state.quality == Quality::Good) {
            printPoint(options, lineName(settings), points.at(i), state);
            ++done;
            continue;
        }
        good = false;
        state.fault = read.fault(i);
        if (options.json || state.raw) {
            printPoint(options, lineName(settings), points.at(i), state);
        }
        printError(QStringLiteral("%1 %2: %3")
                       .arg(points.at(i).name,
                            QLatin1String(state.raw ? "is not certain" : "could not be read"),
                            read.fault(i)));
    }
    if (!connection.breakReason().isEmpty()) {
        printError(QStringLiteral("%1; %2 of %3 read; the same command reads them all again")
                       .arg(connection.breakReason())
                       .arg(done)
                       .arg(counted(points.size(), "item")));
    }
    connection.closeRecording();
    return good ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addReadCommand(CommandLine& program) {
    auto options = std::make_shared<ReadOptions>();
    options->named = &options->items;
    CommandLine& command = program.addCommand("read", "Reads items once");
    command
        .add("items", &options->items, "TYPE:ADDRESS[,COUNT][@STATION[-LAST]][/FORMAT...], or names of tags")
        .named("ITEM")
        .suggest(itemOffer(ItemWords::Read));
    addDeviceOptions(command, *options);
    command.footer(
        "Examples:\n"
        "  dx7 read --serial /dev/ttyUSB0 AI:0,4 F:3.0.25\n"
        "  dx7 read --tcp 192.168.0.10 SW:0/binary AI:0/signed/scale=0.1/unit=Hz\n"
        "  dx7 read --serial /dev/ttyUSB0 DO:1,2@7 --json");
    command.action([options] { return runRead(*options); });
}

}  // namespace dx7::cli

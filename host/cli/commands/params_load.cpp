#include "host/cli/commands/load_run.h"
#include "host/cli/commands/params_options.h"
#include "host/cli/output.h"
#include "host/error.h"
#include "host/files/parameter_labels.h"
#include "host/items/number_ranges.h"

namespace dx7::cli {

namespace {

using dx7common::HIGHEST_STATION;
using dx7common::LOWEST_STATION;

// The stations to write to, in ascending order.
QVector<int> stationsOf(const ParamsOptions& options, int fallback) {
    if (options.stations.empty()) {
        return {stationOf(options, fallback)};
    }
    if (options.station) {
        throw UsageError(QStringLiteral("--station and --stations exclude each other"));
    }
    return numbersFromText(text(options.stations), "--stations", LOWEST_STATION, HIGHEST_STATION);
}

// What would be written. False when not everything could be compared, or said.
bool tellDryRun(const ParamsOptions& options, const Comparison& compared, const ParameterSet& set) {
    bool told = true;
    int would = 0;
    for (const Difference& difference : compared.differences) {
        const Point& point = difference.point;
        would += difference.onDevice ? 1 : 0;
        if (!difference.onDevice) {
            printError(QStringLiteral("%1 could not be read: %2").arg(labelledName(point), difference.fault));
        }
        if (options.json) {
            Json json = eventJson("change");
            json["item"] = utf8(point.notation());
            json["device"] = difference.onDevice ? Json(*difference.onDevice) : Json(nullptr);
            json["file"] = difference.inFile;
            told = tell(json) && told;
        } else if (difference.onDevice) {
            told = tell(QStringLiteral("%1  %2 -> %3")
                            .arg(labelledName(point), -14)
                            .arg(labelledValue(point, *difference.onDevice), 5)
                            .arg(labelledValue(point, difference.inFile))) &&
                   told;
        }
    }
    if (options.json) {
        Json summary = summaryJson("params load --dry-run");
        summary["station"] = set.station;
        summary["parameters"] = set.count();
        summary["would_write"] = would;
        summary["not_read"] = compared.differences.size() - would + compared.unread.size();
        if (!compared.broken.isEmpty()) {
            summary["fault"] = utf8(compared.broken);
        }
        told = tell(summary) && told;
    } else {
        told = tell(QStringLiteral("station %1: %2 of %3 would be written; nothing was")
                        .arg(set.station)
                        .arg(would)
                        .arg(counted(set.count(), "parameter"))) &&
               told;
    }
    if (!compared.broken.isEmpty()) {
        printError(QStringLiteral("%1; %2 of %3 were compared")
                       .arg(compared.broken)
                       .arg(set.count() - compared.unread.size())
                       .arg(counted(set.count(), "parameter")));
    }
    return told && compared.unread.isEmpty() && would == compared.differences.size();
}

// Loads the set into its station. False when not everything is done and said.
bool loadStation(const ParamsOptions& options, Connection& connection, const QVector<Point>& points,
                 const ParameterSet& set) {
    const Comparison compared = compare(connection, points, set);
    if (options.dryRun) {
        return tellDryRun(options, compared, set);
    }
    LoadRun run{options.json, !options.stations.empty(), connection, compared, set.station};
    if (compared.broken.isEmpty()) {
        run.writeDifferences();
    } else {
        run.giveUp(compared.broken);
    }
    run.tellRest();
    return run.tellSummary(set.count());
}

// The sum of a load into several stations. False when it could not be said.
bool tellTotal(const ParamsOptions& options, int complete, const QVector<int>& stations, int begun) {
    QStringList left;
    for (const int station : stations.mid(begun)) {
        left += QString::number(station);
    }
    if (!left.isEmpty()) {
        printError(QStringLiteral("stations that were not begun: %1").arg(left.join(QStringLiteral(", "))));
    }
    if (options.json) {
        Json total = eventJson("total");
        total["command"] = "params load";
        total["stations"] = stations.size();
        total["complete"] = complete;
        total["not_begun"] = left.size();
        return tell(total);
    }
    return tell(QStringLiteral("%1 of %2 %3")
                    .arg(complete)
                    .arg(counted(stations.size(), "station"),
                         QLatin1String(options.dryRun ? "compared" : "have all parameters of the file")));
}

}  // namespace

int runLoad(const ParamsOptions& options) {
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    const ParameterLabels labels(loaded.tags(options));
    ParameterSet set = loadParameters(text(options.file), loaded.notation, options.altered());
    const QVector<int> stations = stationsOf(options, set.station);
    Connection connection(loaded, settings, options);
    int begun = 0;
    int complete = 0;
    while (begun < stations.size() && connection.breakReason().isEmpty()) {
        set.station = stations.at(begun++);
        const QVector<Point> points = pointsOf(loaded.notation, set, labels);
        complete += loadStation(options, connection, points, set) ? 1 : 0;
    }
    const bool told = options.stations.empty() || tellTotal(options, complete, stations, begun);
    connection.closeRecording();
    return told && complete == stations.size() ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace dx7::cli

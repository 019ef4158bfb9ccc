#include <algorithm>
#include <utility>

#include "host/cli/commands/parameter_exchange.h"
#include "host/cli/commands/params_options.h"
#include "host/cli/output.h"
#include "host/cli/stop_signal.h"
#include "host/error.h"
#include "host/files/parameter_labels.h"

namespace dx7::cli {

namespace {

// Adds the name, texts and unit of a labelled parameter.
void addLabel(const Point& point, Json* json) {
    if (isLabelled(point)) {
        (*json)["name"] = utf8(point.name);
    }
    if (!point.format.unit.isEmpty()) {
        (*json)["unit"] = utf8(point.format.unit);
    }
}

Json textJson(const Point& point, std::optional<int> value) {
    return value ? Json(utf8(valueText(point.format, point.type, static_cast<quint32>(*value))))
                 : Json(nullptr);
}

void printDifference(const Difference& difference, bool json) {
    const Point& point = difference.point;
    if (json) {
        Json object = eventJson("difference");
        object["item"] = utf8(point.notation());
        object["file"] = difference.inFile;
        object["device"] = difference.onDevice ? Json(*difference.onDevice) : Json(nullptr);
        object["file_text"] = textJson(point, difference.inFile);
        object["device_text"] = textJson(point, difference.onDevice);
        addLabel(point, &object);
        if (!difference.fault.isEmpty()) {
            object["fault"] = utf8(difference.fault);
        }
        print(object);
    } else {
        const QString onDevice =
            difference.onDevice ? labelledValue(point, *difference.onDevice) : difference.fault;
        print(QStringLiteral("%1  file %2  device %3")
                  .arg(labelledName(point), -14)
                  .arg(labelledValue(point, difference.inFile), 5)
                  .arg(onDevice));
    }
}

// False when standard output did not take them: what there is to say besides is said all the same.
bool printDifferences(const ParamsOptions& options, const Comparison& compared) {
    try {
        for (const Difference& difference : compared.differences) {
            printDifference(difference, options.json);
        }
        for (const Difference& difference : options.json ? compared.unread : QVector<Difference>()) {
            printDifference(difference, true);
        }
        return true;
    } catch (const LineError& error) {
        printError(error.text());
        return false;
    }
}

// How many parameters there are, differ and were not read.
Json countsJson(int parameters, int differ, int notRead) {
    Json summary = summaryJson("params diff");
    summary["parameters"] = parameters;
    summary["differ"] = differ;
    summary["not_read"] = notRead;
    return summary;
}

QString countsText(int parameters, int differ) {
    return QStringLiteral("%1 of %2 differ").arg(differ).arg(counted(parameters, "parameter"));
}

// False when it could not be said on standard output.
bool tellDiffSummary(const ParamsOptions& options, const Comparison& compared, int parameters) {
    bool told = true;
    if (options.json) {
        Json summary = countsJson(parameters, compared.differences.size(), compared.unread.size());
        if (!compared.broken.isEmpty()) {
            summary["fault"] = utf8(compared.broken);
        }
        told = tell(summary);
    } else if (compared.broken.isEmpty()) {
        told = tell(countsText(parameters, compared.differences.size()));
    }
    if (!compared.broken.isEmpty()) {
        printError(
            QStringLiteral("%1; %2 of %3 were compared, %4 of them differ; the same command compares them "
                           "all again")
                .arg(compared.broken)
                .arg(parameters - compared.unread.size())
                .arg(counted(parameters, "parameter"))
                .arg(compared.differences.size()));
    }
    return told;
}

// Equal, not (all of it compared), or nothing compared at all.
int exitCodeOf(const Comparison& compared) {
    const auto read =
        std::count_if(compared.differences.begin(), compared.differences.end(),
                      [](const Difference& difference) { return difference.onDevice.has_value(); });
    // What the user ends before that has failed as any command does.
    if (compared.right + read == 0 && !stopRequested()) {
        return EXIT_USAGE;
    }
    return compared.differences.isEmpty() && compared.unread.isEmpty() && compared.broken.isEmpty()
               ? EXIT_DONE
               : EXIT_FAILED;
}

int diffWithStation(const ParamsOptions& options) {
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    const ParameterLabels labels(loaded.tags(options));
    ParameterSet set = loadParameters(text(options.file), loaded.notation, options.altered());
    set.station = stationOf(options, set.station);
    Connection connection(loaded, settings, options);
    const Comparison compared = compare(connection, pointsOf(loaded.notation, set, labels), set);
    const bool printed = printDifferences(options, compared);
    const bool told = tellDiffSummary(options, compared, set.count()) && printed;
    connection.closeRecording();
    return told ? exitCodeOf(compared) : EXIT_FAILED;
}

// A parameter that two files have not alike; empty where one has none.
struct FileDifference {
    Point point;
    std::optional<int> first;
    std::optional<int> second;
};

struct FileComparison {
    QVector<FileDifference> differences;
    int parameters = 0;
    // In both files.
    int common = 0;
};

FileComparison compareFiles(const ItemNotation& notation, const ParameterLabels& labels,
                            const ParameterSet& first, const ParameterSet& second) {
    ParameterSet all = first;
    for (auto type = second.values.begin(); type != second.values.end(); ++type) {
        for (auto value = type->begin(); value != type->end(); ++value) {
            all.values[type.key()].insert(value.key(), value.value());
        }
    }
    const auto valueIn = [](const ParameterSet& set, const Point& point) {
        const QMap<int, int> values = set.values.value(point.type.name);
        const auto found = values.find(point.address);
        return found == values.end() ? std::optional<int>() : std::optional<int>(*found);
    };
    FileComparison result;
    for (const Point& point : pointsOf(notation, all, labels)) {
        const FileDifference pair{point, valueIn(first, point), valueIn(second, point)};
        ++result.parameters;
        result.common += pair.first && pair.second ? 1 : 0;
        if (pair.first != pair.second) {
            result.differences += pair;
        }
    }
    return result;
}

void printFileDifference(const FileDifference& difference, bool json) {
    const Point& point = difference.point;
    if (json) {
        const auto number = [](std::optional<int> value) { return value ? Json(*value) : Json(nullptr); };
        Json object = eventJson("file_difference");
        object["item"] = utf8(point.notation());
        object["file"] = number(difference.first);
        object["other"] = number(difference.second);
        object["file_text"] = textJson(point, difference.first);
        object["other_text"] = textJson(point, difference.second);
        addLabel(point, &object);
        print(object);
        return;
    }
    const auto shown = [&point](std::optional<int> value) {
        return value ? labelledValue(point, *value) : QStringLiteral("-");
    };
    print(QStringLiteral("%1  %2  other %3")
              .arg(labelledName(point), -14)
              .arg(shown(difference.first), 5)
              .arg(shown(difference.second)));
}

int diffFiles(const ParamsOptions& options) {
    const std::pair<const char*, bool> useless[] = {{"--station", options.station.has_value()},
                                                    {"--tcp", !options.tcpAddress.empty()},
                                                    {"--modbus-tcp", !options.modbusTcpAddress.empty()},
                                                    {"--serial", !options.serialPort.empty()},
                                                    {"--record", !options.recordPath.empty()}};
    for (const auto& [option, given] : useless) {
        if (given) {
            throw UsageError(QStringLiteral("%1 is of no use between two files: nothing is asked of a "
                                            "station; leave it out")
                                 .arg(QLatin1String(option)));
        }
    }
    const Driver loaded(options);
    const ParameterLabels labels(loaded.tags(options));
    const ParameterSet first = loadParameters(text(options.file), loaded.notation, options.altered());
    const ParameterSet second = loadParameters(text(options.otherFile), loaded.notation, options.altered());
    const FileComparison compared = compareFiles(loaded.notation, labels, first, second);
    for (const FileDifference& difference : compared.differences) {
        printFileDifference(difference, options.json);
    }
    if (options.json) {
        print(countsJson(compared.parameters, compared.differences.size(), 0));
    } else {
        print(countsText(compared.parameters, compared.differences.size()));
    }
    if (compared.common == 0) {
        printError(QStringLiteral("nothing could be compared: the files have no parameter in common"));
        return EXIT_USAGE;
    }
    return compared.differences.isEmpty() ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

int runDiff(const ParamsOptions& options) {
    return options.otherFile.empty() ? diffWithStation(options) : diffFiles(options);
}

}  // namespace dx7::cli

#include <algorithm>

#include "common/modbus_limits.h"
#include "host/cli/commands/commands.h"
#include "host/cli/commands/load_run.h"
#include "host/cli/commands/parameter_exchange.h"
#include "host/cli/output.h"
#include "host/cli/output_files.h"
#include "host/error.h"
#include "host/files/whole_file.h"
#include "host/items/number_ranges.h"

namespace dx7::cli {

namespace {

using dx7common::HIGHEST_STATION;
using dx7common::LOWEST_STATION;

struct ParamsOptions : CommonOptions {
    std::string groups = "0-15";
    std::optional<qint64> station;
    bool acceptAltered = false;

    Altered altered() const { return acceptAltered ? Altered::Accept : Altered::Refuse; }
};

int stationOf(const ParamsOptions& options, int fallback) {
    const qint64 station = options.station.value_or(fallback);
    if (station < LOWEST_STATION || station > HIGHEST_STATION) {
        throw UsageError(QStringLiteral("--station is %1, it must be %2 to %3")
                             .arg(station)
                             .arg(LOWEST_STATION)
                             .arg(HIGHEST_STATION));
    }
    return static_cast<int>(station);
}

// The fault is why nothing was saved; empty when everything was.
Json savedJson(const ParamsOptions& options, const ParameterSet& set, int refused, const QString& fault) {
    Json json = eventJson("saved");
    json["file"] = utf8(text(options.file));
    json["station"] = set.station;
    json["saved"] = fault.isEmpty() ? set.count() : 0;
    json["read"] = set.count();
    json["refused"] = refused;
    if (!fault.isEmpty()) {
        json["fault"] = utf8(fault);
    }
    return json;
}

// What there is to say when not everything was read: nothing of it is saved.
int endUnsaved(const ParamsOptions& options, const ParameterSet& set, int points, int refused,
               const QString& broken) {
    if (options.json) {
        tell(savedJson(options, set, refused, broken));
    }
    printError(QStringLiteral("%1; %2 of %3 were read, %4 was left as it was; run it again")
                   .arg(broken)
                   .arg(set.count())
                   .arg(counted(points - refused, "parameter"))
                   .arg(text(options.file)));
    return EXIT_FAILED;
}

int runSave(const ParamsOptions& options) {
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    ParameterSet set;
    set.station = stationOf(options, 1);
    const QVector<int> groups = numbersFromText(text(options.groups), "--groups", 0, 15);
    const QVector<Point> points = parameterPoints(loaded.notation, set.station, groups);
    checkWholeFile(text(options.file));
    checkFilePath(loaded, settings, options);
    Connection connection(loaded, settings, options);
    int refused = 0;
    const QString broken = readPoints(connection, points, QStringLiteral("reading"),
                                      [&](const Point& point, std::optional<int> value, const QString&) {
                                          if (value) {
                                              set.values[point.type.name][point.address] = *value;
                                          } else {
                                              ++refused;
                                          }
                                      });
    if (!broken.isEmpty()) {
        return endUnsaved(options, set, points.size(), refused, broken);
    }
    if (set.count() == 0) {
        throw LineError(QStringLiteral("the station refused every parameter; %1 was left as it was")
                            .arg(text(options.file)));
    }
    saveParameters(text(options.file), loaded.notation, set);
    const QString others =
        refused > 0 ? QStringLiteral("; the station does not have %1 others").arg(refused) : QString();
    const bool told = options.json ? tell(savedJson(options, set, refused, QString()))
                                   : tell(QStringLiteral("%1 of station %2 saved in %3%4")
                                              .arg(counted(set.count(), "parameter"))
                                              .arg(set.station)
                                              .arg(text(options.file), others));
    connection.closeRecording();
    return told ? EXIT_DONE : EXIT_FAILED;
}

void printDifference(const Difference& difference, bool json) {
    const QString onDevice = difference.onDevice ? QString::number(*difference.onDevice) : difference.fault;
    if (json) {
        Json object = eventJson("difference");
        object["item"] = utf8(difference.point.notation());
        object["file"] = difference.inFile;
        object["device"] = difference.onDevice ? Json(*difference.onDevice) : Json(nullptr);
        if (!difference.fault.isEmpty()) {
            object["fault"] = utf8(difference.fault);
        }
        print(object);
    } else {
        print(QStringLiteral("%1  file %2  device %3")
                  .arg(difference.point.name, -14)
                  .arg(difference.inFile, 5)
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

// False when it could not be said on standard output.
bool tellDiffSummary(const ParamsOptions& options, const Comparison& compared, int parameters) {
    bool told = true;
    if (options.json) {
        Json summary = summaryJson("params diff");
        summary["parameters"] = parameters;
        summary["differ"] = compared.differences.size();
        summary["not_read"] = compared.unread.size();
        if (!compared.broken.isEmpty()) {
            summary["fault"] = utf8(compared.broken);
        }
        told = tell(summary);
    } else if (compared.broken.isEmpty()) {
        told = tell(QStringLiteral("%1 of %2 differ")
                        .arg(compared.differences.size())
                        .arg(counted(parameters, "parameter")));
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

// Those of the file, for the station that is asked.
ParameterSet parametersOf(const ParamsOptions& options, const ItemNotation& notation) {
    ParameterSet set = loadParameters(text(options.file), notation, options.altered());
    set.station = stationOf(options, set.station);
    return set;
}

// The file and the station compared, which a diff shows and a load begins with.
struct ComparedFile {
    explicit ComparedFile(const ParamsOptions& options)
        : loaded(options),
          settings(lineSettings(options, loaded.parameter(), true)),
          set(parametersOf(options, loaded.notation)),
          connection(loaded, settings, options),
          compared(compare(connection, loaded.notation, set)) {}

    const Driver loaded;
    const LineSettings settings;
    const ParameterSet set;
    Connection connection;
    const Comparison compared;
};

int runDiff(const ParamsOptions& options) {
    ComparedFile file(options);
    const Comparison& compared = file.compared;
    const bool printed = printDifferences(options, compared);
    const bool told = tellDiffSummary(options, compared, file.set.count()) && printed;
    const bool refused = std::any_of(compared.differences.begin(), compared.differences.end(),
                                     [](const Difference& difference) { return !difference.onDevice; });
    file.connection.closeRecording();
    return refused || !told || !compared.broken.isEmpty() ? EXIT_FAILED : EXIT_DONE;
}

int runLoad(const ParamsOptions& options) {
    ComparedFile file(options);
    LoadRun run{options.json, file.connection, file.compared};
    if (file.compared.broken.isEmpty()) {
        run.writeDifferences();
    } else {
        run.giveUp(file.compared.broken);
    }
    run.tellRest();
    const bool told = run.tellSummary(file.set.count());
    file.connection.closeRecording();
    return told ? EXIT_DONE : EXIT_FAILED;
}

void addAction(CommandLine& params, const char* name, const char* what, const char* footer,
               int (*action)(const ParamsOptions&)) {
    auto options = std::make_shared<ParamsOptions>();
    CommandLine& command = params.addCommand(name, what);
    command.add("file", &options->file, "The TOML file").demand().named("FILE").check(notEmpty);
    command
        .add("--station", &options->station,
             action == runSave ? "The station (default 1)" : "The station (default: the file's)")
        .check(wholeNumber)
        .named("N");
    if (action == runSave) {
        command.add("--groups", &options->groups, "Groups to save, such as 0-3 (default 0-15)").named("LIST");
    } else {
        command.add("--accept-altered", &options->acceptAltered,
                    "Take a file that was cut or edited since it was saved as it is");
    }
    addDriverOption(command, *options);
    addJsonOption(command, *options);
    command.footer(footer);
    addLineOptions(command, *options);
    addRecordOption(command, *options);
    command.action([options, action] { return action(*options); });
}

}  // namespace

void addParamsCommand(CommandLine& program) {
    CommandLine& command =
        program.addCommand("params", "Saves, compares and loads the writable parameters of a station");
    addAction(
        command, "save", "Reads the parameters into a file",
        "Examples:\n"
        "  dx7 params save pump.toml --serial /dev/ttyUSB0 --groups 0-3\n"
        "  dx7 params save pump2.toml --tcp 192.168.0.10 --station 2\n"
        "The file is replaced when everything has been read and is on the disk, and else left as it was.",
        runSave);
    addAction(
        command, "diff", "Shows what differs between file and device",
        "Examples:\n"
        "  dx7 params diff pump.toml --serial /dev/ttyUSB0\n"
        "  dx7 params diff pump.toml --serial /dev/ttyUSB0 --station 2 --json\n"
        "A file that was cut or edited since it was saved is refused unless --accept-altered is given.\n"
        "Exit code 0 whether values differ or not, 1 when one could not be read.",
        runDiff);
    addAction(
        command, "load", "Writes what differs back and verifies each value",
        "Examples:\n"
        "  dx7 params load pump.toml --serial /dev/ttyUSB0\n"
        "  dx7 params load pump.toml --serial /dev/ttyUSB0 --station 2\n"
        "A file that was cut or edited since it was saved is refused unless --accept-altered is given.\n"
        "After Ctrl-C a second run writes what is left. Exit code 1 when a value did not take.",
        runLoad);
    command.footer(
        "Examples:\n"
        "  dx7 params save pump.toml --serial /dev/ttyUSB0 --groups 0-3\n"
        "  dx7 params diff pump.toml --serial /dev/ttyUSB0\n"
        "  dx7 params load pump.toml --serial /dev/ttyUSB0 --station 2\n"
        "After Ctrl-C a second run does what is left. Exit code 1 when a value did not take.");
}

}  // namespace dx7::cli

#include "connection.h"
#include "error.h"
#include "number_ranges.h"
#include "one_shot_read.h"
#include "output.h"
#include "output_files.h"
#include "parameter_file.h"
#include "progress.h"
#include "stop_signal.h"
#include "whole_file.h"

namespace dx7::cli {

namespace {

enum { RUN_ITEMS = 10, HIGHEST_STATION = 247 };

struct ParamsOptions : CommonOptions {
    std::string groups = "0-15";
    std::optional<qint64> station;
    bool acceptAltered = false;

    Altered altered() const { return acceptAltered ? Altered::Accept : Altered::Refuse; }
};

/// A parameter whose value on the device is not the one in the file.
struct Difference {
    Point point;
    int inFile = 0;
    int onDevice = -1;  ///< -1 when it could not be read.
    QString fault;
};

int stationOf(const ParamsOptions& options, int fallback) {
    const qint64 station = options.station.value_or(fallback);
    if (station < 1 || station > HIGHEST_STATION) {
        throw UsageError(QStringLiteral("--station is %1, it must be 1 to 247").arg(station));
    }
    return static_cast<int>(station);
}

// Gets every point with its value (-1: not read) and fault.
using EachPoint = std::function<void(const Point&, int, const QString&)>;

// How many points from `at` on can be read at once.
int runLength(const QVector<Point>& points, int at) {
    const Point& first = points.at(at);
    int length = 1;
    while (length < RUN_ITEMS && at + length < points.size() &&
           points.at(at + length).address == first.address + length &&
           points.at(at + length).type.name == first.type.name) {
        ++length;
    }
    return first.type.runLength(first.address, length);
}

void handOver(const QVector<Point>& run, const OneShotRead& read, const EachPoint& each) {
    for (int i = 0; i < run.size(); ++i) {
        const PointState& state = read.table().state(i);
        each(run.at(i), state.quality == Quality::Good ? static_cast<int>(state.raw) : -1, read.fault(i));
    }
}

bool readOneByOne(Connection& connection, const QVector<Point>& run, const EachPoint& each) {
    for (const Point& point : run) {
        OneShotRead read(connection.session(), connection.engine(), connection.clock());
        read.queue({point});
        if (!connection.runOperations()) {
            return false;
        }
        handOver({point}, read, each);
    }
    return true;
}

// Reads the points run by run. A run that the station refuses is read item by item, for it may have only some
// of them. False when the user stopped.
bool readPoints(Connection& connection, const QVector<Point>& points, const QString& what,
                const EachPoint& each) {
    Progress progress(points.size(), connection.clock());
    int length = 0;
    for (int at = 0; at < points.size(); at += length) {
        const Point& first = points.at(at);
        length = runLength(points, at);
        progress.show(at, what + QLatin1Char(' ') + first.name);
        const QVector<Point> run = points.mid(at, length);
        OneShotRead read(connection.session(), connection.engine(), connection.clock());
        read.queue(run);
        if (!connection.runOperations()) {
            return false;
        }
        const bool refused = read.fault(0).startsWith(QLatin1String("exception"));
        if (!read.allGood() && !refused) {
            // Whoever gives no good answer to one run is not asked for the rest.
            progress.clear();
            throw LineError(QStringLiteral("%1 could not be read: %2").arg(first.name, read.fault(0)));
        }
        if (!refused || length == 1) {
            handOver(run, read, each);
        } else if (!readOneByOne(connection, run, each)) {
            return false;
        }
    }
    return true;
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
    const bool ended = readPoints(connection, points, QStringLiteral("reading"),
                                  [&](const Point& point, int value, const QString&) {
                                      if (value >= 0) {
                                          set.values[point.type.name][point.address] = value;
                                      } else {
                                          ++refused;
                                      }
                                  });
    if (!ended) {
        throw LineError(QStringLiteral("stopped; %1 was left as it was").arg(text(options.file)));
    }
    if (set.count() == 0) {
        throw LineError(QStringLiteral("the station refused every parameter; %1 was left as it was")
                            .arg(text(options.file)));
    }
    saveParameters(text(options.file), loaded.notation, set);
    if (options.json) {
        print(Json{{"file", utf8(text(options.file))},
                   {"station", set.station},
                   {"saved", set.count()},
                   {"refused", refused}});
        return connection.finish(EXIT_DONE);
    }
    print(QStringLiteral("%1 of station %2 saved in %3%4")
              .arg(counted(set.count(), "parameter"))
              .arg(set.station)
              .arg(text(options.file),
                   refused > 0 ? QStringLiteral("; the station does not have %1 others").arg(refused)
                               : QString()));
    return connection.finish(EXIT_DONE);
}

// The parameters that differ between file and device. False when the user stopped.
bool findDifferences(Connection& connection, const ItemNotation& notation, const ParameterSet& set,
                     QVector<Difference>* differences) {
    QVector<Point> points;
    for (auto type = set.values.begin(); type != set.values.end(); ++type) {
        for (auto value = type->begin(); value != type->end(); ++value) {
            Point point;
            point.type = notation.type(type.key());
            point.station = set.station;
            point.address = value.key();
            point.name = point.notation();
            points += point;
        }
    }
    return readPoints(connection, points, QStringLiteral("reading"),
                      [&](const Point& point, int value, const QString& fault) {
                          const int inFile = set.values.value(point.type.name).value(point.address);
                          if (value != inFile) {
                              *differences += Difference{point, inFile, value, fault};
                          }
                      });
}

void printDifference(const Difference& difference, bool json) {
    const QString onDevice =
        difference.onDevice < 0 ? difference.fault : QString::number(difference.onDevice);
    if (json) {
        Json object{{"item", utf8(difference.point.notation())}, {"file", difference.inFile}};
        object["device"] = difference.onDevice < 0 ? Json(nullptr) : Json(difference.onDevice);
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

int runDiff(const ParamsOptions& options) {
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    ParameterSet set = loadParameters(text(options.file), loaded.notation, options.altered());
    set.station = stationOf(options, set.station);
    Connection connection(loaded, settings, options);
    QVector<Difference> differences;
    const bool ended = findDifferences(connection, loaded.notation, set, &differences);
    bool unread = false;
    for (const Difference& difference : differences) {
        printDifference(difference, options.json);
        unread = unread || difference.onDevice < 0;
    }
    if (!ended) {
        throw LineError(QStringLiteral("stopped before all of %1 were compared").arg(text(options.file)));
    }
    if (options.json) {
        print(Json{{"parameters", set.count()}, {"differ", differences.size()}});
    } else {
        print(
            QStringLiteral("%1 of %2 differ").arg(differences.size()).arg(counted(set.count(), "parameter")));
    }
    return connection.finish(unread ? EXIT_FAILED : EXIT_DONE);
}

// Writes one value and reads it back. An empty text when it took.
QString writeAndVerify(Connection& connection, const Difference& difference) {
    QString fault;
    WriteRequest request;
    request.first = difference.point;
    request.items = {difference.inFile};
    connection.engine().write(request, [&fault](const Transaction& transaction) {
        fault = transaction.good() ? QString() : outcomeText(transaction);
    });
    OneShotRead read(connection.session(), connection.engine(), connection.clock());
    read.queue({difference.point});
    if (!connection.runOperations()) {
        connection.engine().dropOperations();
        return QStringLiteral("stopped before it was verified");
    }
    if (!fault.isEmpty()) {
        return fault;
    }
    const PointState& state = read.table().state(0);
    if (state.quality != Quality::Good) {
        return QStringLiteral("could not be read back: %1").arg(read.fault(0));
    }
    const int reads = static_cast<int>(state.raw);
    return reads == difference.inFile ? QString() : QStringLiteral("did not take, it reads %1").arg(reads);
}

int runLoad(const ParamsOptions& options) {
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    ParameterSet set = loadParameters(text(options.file), loaded.notation, options.altered());
    set.station = stationOf(options, set.station);
    Connection connection(loaded, settings, options);
    QVector<Difference> differences;
    if (!findDifferences(connection, loaded.notation, set, &differences)) {
        throw LineError(QStringLiteral("stopped before anything was written"));
    }
    Progress progress(differences.size(), connection.clock());
    int written = 0;
    int failed = 0;
    for (int i = 0; i < differences.size() && !stopRequested(); ++i) {
        const Difference& difference = differences.at(i);
        progress.show(i, QStringLiteral("writing ") + difference.point.name);
        const QString fault = writeAndVerify(connection, difference);
        if (fault.isEmpty()) {
            ++written;
            continue;
        }
        ++failed;
        progress.clear();
        if (options.json) {
            print(Json{{"item", utf8(difference.point.notation())},
                       {"file", difference.inFile},
                       {"fault", utf8(fault)}});
        }
        complain(QStringLiteral("%1 = %2: %3").arg(difference.point.name).arg(difference.inFile).arg(fault));
    }
    progress.clear();
    const int left = differences.size() - written;
    if (options.json) {
        print(Json{{"parameters", set.count()},
                   {"right", set.count() - differences.size()},
                   {"written", written},
                   {"not_written", left}});
    } else {
        print(QStringLiteral("%1: %2 were right already, %3 written and verified, %4 not")
                  .arg(counted(set.count(), "parameter"))
                  .arg(set.count() - differences.size())
                  .arg(written)
                  .arg(left));
    }
    if (left > failed) {
        complain(QStringLiteral("stopped; run it again to write the rest"));
    }
    return connection.finish(left == 0 ? EXIT_DONE : EXIT_FAILED);
}

void addAction(CLI::App& params, Run& run, const char* name, const char* what, const char* footer,
               int (*action)(const ParamsOptions&)) {
    auto options = std::make_shared<ParamsOptions>();
    CLI::App* command = params.add_subcommand(name, what);
    command->add_option("file", options->file, "The TOML file")
        ->required()
        ->type_name("FILE")
        ->check(notEmpty);
    command
        ->add_option("--station", options->station,
                     action == runSave ? "The station (default 1)" : "The station (default: the file's)")
        ->check(wholeNumber)
        ->type_name("N");
    if (action == runSave) {
        command->add_option("--groups", options->groups, "Groups to save, such as 0-3 (default 0-15)")
            ->type_name("LIST");
    } else {
        command->add_flag("--accept-altered", options->acceptAltered,
                          "Take a file that was cut or edited since it was saved as it is");
    }
    addDriverOption(*command, *options);
    addJsonOption(*command, *options);
    command->footer(footer);
    addLineOptions(*command, *options);
    addRecordOption(*command, *options);
    command->callback([options, action, &run] { run = [options, action] { return action(*options); }; });
}

}  // namespace

void addParamsCommand(CLI::App& app, Run& run) {
    CLI::App* command =
        app.add_subcommand("params", "Saves, compares and loads the writable parameters of a station");
    command->require_subcommand(1);
    addAction(
        *command, run, "save", "Reads the parameters into a file",
        "Examples:\n"
        "  dx7 params save pump.toml --serial /dev/ttyUSB0 --groups 0-3\n"
        "  dx7 params save pump2.toml --tcp 192.168.0.10 --station 2\n"
        "The file is replaced when everything has been read and is on the disk, and else left as it was.",
        runSave);
    addAction(
        *command, run, "diff", "Shows what differs between file and device",
        "Examples:\n"
        "  dx7 params diff pump.toml --serial /dev/ttyUSB0\n"
        "  dx7 params diff pump.toml --serial /dev/ttyUSB0 --station 2 --json\n"
        "A file that was cut or edited since it was saved is refused unless --accept-altered is given.\n"
        "Exit code 0 whether values differ or not, 1 when one could not be read.",
        runDiff);
    addAction(
        *command, run, "load", "Writes what differs back and verifies each value",
        "Examples:\n"
        "  dx7 params load pump.toml --serial /dev/ttyUSB0\n"
        "  dx7 params load pump.toml --serial /dev/ttyUSB0 --station 2\n"
        "A file that was cut or edited since it was saved is refused unless --accept-altered is given.\n"
        "After Ctrl-C a second run writes what is left. Exit code 1 when a value did not take.",
        runLoad);
    command->footer(
        "Examples:\n"
        "  dx7 params save pump.toml --serial /dev/ttyUSB0 --groups 0-3\n"
        "  dx7 params diff pump.toml --serial /dev/ttyUSB0\n"
        "  dx7 params load pump.toml --serial /dev/ttyUSB0 --station 2\n"
        "After Ctrl-C a second run does what is left. Exit code 1 when a value did not take.");
}

}  // namespace dx7::cli

#include "common/modbus_limits.h"
#include "host/cli/commands/commands.h"
#include "host/cli/commands/scan_options.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"
#include "host/cli/screen/progress.h"
#include "host/cli/stop_signal.h"
#include "host/error.h"
#include "host/exchange/rtu_frame.h"
#include "host/items/number_ranges.h"

namespace dx7::cli {

namespace {

void printStation(const QueryAnswer& answer, bool json) {
    const double ms = static_cast<double>(answer.afterUs) / 1000;
    if (json) {
        Json object{{"event", "found"}, {"station", answer.station}, {"response_ms", ms}};
        if (answer.exceptionCode == 0) {
            object["status"] = answer.status;
        } else {
            object["exception"] = answer.exceptionCode;
        }
        print(object);
        return;
    }
    const QString what = answer.exceptionCode == 0
                             ? QStringLiteral("status 0x%1").arg(answer.status, 2, 16, QLatin1Char('0'))
                             : QStringLiteral("exception %1 (%2)")
                                   .arg(answer.exceptionCode)
                                   .arg(exceptionName(answer.exceptionCode));
    print(QStringLiteral("station %1  %2  (%3 ms)").arg(answer.station, 3).arg(what).arg(ms, 0, 'f', 1));
}

// Whether something else than the user ended the scan.
bool failed(const Connection& connection) {
    return !connection.breakReason().isEmpty() && !stopRequested();
}

// What came in place of a station's answer.
struct DamagedAnswer {
    Damage damage = Damage::Noise;
    int bytes = 0;
    int awaited = 0;
};

// A damaged answer is worth more than the noise around it; pieces of noise add up.
void take(const ExchangeNote& note, std::optional<DamagedAnswer>& damaged) {
    if (note.kind == ExchangeNote::Damaged) {
        damaged = DamagedAnswer{note.damage, note.value, note.awaited};
    } else if (note.kind == ExchangeNote::Noise && (!damaged || damaged->damage == Damage::Noise)) {
        damaged = DamagedAnswer{Damage::Noise, note.value + (damaged ? damaged->bytes : 0), 0};
    }
}

// A hint: something is there, or the settings are not the line's. Not a find.
void printDamaged(int station, const DamagedAnswer& damaged, bool json) {
    const QString what = damageText(damaged.damage, damaged.bytes, damaged.awaited);
    if (json) {
        Json object = eventJson("damaged");
        object["station"] = station;
        object["bytes"] = damaged.bytes;
        object["fault"] = utf8(what);
        print(object);
    } else if (damaged.damage == Damage::Noise) {
        print(QStringLiteral("station %1  no answer but %2: baud rate? parity? termination?")
                  .arg(station, 3)
                  .arg(what));
    } else {
        print(QStringLiteral(
                  "station %1  answers, damaged (%2): baud rate? parity? two stations with this number?")
                  .arg(station, 3)
                  .arg(what));
    }
}

// What became of a scan.
struct Course {
    // Stations whose operation came to its end.
    int ended = 0;
    // The one after them was asked, and the scan ended before its answer.
    bool waited = false;
    int found = 0;
    // Stations in place of whose answer something damaged came.
    int damaged = 0;

    int asked() const { return ended + (waited ? 1 : 0); }
};

QString notAskedText(const QVector<int>& stations, const Course& course) {
    const QString station = QStringLiteral("station %1").arg(stations.at(course.ended));
    const bool last = course.ended + 1 == stations.size();
    if (course.waited) {
        return station + QStringLiteral(" was asked and not heard") +
               (last ? QString() : QStringLiteral("; those after it were not asked"));
    }
    return station +
           (last ? QStringLiteral(" was not asked") : QStringLiteral(" and those after it were not asked"));
}

// False when it could not be said on standard output.
bool tellSum(const Connection& connection, const QVector<int>& stations, const Course& course, bool json) {
    bool told = false;
    const bool stopped = course.ended < stations.size();
    if (json) {
        Json sum = summaryJson("scan");
        sum["asked"] = course.asked();
        sum["answered"] = course.found;
        sum["damaged"] = course.damaged;
        sum["stopped"] = stopped;
        if (course.waited) {
            sum["not_heard"] = stations.at(course.ended);
        }
        if (failed(connection)) {
            sum["fault"] = utf8(connection.breakReason());
        }
        told = tell(sum);
    } else {
        const QString damaged =
            course.damaged > 0 ? QStringLiteral(", %1 damaged").arg(course.damaged) : QString();
        told = tell(QStringLiteral("%1 of %2 asked stations answered%3%4")
                        .arg(course.found)
                        .arg(course.asked())
                        .arg(damaged, QLatin1String(stopped ? " (stopped)" : "")));
    }
    if (failed(connection)) {
        printError(connection.breakReason() + QStringLiteral("; ") + notAskedText(stations, course));
    }
    return told;
}

// The answer to a query that timed out may still come.
void awaitLateAnswers(Connection& connection, const LineSettings& settings, int missing) {
    const qint64 leftUs = (qint64(std::max(settings.retries, 1)) - 1) * settings.timeoutMs * 1000;
    const qint64 endUs = connection.clock().nowUs() + leftUs;
    while (missing > 0 && connection.clock().nowUs() < endUs && !stopRequested() && connection.lineOpen()) {
        connection.step(endUs);
    }
}

// What only a search takes.
void refuseFindOptions(const ScanOptions& options) {
    for (const auto& [name, given] : {std::pair<const char*, bool>{"--first", options.first},
                                      {"--save", !options.file.empty()},
                                      {"--force", options.force}}) {
        if (given) {
            throw UsageError(QStringLiteral("%1 is of the search for settings, use it with --find")
                                 .arg(QLatin1String(name)));
        }
    }
}

int runScan(const ScanOptions& options) {
    refuseFindOptions(options);
    const Driver loaded(options);
    LineSettings defaults;
    defaults.timeoutMs = 200;
    const LineSettings settings = lineSettings(options, loaded.parameter(), true, defaults);
    const QVector<int> stations =
        numbersFromText(text(options.stations.empty() ? "1-247" : options.stations), "--stations",
                        dx7common::LOWEST_STATION, dx7common::HIGHEST_STATION);
    Connection connection(loaded, settings, options);
    Progress progress(stations.size(), connection.clock());
    Course course;
    QSet<int> found;
    EngineEvents events;
    events.answer = [&](const QueryAnswer& answer) {
        if (stations.contains(answer.station) && !found.contains(answer.station)) {
            found += answer.station;
            course.found = found.size();
            progress.clear();
            printStation(answer, options.json);
        }
    };
    std::optional<DamagedAnswer> damaged;
    events.note = [&damaged](const ExchangeNote& note) { take(note, damaged); };
    connection.setEvents(events);
    connection.listenFirst();
    for (const int station : stations) {
        progress.show(course.ended, QStringLiteral("station %1, %2 found").arg(station).arg(course.found));
        damaged.reset();
        connection.engine().query(station);
        const bool ended = connection.runOperations();
        if (damaged && !found.contains(station)) {
            ++course.damaged;
            progress.clear();
            printDamaged(station, *damaged, options.json);
        }
        if (!ended) {
            course.waited = connection.requestOut();
            break;
        }
        ++course.ended;
    }
    if (connection.breakReason().isEmpty()) {
        awaitLateAnswers(connection, settings, stations.size() - found.size());
    }
    progress.clear();
    const bool told = tellSum(connection, stations, course, options.json);
    const bool good = course.found > 0 && told && !failed(connection);
    connection.closeRecording();
    return good ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addScanCommand(CommandLine& program) {
    auto options = std::make_shared<ScanOptions>();
    CommandLine& command = program.addCommand("scan", "Finds out which stations answer the status query");
    command.add("--stations", &options->stations, "Such as 1-10,20 (default 1-247, with --find 1-16)")
        .named("LIST")
        .check(notEmpty);
    command.add("--find", &options->find,
                "Find out baud rate and parity of a serial line, and which stations answer");
    command.add("--first", &options->first, "With --find: end at the first find");
    command.add("--save", &options->file, "With --find: write the settings found into this line file")
        .named("FILE")
        .check(notEmpty);
    command.add("--force", &options->force, "With --save: replace FILE; the old one is kept as FILE.~1~");
    addDeviceOptions(command, *options);
    addAnywayOption(command, *options);
    command.footer(
        "Each station gets one query and 200 ms, unless --timeout or the file of -c says otherwise. A "
        "refusal\n"
        "is an answer, too, and so is a late answer while others are asked.\n"
        "Examples:\n"
        "  dx7 scan --serial /dev/ttyUSB0\n"
        "  dx7 scan --serial /dev/ttyUSB0 --stations 1-32 --timeout 100\n"
        "  dx7 scan --serial /dev/ttyUSB0 --find --first --save line.toml\n"
        "A damaged answer is a hint and not a find. On a serial line 0.3 s are listened to first "
        "(--anyway).\n"
        "--find tries baud rates and parities that are not given, the likely ones first. Each is listened "
        "to\n"
        "for 0.3 s: a master that is heard is a find, and nothing is sent; nor is it where anything else is "
        "heard.\n"
        "Exit code 1 when no station answered.");
    command.action([options] { return options->find ? runFind(*options) : runScan(*options); });
}

}  // namespace dx7::cli

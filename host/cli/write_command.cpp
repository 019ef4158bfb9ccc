#include "connection.h"
#include "error.h"
#include "one_shot_read.h"
#include "output.h"
#include "stop_signal.h"

namespace dx7::cli {

namespace {

struct WriteOptions : CommonOptions {
    std::vector<std::string> items;
    bool verify = false;
};

/// A write, the points that show its values, and how it went.
struct WriteJob {
    WriteRequest request;
    QVector<Point> points;
    int requestsLeft = 0;
    QString fault;  ///< Empty while nothing went wrong.
};

WriteJob makeJob(const WriteRequest& request) {
    WriteJob job;
    job.request = request;
    for (int i = 0; i < request.items.size(); i += request.first.items()) {
        Point point = request.first;
        point.address += i;
        if (i > 0) {
            point.name = point.notation();
        }
        job.points += point;
    }
    return job;
}

// The written value of the job's point number `index`.
quint32 writtenRaw(const WriteJob& job, int index) {
    const int width = job.request.first.items();
    return rawFromItems(job.request.first.format, job.request.items.mid(index * width, width));
}

QString valuesText(const WriteJob& job) {
    QStringList values;
    for (int i = 0; i < job.points.size(); ++i) {
        values += valueWithUnit(job.points.at(i).format, job.points.at(i).type, writtenRaw(job, i));
    }
    return values.join(QLatin1Char(','));
}

void send(Connection& connection, WriteJob& job) {
    const int before = connection.engine().pendingOperations();
    connection.engine().write(job.request, [&job](const Transaction& transaction) {
        --job.requestsLeft;
        if (!transaction.good() && job.fault.isEmpty()) {
            job.fault = outcomeText(transaction);
        }
    });
    job.requestsLeft = connection.engine().pendingOperations() - before;
    connection.runOperations();
    if (job.requestsLeft > 0 && job.fault.isEmpty()) {
        job.fault = QStringLiteral("stopped before its end");
    }
}

void verify(Connection& connection, WriteJob& job) {
    OneShotRead read(connection.session(), connection.engine(), connection.clock());
    read.queue(job.points);
    const bool ended = connection.runOperations();
    for (int i = 0; job.fault.isEmpty() && i < job.points.size(); ++i) {
        const Point& point = job.points.at(i);
        const PointState& state = read.table().state(i);
        if (state.quality != Quality::Good) {
            const QString fault = read.fault(i);
            job.fault = ended || !fault.isEmpty()
                            ? QStringLiteral("written, but reading back failed: %1").arg(fault)
                            : QStringLiteral("written, but stopped before it was read back");
        } else if (state.raw != writtenRaw(job, i)) {
            job.fault = QStringLiteral("written, but %1 reads %2 instead of %3")
                            .arg(point.name, valueText(point.format, point.type, state.raw),
                                 valueText(point.format, point.type, writtenRaw(job, i)));
        }
    }
}

// One write after the other: two items may be the same bits of the device under two names, so each is read
// back before the next one is written.
void carryOut(Connection& connection, const WriteOptions& options, WriteJob& job) {
    if (stopRequested()) {
        job.fault = QStringLiteral("stopped before that");
        return;
    }
    send(connection, job);
    if (options.verify && job.fault.isEmpty()) {
        verify(connection, job);
    }
}

// What was to be written, with the keys and kinds that pointJson() has for a value that was read.
Json writtenJson(const WriteJob& job) {
    const Point& first = job.request.first;
    Json json = itemJson(first);
    json["name"] = utf8(job.request.name);
    json["count"] = job.request.values();
    json["values"] = Json::array();
    json["texts"] = Json::array();
    for (int i = 0; i < job.points.size(); ++i) {
        json["values"] += valueJson(first.format, writtenRaw(job, i));
        json["texts"] += utf8(valueText(first.format, first.type, writtenRaw(job, i)));
    }
    if (!first.format.unit.isEmpty()) {
        json["unit"] = utf8(first.format.unit);
    }
    return json;
}

bool report(const WriteOptions& options, const WriteJob& job) {
    const bool good = job.fault.isEmpty();
    if (options.json) {
        Json json = writtenJson(job);
        json["written"] = good;
        json["verified"] = good && options.verify;
        if (!good) {
            json["fault"] = utf8(job.fault);
        }
        print(json);
    } else if (good) {
        print(QStringLiteral("%1 = %2 %3")
                  .arg(job.request.name, valuesText(job),
                       QLatin1String(options.verify ? "written and verified" : "written")));
    }
    if (!good) {
        complain(QStringLiteral("%1 = %2 failed: %3").arg(job.request.name, valuesText(job), job.fault));
    }
    return good;
}

int runWrite(const WriteOptions& options) {
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    QVector<WriteJob> jobs;
    for (const WriteRequest& request : loaded.writes(options, options.items)) {
        jobs += makeJob(request);
        if (options.verify && jobs.last().request.first.station == 0) {
            throw UsageError(
                QStringLiteral("a broadcast (station 0) cannot be verified, no station answers it"));
        }
    }
    Connection connection(loaded, settings, options);
    bool good = true;
    for (WriteJob& job : jobs) {
        carryOut(connection, options, job);
        good = report(options, job) && good;
    }
    return connection.finish(good ? EXIT_DONE : EXIT_FAILED);
}

}  // namespace

void addWriteCommand(CLI::App& app, Run& run) {
    auto options = std::make_shared<WriteOptions>();
    CLI::App* command = app.add_subcommand("write", "Writes items, in the order given");
    command
        ->add_option("items", options->items,
                     "TYPE:ADDRESS[,COUNT][@STATION][/FORMAT...]=VALUE[,VALUE...], or TAG=VALUE[,VALUE...]; "
                     "as many values as the count, 1 without")
        ->required()
        ->type_name("ITEM=VALUE");
    command->add_flag("--verify", options->verify,
                      "Read back each value before the next one is written, and compare");
    addDeviceOptions(*command, *options);
    command->footer(
        "Examples:\n"
        "  dx7 write --serial /dev/ttyUSB0 DO:1=on CW:0=0x047F\n"
        "  dx7 write --serial /dev/ttyUSB0 F:0.0.10,2@2=10,258 --verify\n"
        "  dx7 write --tcp 192.168.0.10 F:3.0.24/s32=-100000\n"
        "Station 0 writes bits to all stations at once.");
    command->callback([options, &run] { run = [options] { return runWrite(*options); }; });
}

}  // namespace dx7::cli

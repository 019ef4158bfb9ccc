#include <algorithm>

#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/output.h"
#include "host/error.h"
#include "host/files/wall_clock.h"
#include "host/poll/one_shot_read.h"

namespace dx7::cli {

namespace {

struct WriteOptions : CommonOptions {
    std::vector<std::string> items;
    bool verify = false;
};

enum class Fate { Written, NotWritten, Unknown };

// What has become of one item of a write.
struct ItemFate {
    Fate fate = Fate::NotWritten;
    // Empty when it was written.
    QString fault;
    // When it ended.
    qint64 endUs = wallTimeUs();
    // An acknowledgement came that may be another's.
    bool doubtful = false;
    // It was not sent, or broken off: it has not failed.
    bool open = false;
};

// What reading a written value back has shown.
struct ReadBack {
    bool verified = false;
    // It reads another value than was written.
    bool tookNot = false;
    // Empty when it is verified, or was not read.
    QString fault;
};

// A write, the points that show its values, and how it went.
struct WriteJob {
    WriteRequest request;
    QVector<Point> points;
    // One for each item of the request.
    QVector<ItemFate> items;
    // One for each point.
    QVector<ReadBack> readsBack;

    // The first thing that reading back has to say; empty without one.
    QString verifyFault() const;
    bool tookNot() const;
};

QString WriteJob::verifyFault() const {
    for (const ReadBack& back : readsBack) {
        if (!back.fault.isEmpty()) {
            return back.fault;
        }
    }
    return QString();
}

bool WriteJob::tookNot() const {
    return std::any_of(readsBack.begin(), readsBack.end(), [](const ReadBack& back) { return back.tookNot; });
}

// As a read names it: a point of a tag with a count by the tag's name and its number.
QString pointName(const WriteRequest& request, const Point& point, int index) {
    const auto numbered = [&request](int number) {
        return request.name + QLatin1Char('[') + QString::number(number) + QLatin1Char(']');
    };
    return request.first.name == numbered(0) ? numbered(index) : point.notation();
}

WriteJob makeJob(const WriteRequest& request) {
    WriteJob job;
    job.request = request;
    for (int i = 0; i < request.items.size(); i += request.first.items()) {
        Point point = request.first;
        point.address += i;
        if (i > 0) {
            point.name = pointName(request, point, job.points.size());
        }
        job.points += point;
    }
    job.items = QVector<ItemFate>(request.items.size());
    job.readsBack = QVector<ReadBack>(job.points.size());
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

// Takes the end of one request over for the items that it writes.
void take(const Transaction& transaction, WriteJob& job) {
    const FRAME_PRO& frame = transaction.frame;
    const int first = frame.address - job.request.first.address;
    for (int i = first; i < first + frame.count; ++i) {
        ItemFate known;
        if (transaction.good()) {
            known.fate = Fate::Written;
        } else {
            known.fate = transaction.unsettled ? Fate::Unknown : Fate::NotWritten;
            known.fault = unwrittenText(transaction);
            known.doubtful = transaction.doubtful && transaction.outcome == Outcome::Good;
            known.open = transaction.outcome == Outcome::CutShort ||
                         (transaction.outcome == Outcome::Skipped && !transaction.unsettled);
        }
        job.items[i] = known;
    }
}

// Of the job's point number `index`: a value of two items may need two requests.
ItemFate fateOf(const WriteJob& job, int index) {
    const int width = job.request.first.items();
    ItemFate known = job.items.at(index * width);
    for (int i = index * width + 1; i < (index + 1) * width; ++i) {
        const ItemFate& other = job.items.at(i);
        if (other.fate != known.fate) {
            known.fate = Fate::Unknown;
            known.fault =
                QStringLiteral("written by half: ") + (known.fault.isEmpty() ? other.fault : known.fault);
            known.open = known.doubtful = false;
        }
        known.endUs = std::max(known.endUs, other.endUs);
    }
    return known;
}

bool allWritten(const WriteJob& job) {
    return std::all_of(job.items.begin(), job.items.end(),
                       [](const ItemFate& known) { return known.fate == Fate::Written; });
}

// What the device holds is written, whatever its acknowledgement was worth.
void lookAtDoubtful(Connection& connection, WriteJob& job) {
    const bool any =
        std::any_of(job.items.begin(), job.items.end(), [](const ItemFate& known) { return known.doubtful; });
    if (!any || !connection.breakReason().isEmpty()) {
        return;
    }
    OneShotRead read(connection.engine());
    read.queue(job.points);
    connection.runOperations();
    const int width = job.request.first.items();
    for (int i = 0; i < job.items.size(); ++i) {
        const PointState& state = read.table().state(i / width);
        const bool holds = state.quality == Quality::Good && state.raw == writtenRaw(job, i / width);
        if (job.items.at(i).doubtful && holds) {
            job.items[i] = ItemFate();
            job.items[i].fate = Fate::Written;
        }
    }
}

void verify(Connection& connection, WriteJob& job) {
    OneShotRead read(connection.engine());
    read.queue(job.points);
    connection.runOperations();
    for (int i = 0; i < job.points.size(); ++i) {
        const Point& point = job.points.at(i);
        const PointState& state = read.table().state(i);
        ReadBack& back = job.readsBack[i];
        back.tookNot = state.quality == Quality::Good && state.raw != writtenRaw(job, i);
        back.verified = state.quality == Quality::Good && !back.tookNot;
        if (back.tookNot) {
            back.fault = QStringLiteral("written, but %1 reads %2 instead of %3")
                             .arg(point.name, valueText(point.format, point.type, *state.raw),
                                  valueText(point.format, point.type, writtenRaw(job, i)));
        } else if (!back.verified) {
            back.fault = QStringLiteral("written, but reading back failed: %1").arg(read.fault(i));
        }
    }
}

// One write after the other: two items may be the same bits of the device under two names, so each is read
// back before the next one is written. What a station that did not answer before would cost is spared.
void carryOut(Connection& connection, const WriteOptions& options, WriteJob& job) {
    const int station = job.request.first.station;
    connection.engine().write(job.request,
                              [&job](const Transaction& transaction) { take(transaction, job); });
    if (connection.silentStations().contains(station)) {
        connection.engine().abandonOperations(silencePhrase(station));
    }
    connection.runOperations();
    lookAtDoubtful(connection, job);
    if (options.verify && allWritten(job)) {
        verify(connection, job);
    }
}

// Values in a row that share what has become of them.
struct Part {
    int first = 0;
    int count = 0;
    ItemFate known;
};

QVector<Part> partsOf(const WriteJob& job) {
    QVector<Part> parts;
    for (int i = 0; i < job.points.size(); ++i) {
        const ItemFate known = fateOf(job, i);
        const bool same = !parts.isEmpty() && parts.last().known.fate == known.fate &&
                          parts.last().known.fault == known.fault;
        if (same) {
            ++parts.last().count;
        } else {
            parts += Part{i, 1, known};
        }
    }
    return parts;
}

Quality qualityOf(Fate fate) {
    return fate == Fate::Written ? Quality::Good : fate == Fate::Unknown ? Quality::Doubtful : Quality::Bad;
}

// The job's point number `index`, with the keys of a value that was read and what has become of it.
Json writtenJson(const WriteJob& job, int index) {
    const ReadBack& back = job.readsBack.at(index);
    const ItemFate known = fateOf(job, index);
    const Fate fate = back.tookNot ? Fate::NotWritten : known.fate;
    Json json = itemJson("written", isoTime(known.endUs), job.points.at(index), writtenRaw(job, index));
    json["written"] = fate == Fate::Unknown ? Json(nullptr) : Json(fate == Fate::Written);
    json["verified"] = back.verified;
    addQuality(qualityOf(fate), back.fault.isEmpty() ? known.fault : back.fault, &json);
    return json;
}

// "F:3.0.20@1 written, F:3.0.21@1 to F:3.0.24@1 not sent: ...".
QString partsText(const WriteJob& job, const QVector<Part>& parts) {
    QStringList texts;
    for (const Part& part : parts) {
        const QString first = job.points.at(part.first).name;
        const QString last = job.points.at(part.first + part.count - 1).name;
        const QString items = part.count == 1 ? first : QStringLiteral("%1 to %2").arg(first, last);
        const bool written = part.known.fate == Fate::Written;
        texts += items + QLatin1Char(' ') + (written ? QStringLiteral("written") : part.known.fault);
    }
    return texts.join(QStringLiteral("; "));
}

QString faultText(const WriteJob& job, const QVector<Part>& parts) {
    QString verifyFault = job.verifyFault();
    if (!verifyFault.isEmpty()) {
        return verifyFault;
    }
    return parts.size() == 1 ? parts.first().known.fault
                             : QStringLiteral("written in part: ") + partsText(job, parts);
}

// False when one of them could not be said on standard output.
bool tellJson(const WriteJob& job) {
    bool told = true;
    for (int i = 0; i < job.points.size(); ++i) {
        told = tell(writtenJson(job, i)) && told;
    }
    return told;
}

// What has become of a write. False when it is not, or not known to be, done, or could not be said.
bool report(const WriteOptions& options, const WriteJob& job) {
    const QVector<Part> parts = partsOf(job);
    const QString fault = faultText(job, parts);
    const QString what = QStringLiteral("%1 = %2").arg(job.request.name, valuesText(job));
    bool told = true;
    if (options.json) {
        told = tellJson(job);
    } else if (fault.isEmpty()) {
        told = tell(what + QLatin1String(options.verify ? " written and verified" : " written"));
    }
    if (!fault.isEmpty()) {
        const bool open = job.verifyFault().isEmpty() && parts.size() == 1 && parts.first().known.open;
        printError(what + QLatin1String(open ? ": " : " failed: ") + fault);
    }
    return told && fault.isEmpty();
}

// Why not all was written: what broke the writes off, or the stations that did not answer. Empty when neither
// is so; a single write has said it of its station already.
QString breakText(const Connection& connection, const QVector<WriteJob>& jobs) {
    if (!connection.breakReason().isEmpty() || connection.silentStations().isEmpty() || jobs.size() < 2) {
        return connection.breakReason();
    }
    QList<int> stations = connection.silentStations().values();
    std::sort(stations.begin(), stations.end());
    QStringList phrases;
    for (const int station : stations) {
        phrases += silencePhrase(station);
    }
    return phrases.join(QStringLiteral(", "));
}

// What broke the writes off, and how to go on.
void printBreak(const QString& reason, const QVector<WriteJob>& jobs) {
    const auto done = std::count_if(jobs.begin(), jobs.end(), [](const WriteJob& job) {
        return allWritten(job) && job.verifyFault().isEmpty();
    });
    const bool unknown = std::any_of(jobs.begin(), jobs.end(), [](const WriteJob& job) {
        return std::any_of(job.items.begin(), job.items.end(),
                           [](const ItemFate& known) { return known.fate == Fate::Unknown; });
    });
    const bool unverified = std::any_of(jobs.begin(), jobs.end(), [](const WriteJob& job) {
        return !job.verifyFault().isEmpty() && !job.tookNot();
    });
    const char* const readBack = unverified ? "read back what is unknown or was not verified, then "
                                 : unknown  ? "read back what is unknown, then "
                                            : "";
    printError(QStringLiteral("%1; %2 of %3 done; %4write what is missing")
                   .arg(reason)
                   .arg(done)
                   .arg(counted(jobs.size(), "write"), QLatin1String(readBack)));
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
    connection.abandonAfterSilence();
    bool good = true;
    for (WriteJob& job : jobs) {
        carryOut(connection, options, job);
        good = report(options, job) && good;
    }
    const QString reason = breakText(connection, jobs);
    if (!reason.isEmpty()) {
        printBreak(reason, jobs);
    }
    connection.closeRecording();
    return good ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addWriteCommand(CommandLine& program) {
    auto options = std::make_shared<WriteOptions>();
    CommandLine& command = program.addCommand("write", "Writes items, in the order given");
    command
        .add("items", &options->items,
             "TYPE:ADDRESS[,COUNT][@STATION][/FORMAT...]=VALUE[,VALUE...], or TAG=VALUE[,VALUE...]; "
             "as many values as the count, 1 without")
        .demand()
        .named("ITEM=VALUE");
    command.add("--verify", &options->verify,
                "Read back each value before the next one is written, and compare");
    addDeviceOptions(command, *options);
    command.footer(
        "Examples:\n"
        "  dx7 write --serial /dev/ttyUSB0 DO:1=on CW:0=0x047F\n"
        "  dx7 write --serial /dev/ttyUSB0 F:0.0.10,2@2=10,258 --verify\n"
        "  dx7 write --tcp 192.168.0.10 F:3.0.24/s32=-100000\n"
        "Station 0 writes bits to all stations at once.");
    command.action([options] { return runWrite(*options); });
}

}  // namespace dx7::cli

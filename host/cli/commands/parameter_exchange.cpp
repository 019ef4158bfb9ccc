#include "host/cli/commands/parameter_exchange.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "host/cli/screen/progress.h"
#include "host/poll/one_shot_read.h"

namespace dx7::cli {

namespace {

constexpr int RUN_ITEMS = 10;
constexpr int RUNS_AT_ONCE = 8;
// Operations in a row without any sign of life: a write and its reading back.
constexpr int MOST_SILENT_OPERATIONS = 2;
// Parameters in a row that are not verified for lack of a valid answer.
constexpr int MOST_UNANSWERED = 2;
// Writes in a row that are not acknowledged.
constexpr int MOST_UNACKNOWLEDGED = 20;

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

// Points that are read at once, in one request each run.
struct Batch {
    QVector<QVector<Point>> runs;
    // One for each run.
    std::vector<std::unique_ptr<OneShotRead>> reads;

    const OneShotRead& read(int index) const { return *reads[static_cast<std::size_t>(index)]; }
    void add(Connection& connection, const QVector<Point>& run) {
        runs += run;
        reads.push_back(std::make_unique<OneShotRead>(connection.engine()));
        reads.back()->queue(run);
    }
};

// The first point that was not read, or the first of all when all were.
int firstBad(const OneShotRead& read) {
    for (int i = 0; i < read.table().size(); ++i) {
        if (read.table().state(i).quality != Quality::Good) {
            return i;
        }
    }
    return 0;
}

bool refused(const OneShotRead& read) {
    return read.refused(firstBad(read));
}

// "F:3.0.20@1 to F:3.0.29@1, F:3.0.40@1": of those that are not proven.
QStringList unprovenNames(const Batch& batch) {
    QStringList names;
    for (int i = 0; i < batch.runs.size(); ++i) {
        const QVector<Point>& run = batch.runs.at(i);
        const OneShotRead& read = batch.read(i);
        if (read.unproven(firstBad(read))) {
            const QString& first = run.first().name;
            names += run.size() == 1 ? first : QStringLiteral("%1 to %2").arg(first, run.last().name);
        }
    }
    return names;
}

// Why the batch ends at its run number `index`, which was not read.
QString failureText(const Batch& batch, int index) {
    const OneShotRead& read = batch.read(index);
    const QStringList names = unprovenNames(batch);
    if (read.unproven(firstBad(read))) {
        const bool one = names.size() == 1 && batch.runs.at(index).size() == 1;
        return QStringLiteral("%1 %2 not certain: %3")
            .arg(names.join(QStringLiteral(", ")), QLatin1String(one ? "is" : "are"),
                 read.fault(firstBad(read)));
    }
    return QStringLiteral("%1 could not be read: %2")
        .arg(batch.runs.at(index).at(firstBad(read)).name, read.fault(firstBad(read)));
}

// What ended the batch: a run that was not answered ends those that were queued after it, too, and what was
// not proven by then. Some run of the batch was not read.
int failedRun(const Batch& batch) {
    std::optional<int> failed;
    for (int i = 0; i < batch.runs.size(); ++i) {
        const OneShotRead& read = batch.read(i);
        const bool bad = !read.allGood() && !refused(read);
        if (bad && (!failed || batch.read(*failed).cutShort(firstBad(batch.read(*failed))))) {
            failed = i;
        }
    }
    return failed.value_or(0);
}

// Reads points by batches, and tells each of them in order.
class ParameterReader {
public:
    ParameterReader(Connection& connection, const QVector<Point>& points, const QString& what,
                    const EachPoint& each)
        : connection_(connection),
          points_(points),
          what_(what),
          each_(each),
          progress_(points.size(), connection.clock()) {}

    QString readAll();

private:
    QString carryOut(const Batch& batch);
    bool runBatch(const Batch& batch);
    QString readOneByOne(const QVector<Point>& run);

    Connection& connection_;
    const QVector<Point>& points_;
    const QString what_;
    const EachPoint& each_;
    Progress progress_;
    int told_ = 0;
};

QString ParameterReader::readAll() {
    for (int at = 0; at < points_.size();) {
        Batch batch;
        while (at < points_.size() && batch.runs.size() < RUNS_AT_ONCE) {
            const int length = runLength(points_, at);
            batch.add(connection_, points_.mid(at, length));
            at += length;
        }
        QString broken = carryOut(batch);
        if (!broken.isEmpty()) {
            return broken;
        }
    }
    return QString();
}

// False when it was broken off from outside.
bool ParameterReader::runBatch(const Batch& batch) {
    int most = told_;
    for (const QVector<Point>& run : batch.runs) {
        most += run.size();
    }
    int answered = told_;
    const auto show = [&] {
        progress_.show(std::min(answered, most),
                       what_ + QLatin1Char(' ') + points_.at(std::min(answered, most - 1)).name);
    };
    show();
    EngineEvents events;
    events.transaction = [&](const Transaction& transaction) {
        if (transaction.finished() && transaction.answered()) {
            answered += transaction.frame.count;
            show();
        }
    };
    connection_.setEvents(events);
    connection_.abandonAfterFailure(true);
    const bool ran = connection_.runOperations();
    connection_.abandonAfterFailure(false);
    connection_.setEvents({});
    return ran;
}

// Tells the points up to the first run that was not read. Gives why it was not; empty when all are told.
QString ParameterReader::carryOut(const Batch& batch) {
    const bool ran = runBatch(batch);
    for (int i = 0; i < batch.runs.size(); ++i) {
        const QVector<Point>& run = batch.runs.at(i);
        const OneShotRead& read = batch.read(i);
        if (read.allGood()) {
            for (int k = 0; k < run.size(); ++k) {
                each_(run.at(k), static_cast<int>(*read.table().state(k).raw), QString());
            }
            told_ += run.size();
        } else if (!refused(read)) {
            return ran ? failureText(batch, failedRun(batch)) : connection_.breakReason();
        } else if (run.size() == 1) {
            each_(run.first(), std::nullopt, read.fault(0));
            ++told_;
        } else {
            QString broken = readOneByOne(run);
            if (!broken.isEmpty()) {
                return broken;
            }
        }
    }
    return ran ? QString() : connection_.breakReason();
}

// A run that the station refuses, for it may have some of its items.
QString ParameterReader::readOneByOne(const QVector<Point>& run) {
    Batch batch;
    for (const Point& point : run) {
        batch.add(connection_, {point});
    }
    return carryOut(batch);
}

}  // namespace

QString readPoints(Connection& connection, const QVector<Point>& points, const QString& what,
                   const EachPoint& each) {
    return ParameterReader(connection, points, what, each).readAll();
}

QVector<Point> pointsOf(const ItemNotation& notation, const ParameterSet& set,
                        const ParameterLabels& labels) {
    QVector<Point> points;
    for (auto type = set.values.begin(); type != set.values.end(); ++type) {
        for (auto value = type->begin(); value != type->end(); ++value) {
            Point point;
            point.type = notation.type(type.key());
            point.station = set.station;
            point.address = value.key();
            point.name = point.notation();
            labels.label(&point);
            points += point;
        }
    }
    return points;
}

Comparison compare(Connection& connection, const QVector<Point>& points, const ParameterSet& set) {
    const auto inFile = [&set](const Point& point) {
        return set.values.value(point.type.name).value(point.address);
    };
    Comparison result;
    result.broken = readPoints(connection, points, QStringLiteral("reading"),
                               [&](const Point& point, std::optional<int> value, const QString& fault) {
                                   if (value == inFile(point)) {
                                       ++result.right;
                                   } else {
                                       result.differences += Difference{point, inFile(point), value, fault};
                                   }
                               });
    for (int i = result.right + result.differences.size(); i < points.size(); ++i) {
        result.unread += Difference{points.at(i), inFile(points.at(i)), std::nullopt, result.broken};
    }
    return result;
}

namespace {

// What the write and the reading back say of the parameter.
WriteEnd writeEnd(const Transaction& write, const OneShotRead& read, int inFile) {
    const PointState& state = read.table().state(0);
    WriteEnd end;
    end.acknowledged = write.answered();
    end.readBack = state.quality == Quality::Good || read.refused(0);
    // A good state has a value.
    const quint32 reads = state.raw.value_or(0);
    if (state.quality == Quality::Good && reads == static_cast<quint32>(inFile)) {
        end.state = Written::Verified;
    } else if (state.quality == Quality::Good) {
        end.fault = write.good() ? QStringLiteral("did not take, it reads %1").arg(reads)
                                 : QStringLiteral("%1; it reads %2").arg(outcomeText(write)).arg(reads);
    } else if (write.good()) {
        end.state = Written::Unknown;
        end.fault = QStringLiteral("acknowledged, but it could not be read back: %1").arg(read.fault(0));
    } else {
        end.state = write.unsettled ? Written::Unknown : Written::Not;
        end.fault = unwrittenText(write);
    }
    return end;
}

}  // namespace

WriteEnd writeAndVerify(Connection& connection, const Difference& difference) {
    Transaction write;
    WriteRequest request;
    request.first = difference.point;
    request.items = {difference.inFile};
    connection.engine().write(request, [&write](const Transaction& transaction) { write = transaction; });
    OneShotRead read(connection.engine());
    read.queue({difference.point});
    connection.runOperations();
    return writeEnd(write, read, difference.inFile);
}

void AnswerWatch::take(const WriteEnd& end) {
    const bool answered = end.acknowledged && end.readBack;
    unanswered_ = answered || end.state == Written::Verified ? 0 : unanswered_ + 1;
    unacknowledged_ = end.acknowledged ? 0 : unacknowledged_ + 1;
}

QString AnswerWatch::failure(const Connection& connection, int station) const {
    if (connection.silentOperations() >= MOST_SILENT_OPERATIONS) {
        return QStringLiteral("station %1 does not answer any more").arg(station);
    }
    if (unanswered_ >= MOST_UNANSWERED) {
        return QStringLiteral("station %1 gives no valid answer any more").arg(station);
    }
    if (unacknowledged_ >= MOST_UNACKNOWLEDGED) {
        return QStringLiteral("station %1 has not acknowledged %2 writes in a row")
            .arg(station)
            .arg(unacknowledged_);
    }
    return QString();
}

}  // namespace dx7::cli

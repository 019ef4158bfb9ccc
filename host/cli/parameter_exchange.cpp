#include "parameter_exchange.h"

#include "one_shot_read.h"
#include "progress.h"

namespace dx7::cli {

namespace {

enum { RUN_ITEMS = 10 };
// Operations without any sign of life: a write and its reading back.
enum { MOST_SILENT_OPERATIONS = 2, MOST_UNANSWERED = 2, MOST_UNACKNOWLEDGED = 20 };

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

bool refused(const QString& fault) {
    return fault.startsWith(QLatin1String("exception"));
}

// Reads a run in one request. Empty when it was read or refused, as `refusal` says; else the reason.
QString readRun(Connection& connection, const QVector<Point>& run, const EachPoint& each, QString* refusal) {
    OneShotRead read(connection.engine());
    read.queue(run);
    if (!connection.runOperations()) {
        return connection.breakReason();
    }
    *refusal = QString();
    if (read.allGood()) {
        for (int i = 0; i < run.size(); ++i) {
            each(run.at(i), static_cast<int>(read.table().state(i).raw), QString());
        }
        return QString();
    }
    if (refused(read.fault(0))) {
        *refusal = read.fault(0);
        return QString();
    }
    // A station that gives no good answer to one run is not asked for the rest.
    return QStringLiteral("%1 could not be read: %2").arg(run.first().name, read.fault(0));
}

QString readOneByOne(Connection& connection, const QVector<Point>& run, const EachPoint& each) {
    for (const Point& point : run) {
        QString refusal;
        QString broken = readRun(connection, {point}, each, &refusal);
        if (!broken.isEmpty()) {
            return broken;
        }
        if (!refusal.isEmpty()) {
            each(point, -1, refusal);
        }
    }
    return QString();
}

}  // namespace

QString readPoints(Connection& connection, const QVector<Point>& points, const QString& what,
                   const EachPoint& each) {
    Progress progress(points.size(), connection.clock());
    int length = 0;
    for (int at = 0; at < points.size(); at += length) {
        length = runLength(points, at);
        progress.show(at, what + QLatin1Char(' ') + points.at(at).name);
        const QVector<Point> run = points.mid(at, length);
        QString refusal;
        QString broken = readRun(connection, run, each, &refusal);
        if (!refusal.isEmpty() && length == 1) {
            each(run.first(), -1, refusal);
        } else if (!refusal.isEmpty()) {
            broken = readOneByOne(connection, run, each);
        }
        if (!broken.isEmpty()) {
            return broken;
        }
    }
    return QString();
}

QVector<Point> pointsOf(const ItemNotation& notation, const ParameterSet& set) {
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
    return points;
}

Comparison compare(Connection& connection, const ItemNotation& notation, const ParameterSet& set) {
    const QVector<Point> points = pointsOf(notation, set);
    const auto inFile = [&set](const Point& point) {
        return set.values.value(point.type.name).value(point.address);
    };
    Comparison result;
    result.broken = readPoints(connection, points, QStringLiteral("reading"),
                               [&](const Point& point, int value, const QString& fault) {
                                   if (value == inFile(point)) {
                                       ++result.right;
                                   } else {
                                       result.differences += Difference{point, inFile(point), value, fault};
                                   }
                               });
    for (int i = result.right + result.differences.size(); i < points.size(); ++i) {
        result.unread += Difference{points.at(i), inFile(points.at(i)), -1, result.broken};
    }
    return result;
}

namespace {

// What the write and the reading back say of the parameter.
WriteEnd writeEnd(const Transaction& write, const PointState& state, const QString& readFault, int inFile) {
    WriteEnd end;
    end.acknowledged = write.answered();
    end.readBack = state.quality == Quality::Good || refused(readFault);
    const int reads = static_cast<int>(state.raw);
    if (state.quality == Quality::Good && reads == inFile) {
        end.state = Written::Verified;
    } else if (state.quality == Quality::Good) {
        end.fault = write.good() ? QStringLiteral("did not take, it reads %1").arg(reads)
                                 : QStringLiteral("%1; it reads %2").arg(outcomeText(write)).arg(reads);
    } else if (write.good()) {
        end.state = Written::Unknown;
        end.fault = QStringLiteral("written, but it could not be read back: %1").arg(readFault);
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
    return writeEnd(write, read.table().state(0), read.fault(0), difference.inFile);
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

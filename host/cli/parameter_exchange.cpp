#include "parameter_exchange.h"

#include "one_shot_read.h"
#include "progress.h"

namespace dx7::cli {

namespace {

enum { RUN_ITEMS = 10 };

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
    OneShotRead read(connection.session(), connection.engine(), connection.clock());
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

WriteEnd writeAndVerify(Connection& connection, const Difference& difference) {
    Transaction write;
    WriteRequest request;
    request.first = difference.point;
    request.items = {difference.inFile};
    connection.engine().write(request, [&write](const Transaction& transaction) { write = transaction; });
    OneShotRead read(connection.session(), connection.engine(), connection.clock());
    read.queue({difference.point});
    connection.runOperations();
    const PointState& state = read.table().state(0);
    if (state.quality == Quality::Good) {
        const int reads = static_cast<int>(state.raw);
        if (reads == difference.inFile) {
            return {Written::Verified, QString()};
        }
        return {Written::Not, write.good()
                                  ? QStringLiteral("did not take, it reads %1").arg(reads)
                                  : QStringLiteral("%1; it reads %2").arg(outcomeText(write)).arg(reads)};
    }
    if (write.good()) {
        return {Written::Unknown,
                QStringLiteral("written, but it could not be read back: %1").arg(read.fault(0))};
    }
    return {write.unsettled ? Written::Unknown : Written::Not, unwrittenText(write)};
}

}  // namespace dx7::cli

#include "host/cli/commands/write_job.h"

#include <algorithm>

#include "host/poll/one_shot_read.h"

namespace dx7::cli {

namespace {

// As a read names it: a point of a tag with a count by the tag's name and its number.
QString pointName(const WriteRequest& request, const Point& point, int index) {
    const auto numbered = [&request](int number) {
        return request.name + QLatin1Char('[') + QString::number(number) + QLatin1Char(']');
    };
    return request.first.name == numbered(0) ? numbered(index) : point.notation();
}

// Takes the end of one request over for the items that it writes.
void take(const Transaction& transaction, WriteJob& job) {
    const FRAME_PRO& frame = transaction.frame;
    const int first = frame.address - job.request.first.address;
    for (int i = first; i < first + frame.count; ++i) {
        ValueFate known;
        if (transaction.good()) {
            known.fate = Fate::Acknowledged;
            known.acknowledged = !job.broadcast();
        } else {
            known.fate = transaction.unsettled ? Fate::Unknown : Fate::NotWritten;
            known.fault = unwrittenText(transaction);
            known.outcome = outcomeText(transaction);
            known.open = leftOpen(transaction);
        }
        job.items[i] = known;
    }
}

// Of the job's point number `index`: a value of two items may need two requests.
ValueFate joined(const WriteJob& job, int index) {
    const int width = job.request.first.items();
    ValueFate known = job.items.at(index * width);
    for (int i = index * width + 1; i < (index + 1) * width; ++i) {
        const ValueFate& other = job.items.at(i);
        if (other.fate != known.fate) {
            known.fate = Fate::Unknown;
            known.fault =
                QStringLiteral("written by half: ") + (known.fault.isEmpty() ? other.fault : known.fault);
            known.acknowledged = known.open = false;
            known.byHalf = true;
        }
        known.endUs = std::max(known.endUs, other.endUs);
    }
    return known;
}

// "F:3.0.25@1 reads 7 instead of 5".
QString differenceText(const WriteJob& job, int index) {
    const Point& point = job.points.at(index);
    return QStringLiteral("%1 reads %2 instead of %3")
        .arg(point.name, valueText(point.format, point.type, *job.values.at(index).readsBack),
             valueText(point.format, point.type, job.raw(index)));
}

bool equal(const WriteJob& job, int index) {
    return job.values.at(index).readsBack == job.raw(index);
}

// The points of which reading back can tell anything.
QVector<int> pointsToRead(const WriteJob& job) {
    QVector<int> numbers;
    for (int i = 0; i < job.values.size(); ++i) {
        const ValueFate& known = job.values.at(i);
        const bool may = known.fate == Fate::Acknowledged || known.fate == Fate::Unknown;
        if (may && !known.open && !known.byHalf) {
            numbers += i;
        }
    }
    return numbers;
}

// Reads the points once. Whether another look may show more: nothing was refused or left without an answer.
bool look(Connection& connection, WriteJob& job, const QVector<int>& numbers, QVector<QString>* faults) {
    QVector<Point> points;
    for (const int number : numbers) {
        points += job.points.at(number);
    }
    OneShotRead read(connection.engine());
    read.queue(points);
    if (connection.silentStations().contains(job.request.first.station)) {
        connection.engine().abandonOperations(silencePhrase(job.request.first.station));
    }
    connection.runOperations();
    bool mayChange = true;
    for (int i = 0; i < numbers.size(); ++i) {
        const PointState& state = read.table().state(i);
        const bool good = state.quality == Quality::Good;
        std::optional<quint32>& readsBack = job.values[numbers.at(i)].readsBack;
        readsBack.reset();
        if (good) {
            readsBack = state.raw;
        }
        (*faults)[i] = read.fault(i);
        mayChange = mayChange && (good || read.unproven(i));
    }
    return mayChange;
}

// What the last look says of a value; `failure`: why it was not read; `broken`: so was the command.
void settle(WriteJob& job, int index, const QString& failure, bool broken) {
    ValueFate& known = job.values[index];
    if (equal(job, index)) {
        known.fate = Fate::Written;
        known.fault.clear();
        return;
    }
    const bool demanded = job.rule == ReadBackRule::Demand;
    if (!known.readsBack) {
        if (known.acknowledged && (demanded || broken)) {
            known.fault = unreadText(failure);
            known.backFault = true;
        } else if (known.acknowledged) {
            known.unread = failure;
        }
    } else if (known.acknowledged && demanded) {
        known.fault = QStringLiteral("acknowledged, but ") + differenceText(job, index);
        known.fate = Fate::NotWritten;
        known.backFault = true;
    } else if (!known.acknowledged) {
        known.fault = known.outcome + QStringLiteral(", and ") + differenceText(job, index);
        if (demanded) {
            known.fate = Fate::NotWritten;
        } else {
            known.fault += QStringLiteral("; it is unknown whether the station carried it out");
        }
    }
}

// What the device holds is written, whatever its acknowledgement was worth.
void readBack(Connection& connection, WriteJob& job) {
    const QVector<int> numbers = pointsToRead(job);
    if (numbers.isEmpty() || job.rule == ReadBackRule::None) {
        return;
    }
    const auto differs = [&job](int number) { return !equal(job, number); };
    QVector<QString> faults(numbers.size());
    ReadBackWindow window;
    bool again = true;
    while (again) {
        again = look(connection, job, numbers, &faults) && job.rule == ReadBackRule::Demand &&
                std::any_of(numbers.begin(), numbers.end(), differs);
        if (again) {
            window.answered(connection.clock().nowUs());
            const DueUs nextUs = window.nextUs();
            again = nextUs && connection.waitUntil(*nextUs) && window.mayBegin(connection.clock().nowUs());
        }
    }
    for (int i = 0; i < numbers.size(); ++i) {
        settle(job, numbers.at(i), faults.at(i), !connection.breakReason().isEmpty());
    }
}

}  // namespace

WriteJob::WriteJob(const WriteRequest& written, std::optional<bool> chosen)
    : request(written),
      rule(readBackRule(written.first, chosen)),
      items(written.items.size()),
      values(written.values()) {
    for (int i = 0; i < request.items.size(); i += request.first.items()) {
        Point point = request.first;
        point.address += i;
        if (i > 0) {
            point.name = pointName(request, point, points.size());
        }
        points += point;
    }
}

quint32 WriteJob::raw(int index) const {
    const int width = request.first.items();
    return rawFromItems(request.first.format, request.items.mid(index * width, width));
}

QString unreadText(const QString& failure) {
    return QStringLiteral("acknowledged, but reading back failed: %1").arg(failure);
}

bool WriteJob::done() const {
    return std::all_of(values.begin(), values.end(),
                       [](const ValueFate& known) { return known.fault.isEmpty(); });
}

void carryOut(Connection& connection, WriteJob& job) {
    const int station = job.request.first.station;
    connection.engine().write(job.request,
                              [&job](const Transaction& transaction) { take(transaction, job); });
    if (connection.silentStations().contains(station)) {
        connection.engine().abandonOperations(silencePhrase(station));
    }
    connection.runOperations();
    for (int i = 0; i < job.points.size(); ++i) {
        job.values[i] = joined(job, i);
    }
    readBack(connection, job);
}

}  // namespace dx7::cli

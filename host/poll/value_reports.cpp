#include "host/poll/value_reports.h"

#include <set>

namespace dx7 {

void ValueReports::arrived(DriverSession& session, const ItemRange& range, int itemBytes,
                           const ItemRange* writing, qint64 readUs, quint64 ticket) {
    const ReadItems read = heldReads_.hold(session, range, itemBytes, writing, readUs, ticket);
    changed_.clear();
    table_.arrive(read, &changed_);
    report(changed_, events_.fresh);
}

void ValueReports::settle(quint64 ticket, bool good) {
    changed_.clear();
    readings_.clear();
    heldReads_.settle(ticket, good, table_, &changed_, events_.reading ? &readings_ : nullptr);
    report(changed_, events_.value);
    report(readings_);
}

void ValueReports::fail(const ItemRange& range, const QString& fault, bool refused, qint64 nowUs) {
    report(table_.fail(range, fault, refused, nowUs), events_.value);
    if (events_.reading) {
        report(table_.attempts(range, nowUs));
    }
}

void ValueReports::failStation(int station, const QString& fault, qint64 nowUs) {
    report(table_.failStation(station, fault, nowUs), events_.value);
}

void ValueReports::unread(const QVector<ItemRange>& entries, qint64 nowUs) const {
    // A value of two items is one.
    std::set<int> points;
    for (int i = 0; events_.reading && i < entries.size(); ++i) {
        for (const Reading& reading : table_.attempts(entries.at(i), nowUs)) {
            points.insert(reading.point);
        }
    }
    for (const int point : points) {
        events_.reading(table_.attempt(point, nowUs));
    }
}

void ValueReports::silent(int station, qint64 nowUs) const {
    for (int i = 0; events_.reading && i < table_.size(); ++i) {
        if (table_.points().at(i).station == station && !table_.points().at(i).intervalUs) {
            events_.reading(table_.attempt(i, nowUs));
        }
    }
}

void ValueReports::lineLost(qint64 nowUs) {
    report(table_.lineLost(nowUs), events_.value);
    for (int i = 0; events_.reading && i < table_.size(); ++i) {
        events_.reading(table_.attempt(i, nowUs));
    }
}

template <typename Points>
void ValueReports::report(const Points& points, const std::function<void(int point)>& event) {
    if (event) {
        for (const int point : points) {
            event(point);
        }
    }
}

void ValueReports::report(const std::vector<Reading>& readings) const {
    for (const Reading& reading : readings) {
        events_.reading(reading);
    }
}

}  // namespace dx7

#include "host/poll/value_table.h"

#include <algorithm>
#include <tuple>

#include "host/exchange/transaction.h"

namespace dx7 {

namespace {

constexpr int BIT_GROUP = 8;

// The driver keeps a pending bit in the area of the first bit of its group of eight.
bool shownAsPending(const ItemRange& write, const RegisterType& type, int station, int address) {
    if (write.station != station || write.regType != type.name) {
        return false;
    }
    if (type.bit) {
        const int firstGroup = write.address / BIT_GROUP * BIT_GROUP;
        const int lastGroup = (write.address + write.count - 1) / BIT_GROUP * BIT_GROUP;
        return address % BIT_GROUP == 0 && address >= firstGroup && address <= lastGroup;
    }
    return address >= write.address && address < write.address + write.count;
}

// The value that the items make; empty while one of them is not known.
std::optional<quint32> rawOf(const ValueFormat& format, const std::vector<std::optional<quint16>>& items) {
    if (std::find(items.begin(), items.end(), std::nullopt) != items.end()) {
        return std::nullopt;
    }
    return rawFromItems(format, *items.front(), *items.back());
}

bool sameShown(const PointState& a, const PointState& b) {
    return a.quality == b.quality && a.raw == b.raw && a.fault == b.fault;
}

}  // namespace

QString qualityText(Quality quality) {
    switch (quality) {
        case Quality::Good:
            return QStringLiteral("good");
        case Quality::Fresh:
            return QStringLiteral("fresh");
        case Quality::Doubtful:
            return QStringLiteral("doubtful");
        case Quality::Stale:
            return QStringLiteral("stale");
        default:
            return QStringLiteral("bad");
    }
}

int ValueTable::typeIndex(const QString& name) const {
    const auto found = std::find(typeNames_.begin(), typeNames_.end(), name);
    return found == typeNames_.end() ? -1 : static_cast<int>(found - typeNames_.begin());
}

void ValueTable::setPoints(const QVector<Point>& points, qint64 nowUs) {
    points_ = points;
    entries_.clear();
    places_.clear();
    typeNames_.clear();
    for (int i = 0; i < points.size(); ++i) {
        const Point& point = points.at(i);
        Entry fresh;
        fresh.state.fault = fresh.told.fault = QStringLiteral("never read");
        fresh.state.sinceUs = fresh.told.sinceUs = nowUs;
        fresh.items = fresh.goodItems = fresh.readItems = Items(static_cast<std::size_t>(point.items()));
        entries_.push_back(fresh);
        if (typeIndex(point.type.name) < 0) {
            typeNames_.push_back(point.type.name);
        }
        for (int item = 0; item < point.items(); ++item) {
            places_.push_back(
                Place{point.station, typeIndex(point.type.name), point.address + item, i, item});
        }
    }
    std::sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) {
        return std::tie(a.station, a.type, a.address, a.point) <
               std::tie(b.station, b.type, b.address, b.point);
    });
}

ValueTable::Places ValueTable::placesIn(const ItemRange& range) const {
    const int type = typeIndex(range.regType);
    const auto found = std::lower_bound(
        places_.begin(), places_.end(), range, [type](const Place& place, const ItemRange& r) {
            return std::tie(place.station, place.type, place.address) < std::tie(r.station, type, r.address);
        });
    const Place* const first = places_.data() + (found - places_.begin());
    const Place* const end = places_.data() + places_.size();
    const Place* last = first;
    while (last != end && last->station == range.station && last->type == type &&
           last->address < range.address + range.count) {
        ++last;
    }
    return {first, last};
}

// Calls `take` for each item that was read of each point; where it says that there is news, the point
// changed.
template <typename Take>
void ValueTable::takeItems(const ReadItems& read, std::vector<int>* changed, const Take& take) {
    for (const Place& place : placesIn(read.range)) {
        const Point& point = points_.at(place.point);
        if (read.skip != nullptr && shownAsPending(*read.skip, point.type, place.station, place.address)) {
            continue;
        }
        const quint16 value = read.items[place.address - read.range.address];
        if (take(entry(place.point), point, place.item, value) &&
            (changed->empty() || changed->back() != place.point)) {
            changed->push_back(place.point);
        }
    }
}

void ValueTable::arrive(const ReadItems& read, std::vector<int>* changed) {
    takeItems(read, changed, [&](Entry& known, const Point& point, int item, quint16 value) {
        return arriveItem(known, point, item, value, read);
    });
}

bool ValueTable::arriveItem(Entry& known, const Point& point, int item, quint16 value,
                            const ReadItems& read) {
    known.items[static_cast<std::size_t>(item)] = value;
    known.ticket = read.ticket;
    known.failed.reset();
    if (known.provenAs(value)) {
        return false;
    }
    const std::optional<quint32> raw = rawOf(point.format, known.items);
    if (!raw) {
        return false;
    }
    PointState& state = known.state;
    // What was read again as it was proven stays good, as of the proven reading.
    if (state.quality == Quality::Good && known.proven == raw) {
        return false;
    }
    const bool news = state.raw != raw || state.quality == Quality::Bad || state.quality == Quality::Stale;
    state.raw = raw;
    state.readUs = read.readUs;
    state.sinceUs = state.quality == Quality::Fresh ? state.sinceUs : read.readUs;
    state.quality = Quality::Fresh;
    state.fault.clear();
    return news;
}

bool ValueTable::tell(Entry& known, const PointState& state, qint64 nowUs) {
    const bool news = !sameShown(known.told, state);
    const bool same = known.told.quality == state.quality && known.told.fault == state.fault;
    const qint64 sinceUs = same ? known.told.sinceUs : nowUs;
    known.told = state;
    known.told.sinceUs = sinceUs;
    return news;
}

// What its item number `item`, settled, makes of a point; false while it has no whole value.
bool ValueTable::hasValue(Entry& known, const Point& point, int item, quint16 value, bool good) {
    if (!good && known.failed) {
        // What came since is known for certain.
        return false;
    }
    const auto at = static_cast<std::size_t>(item);
    known.goodItems[at] = good ? std::optional<quint16>(value) : std::nullopt;
    PointState& state = known.settled;
    // A value that may be another's is shown as such, where there is a whole one.
    std::optional<quint32> raw = rawOf(point.format, good ? known.goodItems : known.items);
    if (!raw) {
        return false;
    }
    if (!good) {
        Items items = known.items;
        items[at] = value;
        raw = rawOf(point.format, items);
    }
    state.raw = raw;
    state.quality = good ? known.failed.value_or(Quality::Good) : Quality::Doubtful;
    if (good) {
        state.changes += known.proven && raw != known.proven ? 1 : 0;
        known.proven = raw;
    }
    if (!known.failed) {
        state.fault = good ? QString() : doubtText();
    }
    return true;
}

void ValueTable::settle(const ReadItems& read, bool good, std::vector<int>* changed) {
    takeItems(read, changed, [&](Entry& known, const Point& point, int item, quint16 value) {
        return settleItem(known, point, item, value, good, read);
    });
}

bool ValueTable::settleItem(Entry& known, const Point& point, int item, quint16 value, bool good,
                            const ReadItems& read) {
    if (good && !known.failed && known.provenAs(value)) {
        known.state.readUs = known.told.readUs = read.readUs;
        return false;
    }
    known.settled = known.told;
    known.settled.readUs = read.readUs;
    if (!hasValue(known, point, item, value, good)) {
        return false;
    }
    const bool news = tell(known, known.settled, known.failed ? known.told.sinceUs : read.readUs);
    known.state.changes = known.told.changes;
    const bool same = known.told.raw == known.state.raw && good;
    if (known.ticket == read.ticket || known.failed || same) {
        known.state = known.told;
    }
    return news;
}

void ValueTable::addReadings(const ReadItems& read, bool good, std::vector<Reading>* readings) {
    for (const Place& place : placesIn(read.range)) {
        Entry& known = entry(place.point);
        const Point& point = points_.at(place.point);
        Reading reading;
        reading.point = place.point;
        reading.state.readUs = reading.state.sinceUs = read.readUs;
        if (read.skip != nullptr && shownAsPending(*read.skip, point.type, place.station, place.address)) {
            reading.state.fault = QStringLiteral("not known: it was being written");
        } else {
            known.readItems[static_cast<std::size_t>(place.item)] =
                read.items[place.address - read.range.address];
            known.readDoubtful = known.readDoubtful || !good;
            reading.state.raw = rawOf(point.format, known.readItems);
            if (!reading.state.raw) {
                continue;
            }
            reading.state.quality = known.readDoubtful ? Quality::Doubtful : Quality::Good;
            reading.state.fault = known.readDoubtful ? doubtText() : QString();
        }
        readings->push_back(reading);
        std::fill(known.readItems.begin(), known.readItems.end(), std::nullopt);
        known.readDoubtful = false;
    }
}

Reading ValueTable::attempt(int point, qint64 nowUs) const {
    Reading reading;
    reading.point = point;
    reading.state.fault = told(point).fault;
    if (reading.state.fault.isEmpty()) {
        // It was good before; what its station refuses of its block is being searched for.
        reading.state.fault = QStringLiteral("not read");
    }
    reading.state.readUs = reading.state.sinceUs = nowUs;
    return reading;
}

std::vector<Reading> ValueTable::attempts(const ItemRange& range, qint64 nowUs) const {
    std::vector<Reading> readings;
    for (const int point : pointsIn(range)) {
        readings.push_back(attempt(point, nowUs));
    }
    return readings;
}

QVector<int> ValueTable::pointsIn(const ItemRange& range) const {
    QVector<int> found;
    for (const Place& place : placesIn(range)) {
        found += place.point;
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

QVector<int> ValueTable::failPoints(const QVector<int>& points, const Failure& failure) {
    QVector<int> changed;
    for (const int point : points) {
        Entry& failed = entry(point);
        PointState state = failed.told;
        state.quality = failed.proven ? failure.known : Quality::Bad;
        state.fault = failure.fault;
        state.raw = failed.proven;
        failed.failed = failure.known;
        if (tell(failed, state, failure.nowUs)) {
            changed += point;
        }
        failed.state = failed.told;
    }
    return changed;
}

QVector<int> ValueTable::fail(const ItemRange& range, const QString& fault, bool refused, qint64 nowUs) {
    return failPoints(pointsIn(range), Failure{fault, refused ? Quality::Bad : Quality::Stale, nowUs});
}

QVector<int> ValueTable::failStation(int station, const QString& fault, qint64 nowUs) {
    QVector<int> found;
    for (int i = 0; i < points_.size(); ++i) {
        if (points_.at(i).station == station) {
            found += i;
        }
    }
    return failPoints(found, Failure{fault, Quality::Stale, nowUs});
}

QVector<int> ValueTable::lineLost(qint64 nowUs) {
    QVector<int> all;
    for (int i = 0; i < points_.size(); ++i) {
        all += i;
    }
    return failPoints(all, Failure{QStringLiteral("no line"), Quality::Bad, nowUs});
}

void ValueTable::lineBack(qint64 nowUs) {
    for (Entry& waiting : entries_) {
        waiting.told.quality = waiting.proven ? Quality::Stale : Quality::Bad;
        waiting.told.fault =
            waiting.proven ? QStringLiteral("not read since the line is back") : QStringLiteral("never read");
        waiting.told.sinceUs = nowUs;
        waiting.state = waiting.told;
    }
}

}  // namespace dx7

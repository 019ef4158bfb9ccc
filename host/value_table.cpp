#include "value_table.h"

#include <algorithm>

namespace dx7 {

namespace {

enum { BIT_GROUP = 8 };

const QString& neverRead() {
    static const QString fault = PointState().fault;
    return fault;
}

const QString& noLine() {
    static const QString fault = QStringLiteral("no line");
    return fault;
}

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

QString ValueTable::key(int station, const QString& regType, int address) {
    return QStringLiteral("%1:%2@%3").arg(regType).arg(address).arg(station);
}

void ValueTable::setPoints(const QVector<Point>& points) {
    points_ = points;
    states_.clear();
    slots_.clear();
    for (int i = 0; i < points.size(); ++i) {
        const Point& point = points.at(i);
        PointState state;
        state.items = QVector<int>(point.items(), -1);
        states_ += state;
        for (int item = 0; item < point.items(); ++item) {
            slots_[key(point.station, point.type.name, point.address + item)] += Slot{i, item};
        }
    }
}

// True when the point has a new value.
bool ValueTable::setItem(const Slot& slot, int value) {
    PointState& state = states_[slot.point];
    state.items[slot.item] = value;
    if (state.items.contains(-1)) {
        return false;
    }
    const quint32 raw = rawFromItems(points_.at(slot.point).format, state.items);
    const bool first = !state.known;
    const bool changed = !first && raw != state.raw;
    state.known = true;
    state.raw = raw;
    state.changes += changed ? 1 : 0;
    return first || changed;
}

QVector<int> ValueTable::take(DriverSession& session, const ItemRange& range, const ItemRange* skip,
                              qint64 nowUs) {
    QVector<int> changed;
    for (int address = range.address; address < range.address + range.count; ++address) {
        const QVector<Slot> taken = slots_.value(key(range.station, range.regType, address));
        for (const Slot& slot : taken) {
            const RegisterType& type = points_.at(slot.point).type;
            const bool pending = skip != nullptr && shownAsPending(*skip, type, range.station, address);
            if (pending) {
                continue;
            }
            const int value = session.value(range.station, range.regType, address, type.itemBytes());
            const bool news = setItem(slot, value);
            PointState& state = states_[slot.point];
            if ((news || (state.known && state.quality != Quality::Good)) && !changed.contains(slot.point)) {
                changed += slot.point;
            }
            if (state.known) {
                state.quality = Quality::Good;
                state.fault.clear();
                state.readUs = nowUs;
            }
        }
    }
    return changed;
}

QVector<int> ValueTable::pointsIn(const ItemRange& range) const {
    QVector<int> found;
    for (int address = range.address; address < range.address + range.count; ++address) {
        for (const Slot& slot : slots_.value(key(range.station, range.regType, address))) {
            found += slot.point;
        }
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

QVector<int> ValueTable::setBad(const QVector<int>& points, const QString& fault) {
    QVector<int> changed;
    for (const int point : points) {
        PointState& state = states_[point];
        const bool failed = state.quality == Quality::Bad && state.fault != neverRead() &&
                            state.fault != noLine() && fault != noLine();
        if (!failed && state.fault != fault) {
            changed += point;
        }
        state.quality = Quality::Bad;
        state.fault = fault;
    }
    return changed;
}

QVector<int> ValueTable::fail(const ItemRange& range, const QString& fault) {
    return setBad(pointsIn(range), fault);
}

QVector<int> ValueTable::failStation(int station) {
    QVector<int> found;
    for (int i = 0; i < points_.size(); ++i) {
        if (points_.at(i).station == station) {
            found += i;
        }
    }
    return setBad(found, QStringLiteral("no reply"));
}

QVector<int> ValueTable::lineLost() {
    QVector<int> all;
    for (int i = 0; i < points_.size(); ++i) {
        all += i;
    }
    return setBad(all, noLine());
}

void ValueTable::lineBack() {
    for (PointState& state : states_) {
        if (state.fault == noLine()) {
            state.fault = state.known ? QStringLiteral("not read since the line was lost") : neverRead();
        }
    }
}

}  // namespace dx7

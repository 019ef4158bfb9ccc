#include "one_shot_read.h"

namespace dx7 {

namespace {

bool follows(const ItemRange& range, const ItemRange& entry) {
    return range.station == entry.station && range.regType == entry.regType &&
           range.address + range.count == entry.address;
}

}  // namespace

void OneShotRead::queue(const QVector<Point>& points) {
    table_.setPoints(points);
    QMap<QString, RegisterType> types;
    for (const Point& point : points) {
        types.insert(point.type.name, point.type);
    }
    QVector<ItemRange> ranges;
    for (const ItemRange& entry : pollEntries(points)) {
        if (!ranges.isEmpty() && follows(ranges.last(), entry)) {
            ranges.last().count += entry.count;
        } else {
            ranges += entry;
        }
    }
    for (const ItemRange& range : ranges) {
        engine_.read(types.value(range.regType), range.station, range.address, range.count,
                     [this](const Transaction& transaction) { ended(transaction); });
    }
}

void OneShotRead::ended(const Transaction& transaction) {
    const FRAME_PRO& frame = transaction.frame;
    const ItemRange range{frame.station, frame.regType, frame.address, frame.count};
    if (transaction.good()) {
        table_.take(session_, range, nullptr, clock_.nowUs());
        return;
    }
    const QString why = outcomeText(transaction);
    const QString fault =
        transaction.outcome == Outcome::CutShort ? QStringLiteral("%1 before that").arg(why) : why;
    for (const int point : table_.fail(range, fault)) {
        faults_.insert(point, fault);
        if (transaction.outcome == Outcome::CutShort) {
            cutShort_.insert(point);
        }
    }
}

bool OneShotRead::allGood() const {
    for (int i = 0; i < table_.size(); ++i) {
        if (table_.state(i).quality != Quality::Good) {
            return false;
        }
    }
    return true;
}

}  // namespace dx7

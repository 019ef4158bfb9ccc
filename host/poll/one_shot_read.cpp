#include "host/poll/one_shot_read.h"

#include <vector>

namespace dx7 {

namespace {

constexpr int ATTEMPTS = 3;

bool follows(const ItemRange& range, const ItemRange& entry) {
    return range.station == entry.station && range.regType == entry.regType &&
           range.address + range.count == entry.address;
}

}  // namespace

void OneShotRead::queue(const QVector<Point>& points) {
    table_.setPoints(points, 0);
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
        ask(types.value(range.regType), range, ATTEMPTS);
    }
}

void OneShotRead::ask(const RegisterType& type, const ItemRange& range, int attempts) {
    engine_.read(
        type, range.station, range.address, range.count,
        [this, type, attempts](const Transaction& transaction) { ended(type, transaction, attempts - 1); });
}

void OneShotRead::ended(const RegisterType& type, const Transaction& transaction, int attempts) {
    const FRAME_PRO& frame = transaction.frame;
    const ItemRange range{frame.station, frame.regType, frame.address, frame.count};
    if (transaction.doubtful && attempts > 0 && transaction.outcome != Outcome::CutShort) {
        ask(type, range, attempts);
    } else if (!transaction.items.isEmpty()) {
        take(range, transaction);
    } else {
        fail(range, transaction);
    }
}

void OneShotRead::take(const ItemRange& range, const Transaction& transaction) {
    std::vector<quint16> items(transaction.items.begin(), transaction.items.end());
    const ReadItems read{range, nullptr, items.data(), transaction.endUs, 1};
    std::vector<int> points;
    table_.arrive(read, &points);
    std::vector<int> settled;
    table_.settle(read, transaction.good(), &settled);
    for (const int point : settled) {
        if (transaction.good()) {
            continue;
        }
        const bool cut = transaction.outcome == Outcome::CutShort;
        faults_.insert(point, cut ? QStringLiteral("%1 before it was proven").arg(outcomeText(transaction))
                                  : outcomeText(transaction));
        (cut ? cutShort_ : unproven_).insert(point);
    }
}

void OneShotRead::fail(const ItemRange& range, const Transaction& transaction) {
    const bool cut = transaction.outcome == Outcome::CutShort;
    const QString why = outcomeText(transaction);
    const QString fault = cut ? QStringLiteral("%1 before that").arg(why) : why;
    const bool refused = transaction.outcome == Outcome::Exception;
    for (const int point : table_.fail(range, fault, refused, transaction.endUs)) {
        faults_.insert(point, fault);
        if (cut) {
            cutShort_.insert(point);
        } else if (transaction.doubtful) {
            unproven_.insert(point);
        } else if (transaction.outcome == Outcome::Exception) {
            refused_.insert(point);
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

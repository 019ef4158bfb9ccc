#include "host/poll/poll_plan.h"

#include <QMap>
#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <tuple>
#include <utility>

namespace dx7 {

QVector<ItemRange> pollEntries(const QVector<Point>& points) {
    QVector<ItemRange> entries;
    for (const Point& point : points) {
        for (int i = 0; i < point.items(); ++i) {
            entries += ItemRange{point.station, point.type.name, point.address + i, 1};
        }
    }
    const auto key = [](const ItemRange& range) {
        return std::tie(range.station, range.regType, range.address);
    };
    std::sort(entries.begin(), entries.end(),
              [&](const ItemRange& a, const ItemRange& b) { return key(a) < key(b); });
    auto* const last = std::unique(entries.begin(), entries.end(),
                                   [&](const ItemRange& a, const ItemRange& b) { return key(a) == key(b); });
    entries.erase(last, entries.end());
    return entries;
}

bool coversAll(const QVector<ItemRange>& blocks, const QVector<ItemRange>& entries) {
    // Where the blocks that begin at an address or before it reach, by station, type and address.
    std::map<std::pair<int, QString>, std::map<int, int>> reach;
    for (const ItemRange& block : blocks) {
        int& end = reach[{block.station, block.regType}][block.address];
        end = std::max(end, block.address + block.count);
    }
    for (auto& places : reach) {
        int furthest = 0;
        for (auto& place : places.second) {
            furthest = std::max(furthest, place.second);
            place.second = furthest;
        }
    }
    return std::all_of(entries.begin(), entries.end(), [&](const ItemRange& entry) {
        const auto& places = reach[{entry.station, entry.regType}];
        const auto next = places.upper_bound(entry.address);
        return next != places.begin() && entry.address + entry.count <= std::prev(next)->second;
    });
}

void PollPlan::begin(const EntryLists& lists) {
    if (lists != lists_) {
        lists_ = lists;
        plan();
    }
    underWay_ = true;
    activate(0);
}

PollPlan::Part PollPlan::part(const QVector<ItemRange>& entries) {
    const QVector<ItemRange> blocks = session_.merge(entries);
    const bool same = session_.merge(blocks) == blocks;
    return Part{same ? blocks : entries, blocks};
}

void PollPlan::plan() {
    parts_.clear();
    handedOver_.reset();
    for (const QVector<ItemRange>& list : lists_) {
        if (list.isEmpty()) {
            continue;
        }
        const Part whole = part(list);
        if (coversAll(whole.blocks, list)) {
            parts_ += whole;
            continue;
        }
        QMap<int, QVector<ItemRange>> single;
        for (const ItemRange& entry : list) {
            single[entry.station] += entry;
        }
        for (const QVector<ItemRange>& entries : qAsConst(single)) {
            parts_ += part(entries);
        }
    }
}

void PollPlan::activate(int part) {
    // What the driver has already stays there; its blocks rotate.
    if (handedOver_ != part) {
        session_.merge(parts_.at(part).list);
    }
    handedOver_ = current_ = part;
    done_ = 0;
}

void PollPlan::clear() {
    underWay_ = false;
    if (handedOver_) {
        session_.merge({});
        handedOver_.reset();
    }
}

QVector<ItemRange> PollPlan::blocks() const {
    QVector<ItemRange> all;
    for (const Part& part : parts_) {
        all += part.blocks;
    }
    return all;
}

int PollPlan::blockCount() const {
    return std::accumulate(parts_.begin(), parts_.end(), 0,
                           [](int sum, const Part& part) { return sum + part.blocks.size(); });
}

bool PollPlan::blockDone() {
    if (!underWay_ || ++done_ < parts_.at(current_).blocks.size()) {
        return false;
    }
    underWay_ = current_ + 1 < parts_.size();
    if (underWay_) {
        activate(current_ + 1);
    }
    return !underWay_;
}

}  // namespace dx7

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

void PollPlan::rebuild(const QVector<int>& leftOut) {
    Part whole;
    QMap<int, Part> single;
    for (const ItemRange& entry : entries_) {
        if (!leftOut.contains(entry.station)) {
            whole.entries += entry;
            single[entry.station].entries += entry;
        }
    }
    parts_.clear();
    whole.blocks = session_.merge(whole.entries);
    if (whole.entries.isEmpty()) {
        return;
    }
    if (coversAll(whole.blocks, whole.entries)) {
        parts_ += whole;
    } else {
        for (Part part : single) {
            part.blocks = session_.merge(part.entries);
            parts_ += part;
        }
    }
    activate(0);
}

void PollPlan::activate(int part) {
    // A single part is in the driver already and stays there; its blocks rotate.
    if (parts_.size() > 1) {
        session_.merge(parts_.at(part).entries);
    }
    current_ = part;
    done_ = 0;
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
    if (parts_.isEmpty() || ++done_ < parts_.at(current_).blocks.size()) {
        return false;
    }
    const bool cycleOver = current_ + 1 == parts_.size();
    activate(cycleOver ? 0 : current_ + 1);
    return cycleOver;
}

}  // namespace dx7

#include "polling_plan.h"

#include <QtCore/QString>
#include <algorithm>
#include <vector>

#include "addressing.h"
#include "data_areas.h"
#include "register_map.h"

namespace {

struct WeightedEntry {
    unsigned weight;
    int position;
};

bool isLighter(const WeightedEntry& a, const WeightedEntry& b) {
    return a.weight < b.weight;
}

/// Sorts by ascending weight; entries of equal weight keep their order. Records are over a kilobyte long, so
/// their positions are sorted.
void sortByWeight(QList<KEY_ADDRESS>& list) {
    std::vector<WeightedEntry> order;
    order.reserve(static_cast<std::size_t>(list.size()));
    for (int i = 0; i < list.size(); ++i) {
        const KEY_ADDRESS& key = list.at(i);
        const int weight = getRegAddressWeight(key.station, key.regType, key.address, 0);
        const WeightedEntry entry = {static_cast<unsigned>(weight), i};
        order.push_back(entry);
    }
    std::stable_sort(order.begin(), order.end(), isLighter);
    QList<KEY_ADDRESS> sorted;
    sorted.reserve(list.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        sorted.append(list.at(order[i].position));
    }
    list = sorted;
}

/// Items from the start of `block` to the end of `next`, in 32 bits that wrap.
int spanOf(const KEY_ADDRESS& block, const KEY_ADDRESS& next) {
    const unsigned end = static_cast<unsigned>(next.address) + static_cast<unsigned>(next.length);
    return static_cast<int>(end - static_cast<unsigned>(block.address));
}

/// Joins `next` to `block` if that makes a block of at most driver.maxBlockWords items. False when they stay
/// apart.
///
/// A joined block ends exactly where its last entry ends, so an entry inside the block shortens it; hosts
/// rely on this.
bool join(KEY_ADDRESS& block, const KEY_ADDRESS& next) {
    const int span = spanOf(block, next);
    if (the_Merge(block, next) != 0 || span > driver.maxBlockWords) {
        return false;
    }
    block.length = span;
    return true;
}

/// Joins neighbours of `list`, which must not be empty, in its order. Returns the index of each block's first
/// entry.
QList<int> joinNeighbours(QList<KEY_ADDRESS>& list) {
    QList<KEY_ADDRESS> blocks;
    QList<int> starts;
    for (int i = 0; i < list.size(); ++i) {
        if (blocks.isEmpty() || !join(blocks.last(), list.at(i))) {
            blocks.append(list.at(i));
            starts.append(i);
        }
    }
    list = blocks;
    return starts;
}

bool inSameSubgroup(int a, int b) {
    return a / GROUP_ITEMS == b / GROUP_ITEMS &&
           a % GROUP_ITEMS / SUBGROUP_ITEMS == b % GROUP_ITEMS / SUBGROUP_ITEMS;
}

}  // namespace

int the_Merge(const KEY_ADDRESS& block, const KEY_ADDRESS& next) {
    if (!sameName(block.regType, next.regType)) {
        return 1;
    }
    const unsigned blockEnd = static_cast<unsigned>(block.address) + static_cast<unsigned>(block.length);
    if (static_cast<int>(static_cast<unsigned>(next.address) - blockEnd) > 0) {
        return 1;
    }
    const bool grouped = registerType(block.regType).grouped;
    return grouped && !inSameSubgroup(block.address, next.address) ? 1 : 0;
}

void addrMerge(QList<KEY_ADDRESS>& list, int mode) {
    Q_ASSERT(!list.isEmpty());
    if (mode == MERGE_RECIPE_BLOCKS) {
        driver.recipeBlockStart += joinNeighbours(list);
        return;
    }
    sortByWeight(list);
    joinNeighbours(list);
    joinNeighbours(list);
}

int intf_addrMerge(QList<KEY_ADDRESS>& list) {
    noteDataAreas();
    clearMonitorFlags();
    for (int i = 0; i < list.size(); ++i) {
        const KEY_ADDRESS& key = list.at(i);
        _setDataAreaMonitorFlag(key.station, key.regType, key.address, key.length);
    }
    driver.pollList.clear();
    if (list.isEmpty()) {
        return 0;
    }
    addrMerge(list, MERGE_POLLING_PLAN);
    for (int i = 0; i < list.size(); ++i) {
        const KEY_ADDRESS& block = list.at(i);
        driver.pollList.append(requestFor(block, block.address, block.length, OP_CYCLIC_READ));
    }
    return driver.pollList.size();
}

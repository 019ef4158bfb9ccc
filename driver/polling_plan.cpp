#include "polling_plan.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "addressing.h"
#include "data_areas.h"
#include "register_map.h"

namespace {

typedef std::vector<int> Positions;

struct WeightedEntry {
    unsigned weight;
    int position;
};

bool isLighter(const WeightedEntry& a, const WeightedEntry& b) {
    return a.weight < b.weight;
}

/// The positions of `list` by ascending weight of their entries; entries of equal weight keep their order.
Positions orderByWeight(const QList<KEY_ADDRESS>& list) {
    std::vector<WeightedEntry> entries;
    for (int i = 0; i < list.size(); ++i) {
        const KEY_ADDRESS& key = list.at(i);
        const int weight = getRegAddressWeight(key.station, key.regType, key.address, 0);
        const WeightedEntry entry = {static_cast<unsigned>(weight), i};
        entries.push_back(entry);
    }
    std::stable_sort(entries.begin(), entries.end(), isLighter);
    Positions order;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        order.push_back(entries[i].position);
    }
    return order;
}

Positions hostsOrder(const QList<KEY_ADDRESS>& list) {
    Positions order(static_cast<std::size_t>(list.size()));
    std::iota(order.begin(), order.end(), 0);
    return order;
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

/// Makes `list` the blocks that its entries give in `order`, neighbours joined. Returns where in `order` each
/// block begins.
QList<int> joinNeighbours(QList<KEY_ADDRESS>& list, const Positions& order) {
    QList<KEY_ADDRESS> blocks;
    QList<int> starts;
    for (std::size_t i = 0; i < order.size(); ++i) {
        const KEY_ADDRESS& next = list.at(order[i]);
        if (blocks.isEmpty() || !join(blocks.last(), next)) {
            blocks.append(next);
            starts.append(static_cast<int>(i));
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
        driver.recipeBlockStart += joinNeighbours(list, hostsOrder(list));
        return;
    }
    joinNeighbours(list, orderByWeight(list));
    joinNeighbours(list, hostsOrder(list));
}

int intf_addrMerge(QList<KEY_ADDRESS>& list) {
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

#include "polling_plan.h"

#include <algorithm>
#include <vector>

#include "addressing.h"
#include "data_areas.h"

namespace {

struct WeightedEntry {
    unsigned weight;
    int position;
};

bool lighter(const WeightedEntry& a, const WeightedEntry& b) {
    return a.weight < b.weight;
}

/// The entries of `list` by ascending weight; entries of equal weight keep their order.
QList<KEY_ADDRESS> sortedByWeight(const QList<KEY_ADDRESS>& list) {
    std::vector<WeightedEntry> order;
    order.reserve(static_cast<std::size_t>(list.size()));
    for (int i = 0; i < list.size(); ++i) {
        const KEY_ADDRESS& key = list.at(i);
        const int weight = getRegAddressWeight(key.station, key.regType, key.address, 0);
        const WeightedEntry entry = {static_cast<unsigned>(weight), i};
        order.push_back(entry);
    }
    std::stable_sort(order.begin(), order.end(), lighter);

    QList<KEY_ADDRESS> sorted;
    sorted.reserve(list.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        sorted.append(list.at(order[i].position));
    }
    return sorted;
}

/// Items from the start of `block` to the end of `next`, in 32 bits that wrap.
int spanOf(const KEY_ADDRESS& block, const KEY_ADDRESS& next) {
    const unsigned end = static_cast<unsigned>(next.address) + static_cast<unsigned>(next.length);
    return static_cast<int>(end - static_cast<unsigned>(block.address));
}

/// Joins neighbours of `entries`, which must not be empty, into blocks of at most `longestBlock` items.
/// Appends the index of each block's first entry to `blockStarts` when one is given.
///
/// A joined block ends exactly where its last entry ends, so an entry inside the block shortens it; hosts
/// rely on this.
QList<KEY_ADDRESS> mergedOnce(const QList<KEY_ADDRESS>& entries, int longestBlock, QList<int>* blockStarts) {
    QList<KEY_ADDRESS> blocks;
    blocks.append(entries.at(0));
    if (blockStarts != 0) {
        blockStarts->append(0);
    }
    for (int i = 1; i < entries.size(); ++i) {
        const KEY_ADDRESS& next = entries.at(i);
        KEY_ADDRESS& block = blocks.last();
        const int span = spanOf(block, next);
        if (the_Merge(block, next) == 0 && span <= longestBlock) {
            block.length = span;
            continue;
        }
        blocks.append(next);
        if (blockStarts != 0) {
            blockStarts->append(i);
        }
    }
    return blocks;
}

bool inSameSubgroup(int a, int b) {
    return a / GROUP_ITEMS == b / GROUP_ITEMS &&
           a % GROUP_ITEMS / SUBGROUP_ITEMS == b % GROUP_ITEMS / SUBGROUP_ITEMS;
}

VARIABLE requestFor(const KEY_ADDRESS& key, int address, int count, int opKind) {
    VARIABLE var;
    var.opKind = opKind;
    var.station = key.station;
    var.regType = canonicalName(key.regType);
    var.address = address;
    var.count = count;
    return var;
}

void queueConditionRead(const KEY_ADDRESS& key, int address, int count, int tag) {
    const VARIABLE var = requestFor(key, address, count, tag);
    addVarToList(driver.conditionList, var);
    driver.conditionVar = var;
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
    const RegisterRow row = registerRow(block.regType);
    const bool grouped = row == ROW_F || row == ROW_D || row == ROW_DE;
    return grouped && !inSameSubgroup(block.address, next.address) ? 1 : 0;
}

void addrMerge(QList<KEY_ADDRESS>& list, int mode) {
    Q_ASSERT(!list.isEmpty());
    if (mode == MERGE_RECIPE_BLOCKS) {
        list = mergedOnce(list, driver.maxBlockWords, &driver.recipeBlockStart);
        return;
    }
    const QList<KEY_ADDRESS> blocks = mergedOnce(sortedByWeight(list), driver.maxBlockWords, 0);
    list = mergedOnce(blocks, driver.maxBlockWords, 0);
}

bool sameItems(const VARIABLE& a, const VARIABLE& b) {
    return a.station == b.station && a.address == b.address && a.count == b.count &&
           sameName(a.regType, b.regType);
}

void addVarToList(QList<VARIABLE>& list, const VARIABLE& var) {
    // Entry 0 is left out: it is the request in progress, whose end removes it.
    for (int i = list.size() - 1; i >= 1; --i) {
        if (sameItems(list.at(i), var)) {
            list[i] = var;
            return;
        }
    }
    if (list.size() > REQUEST_LIST_LAST) {
        list[REQUEST_LIST_LAST] = var;
    } else {
        list.append(var);
    }
}

int intf_addrMerge(QList<KEY_ADDRESS>& list) {
    const DataAreaCall call;
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
    driver.pollList.reserve(list.size());
    for (int i = 0; i < list.size(); ++i) {
        const KEY_ADDRESS& block = list.at(i);
        driver.pollList.append(requestFor(block, block.address, block.length, OP_CYCLIC_READ));
    }
    return driver.pollList.size();
}

int intf_addConditionRead(KEY_ADDRESS& key, int tag) {
    const int limit = key.bitOffset == -1 ? driver.maxBlockBits : driver.maxBlockWordsCopy;
    if (limit < 1 || limit >= key.length) {
        queueConditionRead(key, key.address, key.length, tag);
        return 1;
    }
    for (int done = 0; done < key.length;) {
        const int count = std::min(limit, key.length - done);
        queueConditionRead(key, addressAfter(key.address, done), count, tag);
        done += count;
    }
    return 1;
}

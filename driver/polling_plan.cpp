#include "polling_plan.h"

#include <QtCore/QString>
#include <algorithm>
#include <vector>

#include "addressing.h"
#include "data_areas.h"
#include "register_map.h"

namespace {

/// What merging has to know of an entry, or of the entries that it has joined to it. A list of these lies in
/// one piece of memory, which the host's records do not.
struct Run {
    unsigned weight;
    int address;
    int length;
    /// Position in the host's list of the entry that the run begins with.
    int first;
    /// The driver's own text for known types, else the host's.
    const QString* regType;
};

typedef std::vector<Run> Runs;

Run runOf(const KEY_ADDRESS& key, int position) {
    const int weight = getRegAddressWeight(key.station, key.regType, key.address, 0);
    const Run run = {static_cast<unsigned>(weight), key.address, key.length, position,
                     &canonicalName(key.regType)};
    return run;
}

Runs runsOf(const QList<KEY_ADDRESS>& list) {
    Runs runs;
    runs.reserve(static_cast<std::size_t>(list.size()));
    for (int i = 0; i < list.size(); ++i) {
        runs.push_back(runOf(list.at(i), i));
    }
    return runs;
}

/// The blocks that `runs` give, in their order, with what else the host has in the first entry of each.
QList<KEY_ADDRESS> blocksOf(const QList<KEY_ADDRESS>& list, const Runs& runs) {
    QList<KEY_ADDRESS> blocks;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        blocks.append(list.at(runs[i].first));
        blocks.last().length = runs[i].length;
    }
    return blocks;
}

bool isLighter(const Run& a, const Run& b) {
    return a.weight < b.weight;
}

bool inSameSubgroup(int a, int b) {
    return a / GROUP_ITEMS == b / GROUP_ITEMS &&
           a % GROUP_ITEMS / SUBGROUP_ITEMS == b % GROUP_ITEMS / SUBGROUP_ITEMS;
}

/// Whether `next` may be joined to `block`, however long that makes it.
bool mayFollow(const Run& block, const Run& next) {
    if (!sameName(*block.regType, *next.regType)) {
        return false;
    }
    const unsigned blockEnd = static_cast<unsigned>(block.address) + static_cast<unsigned>(block.length);
    if (static_cast<int>(static_cast<unsigned>(next.address) - blockEnd) > 0) {
        return false;
    }
    return !registerType(*block.regType).grouped || inSameSubgroup(block.address, next.address);
}

/// Items from the start of `block` to the end of `next`, in 32 bits that wrap.
int spanOf(const Run& block, const Run& next) {
    const unsigned end = static_cast<unsigned>(next.address) + static_cast<unsigned>(next.length);
    return static_cast<int>(end - static_cast<unsigned>(block.address));
}

/// Joins `next` to `block` if that makes a block of at most driver.maxBlockWords items. False when they stay
/// apart.
///
/// A joined block ends exactly where its last entry ends, so an entry inside the block shortens it; hosts
/// rely on this.
bool join(Run& block, const Run& next) {
    const int span = spanOf(block, next);
    if (!mayFollow(block, next) || span > driver.maxBlockWords) {
        return false;
    }
    block.length = span;
    return true;
}

void joinNeighbours(Runs& runs) {
    std::size_t last = 0;
    for (std::size_t i = 1; i < runs.size(); ++i) {
        if (!join(runs[last], runs[i])) {
            runs[++last] = runs[i];
        }
    }
    runs.resize(last + 1);
}

}  // namespace

int the_Merge(const KEY_ADDRESS& block, const KEY_ADDRESS& next) {
    return mayFollow(runOf(block, 0), runOf(next, 1)) ? 0 : 1;
}

void addrMerge(QList<KEY_ADDRESS>& list, int mode) {
    Q_ASSERT(!list.isEmpty());
    Runs runs = runsOf(list);
    if (mode == MERGE_RECIPE_BLOCKS) {
        joinNeighbours(runs);
        for (std::size_t i = 0; i < runs.size(); ++i) {
            driver.recipeBlockStart.append(runs[i].first);
        }
    } else {
        std::stable_sort(runs.begin(), runs.end(), isLighter);
        joinNeighbours(runs);
        joinNeighbours(runs);
    }
    list = blocksOf(list, runs);
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

#include "polling_plan.h"

#include <QtCore/QString>
#include <algorithm>
#include <numeric>
#include <vector>

#include "addressing.h"
#include "data_areas.h"
#include "prefetch.h"

namespace {

struct WeightedEntry {
    unsigned weight;
    int position;
};

// How far ahead of the walk in polling order the entries, which may lie anywhere, are fetched.
const std::size_t ENTRIES_AHEAD = 16;

// Weights are sorted by three digits of 11 bits, the lowest first.
const int DIGIT_BITS = 11;
const int WEIGHT_BITS = 32;
const unsigned DIGIT_VALUES = 1U << DIGIT_BITS;

/// Orders `from` by the digit at `shift` into `to`; entries of equal digits keep their order.
void sortByDigit(const std::vector<WeightedEntry>& from, std::vector<WeightedEntry>& to, int shift) {
    std::vector<std::size_t> place(DIGIT_VALUES + 1, 0);
    for (std::size_t i = 0; i < from.size(); ++i) {
        ++place[(from[i].weight >> shift) % DIGIT_VALUES + 1];
    }
    std::partial_sum(place.begin(), place.end(), place.begin());
    for (std::size_t i = 0; i < from.size(); ++i) {
        to[place[(from[i].weight >> shift) % DIGIT_VALUES]++] = from[i];
    }
}

/// The entries of `list`, which must not be empty, by ascending weight; entries of equal weight keep their
/// order. Takes linear time.
std::vector<WeightedEntry> orderByWeight(const QList<KEY_ADDRESS>& list) {
    std::vector<WeightedEntry> order(static_cast<std::size_t>(list.size()));
    const QString* type = &list.at(0).regType;
    int place = placeOfType(*type);
    for (int i = 0; i < list.size(); ++i) {
        const KEY_ADDRESS& key = list.at(i);
        if (!sameName(*type, key.regType)) {
            type = &key.regType;
            place = placeOfType(*type);
        }
        order[static_cast<std::size_t>(i)].weight = addressWeight(key.station, place, key.address);
        order[static_cast<std::size_t>(i)].position = i;
    }
    std::vector<WeightedEntry> sorted(order.size());
    for (int shift = 0; shift < WEIGHT_BITS; shift += DIGIT_BITS) {
        sortByDigit(order, sorted, shift);
        order.swap(sorted);
    }
    return order;
}

/// Items from the start of `block` to the end of `next`, in 32 bits that wrap.
int spanOf(const KEY_ADDRESS& block, const KEY_ADDRESS& next) {
    const unsigned end = static_cast<unsigned>(next.address) + static_cast<unsigned>(next.length);
    return static_cast<int>(end - static_cast<unsigned>(block.address));
}

/// Joins `next` to `block` if that makes a block of at most `longestBlock` items. False when they stay apart.
///
/// A joined block ends exactly where its last entry ends, so an entry inside the block shortens it; hosts
/// rely on this.
bool join(KEY_ADDRESS& block, const KEY_ADDRESS& next, int longestBlock) {
    const int span = spanOf(block, next);
    if (the_Merge(block, next) != 0 || span > longestBlock) {
        return false;
    }
    block.length = span;
    return true;
}

/// The entries of `list` in polling order, neighbours joined. A record is over a kilobyte, so only the first
/// entry of each block is copied.
QList<KEY_ADDRESS> joinedByWeight(const QList<KEY_ADDRESS>& list, int longestBlock) {
    const std::vector<WeightedEntry> order = orderByWeight(list);
    QList<KEY_ADDRESS> blocks;
    blocks.append(list.at(order[0].position));
    for (std::size_t i = 1; i < order.size(); ++i) {
        if (i + ENTRIES_AHEAD < order.size()) {
            prefetch(&list.at(order[i + ENTRIES_AHEAD].position));
        }
        const KEY_ADDRESS& next = list.at(order[i].position);
        if (!join(blocks.last(), next, longestBlock)) {
            blocks.append(next);
        }
    }
    return blocks;
}

/// Joins neighbours of `list`, which must not be empty, in place and in its order. Appends the index of each
/// block's first entry to `blockStarts` when one is given.
void joinInPlace(QList<KEY_ADDRESS>& list, int longestBlock, QList<int>* blockStarts) {
    if (blockStarts != 0) {
        blockStarts->append(0);
    }
    int block = 0;
    for (int i = 1; i < list.size(); ++i) {
        if (join(list[block], list.at(i), longestBlock)) {
            continue;
        }
        if (blockStarts != 0) {
            blockStarts->append(i);
        }
        ++block;
        if (block != i) {
            list[block] = list.at(i);
        }
    }
    list.erase(list.begin() + block + 1, list.end());
}

bool inSameSubgroup(int a, int b) {
    return a / GROUP_ITEMS == b / GROUP_ITEMS &&
           a % GROUP_ITEMS / SUBGROUP_ITEMS == b % GROUP_ITEMS / SUBGROUP_ITEMS;
}

// QList moves its first entry to the end by shifting all others. From this size on it is cheaper to append it
// anew.
const int SHIFTED_BLOCKS = 256;

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
        joinInPlace(list, driver.maxBlockWords, &driver.recipeBlockStart);
        return;
    }
    list = joinedByWeight(list, driver.maxBlockWords);
    joinInPlace(list, driver.maxBlockWords, 0);
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

void rotatePollList() {
    QList<VARIABLE>& list = driver.pollList;
    if (list.size() > SHIFTED_BLOCKS) {
        list.append(list.at(0));
        list.removeFirst();
    } else if (!list.isEmpty()) {
        list.move(0, list.size() - 1);
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
    const int longest = limit < 1 ? key.length : limit;
    int done = 0;
    do {
        const int count = std::min(longest, key.length - done);
        queueConditionRead(key, addressAfter(key.address, done), count, tag);
        done += count;
    } while (done < key.length);
    return 1;
}

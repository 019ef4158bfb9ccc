#include "request_lists.h"

#include <algorithm>

#include "addressing.h"
#include "register_map.h"

namespace {

void queueConditionRead(const KEY_ADDRESS& key, int address, int count, int tag) {
    const VARIABLE var = requestFor(key, address, count, tag);
    addVarToList(driver.conditionList, var);
    driver.conditionVar = var;
}

}  // namespace

VARIABLE requestFor(const KEY_ADDRESS& key, int address, int count, int opKind) {
    VARIABLE var;
    var.opKind = opKind;
    var.station = key.station;
    var.regType = canonicalName(key.regType);
    var.address = address;
    var.count = count;
    return var;
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

bool sameItems(const VARIABLE& a, const VARIABLE& b) {
    return a.station == b.station && a.address == b.address && a.count == b.count &&
           sameName(a.regType, b.regType);
}

void rotatePollList() {
    if (driver.pollList.size() > 1) {
        driver.pollList.move(0, driver.pollList.size() - 1);
    }
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
    return DX7_DONE;
}

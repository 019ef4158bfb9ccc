#include "operations.h"

#include <QtCore/QString>

#include "data_areas.h"
#include "korvalent_dx7.h"
#include "readframe.h"
#include "recipes.h"
#include "request_lists.h"
#include "write_path.h"
#include "writeframe.h"

namespace {

// driver.burstCount counts writes and condition reads together; each is chosen only below its own limit.
const int WRITE_BURST = 5;
const int CONDITION_READ_BURST = 3;

/// Builds the frame of the operation in progress from driver.currentVar.
void buildFrame() {
    switch (driver.opKind) {
        case OP_RECIPE_WRITE:
        case OP_WRITE:
            getWriteFrame(driver.currentVar);
            break;
        case OP_CONDITION_READ:
        case OP_CYCLIC_READ:
        case OP_RECIPE_READ:
            getReadFrame(driver.currentVar);
            break;
        default:
            break;
    }
}

/// With no recipe block left, the operation before stays and is repeated for as long as the host keeps its
/// request. Hosts rely on this.
void chooseRecipeBlock(bool write) {
    if (takeRecipeBlock(write)) {
        driver.opKind = write ? OP_RECIPE_WRITE : OP_RECIPE_READ;
    }
}

void chooseQueuedOperation() {
    if (!driver.writeList.isEmpty() && driver.burstCount < WRITE_BURST) {
        driver.currentVar = driver.writeList.at(0);
        driver.opKind = OP_WRITE;
        ++driver.burstCount;
    } else if (!driver.conditionList.isEmpty() && driver.burstCount < CONDITION_READ_BURST) {
        driver.currentVar = driver.conditionList.at(0);
        driver.opKind = OP_CONDITION_READ;
        ++driver.burstCount;
    } else if (!driver.pollList.isEmpty()) {
        driver.currentVar = driver.pollList.at(0);
        driver.opKind = OP_CYCLIC_READ;
        driver.burstCount = 0;
    } else {
        // Also reached when only requests wait whose burst is used up: the next call serves them.
        driver.opKind = OP_NONE;
        driver.burstCount = 0;
    }
}

void finishWrite() {
    if (driver.writeList.isEmpty()) {
        return;
    }
    const VARIABLE& head = driver.writeList.at(0);
    const QString regType = head.regType;
    _write_FailOrSuc(head.station, regType, head.address, head.count, driver.commFailed != 0 ? 0 : 1);
    if (!driver.writeList.isEmpty()) {
        driver.writeList.removeFirst();
    }
}

/// Reports before the head leaves the list: a request that the host adds inside the report stays queued after
/// a success and is dropped with the rest after a failure.
void finishConditionRead() {
    if (!driver.conditionList.isEmpty() && sameItems(driver.conditionList.at(0), driver.conditionVar)) {
        reportValueChange(-1, -1, QString::fromLatin1("-1"), driver.commFailed != 0 ? -1 : 0);
    }
    if (driver.commFailed != 0) {
        driver.conditionList.clear();
    } else if (!driver.conditionList.isEmpty()) {
        driver.conditionList.removeFirst();
    }
}

}  // namespace

int intf_getSendFrame(FRAME_PRO* out) {
    if (driver.frameList.isEmpty()) {
        const RecipeRequests requests = recipeRequests();
        if (requests.write || requests.read) {
            chooseRecipeBlock(requests.write);
        } else {
            chooseQueuedOperation();
        }
        buildFrame();
    }
    if (driver.frameList.isEmpty()) {
        return DX7_SEND_NOTHING;
    }
    *out = driver.frameList.at(0);
    return DX7_SEND_FRAME;
}

void dealListWhenFinish() {
    switch (driver.opKind) {
        case OP_WRITE:
            finishWrite();
            break;
        case OP_CONDITION_READ:
            finishConditionRead();
            break;
        case OP_CYCLIC_READ:
            rotatePollList();
            break;
        case OP_RECIPE_WRITE:
            finishRecipeBlock(RECIPE_WRITE_REQUEST);
            break;
        case OP_RECIPE_READ:
            finishRecipeBlock(RECIPE_READ_REQUEST);
            break;
        default:
            break;
    }
}

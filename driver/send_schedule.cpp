/// \file
/// What goes on the wire next: recipe transfers first, then writes and condition reads in bounded bursts,
/// then the polling plan in turn.
#include <QtCore/QtGlobal>

#include "korvalent_dx7.h"
#include "readframe.h"
#include "writeframe.h"

namespace {

// One count serves both: how many writes and condition reads may be served before polling has a turn.
const int WRITE_BURST = 5;
const int CONDITION_READ_BURST = 3;

struct RecipeRequests {
    bool write;
    bool read;
};

RecipeRequests recipeRequests() {
    Q_ASSERT_X(driver.hostMutex != 0 && driver.hostFlags != 0, "intf_getSendFrame",
               "the host must hand over its memory and mutex with intf_initProperty first");
    driver.hostMutex->lock();
    const RecipeRequests requests = {driver.hostFlags[RECIPE_WRITE_REQUEST] == 1,
                                     driver.hostFlags[RECIPE_READ_REQUEST] == 1};
    driver.hostMutex->unlock();
    return requests;
}

/// Builds the frame of the operation before once more: with no recipe block left, it is repeated for as long
/// as the host keeps its request. Hosts rely on this.
void repeatOperation() {
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

void startRecipeTransfer(bool write) {
    if (driver.recipeIndex < 0 || driver.recipeIndex >= driver.recipeBlocks.size()) {
        repeatOperation();
        return;
    }
    rcpAddrToVar(driver.recipeBlocks.at(driver.recipeIndex), driver.currentVar, write ? 1 : 0);
    if (write) {
        driver.opKind = OP_RECIPE_WRITE;
        getWriteFrame(driver.currentVar);
    } else {
        driver.opKind = OP_RECIPE_READ;
        getReadFrame(driver.currentVar);
    }
}

void startQueuedOperation() {
    if (!driver.writeList.isEmpty() && driver.burstCount < WRITE_BURST) {
        driver.currentVar = driver.writeList.at(0);
        driver.opKind = OP_WRITE;
        ++driver.burstCount;
        getWriteFrame(driver.currentVar);
    } else if (!driver.conditionList.isEmpty() && driver.burstCount < CONDITION_READ_BURST) {
        driver.currentVar = driver.conditionList.at(0);
        driver.opKind = OP_CONDITION_READ;
        ++driver.burstCount;
        getReadFrame(driver.currentVar);
    } else if (!driver.pollList.isEmpty()) {
        driver.currentVar = driver.pollList.at(0);
        driver.opKind = OP_CYCLIC_READ;
        driver.burstCount = 0;
        getReadFrame(driver.currentVar);
    } else {
        // Also reached when only requests wait whose burst is used up: the next call serves them.
        driver.opKind = OP_NONE;
        driver.burstCount = 0;
    }
}

}  // namespace

int intf_getSendFrame(FRAME_PRO* out) {
    if (driver.frameList.isEmpty()) {
        const RecipeRequests requests = recipeRequests();
        if (requests.write || requests.read) {
            startRecipeTransfer(requests.write);
        } else {
            startQueuedOperation();
        }
    }
    if (driver.frameList.isEmpty()) {
        return 0;
    }
    *out = driver.frameList.at(0);
    return 1;
}

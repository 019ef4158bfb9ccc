// What goes on the wire next.
#include "model.h"

namespace model {

int Model::intf_getSendFrame(Frame* out) {
    if (!frameList.empty()) {
        *out = frameList[0];
        return 1;
    }
    const Byte recipeWriteRequest = hostFlags[60115];
    const Byte recipeReadRequest = hostFlags[60116];
    const bool blockLeft = recipeIndex < static_cast<int>(recipeBlocks.size());

    if ((recipeWriteRequest == 1 || recipeReadRequest == 1) && !blockLeft) {
        if (opKind == 5 || opKind == 2) {
            getWriteFrame(currentVar);
        } else if (opKind == 3 || opKind == 4 || opKind == 6) {
            getReadFrame(currentVar);
        } else {
            return 0;
        }
    } else if (recipeWriteRequest == 1) {
        rcpAddrToVar(recipeBlocks[static_cast<std::size_t>(recipeIndex)], currentVar, 1);
        opKind = 5;
        getWriteFrame(currentVar);
    } else if (recipeReadRequest == 1) {
        rcpAddrToVar(recipeBlocks[static_cast<std::size_t>(recipeIndex)], currentVar, 0);
        opKind = 6;
        getReadFrame(currentVar);
    } else if (!writeList.empty() && burstCount < 5) {
        currentVar = writeList[0];
        opKind = 2;
        burstCount += 1;
        getWriteFrame(currentVar);
    } else if (!conditionList.empty() && burstCount < 3) {
        currentVar = conditionList[0];
        opKind = 3;
        burstCount += 1;
        getReadFrame(currentVar);
    } else if (!pollList.empty()) {
        currentVar = pollList[0];
        opKind = 4;
        burstCount = 0;
        getReadFrame(currentVar);
    } else {
        burstCount = 0;
        opKind = 0;
        frameList.clear();
        return 0;
    }

    if (frameList.empty()) {
        return 0;
    }
    *out = frameList[0];
    return 1;
}

}  // namespace model

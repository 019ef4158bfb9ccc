#include "recipes.h"

#include <QtCore/QVector>
#include <algorithm>
#include <cstring>

#include "addressing.h"
#include "data_areas.h"
#include "register_map.h"

namespace {

void reportRecipeWord(int recipeWord) {
    reportValueChange(0, -1, QString::fromLatin1("RWI"), recipeWord);
}

/// Copies `bytes` reply bytes from `position` to the recipe memory, reversed: it holds the low byte first.
void copyReversed(const Reply& reply, int position, int bytes, int recipeWord) {
    unsigned char* target = driver.recipeMemory + 2 * static_cast<std::ptrdiff_t>(recipeWord);
    for (int i = 0; i < bytes; ++i) {
        target[i] = reply[addressAfter(position, bytes - 1 - i)];
    }
}

}  // namespace

int intf_setRcpAddress(QVector<_RCP_VAR_PRO>& vars) {
    QVector<_RCP_VAR_PRO> kept;
    for (int i = 0; i < vars.size(); ++i) {
        if (vars.at(i).linkId == driver.linkId) {
            kept.append(vars.at(i));
        }
    }
    driver.recipeVars = kept;
    return kept.size();
}

RecipeRequests recipeRequests() {
    Q_ASSERT_X(driver.hostMutex != 0 && driver.hostFlags != 0, "intf_getSendFrame",
               "the host must hand over its memory and mutex with intf_initProperty first");
    driver.hostMutex->lock();
    const RecipeRequests requests = {driver.hostFlags[RECIPE_WRITE_REQUEST] == 1,
                                     driver.hostFlags[RECIPE_READ_REQUEST] == 1};
    driver.hostMutex->unlock();
    return requests;
}

bool takeRecipeBlock(bool withData) {
    if (driver.recipeIndex < 0 || driver.recipeIndex >= driver.recipeBlocks.size()) {
        return false;
    }
    rcpAddrToVar(driver.recipeBlocks.at(driver.recipeIndex), driver.currentVar, withData ? 1 : 0);
    return true;
}

void rcpAddrToVar(const _RCP_VAR_PRO& recipe, VARIABLE& var, int withData) {
    var.station = recipe.station;
    var.regType = recipe.regType;
    var.address = recipe.address;
    var.count = recipe.count;
    std::memset(var.data, 0, sizeof var.data);
    if (withData != 0 && recipe.count > 0) {
        const std::size_t words =
            std::min<std::size_t>(static_cast<std::size_t>(recipe.count), sizeof var.data / 2);
        const std::ptrdiff_t firstByte = 2 * static_cast<std::ptrdiff_t>(recipe.recipeIndex);
        std::memcpy(var.data, driver.recipeMemory + firstByte, 2 * words);
    }
}

RecipeBounds recipeBounds() {
    const RecipeBounds none = {0, 0};
    const int block = driver.recipeIndex;
    const int blocks = driver.recipeBlockStart.size();
    const int vars = driver.recipeVars.size();
    if (block < 0 || block >= blocks) {
        return none;
    }
    const RecipeBounds bounds = {driver.recipeBlockStart.at(block),
                                 block == blocks - 1 ? vars : driver.recipeBlockStart.at(block + 1)};
    return bounds.first >= 0 && bounds.last <= vars ? bounds : none;
}

void storeRecipe(const QString& regType, int dataOffset, const Reply& reply, const RecipeBounds& bounds) {
    if (bounds.first >= driver.recipeVars.size()) {
        return;
    }
    const bool words = registerType(regType).kind == KIND_WORD;
    const unsigned base = static_cast<unsigned>(driver.recipeVars.at(bounds.first).address);
    for (int k = bounds.first; k < bounds.last && k < driver.recipeVars.size(); ++k) {
        const _RCP_VAR_PRO& var = driver.recipeVars.at(k);
        const int recipeWord = var.recipeIndex;
        const unsigned distance = 2U * (static_cast<unsigned>(var.address) - base);
        copyReversed(reply, addressAfter(dataOffset, static_cast<int>(distance)), words ? 2 : 4, recipeWord);
        reportRecipeWord(recipeWord);
        if (!words) {
            reportRecipeWord(addressAfter(recipeWord, 1));
        }
    }
}

void finishRecipeBlock(int requestByte) {
    if (driver.commFailed == 0) {
        ++driver.recipeIndex;
        if (driver.recipeIndex < driver.recipeBlocks.size()) {
            return;
        }
    }
    driver.recipeIndex = 0;
    driver.hostMutex->lock();
    driver.hostFlags[requestByte] = 0;
    driver.hostMutex->unlock();
}

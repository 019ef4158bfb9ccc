/// \file
/// Recipe transfers: a block of recipe variables per request, on the host's demand.
///
/// All of it is dormant: nothing in the driver fills driver.recipeBlocks, so no transfer ever starts. Hosts
/// rely on this. Only the requests are looked at, and the recipe variables kept. The exported
/// intf_setRcpAddress is declared in korvalent_dx7.h.
#ifndef KORVALENT_DX7_RECIPES_H
#define KORVALENT_DX7_RECIPES_H

#include <QtCore/QString>

#include "korvalent_dx7.h"
#include "modbus_rtu.h"

/// The transfers that the host requests in its memory block.
struct RecipeRequests {
    bool write;
    bool read;
};

/// Reads the requests under the host's mutex.
RecipeRequests recipeRequests();

/// Fills driver.currentVar from the recipe block whose turn it is, with its words when `withData`. False when
/// there is none.
bool takeRecipeBlock(bool withData);

/// Fills `var` from a recipe variable: station, type, address and count; data is zeroed and, when `withData`
/// is not 0, filled with the variable's words from the host's recipe memory (at most 1024 bytes). opKind is
/// left alone.
void rcpAddrToVar(const _RCP_VAR_PRO& recipe, VARIABLE& var, int withData);

/// The variables of a block: the elements of driver.recipeVars from `first` up to, not including, `last`.
struct RecipeBounds {
    int first;
    int last;
};

/// The bounds of the block being read; an empty range when the block list does not describe it.
RecipeBounds recipeBounds();

/// Copies a read block to the host's recipe memory and reports its words: one word per variable, or 32 bits
/// when `regType`, the frame's type, is not a word type. The reply's data begin at `dataOffset`.
void storeRecipe(const QString& regType, int dataOffset, const Reply& reply, const RecipeBounds& bounds);

/// Advances to the next block; after the last one, or a failure, takes the host's request at `requestByte`
/// back under its mutex.
void finishRecipeBlock(int requestByte);

#endif

/// \file
/// From monitored addresses to read blocks. The exported intf_addrMerge is declared in korvalent_dx7.h.
#ifndef KORVALENT_DX7_POLLING_PLAN_H
#define KORVALENT_DX7_POLLING_PLAN_H

#include <QtCore/QList>

#include "korvalent_dx7.h"
#include "request_lists.h"  // IWYU pragma: export

/// Every other value plans the polling, too.
enum MergeMode { MERGE_POLLING_PLAN = 1, MERGE_RECIPE_BLOCKS = 2 };

/// Merges `list`, which must not be empty, in place into blocks of at most driver.maxBlockWords items.
///
/// MERGE_POLLING_PLAN sorts stably by weight and merges twice. MERGE_RECIPE_BLOCKS keeps the order, merges
/// once and appends the index of each block's first entry to driver.recipeBlockStart.
void addrMerge(QList<KEY_ADDRESS>& list, int mode);

/// 0 when `next` may be joined to `block`, 1 when it may not: another type, a gap, or (F, D, DE) another
/// group of 56 or sub-group of 10. Stations are not compared; hosts rely on this.
int the_Merge(const KEY_ADDRESS& block, const KEY_ADDRESS& next);

#endif

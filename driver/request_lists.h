/// \file
/// The lists of requests: how a request enters one, and how the polling plan goes round. The exported
/// intf_addConditionRead is declared in korvalent_dx7.h.
#ifndef KORVALENT_DX7_REQUEST_LISTS_H
#define KORVALENT_DX7_REQUEST_LISTS_H

#include <QtCore/QList>

#include "korvalent_dx7.h"

/// Index of the last entry of a full request list; the newest request overwrites it.
const int REQUEST_LIST_LAST = 512;

/// The request for `count` items of `key`'s station and type from `address` on.
VARIABLE requestFor(const KEY_ADDRESS& key, int address, int count, int opKind);

/// Puts a request into a request list: it replaces the last entry with the same station, type, address and
/// count, entry 0 excepted; else the 513th entry of a full list; else it is appended.
void addVarToList(QList<VARIABLE>& list, const VARIABLE& var);

/// Whether two requests concern the same items: same station, type, address and count.
bool sameItems(const VARIABLE& a, const VARIABLE& b);

/// Moves the first block of driver.pollList to the end; nothing with fewer than two.
void rotatePollList();

#endif

/// \file
/// The store of current values, which items are monitored, and how changes are reported. The exported
/// intf_getData is declared in korvalent_dx7.h.
#ifndef KORVALENT_DX7_DATA_AREAS_H
#define KORVALENT_DX7_DATA_AREAS_H

#include <QtCore/QList>
#include <QtCore/QString>

#include "korvalent_dx7.h"

/// Bits of _DATA_::wordMonitorFlags.
const int MONITOR_WORD = 1;
const int MONITOR_DOUBLE_FIRST = 2;
const int MONITOR_DOUBLE_SECOND = 4;

/// Index in `areas` of the first area with this key; a zero area is appended when there is none. One
/// exception: where a host leaves two areas with one key in driver.dataAreas, and that list is long, either
/// may be found.
///
/// For driver.dataAreas a hint says where an area was seen last. A hint counts only if the area there has the
/// key; otherwise the list is walked from its start, which takes time in proportion to its length. So a new
/// area takes a walk, and so do areas that a host has moved, or exchanged for another link's, once each.
int getIndexOfDataArea(int station, const QString& regType, int address, QList<_DATA_>& areas);

/// The area of driver.dataAreas with this key, created if absent. Use the reference only until the next call
/// into the store or of the host's callback, and leave the key alone.
_DATA_& dataArea(int station, const QString& regType, int address);

/// Zeroes the monitor flags of every area.
void clearMonitorFlags();

/// Marks `length` consecutive items as monitored: bit types in the mask of their bit-group area, word types
/// by their word flag, other types not at all. Returns 0.
int _setDataAreaMonitorFlag(int station, const QString& regType, int address, int length);

/// Calls the host's callback with a text of its own.
void reportValueChange(int linkId, int station, const QString& regType, int address);

/// Reports, in ascending order, the monitored bits of one group that differ between two bytes.
void _byteDataChange(const unsigned char* oldValue, const unsigned char* newValue, int station,
                     const QString& regType, int groupAddress);

/// Reports a changed word: its monitored bits in ascending order (unless `noBitScan`), the word, the double
/// word at its address, the double word one below; each only when its flag is set.
void _wordDataChange(const int* oldValue, const int* newValue, int station, const QString& regType,
                     int address, int noBitScan);

#endif

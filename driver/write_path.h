/// \file
/// Host writes, from the moment they are stored to their success or failure. The exported intf_setData is
/// declared in korvalent_dx7.h.
#ifndef KORVALENT_DX7_WRITE_PATH_H
#define KORVALENT_DX7_WRITE_PATH_H

#include <QtCore/QString>

#include "korvalent_dx7.h"

/// Stores written values as pending and reports what differs from what the host saw so far. Each item is
/// reported before it is stored, so a host that asks inside the report still sees the earlier value. Bits are
/// held by the area of their group of eight; hosts rely on this.
void write_saveDataToArea(int station, const QString& regType, int address, int count,
                          const unsigned char* data);

/// Ends the write of `count` items: `success` 1 makes the written value the current one, anything else falls
/// back to the value read and reports what differs.
void _write_FailOrSuc(int station, const QString& regType, int address, int count, int success);

#endif

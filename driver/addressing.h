/// \file
/// Address texts and what is computed from addresses. The exported checks intf_checkAddrValidity,
/// intf_checkAddr and intf_multiCopy are declared in korvalent_dx7.h.
#ifndef KORVALENT_DX7_ADDRESSING_H
#define KORVALENT_DX7_ADDRESSING_H

#include <QtCore/QString>

#include "korvalent_dx7.h"
#include "register_map.h"

/// Parses "group.sub.index" (hexadecimal, ignored, decimal) into `*value` = 56 x group + index.
///
/// Returns 1 on success, -1 on failure. `*value` is left alone only when the text does not start with a
/// hexadecimal digit. A group that starts with a digit but does not convert as a whole counts as 0; hosts
/// rely on this. There is no range check.
int a2i_dddd_h_h_dd(const QString& text, int* value);

/// Sort weight of an address in the polling plan: 327675 x station + 65535 x k + address in 32 bits that
/// wrap, where k is one plus the position of `regType` in driver.regNames, or 0 when it is not there. The
/// fourth argument is ignored. A type step weighs a fifth of a station step, so stations can interleave;
/// hosts rely on this.
int getRegAddressWeight(int station, const QString& regType, int address, int ignored);

/// `value` with bit number `bit` (its low 5 bits) set when `on` is not 0, else cleared.
int _setBitValue(int value, int bit, int on);

/// `address` + `offset` in 32 bits that wrap.
inline int addressAfter(int address, int offset) {
    return static_cast<int>(static_cast<unsigned>(address) + static_cast<unsigned>(offset));
}

/// Address of the area of the eight bits that bit `address` is one of: rounded toward zero to a multiple of
/// 8.
inline int bitGroupBase(int address) {
    return address - address % 8;
}

/// Number (0 to 7) of bit `address` within its group.
inline int bitNumberInGroup(int address) {
    return (address % 8) & 7;
}

#endif

/// \file
/// What the driver does with each register type: one row per type. The checks of addresses, merging, copying,
/// reading and writing follow from the rows. Nothing here knows the driver object.
///
/// A new type is a row in register_map.cpp, its texts and its register number in register_types.h, and tests.
#ifndef KORVALENT_DX7_REGISTER_MAP_H
#define KORVALENT_DX7_REGISTER_MAP_H

#include <QtCore/QString>

#include "register_types.h"

/// How the items of a type are held in the data areas and carried in host buffers.
enum RegisterKind {
    /// A byte (0 or 1) per item; monitored by groups of eight.
    KIND_BIT,
    /// Two bytes per item, low byte first.
    KIND_WORD,
    /// A byte per item, read-only, never monitored.
    KIND_STATUS,
    KIND_UNKNOWN
};

/// How users type the addresses of a type.
enum AddressText {
    /// A decimal number of at most 3 characters.
    PLAIN_TEXT,
    /// group.sub.index, at most 6 characters.
    GROUPED_TEXT
};

/// How the register number of an item follows from its address.
enum RegisterNumbering {
    /// The type's entry of REG_OFFSETADDR (0 for an unknown type) + address.
    BY_OFFSET,
    /// The row's high byte; the address is the low byte, no carry leaves it.
    BY_PAGE,
    /// The row's high byte + group; the low byte is the packed index.
    BY_GROUP,
    /// The row's high byte, whatever the group; the low byte is the packed index.
    BY_INDEX,
    /// The row's high byte, low byte 0, whatever the address.
    FIXED,
    /// There is no such request, or it names no register.
    NOWHERE
};

/// How a type is read or written.
struct RegisterAccess {
    /// Modbus function code; 0 for not at all. Of writing, 16 means 6 for a single register.
    int function;
    RegisterNumbering numbering;
    int highByte;
};

struct RegisterType {
    RegisterKind kind;
    /// Accepted addresses: minimum <= start and start + count <= limit. That is one more than the highest
    /// address; of F and D two more, hosts rely on this.
    int minimum;
    int limit;
    AddressText text;
    /// Addresses count as GROUP_ITEMS x group + index: blocks stay within a sub-group, copies are written as
    /// group.0.index.
    bool grouped;
    /// The second address check refuses access modes that write. Not the same as having no write access:
    /// hosts rely on FIN and FAS not being refused.
    bool refusesWrite;
    RegisterAccess read;
    RegisterAccess write;
};

/// The row of every name that is not in REG_LIST.
const int ROW_UNKNOWN = REG_TYPE_COUNT;

/// Whether two names are equal. Names that canonicalName() gave share their text, which this sees without a
/// call; with QString's own comparison a transaction of 60 words costs a fifth more (scripts/bench --guard).
inline bool sameName(const QString& a, const QString& b) {
    return a.size() == b.size() && (a.constData() == b.constData() || a == b);
}

/// Row of `regType` in REG_LIST, or ROW_UNKNOWN.
int registerRow(const QString& regType);

/// The entry of REG_LIST that equals `regType`, else `regType` itself. Lists keep the former, so that they do
/// not hold on to the host's text.
const QString& canonicalName(const QString& regType);

/// What the driver does with the type in `row`, which may be ROW_UNKNOWN.
const RegisterType& typeInRow(int row);

/// What the driver does with `regType`.
inline const RegisterType& registerType(const QString& regType) {
    return typeInRow(registerRow(regType));
}

/// The text of `column` in the description of `row` (a row of REG_LIST, not ROW_UNKNOWN).
inline const QString& registerDescription(int row, RegisterColumn column) {
    return REG_DESCRIPTION[row * REG_COLUMN_COUNT + column];
}

/// Register number of an item of the type in `row` by `access`. Its low 16 bits count.
int registerNumber(int row, const RegisterAccess& access, int address);

/// Register number by the type's offset, whatever its row says: REG_OFFSETADDR + address.
int offsetRegister(int row, int address);

/// Packed decimal of an index: its tens digit in the high nibble, its ones digit in the low one. Of an index
/// with three digits the first two count.
unsigned char packedDecimal(unsigned char index);

/// Value of a hexadecimal digit, 255 for any other character.
unsigned char ConvertHexChar(char digit);

#endif

/// \file
/// The device's register types: names, descriptions, kinds and register offsets.
///
/// Register types are identified by name everywhere, compared exactly and case-sensitively.
#ifndef KORVALENT_DX7_REGISTER_TYPES_H
#define KORVALENT_DX7_REGISTER_TYPES_H

#include <QtCore/QString>

/// Row of a register type in every table below, in the order of REG_LIST.
enum RegisterRow {
    ROW_CW_BIT,
    ROW_SW_BIT,
    ROW_DO,
    ROW_RO,
    ROW_SDO,
    ROW_DI,
    ROW_AI,
    ROW_FIN,
    ROW_F,
    ROW_D,
    ROW_DE,
    ROW_CW,
    ROW_SW,
    ROW_MOD,
    ROW_FAS,
    ROW_UNKNOWN  ///< Result of registerRow() for any other name.
};

const int REG_TYPE_COUNT = 15;

/// Columns of REG_DESCRIPTION.
enum RegisterColumn { COLUMN_FORMAT, COLUMN_LOWEST, COLUMN_HIGHEST, COLUMN_KIND, COLUMN_WRITABLE };

const int REG_COLUMN_COUNT = 5;

/// Items per group of the grouped types F, D and DE, whose address is 56 x group + index.
const int GROUP_ITEMS = 56;
/// Items per sub-group; groups are split into positions 0-9, 10-19, ... 50-55.
const int SUBGROUP_ITEMS = 10;

/// How the items of a type are held in the data areas and carried in host buffers.
enum RegisterKind {
    KIND_BIT,     ///< A byte (0 or 1) per item; monitored by groups of eight.
    KIND_WORD,    ///< Two bytes per item, low byte first.
    KIND_STATUS,  ///< FAS: a byte per item, read-only, never monitored.
    KIND_UNKNOWN
};

extern const QString REG_LIST[REG_TYPE_COUNT];
/// Rows of five texts, parallel to REG_LIST: address format, lowest and highest address, kind ("0" bit, "1"
/// word), writable ("1") or read-only ("0").
extern const QString REG_DESCRIPTION[REG_TYPE_COUNT * REG_COLUMN_COUNT];
/// Register number of address 0 of each type, parallel to REG_LIST. The entries of AI, F, D, DE, MOD and FAS
/// stand here for completeness only: those types compose their register number otherwise.
extern const int REG_OFFSETADDR[REG_TYPE_COUNT];
/// High byte of the register number when reading group g of F.
extern const int REG_F_OFFSETADDR[16];
/// High byte of the register number when reading group g of D.
extern const int REG_D_OFFSETADDR[2];

/// Row of `regType` in REG_LIST, or ROW_UNKNOWN.
RegisterRow registerRow(const QString& regType);

/// Kind of `regType`; KIND_UNKNOWN for a name that is not in REG_LIST.
RegisterKind registerKind(const QString& regType);

/// The text of `column` in the description of `row` (a row of REG_LIST, not ROW_UNKNOWN).
const QString& registerDescription(RegisterRow row, RegisterColumn column);

#endif

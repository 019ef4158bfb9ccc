/// \file
/// The device's register types as hosts see them: names, descriptions and register offsets.
///
/// Register types are identified by name everywhere, compared exactly and case-sensitively. Needs C++11.
#ifndef KORVALENT_DX7_REGISTER_TYPES_H
#define KORVALENT_DX7_REGISTER_TYPES_H

#if __cplusplus < 201103L
#error "register_types.h needs C++11: compile with -std=c++11 or later"
#endif

#include <QtCore/QString>

/// Rows of every table below.
const int REG_TYPE_COUNT = 15;

/// Columns of REG_DESCRIPTION.
enum RegisterColumn { COLUMN_FORMAT, COLUMN_LOWEST, COLUMN_HIGHEST, COLUMN_KIND, COLUMN_WRITABLE };

const int REG_COLUMN_COUNT = 5;

/// Items per group of the types F, D and DE, whose address is 56 x group + index.
const int GROUP_ITEMS = 56;
/// Items per sub-group; groups are split into positions 0-9, 10-19, ... 50-55.
const int SUBGROUP_ITEMS = 10;

/// The text tables, one copy per linked image, so that including this header is all that a host or test
/// needs.
template <typename Unused>
class RegisterTexts {
public:
    QString list[REG_TYPE_COUNT];
    QString description[REG_TYPE_COUNT * REG_COLUMN_COUNT];

    static const RegisterTexts all;

private:
    RegisterTexts() {
        static const char* const ROWS[][1 + REG_COLUMN_COUNT] = {
            // name, address format, lowest, highest, kind, writable
            {"CW_bit", "ddd", "0", "15", "0", "1"},
            {"SW_bit", "ddd", "0", "15", "0", "0"},
            {"DO", "ddd", "1", "2", "0", "1"},
            {"RO", "ddd", "1", "1", "0", "1"},
            {"SDO", "ddd", "1", "8", "0", "1"},
            {"DI", "ddd", "1", "6", "0", "0"},
            {"AI", "ddd", "0", "3", "1", "0"},
            {"FIN", "ddd", "0", "0", "1", "0"},
            {"F", "h.h.dd", "0.0.00", "F.#.55", "1", "1"},
            {"D", "h.h.dd", "0.0.00", "1.#.55", "1", "0"},
            {"DE", "dd", "0", "55", "1", "0"},
            {"CW", "ddd", "0", "0", "1", "1"},
            {"SW", "ddd", "0", "0", "1", "0"},
            {"MOD", "ddd", "1", "2", "1", "1"},
            {"FAS", "ddd", "0", "0", "1", "0"},
        };
        static_assert(sizeof ROWS / sizeof ROWS[0] == REG_TYPE_COUNT, "a row of texts per register type");
        for (int row = 0; row < REG_TYPE_COUNT; ++row) {
            list[row] = QString::fromLatin1(ROWS[row][0]);
            for (int column = 0; column < REG_COLUMN_COUNT; ++column) {
                description[row * REG_COLUMN_COUNT + column] = QString::fromLatin1(ROWS[row][1 + column]);
            }
        }
    }
};

template <typename Unused>
const RegisterTexts<Unused> RegisterTexts<Unused>::all;

/// The names of the register types.
static const QString (&REG_LIST)[REG_TYPE_COUNT] = RegisterTexts<void>::all.list;

/// Rows of five texts, parallel to REG_LIST: address format, lowest and highest address, kind ("0" bit, "1"
/// word), writable ("1") or read-only ("0").
static const QString (&REG_DESCRIPTION)[REG_TYPE_COUNT * REG_COLUMN_COUNT] =
    RegisterTexts<void>::all.description;

/// Register number of address 0 of each type, parallel to REG_LIST. The entries of AI, F, D, DE, MOD and FAS
/// only complete the table: those types compose their register number otherwise, or have none.
static const int REG_OFFSETADDR[REG_TYPE_COUNT] = {0x1000, 0x1100, 0x101F, 0x103F, 0x105F,
                                                   0x111F, 0x1200, 0x1203, 0x00F0, 0x00D0,
                                                   0x00DE, 0x1300, 0x1309, 0x1300, 0x0000};

/// High byte of the register number when reading group g of F. For hosts: the driver counts on from group 0.
static const int REG_F_OFFSETADDR[16] = {0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7,
                                         0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};

/// High byte of the register number when reading group g of D. For hosts, too.
static const int REG_D_OFFSETADDR[2] = {0xD0, 0xD1};

#endif

#include "register_map.h"

namespace {

// In the order of REG_LIST, with the columns of the register map in docs/wire-format.md; the numbers of
// BY_OFFSET are in REG_OFFSETADDR. The device takes a new value of F 0x1000 registers below the place where
// it shows the value. A name that is in no row reads registers from 0x0000.
// clang-format off
const RegisterType REGISTER_TYPES[] = {
    //            kind          from limit  text          grouped refuses  read                   write
    /* CW_bit */ {KIND_BIT,     0,   16,    PLAIN_TEXT,   false,  false,   {1, BY_OFFSET, 0},     {5, BY_OFFSET, 0}},
    /* SW_bit */ {KIND_BIT,     0,   16,    PLAIN_TEXT,   false,  true,    {2, BY_OFFSET, 0},     {0, NOWHERE, 0}},
    /* DO     */ {KIND_BIT,     1,   3,     PLAIN_TEXT,   false,  false,   {1, BY_OFFSET, 0},     {5, BY_OFFSET, 0}},
    /* RO     */ {KIND_BIT,     1,   2,     PLAIN_TEXT,   false,  false,   {1, BY_OFFSET, 0},     {5, BY_OFFSET, 0}},
    /* SDO    */ {KIND_BIT,     1,   9,     PLAIN_TEXT,   false,  false,   {1, BY_OFFSET, 0},     {5, BY_OFFSET, 0}},
    /* DI     */ {KIND_BIT,     1,   7,     PLAIN_TEXT,   false,  true,    {2, BY_OFFSET, 0},     {0, NOWHERE, 0}},
    /* AI     */ {KIND_WORD,    0,   4,     PLAIN_TEXT,   false,  true,    {4, BY_PAGE, 0x12},    {0, NOWHERE, 0}},
    /* FIN    */ {KIND_WORD,    0,   1,     PLAIN_TEXT,   false,  false,   {4, BY_OFFSET, 0},     {0, NOWHERE, 0}},
    /* F      */ {KIND_WORD,    0,   897,   GROUPED_TEXT, true,   false,   {3, BY_GROUP, 0xF0},   {16, BY_GROUP, 0xE0}},
    /* D      */ {KIND_WORD,    0,   113,   GROUPED_TEXT, true,   true,    {3, BY_GROUP, 0xD0},   {0, NOWHERE, 0}},
    /* DE     */ {KIND_WORD,    0,   56,    PLAIN_TEXT,   true,   true,    {3, BY_INDEX, 0xDE},   {0, NOWHERE, 0}},
    /* CW     */ {KIND_WORD,    0,   1,     PLAIN_TEXT,   false,  false,   {3, BY_OFFSET, 0},     {6, FIXED, 0x13}},
    /* SW     */ {KIND_WORD,    0,   1,     PLAIN_TEXT,   false,  true,    {3, BY_OFFSET, 0},     {0, NOWHERE, 0}},
    /* MOD    */ {KIND_WORD,    1,   3,     PLAIN_TEXT,   false,  false,   {3, BY_PAGE, 0x13},    {16, BY_PAGE, 0x13}},
    /* FAS    */ {KIND_STATUS,  0,   1,     PLAIN_TEXT,   false,  false,   {7, NOWHERE, 0},         {0, NOWHERE, 0}},
    /* other  */ {KIND_UNKNOWN, 0,   0,     PLAIN_TEXT,   false,  false,   {3, FIXED, 0},         {0, NOWHERE, 0}},
};
// clang-format on

static_assert(sizeof REGISTER_TYPES / sizeof REGISTER_TYPES[0] == ROW_UNKNOWN + 1, "a row per register type");

/// Low byte of the register number of a grouped address.
int packedIndex(int address) {
    return packedDecimal(static_cast<unsigned char>(address % GROUP_ITEMS));
}

}  // namespace

int registerRow(const QString& regType) {
    for (int row = 0; row < REG_TYPE_COUNT; ++row) {
        if (sameName(REG_LIST[row], regType)) {
            return row;
        }
    }
    return ROW_UNKNOWN;
}

const QString& canonicalName(const QString& regType) {
    const int row = registerRow(regType);
    return row == ROW_UNKNOWN ? regType : REG_LIST[row];
}

const RegisterType& typeInRow(int row) {
    return REGISTER_TYPES[row];
}

int registerNumber(int row, const RegisterAccess& access, int address) {
    switch (access.numbering) {
        case BY_OFFSET:
            return offsetRegister(row, address);
        case BY_PAGE:
            return access.highByte << 8 | (address & 0xFF);
        case BY_GROUP:
            return ((access.highByte + address / GROUP_ITEMS) & 0xFF) << 8 | packedIndex(address);
        case BY_INDEX:
            return access.highByte << 8 | packedIndex(address);
        default:
            return access.highByte << 8;
    }
}

int offsetRegister(int row, int address) {
    const unsigned offset = row == ROW_UNKNOWN ? 0U : static_cast<unsigned>(REG_OFFSETADDR[row]);
    return static_cast<int>(offset + static_cast<unsigned>(address));
}

unsigned char packedDecimal(unsigned char index) {
    int leading = index;
    if (leading >= 100) {
        leading /= 10;
    }
    const unsigned char tens = ConvertHexChar(static_cast<char>('0' + leading / 10));
    const unsigned char ones = ConvertHexChar(static_cast<char>('0' + leading % 10));
    return static_cast<unsigned char>(tens * 16 + ones);
}

unsigned char ConvertHexChar(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<unsigned char>(digit - '0');
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<unsigned char>(digit - 'A' + 10);
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<unsigned char>(digit - 'a' + 10);
    }
    return 255;
}

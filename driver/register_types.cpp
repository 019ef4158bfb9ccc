#include "register_types.h"

#include <QtCore/QLatin1String>

namespace {

QString text(const char* latin1) {
    return QString::fromLatin1(latin1);
}

}  // namespace

const QString REG_LIST[REG_TYPE_COUNT] = {
    text("CW_bit"), text("SW_bit"), text("DO"), text("RO"), text("SDO"), text("DI"),  text("AI"), text("FIN"),
    text("F"),      text("D"),      text("DE"), text("CW"), text("SW"),  text("MOD"), text("FAS")};

const QString REG_DESCRIPTION[REG_TYPE_COUNT * REG_COLUMN_COUNT] = {
    text("ddd"),    text("0"),      text("15"),     text("0"), text("1"),  // CW_bit
    text("ddd"),    text("0"),      text("15"),     text("0"), text("0"),  // SW_bit
    text("ddd"),    text("1"),      text("2"),      text("0"), text("1"),  // DO
    text("ddd"),    text("1"),      text("1"),      text("0"), text("1"),  // RO
    text("ddd"),    text("1"),      text("8"),      text("0"), text("1"),  // SDO
    text("ddd"),    text("1"),      text("6"),      text("0"), text("0"),  // DI
    text("ddd"),    text("0"),      text("3"),      text("1"), text("0"),  // AI
    text("ddd"),    text("0"),      text("0"),      text("1"), text("0"),  // FIN
    text("h.h.dd"), text("0.0.00"), text("F.#.55"), text("1"), text("1"),  // F
    text("h.h.dd"), text("0.0.00"), text("1.#.55"), text("1"), text("0"),  // D
    text("dd"),     text("0"),      text("55"),     text("1"), text("0"),  // DE
    text("ddd"),    text("0"),      text("0"),      text("1"), text("1"),  // CW
    text("ddd"),    text("0"),      text("0"),      text("1"), text("0"),  // SW
    text("ddd"),    text("1"),      text("2"),      text("1"), text("1"),  // MOD
    text("ddd"),    text("0"),      text("0"),      text("1"), text("0"),  // FAS
};

const int REG_OFFSETADDR[REG_TYPE_COUNT] = {0x1000, 0x1100, 0x101F, 0x103F, 0x105F, 0x111F, 0x1200, 0x1203,
                                            0x00F0, 0x00D0, 0x00DE, 0x1300, 0x1309, 0x1300, 0x0000};

const int REG_F_OFFSETADDR[16] = {0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7,
                                  0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};

const int REG_D_OFFSETADDR[2] = {0xD0, 0xD1};

RegisterRow registerRow(const QString& regType) {
    for (int row = 0; row < REG_TYPE_COUNT; ++row) {
        if (REG_LIST[row] == regType) {
            return static_cast<RegisterRow>(row);
        }
    }
    return ROW_UNKNOWN;
}

RegisterKind registerKind(const QString& regType) {
    const RegisterRow row = registerRow(regType);
    if (row <= ROW_DI) {
        return KIND_BIT;
    }
    if (row == ROW_UNKNOWN) {
        return KIND_UNKNOWN;
    }
    return row == ROW_FAS ? KIND_STATUS : KIND_WORD;
}

const QString& registerDescription(RegisterRow row, RegisterColumn column) {
    return REG_DESCRIPTION[row * REG_COLUMN_COUNT + column];
}

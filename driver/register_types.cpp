#include "register_types.h"

namespace {

// The row found last; the same type is mostly asked for many times in a row.
int lastRow = 0;

}  // namespace

RegisterRow registerRow(const QString& regType) {
    if (sameName(REG_LIST[lastRow], regType)) {
        return static_cast<RegisterRow>(lastRow);
    }
    for (int row = 0; row < REG_TYPE_COUNT; ++row) {
        if (sameName(REG_LIST[row], regType)) {
            lastRow = row;
            return static_cast<RegisterRow>(row);
        }
    }
    return ROW_UNKNOWN;
}

const QString& canonicalName(const QString& regType) {
    const RegisterRow row = registerRow(regType);
    return row == ROW_UNKNOWN ? regType : REG_LIST[row];
}

RegisterKind kindOf(RegisterRow row) {
    if (row <= ROW_DI) {
        return KIND_BIT;
    }
    if (row == ROW_UNKNOWN) {
        return KIND_UNKNOWN;
    }
    return row == ROW_FAS ? KIND_STATUS : KIND_WORD;
}

RegisterKind registerKind(const QString& regType) {
    return kindOf(registerRow(regType));
}

const QString& registerDescription(RegisterRow row, RegisterColumn column) {
    return REG_DESCRIPTION[row * REG_COLUMN_COUNT + column];
}

#include "register_types.h"

RegisterRow registerRow(const QString& regType) {
    for (int row = 0; row < REG_TYPE_COUNT; ++row) {
        if (sameName(REG_LIST[row], regType)) {
            return static_cast<RegisterRow>(row);
        }
    }
    return ROW_UNKNOWN;
}

const QString& canonicalName(const QString& regType) {
    const RegisterRow row = registerRow(regType);
    return row == ROW_UNKNOWN ? regType : REG_LIST[row];
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

#include "host/driver/register_type.h"

#include <algorithm>

namespace dx7 {

namespace {

// The driver's own text of a limit ("F.#.55") as address, and as the text that is printed for it.
void setLimit(const DriverFunctions& functions, const RegisterType& type, const QString& text, int* address,
              QString* shown) {
    if (functions.checkAddrValidity(type.name, text, address, 1, type.bit ? 0 : 1) == DX7_ADDRESS_VALID) {
        *shown = type.addressText(*address);
    }
}

}  // namespace

QString RegisterType::addressText(int address) const {
    if (!grouped()) {
        return QString::number(address);
    }
    const int group = address / GROUP_ITEMS;
    const int index = address % GROUP_ITEMS;
    return QStringLiteral("%1.0.%2")
        .arg(QString::number(group, 16).toUpper())
        .arg(index, 2, 10, QLatin1Char('0'));
}

int RegisterType::runLength(int address, int count) const {
    if (!packedDecimal()) {
        return count;
    }
    const int index = address % GROUP_ITEMS;
    const int end = std::min((index / SUBGROUP_ITEMS + 1) * SUBGROUP_ITEMS, GROUP_ITEMS);
    return std::min(count, end - index);
}

QVector<RegisterType> registerTypes(const DriverFunctions& functions) {
    QVector<RegisterType> types;
    for (int kind = 0; kind <= 1; ++kind) {
        QList<QString> names;
        functions.getRegListByType(kind, names);
        for (const QString& name : names) {
            QList<QString> texts;
            if (functions.getRegDiscription(name, texts) != DX7_TYPE_KNOWN ||
                texts.size() < REG_COLUMN_COUNT) {
                continue;
            }
            RegisterType type;
            type.name = name;
            type.format = texts.at(COLUMN_FORMAT);
            type.lowest = texts.at(COLUMN_LOWEST);
            type.highest = texts.at(COLUMN_HIGHEST);
            type.bit = texts.at(COLUMN_KIND) == QLatin1String("0");
            type.writable = texts.at(COLUMN_WRITABLE) == QLatin1String("1");
            setLimit(functions, type, type.lowest, &type.lowestAddress, &type.lowest);
            setLimit(functions, type, type.highest, &type.highestAddress, &type.highest);
            types += type;
        }
    }
    return types;
}

}  // namespace dx7

#include "host/driver/register_type.h"

#include <algorithm>
#include <iterator>

namespace dx7 {

namespace {

// What the driver does not say of its types.
struct Known {
    const char* type;
    const char* meaning;
    // Its values stay as they were written, as parameters and modes do. A command or an output is the
    // device's own to take back.
    bool keepsWritten;
};

constexpr Known KNOWN[] = {
    {"CW_bit", "bits of the control word", false},
    {"SW_bit", "bits of the status word", false},
    {"DO", "digital outputs", false},
    {"RO", "relay output", false},
    {"SDO", "further digital outputs", false},
    {"DI", "digital inputs", false},
    {"AI", "analog inputs", false},
    {"FIN", "a further input, that of AI 3", false},
    {"F", "parameters, 16 groups of 56", true},
    {"D", "read-only values, 2 groups of 56", false},
    {"DE", "further read-only values", false},
    {"CW", "control word", false},
    {"SW", "status word", false},
    {"MOD", "mode words", true},
    {"FAS", "status byte", false},
};

const Known* knownOf(const QString& name) {
    const auto* const found = std::find_if(std::begin(KNOWN), std::end(KNOWN), [&name](const Known& known) {
        return name == QLatin1String(known.type);
    });
    return found == std::end(KNOWN) ? nullptr : found;
}

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

QString RegisterType::meaning() const {
    const Known* const known = knownOf(name);
    return known == nullptr ? QString() : QString::fromLatin1(known->meaning);
}

bool RegisterType::keepsWritten() const {
    const Known* const known = knownOf(name);
    return known != nullptr && known->keepsWritten;
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

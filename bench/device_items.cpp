#include "device_items.h"

namespace dx7bench {

namespace {

struct TypeRange {
    const char* type;
    int first;
    int last;
};

// As docs/wire-format.md and the register descriptions have them; 16 groups of F, 2 of D and one of DE.
const TypeRange RANGES[] = {{"F", 0, 16 * 56 - 1}, {"D", 0, 2 * 56 - 1}, {"DE", 0, 56 - 1}, {"AI", 0, 3},
                            {"FIN", 0, 0},         {"CW", 0, 0},         {"SW", 0, 0},      {"MOD", 1, 2},
                            {"FAS", 0, 0},         {"CW_bit", 0, 15},    {"SW_bit", 0, 15}, {"DO", 1, 2},
                            {"RO", 1, 1},          {"SDO", 1, 8},        {"DI", 1, 6}};

}  // namespace

std::vector<Item> deviceItems(int count) {
    std::vector<Item> items;
    for (int station = 1;; ++station) {
        for (const TypeRange& range : RANGES) {
            const QString type = QString::fromLatin1(range.type);
            for (int address = range.first; address <= range.last; ++address) {
                if (static_cast<int>(items.size()) == count) {
                    return items;
                }
                items.push_back({station, type, address});
            }
        }
    }
    return items;
}

KEY_ADDRESS keyAddress(int station, const QString& regType, int address, int length) {
    KEY_ADDRESS key;
    key.station = station;
    key.regType = regType;
    key.address = address;
    key.length = length;
    return key;
}

QList<KEY_ADDRESS> keyAddresses(const std::vector<Item>& items) {
    QList<KEY_ADDRESS> list;
    list.reserve(static_cast<int>(items.size()));
    for (const Item& item : items) {
        list.append(keyAddress(item.station, item.regType, item.address, 1));
    }
    return list;
}

}  // namespace dx7bench

#include "device_items.h"

namespace dx7bench {

namespace {

struct TypeRange {
    RegisterRow row;
    int first;
    int last;
};

// As docs/wire-format.md and the register descriptions have them; 16 groups of F, 2 of D and one of DE.
const TypeRange RANGES[] = {{ROW_F, 0, 16 * GROUP_ITEMS - 1},
                            {ROW_D, 0, 2 * GROUP_ITEMS - 1},
                            {ROW_DE, 0, GROUP_ITEMS - 1},
                            {ROW_AI, 0, 3},
                            {ROW_FIN, 0, 0},
                            {ROW_CW, 0, 0},
                            {ROW_SW, 0, 0},
                            {ROW_MOD, 1, 2},
                            {ROW_FAS, 0, 0},
                            {ROW_CW_BIT, 0, 15},
                            {ROW_SW_BIT, 0, 15},
                            {ROW_DO, 1, 2},
                            {ROW_RO, 1, 1},
                            {ROW_SDO, 1, 8},
                            {ROW_DI, 1, 6}};

}  // namespace

std::vector<Item> deviceItems(int count) {
    std::vector<Item> items;
    for (int station = 1; station <= STATIONS; ++station) {
        for (const TypeRange& range : RANGES) {
            for (int address = range.first; address <= range.last; ++address) {
                if (static_cast<int>(items.size()) == count) {
                    return items;
                }
                items.push_back({station, REG_LIST[range.row], address});
            }
        }
    }
    return items;
}

int allItems() {
    int perStation = 0;
    for (const TypeRange& range : RANGES) {
        perStation += range.last - range.first + 1;
    }
    return STATIONS * perStation;
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

/// \file
/// Every item of the device, at as many stations as a line may have.
#ifndef DX7_BENCH_DEVICE_ITEMS_H
#define DX7_BENCH_DEVICE_ITEMS_H

#include <QList>
#include <vector>

#include "korvalent_dx7.h"

namespace dx7bench {

const int STATIONS = 247;

struct Item {
    int station;
    QString regType;
    int address;
};

/// The first `count` items of a line: station after station, within a station type after type, beginning with
/// the 896 parameters of type F. Fewer when 247 stations have fewer.
std::vector<Item> deviceItems(int count);

/// Items that 247 stations have together.
int allItems();

/// One entry of length 1 per item, as a host hands them over.
QList<KEY_ADDRESS> keyAddresses(const std::vector<Item>& items);

/// An entry for `length` items from `address`.
KEY_ADDRESS keyAddress(int station, const QString& regType, int address, int length);

}  // namespace dx7bench

#endif

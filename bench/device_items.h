/// \file
/// Items of the device, station after station.
#ifndef DX7_BENCH_DEVICE_ITEMS_H
#define DX7_BENCH_DEVICE_ITEMS_H

#include <QList>
#include <vector>

#include "korvalent_dx7.h"

namespace dx7bench {

struct Item {
    int station;
    QString regType;
    int address;
};

/// The first `count` items of a line: station after station, within a station type after type, beginning with
/// the 896 parameters of type F.
std::vector<Item> deviceItems(int count);

/// One entry of length 1 per item, as a host hands them over.
QList<KEY_ADDRESS> keyAddresses(const std::vector<Item>& items);

/// An entry for `length` items from `address`.
KEY_ADDRESS keyAddress(int station, const QString& regType, int address, int length);

}  // namespace dx7bench

#endif

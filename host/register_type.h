/// \file
/// The driver's register types, as it describes them itself.
#ifndef DX7_HOST_REGISTER_TYPE_H
#define DX7_HOST_REGISTER_TYPE_H

#include <QString>
#include <QVector>

#include "driver_functions.h"

namespace dx7 {

/// One register type, from intf_getRegListByType and intf_getRegDiscription.
struct RegisterType {
    QString name;
    QString format;  ///< Form of its addresses: "ddd", "dd" or "h.h.dd".
    QString lowest;
    QString highest;
    bool bit = false;
    bool writable = false;

    /// Addresses are typed group.sub.index and count 56 x group + index.
    bool grouped() const { return format == QLatin1String("h.h.dd"); }
    /// Register numbers are packed decimal, so that they run on only within positions 0-9, 10-19, ... of a
    /// group.
    bool packedDecimal() const { return grouped() || format == QLatin1String("dd"); }
    /// The status byte: a byte per item, although it counts among the word types.
    bool status() const { return name == QLatin1String("FAS"); }
    /// Bytes per item in the driver's buffers.
    int itemBytes() const { return bit || status() ? 1 : 2; }
    /// Highest raw value of an item.
    int highestValue() const { return bit ? 1 : status() ? 255 : 65535; }
    /// The address as a user types it.
    QString addressText(int address) const;
    /// How many of `count` items from `address` follow each other in the device's register numbers.
    int runLength(int address, int count) const;
};

/// All register types, bit types first, in the driver's order.
QVector<RegisterType> registerTypes(const DriverFunctions& functions);

}  // namespace dx7

#endif

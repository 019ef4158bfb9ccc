/// \file
/// The driver's register types, as it describes them itself.
#ifndef DX7_HOST_REGISTER_TYPE_H
#define DX7_HOST_REGISTER_TYPE_H

#include <QString>
#include <QVector>

#include "host/driver/driver_functions.h"

namespace dx7 {

/// One register type, from intf_getRegListByType and intf_getRegDiscription. A plain value, which needs the
/// driver no more.
struct RegisterType {
    QString name;
    /// Form of its addresses: "ddd", "dd" or "h.h.dd".
    QString format;
    /// The addresses of the driver's table, as addressText() gives them.
    QString lowest;
    QString highest;
    /// The same as numbers; -1 as highest where the driver tells none.
    int lowestAddress = 0;
    int highestAddress = -1;
    bool bit = false;
    bool writable = false;

    /// Addresses are typed group.sub.index and count 56 x group + index.
    bool grouped() const { return format == QLatin1String("h.h.dd"); }
    /// Register numbers are packed decimal, so that they run on only within positions 0-9, 10-19, ... of a
    /// group.
    bool packedDecimal() const { return grouped() || format == QLatin1String("dd"); }
    /// The status byte: a byte per item, although it counts among the word types. The driver's tables do not
    /// tell that, so this one type is known by its name.
    bool status() const { return name == QLatin1String("FAS"); }
    /// A value that is written stays until it is written again. Of the other types the device may clear what
    /// was written by itself, as soon as it has carried it out. The driver's tables do not tell that either:
    /// F and MOD are known by their names.
    bool keepsWritten() const;
    /// A request writes one item: a bit, or the only item that the type has.
    bool writtenSingly() const { return bit || lowestAddress == highestAddress; }
    /// Bytes per item in the driver's buffers.
    int itemBytes() const { return bit || status() ? 1 : 2; }
    /// Highest raw value of an item.
    int highestValue() const { return bit ? 1 : status() ? 255 : 65535; }
    /// The address as it is printed, and the only text that is taken for it: a decimal number without leading
    /// zeros, or group.0.index with the group in upper-case hexadecimal and an index of two digits.
    QString addressText(int address) const;
    /// What the type is, in words; empty for one that is not known here. The driver's own tables have none.
    QString meaning() const;
    /// Whether one of `count` items from `address` is beyond the table. The driver takes the first item of
    /// the group after the last one, too; that one is read, but never written.
    bool beyondTable(int address, int count) const { return address + count - 1 > highestAddress; }
    /// How many of `count` items from `address` follow each other in the device's register numbers.
    int runLength(int address, int count) const;
};

/// All register types, bit types first, in the driver's order. Calls the driver, so on the thread of its
/// session.
QVector<RegisterType> registerTypes(const DriverFunctions& functions);

}  // namespace dx7

#endif

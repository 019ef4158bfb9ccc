/// \file
/// A tag of a line file: a name for an item, and what may be done with it. Nothing is kept between calls.
#ifndef DX7_HOST_LINE_TAG_H
#define DX7_HOST_LINE_TAG_H

#include <QVector>
#include <optional>

#include "host/items/item_notation.h"

namespace dx7 {

class TomlTable;

/// What the place of a tag in its file says of it.
struct TagPlace {
    /// What its name begins with, as "conveyor 1/". Empty for a tag outside a device.
    QString prefix;
    /// The device's; without it the tag says its own.
    std::optional<int> station;
};

/// A name of the file and the points that it means.
struct LineTag {
    QString name;
    /// Index of its line in the file; 0 where that has none.
    int line = 0;
    /// One; of a tag with a count so many, "name[0]", "name[1]" and so on.
    QVector<Point> points;
};

/// The tag of a table [[tag]]: name, type, address, and if given line, station, count, format, scale, unit,
/// min, max, step, readonly, verify, enum, bits and interval. Throws UsageError with line and column for
/// whatever is wrong.
LineTag readTag(const TomlTable& table, const TagPlace& place, const ItemNotation& notation);

}  // namespace dx7

#endif

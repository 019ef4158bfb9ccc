/// \file
/// A tag of a line file: a name for an item, and what may be done with it. Nothing is kept between calls.
#ifndef DX7_HOST_LINE_TAG_H
#define DX7_HOST_LINE_TAG_H

#include <QVector>

#include "host/items/item_notation.h"

namespace dx7 {

class TomlTable;

/// A name of the file and the points that it means.
struct LineTag {
    QString name;
    /// One; of a tag with a count so many, "name[0]", "name[1]" and so on.
    QVector<Point> points;
};

/// The tag of a table [[tag]]: name, type, address, and if given station, count, format, scale, unit, min,
/// max, step, readonly, verify, enum, bits and interval. Throws UsageError with line and column for whatever
/// is wrong.
LineTag readTag(const TomlTable& table, const ItemNotation& notation);

}  // namespace dx7

#endif

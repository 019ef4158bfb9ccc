/// \file
/// A line and its tags in a TOML file.
#ifndef DX7_HOST_LINE_FILE_H
#define DX7_HOST_LINE_FILE_H

#include "item_notation.h"
#include "line_settings.h"

namespace dx7 {

/// Takes the table [line] of the file over into `settings`: serial or tcp, baud, parity, data_bits,
/// stop_bits, rs485, timeout, retries, block, gap. Throws UsageError with line and column for every fault of
/// the file.
void applyLineFile(LineSettings& settings, const QString& path);

/// A name of the file and what it stands for.
struct LineTag {
    QString name;
    QVector<Point> points;  ///< One; of a tag with a count so many, "name[0]", "name[1]" and so on.
};

/// The file's [[tag]] tables: name, type, address, and when wanted station, count, format, scale and unit.
/// Throws UsageError with line and column, also for a name that is taken, by a point as well.
QVector<LineTag> lineTags(const QString& path, const ItemNotation& notation);

/// All their points, in order.
QVector<Point> tagsFromFile(const QString& path, const ItemNotation& notation);

}  // namespace dx7

#endif

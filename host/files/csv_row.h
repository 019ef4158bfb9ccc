/// \file
/// Rows of comma-separated values as RFC 4180 quotes them. Nothing is kept between calls.
#ifndef DX7_HOST_CSV_ROW_H
#define DX7_HOST_CSV_ROW_H

#include <QByteArray>
#include <QStringList>

namespace dx7 {

/// The fields in UTF-8, without a line break after them. A field with a comma, a quotation mark or a line
/// break is in quotation marks, and its own are doubled.
QByteArray csvRow(const QStringList& fields);

/// The fields of a row that csvRow() made; empty when it is cut in the middle of a quoted one.
QStringList csvFields(const QByteArray& row);

}  // namespace dx7

#endif

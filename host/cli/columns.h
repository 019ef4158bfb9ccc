/// \file
/// Rows of text under each other.
#ifndef DX7_CLI_COLUMNS_H
#define DX7_CLI_COLUMNS_H

#include <QStringList>
#include <QVector>

namespace dx7::cli {

/// A line per row, its cells in columns that are as wide as the widest cell, two blanks apart. Rows have as
/// many cells as the first one. The columns named in `right`, from 0 on, are for numbers.
QStringList columnLines(const QVector<QStringList>& rows, const QVector<int>& right = {});

}  // namespace dx7::cli

#endif

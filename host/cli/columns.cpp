#include "host/cli/columns.h"

#include <algorithm>

namespace dx7::cli {

QStringList columnLines(const QVector<QStringList>& rows, const QVector<int>& right) {
    QVector<int> widths(rows.isEmpty() ? 0 : rows.first().size());
    for (const QStringList& row : rows) {
        for (int i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths.at(i), row.at(i).size());
        }
    }
    QStringList lines;
    for (const QStringList& row : rows) {
        QString line;
        for (int i = 0; i < widths.size(); ++i) {
            const bool number = right.contains(i);
            line += number ? row.at(i).rightJustified(widths.at(i)) : row.at(i).leftJustified(widths.at(i));
            line += QLatin1String("  ");
        }
        while (line.endsWith(QLatin1Char(' '))) {
            line.chop(1);
        }
        lines += line;
    }
    return lines;
}

}  // namespace dx7::cli

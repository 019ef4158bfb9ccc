/// \file
/// The text of the live table, apart from the terminal it is shown on.
#ifndef DX7_CLI_LIVE_VIEW_H
#define DX7_CLI_LIVE_VIEW_H

#include <QStringList>
#include <QVector>
#include <array>
#include <vector>

#include "host/exchange/statistics.h"
#include "host/poll/value_table.h"

namespace dx7::cli {

enum Column {
    COLUMN_NAME,
    COLUMN_ADDRESS,
    COLUMN_VALUE,
    COLUMN_QUALITY,
    COLUMN_AGE,
    COLUMN_CHANGES,
    COLUMN_COUNT
};

/// The texts of one point.
using Cells = std::array<QString, COLUMN_COUNT>;

Cells cellsOf(const ValueTable& table, int index, qint64 nowUs);

/// Columns as wide as the rows need, or as a window `width` columns wide can hold. Where that is too little
/// the name is cut first, then the address; then changes and age are left out, and more in a window that has
/// no room for a line. A value is shown whole or as "…": a part of a number is another number.
class TableLayout {
public:
    TableLayout(const QVector<Cells>& rows, int width);

    QString title() const;
    QString line(const Cells& cells) const;
    /// The same with the fault after it; where there is no room for both, the fault takes the place of age
    /// and changes, cut where it must be.
    QString line(const Cells& cells, const QString& fault) const;

private:
    QString line(const Cells& cells, const std::vector<Column>& columns) const;
    void shrink(Column column, int lowest, int width);
    int total() const;

    const int width_;
    /// 0 for a column that is left out.
    std::array<int, COLUMN_COUNT> widths_ = {};
};

/// Why the value is bad or stale, and for how long: "no reply, for 12 s". Empty otherwise.
QString faultText(const PointState& state, qint64 nowUs);

/// The line above the table, at most `width` columns: `line` is cut before `counts`, which is
/// shown whole or not at all.
QString heading(const QString& line, const QString& counts, int width);
/// The value being typed for an item, in at most `width` columns: the help goes first, then the name is cut,
/// and of a value that is longer still the end is shown.
QString typingLine(const QString& name, const QString& typed, int width);

/// What else was met on the line: ", 3 late, 2 surplus"; empty when nothing was.
QString disturbanceText(const Counters& counters);

/// "0.3 s", "12 s", "5 min", "3 h"; "-" for what was never read.
QString ageText(const PointState& state, qint64 nowUs);
/// The same of any time, in microseconds.
QString durationText(qint64 us);

/// The rows that fit a window of `height` lines so that `selected` is among them: the first one.
int firstVisible(int selected, int firstBefore, int height);

}  // namespace dx7::cli

#endif

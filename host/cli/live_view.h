/// \file
/// The text of the live table, apart from the terminal it is shown on.
#ifndef DX7_CLI_LIVE_VIEW_H
#define DX7_CLI_LIVE_VIEW_H

#include <QStringList>

#include "value_table.h"

namespace dx7::cli {

/// Title line of the table, for columns as wide as the points need.
QString tableTitle(const ValueTable& table);
/// The line of one point: name, address, value, quality, age, changes.
QString tableLine(const ValueTable& table, int index, qint64 nowUs);
/// "0.3 s", "12 s", "5 min", "3 h"; "-" for what was never read.
QString ageText(const PointState& state, qint64 nowUs);

/// The rows that fit a window of `height` lines so that `selected` is among them: the first one.
int firstVisible(int selected, int firstBefore, int height);

}  // namespace dx7::cli

#endif

/// \file
/// Text on a terminal, measured in columns: some characters take two, some none.
#ifndef DX7_CLI_SCREEN_TEXT_H
#define DX7_CLI_SCREEN_TEXT_H

#include <QStringList>

namespace dx7::cli {

/// Columns that the text takes in the locale's terminal.
int columnsOf(const QString& text);
/// The text; its beginning and "…" when it takes more than `width` columns.
QString elided(const QString& text, int width);
/// The text with spaces after (or before) it up to `width` columns.
QString padded(const QString& text, int width, bool right = false);
/// The text in lines of at most `width` columns, cut at spaces where there are any; at most `height` lines,
/// of which the last one is elided.
QStringList wrapped(const QString& text, int width, int height);

}  // namespace dx7::cli

#endif

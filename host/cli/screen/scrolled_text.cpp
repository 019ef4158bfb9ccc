#include "host/cli/screen/scrolled_text.h"

#include <algorithm>

#define NCURSES_NOMACROS
#include <ncurses.h>

namespace dx7::cli {

bool ScrolledText::scroll(int key, int page) {
    switch (key) {
        case KEY_UP:
            --top_;
            return true;
        case KEY_DOWN:
            ++top_;
            return true;
        case KEY_PPAGE:
            top_ -= page;
            return true;
        case KEY_NPAGE:
            top_ += page;
            return true;
        case KEY_LEFT:
            left_ -= COLUMN_WIDTH;
            return true;
        case KEY_RIGHT:
            left_ += COLUMN_WIDTH;
            return true;
        default:
            return false;
    }
}

QStringList ScrolledText::window(const QStringList& lines, int height, int width) {
    int widest = 0;
    for (const QString& line : lines) {
        widest = std::max(widest, line.size());
    }
    // The last column must come into sight as a whole.
    const int hidden = std::max((widest - width + COLUMN_WIDTH - 1) / COLUMN_WIDTH * COLUMN_WIDTH, 0);
    tall_ = lines.size() > height;
    wide_ = hidden > 0;
    top_ = std::clamp(top_, 0, std::max(lines.size() - std::max(height, 1), 0));
    left_ = std::clamp(left_, 0, hidden);
    // Columns are shown as a whole: a part of a number would be another number. What goes on at their edge is
    // no column.
    const int columns = std::max((width - LABEL_WIDTH) / COLUMN_WIDTH, 1) * COLUMN_WIDTH;
    QStringList shown;
    for (const QString& line : lines.mid(top_, std::max(height, 0))) {
        const QString rest = line.mid(LABEL_WIDTH + left_);
        const bool inColumns = rest.size() <= columns || rest.at(columns) == QLatin1Char(' ');
        shown += line.left(LABEL_WIDTH) + (inColumns ? rest.left(columns) : rest);
    }
    return shown;
}

QString ScrolledText::keysText() const {
    QString text;
    if (tall_) {
        text += QStringLiteral("  Up/Down more lines");
    }
    if (wide_) {
        text += QStringLiteral("  Left/Right more stations");
    }
    return text;
}

}  // namespace dx7::cli

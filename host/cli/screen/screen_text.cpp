#include "host/cli/screen/screen_text.h"

#include <QVector>
#include <algorithm>
#include <cwchar>

namespace dx7::cli {

namespace {

int columnsOf(uint character) {
    // What the locale does not know is shown as one character that it does know.
    const int columns = wcwidth(static_cast<wchar_t>(character));
    return columns < 0 ? 1 : columns;
}

// As many characters from the beginning as `width` columns hold.
QString beginning(const QString& text, int width) {
    QVector<uint> characters;
    int columns = 0;
    for (const uint character : text.toUcs4()) {
        columns += columnsOf(character);
        if (columns > width) {
            break;
        }
        characters += character;
    }
    return QString::fromUcs4(characters.constData(), characters.size());
}

}  // namespace

int columnsOf(const QString& text) {
    int columns = 0;
    for (const uint character : text.toUcs4()) {
        columns += columnsOf(character);
    }
    return columns;
}

QString elided(const QString& text, int width) {
    if (columnsOf(text) <= width) {
        return text;
    }
    return width < 1 ? QString() : beginning(text, width - 1) + QChar(0x2026);
}

QString padded(const QString& text, int width, bool right) {
    const QString spaces(std::max(width - columnsOf(text), 0), QLatin1Char(' '));
    return right ? spaces + text : text + spaces;
}

QStringList wrapped(const QString& text, int width, int height) {
    QStringList lines;
    QString rest = text;
    while (columnsOf(rest) > width && width > 0 && lines.size() + 1 < height) {
        QString line = beginning(rest, width);
        const int space = rest.lastIndexOf(QLatin1Char(' '), line.size());
        line.truncate(space > 0 ? space : line.size());
        if (line.isEmpty()) {
            break;
        }
        rest = rest.mid(line.size()).trimmed();
        lines += line;
    }
    lines += elided(rest, width);
    return lines;
}

}  // namespace dx7::cli

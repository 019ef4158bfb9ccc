#include "host/cli/screen/live_view.h"

#include <algorithm>
#include <utility>

#include "host/cli/screen/screen_text.h"

namespace dx7::cli {

namespace {

constexpr int GAP = 2;
constexpr int NAME_WIDTH = 12;
constexpr int ADDRESS_WIDTH = 13;
constexpr int CUT_WIDTH = 4;
constexpr int VALUE_WIDTH = 20;

const Cells& titles() {
    static const Cells texts = {QStringLiteral("NAME"),  QStringLiteral("ADDRESS"),
                                QStringLiteral("VALUE"), QStringLiteral("QUALITY"),
                                QStringLiteral("AGE"),   QStringLiteral("CHANGES")};
    return texts;
}

bool rightAligned(Column column) {
    return column == COLUMN_VALUE || column == COLUMN_AGE || column == COLUMN_CHANGES;
}

}  // namespace

Cells cellsOf(const ValueTable& table, int index, qint64 nowUs) {
    const Point& point = table.points().at(index);
    const PointState& state = table.state(index);
    return {point.name,
            point.notation(),
            state.raw ? valueWithUnit(point.format, point.type, *state.raw) : QStringLiteral("-"),
            qualityText(state.quality),
            ageText(state, nowUs),
            QString::number(state.changes)};
}

TableLayout::TableLayout(const QVector<Cells>& rows, int width) : width_(width), widths_{4, 7, 5, 8, 7, 8} {
    for (const Cells& row : rows) {
        for (const Column column : {COLUMN_NAME, COLUMN_ADDRESS, COLUMN_VALUE}) {
            widths_[column] = std::max(widths_[column], columnsOf(row[column]));
        }
    }
    const int widestValue = widths_[COLUMN_VALUE];
    widths_[COLUMN_VALUE] = std::max(widestValue, VALUE_WIDTH);
    const std::pair<Column, int> steps[] = {{COLUMN_NAME, NAME_WIDTH},
                                            {COLUMN_ADDRESS, ADDRESS_WIDTH},
                                            {COLUMN_VALUE, widestValue},
                                            {COLUMN_CHANGES, 0},
                                            {COLUMN_AGE, 0},
                                            {COLUMN_NAME, CUT_WIDTH},
                                            {COLUMN_ADDRESS, CUT_WIDTH},
                                            {COLUMN_ADDRESS, 0},
                                            {COLUMN_QUALITY, 0},
                                            {COLUMN_NAME, 0},
                                            {COLUMN_VALUE, 1}};
    for (const auto& [column, lowest] : steps) {
        shrink(column, lowest, width);
    }
}

void TableLayout::shrink(Column column, int lowest, int width) {
    const int excess = total() - width;
    if (excess > 0) {
        // A column is cut as far as needed, but left out as a whole.
        widths_[column] =
            lowest == 0 ? 0 : std::max(widths_[column] - excess, std::min(lowest, widths_[column]));
    }
}

int TableLayout::total() const {
    int total = -GAP;
    for (const int width : widths_) {
        total += width > 0 ? width + GAP : 0;
    }
    return total;
}

QString TableLayout::title() const {
    return line(titles());
}

QString TableLayout::line(const Cells& cells) const {
    return line(cells,
                {COLUMN_NAME, COLUMN_ADDRESS, COLUMN_VALUE, COLUMN_QUALITY, COLUMN_AGE, COLUMN_CHANGES});
}

QString TableLayout::line(const Cells& cells, const QString& fault) const {
    const QString whole = line(cells);
    const auto left = [this](const QString& before) { return width_ - columnsOf(before) - GAP; };
    if (fault.isEmpty() || columnsOf(fault) <= left(whole)) {
        return fault.isEmpty() ? whole : whole + QString(GAP, QLatin1Char(' ')) + fault;
    }
    const QString head = line(cells, {COLUMN_NAME, COLUMN_ADDRESS, COLUMN_VALUE, COLUMN_QUALITY});
    return left(head) < CUT_WIDTH ? head : head + QString(GAP, QLatin1Char(' ')) + elided(fault, left(head));
}

QString TableLayout::line(const Cells& cells, const std::vector<Column>& columns) const {
    QStringList texts;
    for (const Column column : columns) {
        const int width = widths_[column];
        if (width == 0) {
            continue;
        }
        const bool cuttable = column == COLUMN_NAME || column == COLUMN_ADDRESS;
        const QString& text = cells[column];
        const QString shown =
            cuttable || columnsOf(text) <= width ? elided(text, width) : QString(QChar(0x2026));
        texts += padded(shown, width, rightAligned(column));
    }
    return texts.join(QStringLiteral("  "));
}

QString faultText(const PointState& state, qint64 nowUs) {
    return state.fault.isEmpty()
               ? QString()
               : QStringLiteral("%1, for %2").arg(state.fault, durationText(nowUs - state.sinceUs));
}

QString heading(const QString& line, const QString& counts, int width) {
    const int left = width - columnsOf(counts);
    return left < CUT_WIDTH ? elided(line, width) : elided(line, left) + counts;
}

QString typingLine(const QString& name, const QString& typed, int width) {
    const QString value = QStringLiteral(" = %1_").arg(typed);
    const QString help = QStringLiteral("   (Enter writes, Esc leaves)");
    const int left = width - columnsOf(value);
    if (columnsOf(name) + columnsOf(help) <= left) {
        return name + value + help;
    }
    if (left >= CUT_WIDTH) {
        return elided(name, left) + value;
    }
    // What is typed is plain text, one column each.
    return QChar(0x2026) + value.right(std::max(width - 1, 0));
}

QString disturbanceText(const Counters& counters) {
    QString text;
    const auto add = [&text](qint64 count, const char* what) {
        if (count > 0) {
            text += QStringLiteral(", %1 %2").arg(count).arg(QLatin1String(what));
        }
    };
    add(counters.late, "late");
    add(counters.copies, "doubled");
    add(counters.surplus, "surplus");
    add(counters.foreign, "foreign");
    add(counters.echoes, "echoed");
    return text;
}

QString ageText(const PointState& state, qint64 nowUs) {
    return state.raw ? durationText(nowUs - state.readUs) : QStringLiteral("-");
}

QString durationText(qint64 us) {
    const qint64 seconds = us / 1000000;
    if (seconds < 10) {
        return QStringLiteral("%1 s").arg(static_cast<double>(us) / 1e6, 0, 'f', 1);
    }
    if (seconds < 120) {
        return QStringLiteral("%1 s").arg(seconds);
    }
    return seconds < 7200 ? QStringLiteral("%1 min").arg(seconds / 60)
                          : QStringLiteral("%1 h").arg(seconds / 3600);
}

int firstVisible(int selected, int firstBefore, int height) {
    if (selected < firstBefore) {
        return selected;
    }
    return std::max(firstBefore, selected - std::max(height, 1) + 1);
}

}  // namespace dx7::cli

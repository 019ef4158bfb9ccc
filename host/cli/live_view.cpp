#include "live_view.h"

#include <algorithm>

namespace dx7::cli {

namespace {

enum { VALUE_WIDTH = 20, QUALITY_WIDTH = 8, AGE_WIDTH = 7, CHANGES_WIDTH = 8 };

struct Widths {
    int name = 4;
    int address = 7;
};

Widths widthsOf(const ValueTable& table) {
    Widths widths;
    for (const Point& point : table.points()) {
        widths.name = std::max(widths.name, point.name.size());
        widths.address = std::max(widths.address, point.notation().size());
    }
    return widths;
}

QString line(const Widths& widths, const QStringList& cells) {
    return QStringList{cells.at(0).leftJustified(widths.name),  cells.at(1).leftJustified(widths.address),
                       cells.at(2).rightJustified(VALUE_WIDTH), cells.at(3).leftJustified(QUALITY_WIDTH),
                       cells.at(4).rightJustified(AGE_WIDTH),   cells.at(5).rightJustified(CHANGES_WIDTH)}
        .join(QStringLiteral("  "));
}

}  // namespace

QString tableTitle(const ValueTable& table) {
    return line(widthsOf(table),
                {QStringLiteral("NAME"), QStringLiteral("ADDRESS"), QStringLiteral("VALUE"),
                 QStringLiteral("QUALITY"), QStringLiteral("AGE"), QStringLiteral("CHANGES")});
}

QString tableLine(const ValueTable& table, int index, qint64 nowUs) {
    const Point& point = table.points().at(index);
    const PointState& state = table.state(index);
    const QString value =
        state.known ? valueWithUnit(point.format, point.type, state.raw) : QStringLiteral("-");
    return line(widthsOf(table), {point.name, point.notation(), value, qualityText(state.quality),
                                  ageText(state, nowUs), QString::number(state.changes)});
}

QString ageText(const PointState& state, qint64 nowUs) {
    if (!state.known) {
        return QStringLiteral("-");
    }
    const qint64 seconds = (nowUs - state.readUs) / 1000000;
    if (seconds < 10) {
        return QStringLiteral("%1 s").arg(static_cast<double>(nowUs - state.readUs) / 1e6, 0, 'f', 1);
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

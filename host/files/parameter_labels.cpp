#include "host/files/parameter_labels.h"

#include <algorithm>

namespace dx7 {

ParameterLabels::ParameterLabels(const QVector<LineTag>& tags) {
    for (const LineTag& tag : tags) {
        for (const Point& point : tag.points) {
            const bool word = point.items() == 1;
            for (int i = 0; i < point.items(); ++i) {
                const QString name =
                    word ? point.name
                         : QStringLiteral("%1, word %2 of %3").arg(point.name).arg(i + 1).arg(point.items());
                labels_[{point.type.name, point.address + i}] +=
                    Label{point.station, name, word ? point.format : ValueFormat()};
            }
        }
    }
}

void ParameterLabels::label(Point* point) const {
    const auto found = labels_.find({point->type.name, point->address});
    if (found == labels_.end()) {
        return;
    }
    const auto* const own = std::find_if(found->begin(), found->end(), [point](const Label& label) {
        return label.station == point->station;
    });
    const Label& label = own == found->end() ? found->first() : *own;
    point->name = label.name;
    point->format = label.format;
}

QString ParameterLabels::comment(Point point, int value) const {
    point.name = point.notation();
    label(&point);
    if (!isLabelled(point)) {
        return QString();
    }
    return QStringLiteral("%1: %2").arg(point.name,
                                        valueWithUnit(point.format, point.type, static_cast<quint32>(value)));
}

bool isLabelled(const Point& point) {
    return point.name != point.notation();
}

QString labelledName(const Point& point) {
    return isLabelled(point) ? QStringLiteral("%1 (%2)").arg(point.name, point.notation()) : point.name;
}

QString labelledValue(const Point& point, int value) {
    const QString shown = valueWithUnit(point.format, point.type, static_cast<quint32>(value));
    const QString stored = QString::number(value);
    return shown == stored ? stored : QStringLiteral("%1 (%2)").arg(shown, stored);
}

}  // namespace dx7

/// \file
/// What the tags of a line file say of parameters.
#ifndef DX7_HOST_PARAMETER_LABELS_H
#define DX7_HOST_PARAMETER_LABELS_H

#include <QHash>
#include <QPair>

#include "host/files/line_tag.h"

namespace dx7 {

/// Names and formats of parameters, by their items. A tag names the item at its own station and, where none
/// does so for that station, at others: a file with the tags of one device is a template for its like. A
/// parameter is one word: each word of a 32-bit tag gets the tag's name, and no format. A value type.
class ParameterLabels {
public:
    ParameterLabels() = default;
    /// Keeps copies of what it needs.
    explicit ParameterLabels(const QVector<LineTag>& tags);

    /// Gives a point of a parameter the name and format of its tag, when there is one.
    void label(Point* point) const;
    /// "speed: 50.0 Hz", the comment of a value in a parameter file; empty without a tag.
    QString comment(Point point, int value) const;

private:
    struct Label {
        int station = 0;
        QString name;
        ValueFormat format;
    };
    using Item = QPair<QString, int>;
    QHash<Item, QVector<Label>> labels_;
};

/// Whether label() has given the point a name.
bool isLabelled(const Point& point);
/// "speed (F:3.0.25@1)", or the item alone.
QString labelledName(const Point& point);
/// "50.0 Hz (500)", the value in its format with unit and as it is stored; the number alone where both look
/// the same.
QString labelledValue(const Point& point, int value);

}  // namespace dx7

#endif

#include "host/files/named_items.h"

#include "host/error.h"
#include "host/items/address_text.h"

namespace dx7 {

namespace {

// As a part of a sentence; empty without one.
QString nearestTag(const QString& nearest) {
    return nearest.isNull() ? QString() : QStringLiteral("; the nearest tag is \"%1\"").arg(nearest);
}

}  // namespace

void refuseName(const QString& typed, const QStringList& tags) {
    throw UsageError(QStringLiteral("\"%1\" is neither an item (TYPE:ADDRESS[,COUNT][@STATION[-LAST]]) nor a "
                                    "tag of the file%2")
                         .arg(typed, nearestTag(nearestName(tags, typed))));
}

NamedItems::NamedItems(const ItemNotation& notation, const QVector<LineTag>& tags) : notation_(notation) {
    QVector<Point> points;
    for (const LineTag& tag : tags) {
        byName_.insert(tag.name, tag.points);
        for (const Point& point : tag.points) {
            byName_.insert(point.name, {point});
        }
        points += tag.points;
    }
    const auto rules = std::make_shared<const TagRules>(points);
    rules_ = rules->any() ? rules : nullptr;
}

QVector<Point> NamedItems::points(const QString& text) const {
    const auto tag = byName_.find(text);
    if (tag != byName_.end()) {
        return *tag;
    }
    QVector<Point> points;
    try {
        points = notation_.points(text);
    } catch (const UsageError& error) {
        refuse(text, error.text());
    }
    for (Point& point : points) {
        point.rules = rules_;
    }
    return points;
}

QVector<WriteRequest> NamedItems::writes(const QString& text) const {
    // A name may hold the sign, a value does not.
    const int equals = text.lastIndexOf(QLatin1Char('='));
    const QString name = text.left(equals);
    if (equals < 0 && byName_.contains(text)) {
        throw UsageError(QStringLiteral("tag \"%1\" has no value, write %1=VALUE[,VALUE...]").arg(text));
    }
    const auto tag = equals < 0 ? byName_.end() : byName_.find(name);
    if (tag != byName_.end()) {
        return {ItemNotation::writeTag(name, *tag, text.mid(equals + 1))};
    }
    QVector<WriteRequest> requests;
    try {
        for (const QString& item : ItemNotation::perStation(text)) {
            requests += notation_.write(item);
        }
    } catch (const UsageError& error) {
        refuse(name, error.text());
    }
    for (WriteRequest& request : requests) {
        request.first.rules = rules_;
        checkWrite(request);
    }
    return requests;
}

// What has no colon was not meant as an item where there are tags.
void NamedItems::refuse(const QString& typed, const QString& fault) const {
    if (byName_.isEmpty() || typed.isEmpty()) {
        throw UsageError(fault);
    }
    if (!typed.contains(QLatin1Char(':'))) {
        refuseName(typed, byName_.keys());
    }
    const QString nearest = nearestName(byName_.keys(), typed);
    throw UsageError(nearest.contains(QLatin1Char(':')) ? fault + nearestTag(nearest) : fault);
}

}  // namespace dx7

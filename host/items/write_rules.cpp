#include "host/items/write_rules.h"

#include "host/error.h"

namespace dx7 {

namespace {

// Whether the tag is one of the stations that are written, and shares an item with the write.
bool overlaps(const Point& tag, const Point& first, int items) {
    const bool station = first.station == tag.station || first.station == 0;
    return station && tag.type.name == first.type.name && tag.address < first.address + items &&
           first.address < tag.address + tag.items();
}

}  // namespace

TagRules::TagRules(const QVector<Point>& tags) {
    for (const Point& tag : tags) {
        if (!tag.readOnlyBy.isEmpty() || tag.format.limits.any()) {
            ruled_ += tag;
        }
    }
}

void TagRules::checkWritable(const Point& first, int items) const {
    for (const Point& tag : ruled_) {
        if (!tag.readOnlyBy.isEmpty() && overlaps(tag, first, items)) {
            throw UsageError(QStringLiteral("%1 is tag \"%2\", which is read-only by %3")
                                 .arg(tag.notation(), tag.name, tag.readOnlyBy));
        }
    }
}

void TagRules::checkValues(const WriteRequest& request) const {
    for (const Point& tag : ruled_) {
        if (!tag.format.limits.any() || !overlaps(tag, request.first, request.items.size())) {
            continue;
        }
        const int offset = tag.address - request.first.address;
        if (offset < 0 || offset + tag.items() > request.items.size()) {
            throw UsageError(
                QStringLiteral("%1 is a part of tag \"%2\", which has limits; write the tag as a "
                               "whole by its name")
                    .arg(request.name, tag.name));
        }
        try {
            checkLimits(tag.format, tag.type,
                        rawFromItems(tag.format, request.items.mid(offset, tag.items())));
        } catch (const UsageError& error) {
            throw UsageError(
                QStringLiteral("%1 is tag \"%2\": %3").arg(tag.notation(), tag.name, error.text()));
        }
    }
}

void checkWritable(const Point& first, int values) {
    const int items = values * first.items();
    ItemNotation::checkWritable(first.type, first.station, first.address, items);
    if (!first.readOnlyBy.isEmpty()) {
        throw UsageError(QStringLiteral("tag \"%1\" is read-only by %2").arg(first.name, first.readOnlyBy));
    }
    if (first.rules) {
        first.rules->checkWritable(first, items);
    }
}

void checkWrite(const WriteRequest& request) {
    checkWritable(request.first, request.values());
    if (request.first.rules) {
        request.first.rules->checkValues(request);
    }
}

}  // namespace dx7

/// \file
/// What the tags of a file say of writing. One thread at a time.
#ifndef DX7_HOST_WRITE_RULES_H
#define DX7_HOST_WRITE_RULES_H

#include <QVector>

#include "host/items/item_notation.h"

namespace dx7 {

/// What tags say of writing their items, for writes that do not name the tag.
class TagRules {
public:
    /// Keeps copies of those of the tags' points that are read-only or have limits.
    explicit TagRules(const QVector<Point>& tags);

    bool any() const { return !ruled_.isEmpty(); }
    /// Throws UsageError, which names the tag, when one of `items` items from that of `first` on is of a
    /// read-only tag.
    void checkWritable(const Point& first, int items) const;
    /// Throws UsageError, which names the tag, when a tag does not allow the value that the write gives it,
    /// or a part of it.
    void checkValues(const WriteRequest& request) const;

private:
    QVector<Point> ruled_;
};

}  // namespace dx7

#endif

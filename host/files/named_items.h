/// \file
/// What a user may name on a command line: items, and the tags of a file.
#ifndef DX7_HOST_NAMED_ITEMS_H
#define DX7_HOST_NAMED_ITEMS_H

#include <QHash>
#include <memory>

#include "host/files/line_tag.h"
#include "host/items/write_rules.h"

namespace dx7 {

/// Throws the UsageError of a text that is neither an item nor one of the tags, with the nearest of these.
[[noreturn]] void refuseName(const QString& typed, const QStringList& tags);

/// Items and tags by the texts that users type. All functions throw UsageError with a sentence that names the
/// text, the fault, and the nearest tag. It calls the driver, so on the thread of its session.
class NamedItems {
public:
    /// `notation` is borrowed and must outlive the object; of `tags`, which may be none, it keeps copies.
    NamedItems(const ItemNotation& notation, const QVector<LineTag>& tags);

    /// The points of an item text, or of a name: of a tag, or of one of its points. Those of an item have the
    /// rules of the tags.
    QVector<Point> points(const QString& text) const;
    /// The writes of "NAME=VALUE[,VALUE...]", NAME as for points(): one for each station.
    QVector<WriteRequest> writes(const QString& text) const;

private:
    [[noreturn]] void refuse(const QString& typed, const QString& fault) const;

    const ItemNotation& notation_;
    /// By each name: of a tag, and of its points.
    QHash<QString, QVector<Point>> byName_;
    /// Null when no tag has any.
    std::shared_ptr<const TagRules> rules_;
};

}  // namespace dx7

#endif

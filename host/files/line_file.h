/// \file
/// A line and its tags in a TOML file.
#ifndef DX7_HOST_LINE_FILE_H
#define DX7_HOST_LINE_FILE_H

#include <QHash>
#include <memory>

#include "host/files/line_tag.h"
#include "host/items/item_notation.h"
#include "host/line/line_settings.h"

namespace dx7 {

class PlantTables;

/// A file that is read once, so that it may be a pipe, with the files that it includes. Borrows nothing after
/// a call. One thread at a time.
class LineFile {
public:
    /// Throws UsageError as PlantTables does.
    explicit LineFile(const QString& path, QStringList* faults = nullptr);
    ~LineFile();

    /// The names of its lines, in their order; empty for one without a name. None without a line.
    QStringList lines() const;
    /// The index of the line with this name. Throws UsageError that names the nearest.
    int lineNamed(const QString& name) const;
    /// The index of the line of the tag with this name, or of one of its points; empty when there is no such
    /// tag.
    std::optional<int> lineOfTag(const QString& name) const;
    /// A tag by what the file calls it, whether or not it is valid.
    struct NamedTag {
        QString name;
        /// As "AI:0@2".
        QString item;
        /// Index of its line.
        int line;
    };
    /// In the order of the file.
    QVector<NamedTag> namedTags() const;
    /// The lines with tags, in ascending order, each once.
    QVector<int> linesWithTags() const;
    /// Its own path, and those of the files that it includes.
    QStringList paths() const;

    /// Takes a line of the file over into `settings`: name, serial or tcp, baud, parity, data_bits,
    /// stop_bits, rs485, echo, timeout, retries, block, gap; `late` is accepted for old files and has no
    /// effect. Throws UsageError with line and column for the first fault of the
    /// file; what was taken before that stays in `settings`.
    /// `line` is its index; there is nothing to take where the file has no line.
    void apply(LineSettings& settings, int line = 0) const;

    /// The file's tags, as readTag() takes them, of all lines, with at most 100000 points. Throws UsageError
    /// with file, line and column, also for a name that is taken, by a point as well.
    QVector<LineTag> tags(const ItemNotation& notation) const;
    /// The same; what is wrong goes to `*faults` instead, and tags with a fault are left out.
    QVector<LineTag> tags(const ItemNotation& notation, QStringList* faults) const;

private:
    Q_DISABLE_COPY(LineFile)
    std::unique_ptr<PlantTables> tables_;
    /// Of all tags by their names, and of those with a count.
    QHash<QString, int> lineOfTag_;
    QHash<QString, int> lineOfRow_;
};

/// A line file with the comment, the port and its baud rate, parity, data and stop bits. The other settings
/// are left out.
QByteArray lineFileText(const LineSettings& settings, const QString& comment);

}  // namespace dx7

#endif

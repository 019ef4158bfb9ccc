/// \file
/// The tables of a line file and of the files that it includes, each with what its place says of it.
#ifndef DX7_HOST_PLANT_TABLES_H
#define DX7_HOST_PLANT_TABLES_H

#include <QHash>
#include <QStringList>
#include <QVector>
#include <list>
#include <optional>
#include <vector>

#include "host/files/line_tag.h"
#include "host/files/toml_file.h"

namespace dx7 {

/// Reads every file once, its own first. What a file includes is a regular file; one of `include` at the top
/// has tables of any kind, one of a device has its tags. It owns what it has read; on one thread at a time.
class PlantTables {
public:
    /// A table [line], or one of several [[line]].
    struct Line {
        /// Empty for one without a name.
        QString name;
        TomlTable table;
    };
    /// A table [[tag]], or [[device.tag]] at one of the device's stations.
    struct Tag {
        TomlTable table;
        TagPlace place;
        /// Index in lines(); 0 where there is none.
        int line;
    };

    /// Throws UsageError, with file, line and column of the first fault, for what cannot be read or is not
    /// valid TOML, unknown keys of files and devices, files that include themselves, lines without a name
    /// where there are several, names of lines and devices that are taken, and tags of no line or of an
    /// unknown one. With `faults` these go there instead, what has one is left out, and only a file that
    /// cannot be read itself is thrown.
    explicit PlantTables(const QString& path, QStringList* faults = nullptr);

    const std::vector<Line>& lines() const { return lines_; }
    const std::vector<Tag>& tags() const { return tags_; }
    /// Its own file, and those that it includes, as they were named.
    const QStringList& paths() const { return paths_; }
    /// The index of the line with this name. Throws UsageError that names the nearest.
    int lineNamed(const QString& name) const;

private:
    Q_DISABLE_COPY(PlantTables)
    struct Device;
    /// The files that include each other down to the one that is read.
    using Chain = QStringList;

    const toml::table& content(const QString& path, const QString& identity);
    void readFile(const QString& path, const Chain& chain);
    void readLines(const TomlTable& file);
    void addLine(const TomlTable& line, bool named);
    void readDevice(const TomlTable& table, const Chain& chain);
    void readTags(const TomlTable& file, const Device& device);
    void readTemplate(const QString& path, const Chain& chain, const Device& device);
    template <typename Step>
    void attempt(const Step& step);
    template <typename Read>
    void include(const TomlTable& table, const Chain& chain, const Read& read);
    QString includedPath(const TomlTable& table, const toml::node& element, const Chain& chain);
    void resolveLines();

    /// A tag whose line is not looked up yet.
    struct Pending {
        Tag tag;
        /// The table that names the line: the tag's or its device's.
        TomlTable owner;
    };

    /// Null when the first fault is thrown.
    QStringList* faults_;
    std::list<toml::table> files_;
    QHash<QString, const toml::table*> byIdentity_;
    QStringList paths_;
    int includes_ = 0;
    std::vector<Line> lines_;
    QStringList devices_;
    std::vector<TomlTable> deviceTables_;
    std::vector<Pending> pending_;
    std::vector<Tag> tags_;
};

}  // namespace dx7

#endif

#include "host/files/plant_tables.h"

#include <QDir>
#include <QFileInfo>

#include "common/modbus_limits.h"
#include "host/items/address_text.h"

namespace dx7 {

namespace {

constexpr int MOST_INCLUDES = 1000;
constexpr int MOST_TAG_TABLES = 100000;

// The elements of an array of tables.
std::vector<TomlTable> tablesOf(const TomlTable& parent, const char* key, const char* written) {
    std::vector<TomlTable> tables;
    const toml::node* node = parent.node(key);
    if (node == nullptr) {
        return tables;
    }
    if (!node->is_array()) {
        parent.refuse(key, QStringLiteral("write every %1 as a table of its own: %2")
                               .arg(QLatin1String(key), QLatin1String(written)));
    }
    for (const toml::node& element : *node->as_array()) {
        tables.push_back(parent.table(element, key));
    }
    return tables;
}

QString checkedName(const TomlTable& table, const char* what) {
    const auto name = table.text("name");
    if (!name) {
        table.refuse(QStringLiteral("the %1 has no name").arg(QLatin1String(what)));
    }
    if (name->isEmpty()) {
        table.refuse("name", QStringLiteral("the %1's name is empty").arg(QLatin1String(what)));
    }
    if (hasControlCharacter(*name)) {
        table.refuse("name",
                     QStringLiteral("the %1's name holds a control character").arg(QLatin1String(what)));
    }
    return *name;
}

int checkedStation(const TomlTable& device, const char* key, const std::optional<qint64>& station) {
    if (!station) {
        device.refuse(key, QStringLiteral("%1 is not a list of whole numbers").arg(QLatin1String(key)));
    }
    if (*station < dx7common::LOWEST_STATION || *station > dx7common::HIGHEST_STATION) {
        device.refuse(key, QStringLiteral("%1 is %2, it must be %3 to %4")
                               .arg(QLatin1String(key))
                               .arg(*station)
                               .arg(dx7common::LOWEST_STATION)
                               .arg(dx7common::HIGHEST_STATION));
    }
    return static_cast<int>(*station);
}

// The stations of `stations`, in their order.
QVector<int> stationList(const TomlTable& device) {
    const toml::node& node = *device.node("stations");
    if (!node.is_array() || node.as_array()->empty()) {
        device.refuse("stations", QStringLiteral("stations is not a list of stations, as [1, 2]"));
    }
    QVector<int> stations;
    for (const toml::node& element : *node.as_array()) {
        const auto number = element.value_exact<int64_t>();
        const int station =
            checkedStation(device, "stations", number ? std::optional<qint64>(*number) : std::nullopt);
        if (stations.contains(station)) {
            device.refuse(element.source(), QStringLiteral("station %1 is there twice").arg(station));
        }
        stations += station;
    }
    return stations;
}

// What tells files apart, however they are named.
QString identityOf(const QString& path) {
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? path : canonical;
}

}  // namespace

struct PlantTables::Device {
    TomlTable table;
    QVector<TagPlace> places;
};

PlantTables::PlantTables(const QString& path, QStringList* faults) : faults_(faults) {
    readFile(path, {});
    resolveLines();
}

// A step with a fault ends, and so does the reading where faults are not collected.
template <typename Step>
void PlantTables::attempt(const Step& step) {
    if (faults_ == nullptr) {
        step();
        return;
    }
    try {
        step();
    } catch (const UsageError& error) {
        // A template is read for each of its devices.
        if (!faults_->contains(error.text())) {
            *faults_ += error.text();
        }
    }
}

const toml::table& PlantTables::content(const QString& path, const QString& identity) {
    const auto known = byIdentity_.constFind(identity);
    if (known != byIdentity_.constEnd()) {
        return **known;
    }
    files_.push_back(parseToml(path, readTomlText(path)));
    paths_ += path;
    byIdentity_.insert(identity, &files_.back());
    return files_.back();
}

void PlantTables::readFile(const QString& path, const Chain& chain) {
    const QString identity = identityOf(path);
    const TomlTable file(path, content(path, identity));
    attempt([&] { file.checkKeys({"include", "line", "tag", "device"}); });
    const Chain own = chain + QStringList{identity};
    attempt([&] { include(file, own, [&](const QString& included) { readFile(included, own); }); });
    attempt([&] { readLines(file); });
    attempt([&] {
        for (const TomlTable& tag : tablesOf(file, "tag", "[[tag]]")) {
            pending_.push_back(Pending{Tag{tag, TagPlace(), 0}, tag});
        }
    });
    attempt([&] {
        for (const TomlTable& device : tablesOf(file, "device", "[[device]]")) {
            attempt([&] { readDevice(device, own); });
        }
    });
}

// Calls `read` with each file that the table includes, by a path from here.
template <typename Read>
void PlantTables::include(const TomlTable& table, const Chain& chain, const Read& read) {
    const toml::node* node = table.node("include");
    if (node == nullptr) {
        return;
    }
    if (!node->is_array()) {
        table.refuse("include", QStringLiteral("include is not a list of files, as [\"drive.toml\"]"));
    }
    for (const toml::node& element : *node->as_array()) {
        attempt([&] { read(includedPath(table, element, chain)); });
    }
}

// The path from here of what is included.
QString PlantTables::includedPath(const TomlTable& table, const toml::node& element, const Chain& chain) {
    const auto name = element.value_exact<std::string>();
    if (!name || name->empty()) {
        table.refuse(element.source(), QStringLiteral("include: what is included is not the name of a file"));
    }
    if (++includes_ > MOST_INCLUDES) {
        table.refuse(element.source(),
                     QStringLiteral("more than %1 files are included up to here").arg(MOST_INCLUDES));
    }
    // A pipe is in no folder of the user's.
    const QFileInfo including(table.path());
    const QString folder = including.isFile() ? including.path() : QStringLiteral(".");
    const QString named = tomlText(*name);
    QString path = QDir::isAbsolutePath(named) || folder == QLatin1String(".")
                       ? named
                       : QDir::cleanPath(folder + QLatin1Char('/') + named);
    if (chain.contains(identityOf(path))) {
        table.refuse(element.source(), QStringLiteral("%1 is included by itself").arg(path));
    }
    const QFileInfo file(path);
    if (file.exists() && !file.isFile()) {
        table.refuse(element.source(), QStringLiteral("%1 is not a file").arg(path));
    }
    if (!byIdentity_.contains(identityOf(path)) && !(file.exists() && file.isReadable())) {
        table.blame(element.source(), QString(), [&] { readTomlText(path); });
    }
    return path;
}

void PlantTables::readLines(const TomlTable& file) {
    const toml::node* node = file.node("line");
    if (node != nullptr && !node->is_array()) {
        addLine(file.table(*node, "line"), false);
        return;
    }
    for (const TomlTable& line : tablesOf(file, "line", "[[line]]")) {
        attempt([&] { addLine(line, true); });
    }
}

void PlantTables::addLine(const TomlTable& line, bool named) {
    const QString name = named || line.has("name") ? checkedName(line, "line") : QString();
    for (const Line& other : lines_) {
        if (other.name == name && !name.isEmpty()) {
            line.refuse("name", QStringLiteral("the line's name \"%1\" is taken already").arg(name));
        }
        if (other.name.isEmpty() || name.isEmpty()) {
            const TomlTable& nameless = name.isEmpty() ? line : other.table;
            nameless.refuse(QStringLiteral("there are several lines: this one has no name"));
        }
    }
    lines_.push_back(Line{name, line});
}

void PlantTables::readDevice(const TomlTable& table, const Chain& chain) {
    table.checkKeys({"name", "line", "station", "stations", "include", "tag"});
    Device device{table, {}};
    const QString name = checkedName(table, "device");
    if (devices_.contains(name)) {
        table.refuse("name", QStringLiteral("the device's name \"%1\" is taken already").arg(name));
    }
    devices_ += name;
    deviceTables_.push_back(table);
    if (table.has("station") && table.has("stations")) {
        table.refuse("stations", QStringLiteral("a device has station or stations"));
    }
    if (table.has("stations")) {
        for (const int station : stationList(table)) {
            device.places += TagPlace{QStringLiteral("%1 %2/").arg(name).arg(station), station};
        }
    } else {
        const int station =
            checkedStation(table, "station", table.integer("station").value_or(dx7common::LOWEST_STATION));
        device.places += TagPlace{name + QLatin1Char('/'), station};
    }
    include(table, chain, [&](const QString& included) { readTemplate(included, chain, device); });
    readTags(table, device);
}

void PlantTables::readTemplate(const QString& path, const Chain& chain, const Device& device) {
    const QString identity = identityOf(path);
    const TomlTable file(path, content(path, identity));
    file.checkKeys({"include", "tag"});
    const Chain own = chain + QStringList{identity};
    include(file, own, [&](const QString& included) { readTemplate(included, own, device); });
    readTags(file, device);
}

// Station by station, so that those of one are beside each other.
void PlantTables::readTags(const TomlTable& file, const Device& device) {
    const std::vector<TomlTable> tags = tablesOf(file, "tag", "[[device.tag]]");
    for (const TagPlace& place : device.places) {
        for (const TomlTable& tag : tags) {
            for (const char* key : {"station", "line"}) {
                if (tag.has(key)) {
                    tag.refuse(key,
                               QStringLiteral("the device says %1, not its tags").arg(QLatin1String(key)));
                }
            }
            if (pending_.size() >= MOST_TAG_TABLES) {
                tag.refuse(QStringLiteral("there are more than %1 tags up to here").arg(MOST_TAG_TABLES));
            }
            pending_.push_back(Pending{Tag{tag, place, 0}, device.table});
        }
    }
}

int PlantTables::lineNamed(const QString& name) const {
    QStringList names;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        if (lines_[i].name == name) {
            return static_cast<int>(i);
        }
        names += lines_[i].name;
    }
    names.removeAll(QString());
    if (names.isEmpty()) {
        throw UsageError(QStringLiteral("there is no line \"%1\": no line of the file has a name").arg(name));
    }
    const QString nearest = nearestName(names, name);
    throw UsageError(
        QStringLiteral("there is no line \"%1\", the lines are %2%3")
            .arg(name, names.join(QStringLiteral(", ")),
                 nearest.isNull() ? QString() : QStringLiteral("; the nearest is \"%1\"").arg(nearest)));
}

void PlantTables::resolveLines() {
    QStringList names;
    for (const Line& line : lines_) {
        names += line.name;
    }
    const auto lineOf = [&](const TomlTable& owner) {
        int found = 0;
        const auto line = owner.text("line");
        if (line) {
            owner.blame("line", QString(), [&] { found = lineNamed(*line); });
        } else if (lines_.size() > 1) {
            owner.refuse(QStringLiteral("there are several lines, say which: line = \"%1\" (or %2)")
                             .arg(names.first(), names.mid(1).join(QStringLiteral(", "))));
        }
        return found;
    };
    // A device may have no tags.
    for (const TomlTable& device : deviceTables_) {
        attempt([&] { lineOf(device); });
    }
    for (Pending& pending : pending_) {
        attempt([&] {
            pending.tag.line = lineOf(pending.owner);
            tags_.push_back(pending.tag);
        });
    }
    pending_.clear();
    faults_ = nullptr;
}

}  // namespace dx7

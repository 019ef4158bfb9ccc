#include "host/files/line_file.h"

#include <QSet>

#include "common/modbus_limits.h"
#include "host/error.h"
#include "host/files/toml_file.h"

namespace dx7 {

namespace {

enum { HIGHEST_TAG_COUNT = 1000, MOST_POINTS = 100000 };

const toml::table& tableAt(const QString& path, const toml::node& node, const char* what) {
    if (!node.is_table()) {
        refuseToml(path, node.source(), QStringLiteral("%1 is not a table").arg(QLatin1String(what)));
    }
    return *node.as_table();
}

// Whatever `action` refuses was caused by this key of the table, or by the table itself when it has no such
// key.
template <typename Action>
void blame(const QString& path, const toml::table& table, const char* key, const QString& prefix,
           const Action& action) {
    QString fault;
    try {
        action();
        return;
    } catch (const UsageError& error) {
        fault = error.text();
    }
    const toml::node* node = table.get(key);
    refuseToml(path, node != nullptr ? node->source() : table.source(), prefix + fault);
}

int wholeNumber(const QString& path, const toml::table& table, const char* key, int lowest, int highest,
                int fallback) {
    const qint64 value = tomlInteger(path, table, key).value_or(fallback);
    if (value < lowest || value > highest) {
        refuseToml(path, table.get(key)->source(),
                   QStringLiteral("%1 is %2, it must be %3 to %4")
                       .arg(QLatin1String(key))
                       .arg(value)
                       .arg(lowest)
                       .arg(highest));
    }
    return static_cast<int>(value);
}

// Takes a number of the line over.
void takeSetting(const QString& path, const toml::table& line, const char* key, LineSettings& settings,
                 int LineSettings::*setting) {
    const auto value = tomlInteger(path, line, key);
    blame(path, line, key, QString(), [&] {
        if (value) {
            setNumber(settings, setting, *value);
        }
    });
}

void takeCarrier(const QString& path, const toml::table& line, LineSettings& settings) {
    const auto serial = tomlText(path, line, "serial");
    const auto tcp = tomlText(path, line, "tcp");
    settings.rs485 = tomlFlag(path, line, "rs485").value_or(settings.rs485);
    if (serial && tcp) {
        refuseToml(path, line.get("tcp")->source(), QStringLiteral("a line is either serial or tcp"));
    }
    if (serial) {
        if (serial->isEmpty()) {
            refuseToml(path, line.get("serial")->source(), QStringLiteral("serial names no port"));
        }
        settings.carrier = Carrier::Serial;
        settings.serialPort = *serial;
    } else if (tcp) {
        blame(path, line, "tcp", QString(), [&] { setTcpAddress(settings, *tcp); });
        if (settings.rs485) {
            refuseToml(path, line.get("rs485")->source(), QStringLiteral("RS-485 mode needs a serial port"));
        }
    }
}

QString neededText(const QString& path, const toml::table& table, const char* key) {
    const auto value = tomlText(path, table, key);
    if (!value) {
        refuseToml(path, table.source(), QStringLiteral("the tag has no %1").arg(QLatin1String(key)));
    }
    return *value;
}

// An address may be written as text or, where it is plain decimal, as a number.
QString addressText(const QString& path, const toml::table& table) {
    const toml::node* node = table.get("address");
    return node != nullptr && node->is_integer() ? QString::number(*tomlInteger(path, table, "address"))
                                                 : neededText(path, table, "address");
}

// The key that gives a tag its format.
const char* formatKey(const toml::table& table) {
    return table.contains("format") ? "format" : table.contains("scale") ? "scale" : "unit";
}

ValueFormat tagFormat(const QString& path, const toml::table& table, const QString& prefix) {
    ValueFormat format;
    const auto options = tomlText(path, table, "format");
    blame(path, table, "format", prefix,
          [&] { format = formatFromOptions(options ? options->split(QLatin1Char('/')) : QStringList()); });
    if (const auto scale = tomlNumber(path, table, "scale")) {
        blame(path, table, "scale", prefix,
              [&] { applyFormatOption(format, QStringLiteral("scale=%1").arg(*scale, 0, 'g', 17)); });
    }
    if (const auto unit = tomlText(path, table, "unit")) {
        blame(path, table, "unit", prefix,
              [&] { applyFormatOption(format, QStringLiteral("unit=%1").arg(*unit)); });
    }
    return format;
}

// A tag that is named like an item is that item: anything else would write to another one than it says.
void refuseNameOfAnotherItem(const QString& path, const toml::table& table, const ItemNotation& notation,
                             const Point& point, const QString& name) {
    if (!name.contains(QLatin1Char(':'))) {
        return;
    }
    QVector<Point> named;
    try {
        named = notation.points(name);
    } catch (const UsageError&) {
        return;  // a name and nothing else
    }
    const Point& item = named.first();
    const bool own = named.size() == 1 && item.type.name == point.type.name &&
                     item.address == point.address && item.station == point.station;
    if (!own) {
        refuseToml(path, table.get("name")->source(),
                   QStringLiteral("the tag's name \"%1\" is the text of another item").arg(name));
    }
}

LineTag lineTag(const QString& path, const toml::table& table, const ItemNotation& notation) {
    checkTomlKeys(path, table, {"name", "type", "address", "station", "count", "format", "scale", "unit"});
    const QString name = neededText(path, table, "name");
    const QString prefix = QStringLiteral("tag \"%1\": ").arg(name);
    if (name.isEmpty()) {
        refuseToml(path, table.get("name")->source(), QStringLiteral("the tag's name is empty"));
    }
    if (hasControlCharacter(name)) {
        refuseToml(path, table.get("name")->source(),
                   QStringLiteral("the tag's name holds a control character"));
    }
    Point point;
    const QString typeName = neededText(path, table, "type");
    blame(path, table, "type", prefix, [&] { point.type = notation.type(typeName); });
    point.station =
        wholeNumber(path, table, "station", dx7common::LOWEST_STATION, dx7common::HIGHEST_STATION, 1);
    const bool counted = table.contains("count");
    const int count = wholeNumber(path, table, "count", 1, HIGHEST_TAG_COUNT, 1);
    point.format = tagFormat(path, table, prefix);
    const QString address = addressText(path, table);
    blame(path, table, "address", prefix,
          [&] { point.address = notation.address(point.type, address, count, point.items()); });
    refuseNameOfAnotherItem(path, table, notation, point, name);
    LineTag tag{name, {}};
    for (int i = 0; i < count; ++i) {
        blame(path, table, point.type.bit ? formatKey(table) : "address", prefix,
              [&] { ItemNotation::checkFormat(point.type, point.address, point.format); });
        point.name = counted ? QStringLiteral("%1[%2]").arg(name).arg(i) : name;
        tag.points += point;
        point.address += point.items();
    }
    return tag;
}

QStringList namesOf(const LineTag& tag) {
    QStringList names{tag.name};
    for (const Point& point : tag.points) {
        if (point.name != tag.name) {
            names += point.name;
        }
    }
    return names;
}

void checkTop(const QString& path, const toml::table& table) {
    checkTomlKeys(path, table, {"line", "tag"});
}

}  // namespace

struct LineFile::Content {
    QString path;
    toml::table file;
};

LineFile::LineFile(const QString& path) : content_(new Content{path, readToml(path)}) {
    checkTop(path, content_->file);
}

LineFile::~LineFile() = default;

void LineFile::apply(LineSettings& settings) const {
    const QString& path = content_->path;
    const toml::table& file = content_->file;
    const toml::node* node = file.get("line");
    if (node == nullptr) {
        return;
    }
    const toml::table& line = tableAt(path, *node, "line");
    checkTomlKeys(path, line,
                  {"serial", "tcp", "baud", "parity", "data_bits", "stop_bits", "rs485", "timeout", "late",
                   "retries", "block", "gap", "echo"});
    takeCarrier(path, line, settings);
    takeSetting(path, line, "baud", settings, &LineSettings::baud);
    takeSetting(path, line, "data_bits", settings, &LineSettings::dataBits);
    takeSetting(path, line, "stop_bits", settings, &LineSettings::stopBits);
    takeSetting(path, line, "timeout", settings, &LineSettings::timeoutMs);
    // Without effect since replies are proven; files of earlier versions have it.
    tomlInteger(path, line, "late");
    takeSetting(path, line, "retries", settings, &LineSettings::retries);
    takeSetting(path, line, "block", settings, &LineSettings::block);
    const auto gap = tomlNumber(path, line, "gap");
    const auto parity = tomlText(path, line, "parity");
    const auto echo = tomlText(path, line, "echo");
    blame(path, line, "gap", QString(),
          [&] { settings.gapMs = gap ? std::optional<double>(gapFromUser(*gap)) : settings.gapMs; });
    blame(path, line, "parity", QString(),
          [&] { settings.parity = parity ? parityFromText(*parity) : settings.parity; });
    blame(path, line, "echo", QString(), [&] { settings.echo = echo ? echoFromText(*echo) : settings.echo; });
}

QVector<LineTag> LineFile::tags(const ItemNotation& notation) const {
    const QString& path = content_->path;
    const toml::table& file = content_->file;
    const toml::node* node = file.get("tag");
    if (node == nullptr) {
        return {};
    }
    if (!node->is_array()) {
        refuseToml(path, node->source(), QStringLiteral("write every tag as a table of its own: [[tag]]"));
    }
    QVector<LineTag> tags;
    QSet<QString> names;
    int points = 0;
    for (const toml::node& element : *node->as_array()) {
        const LineTag tag = lineTag(path, tableAt(path, element, "tag"), notation);
        for (const QString& name : namesOf(tag)) {
            if (names.contains(name)) {
                refuseToml(path, element.source(),
                           QStringLiteral("the name \"%1\" is taken already").arg(name));
            }
            names.insert(name);
        }
        points += tag.points.size();
        if (points > MOST_POINTS) {
            refuseToml(path, element.source(),
                       QStringLiteral("there are more than %1 items up to here").arg(int(MOST_POINTS)));
        }
        tags += tag;
    }
    return tags;
}

QVector<Point> tagsFromFile(const QString& path, const ItemNotation& notation) {
    QVector<Point> points;
    for (const LineTag& tag : LineFile(path).tags(notation)) {
        points += tag.points;
    }
    return points;
}

void applyLineFile(LineSettings& settings, const QString& path) {
    LineFile(path).apply(settings);
}

}  // namespace dx7

#include "host/files/line_file.h"

#include <QSet>

#include "common/modbus_limits.h"
#include "host/files/toml_file.h"

namespace dx7 {

namespace {

constexpr int HIGHEST_TAG_COUNT = 1000;
constexpr int MOST_POINTS = 100000;

int wholeNumber(const TomlTable& table, const char* key, int lowest, int highest, int fallback) {
    const qint64 value = table.integer(key).value_or(fallback);
    if (value < lowest || value > highest) {
        table.refuse(key, QStringLiteral("%1 is %2, it must be %3 to %4")
                              .arg(QLatin1String(key))
                              .arg(value)
                              .arg(lowest)
                              .arg(highest));
    }
    return static_cast<int>(value);
}

// Takes a number of the line over.
void takeSetting(const TomlTable& line, const char* key, LineSettings& settings, int LineSettings::*setting) {
    const auto value = line.integer(key);
    line.blame(key, QString(), [&] {
        if (value) {
            setNumber(settings, setting, *value);
        }
    });
}

void takeCarrier(const TomlTable& line, LineSettings& settings) {
    const auto serial = line.text("serial");
    const auto tcp = line.text("tcp");
    settings.rs485 = line.flag("rs485").value_or(settings.rs485);
    if (serial && tcp) {
        line.refuse("tcp", QStringLiteral("a line is either serial or tcp"));
    }
    if (serial) {
        if (serial->isEmpty()) {
            line.refuse("serial", QStringLiteral("serial names no port"));
        }
        settings.carrier = Carrier::Serial;
        settings.serialPort = *serial;
    } else if (tcp) {
        line.blame("tcp", QString(), [&] { setTcpAddress(settings, *tcp); });
        if (settings.rs485) {
            line.refuse("rs485", QStringLiteral("RS-485 mode needs a serial port"));
        }
    }
}

QString neededText(const TomlTable& table, const char* key) {
    const auto value = table.text(key);
    if (!value) {
        table.refuse(QStringLiteral("the tag has no %1").arg(QLatin1String(key)));
    }
    return *value;
}

// An address may be written as text or, where it is plain decimal, as a number.
QString addressText(const TomlTable& table) {
    const toml::node* node = table.node("address");
    return node != nullptr && node->is_integer() ? QString::number(*table.integer("address"))
                                                 : neededText(table, "address");
}

// The key that gives a tag its format.
const char* formatKey(const TomlTable& table) {
    return table.has("format") ? "format" : table.has("scale") ? "scale" : "unit";
}

ValueFormat tagFormat(const TomlTable& table, const QString& prefix) {
    ValueFormat format;
    const auto options = table.text("format");
    table.blame("format", prefix, [&] {
        format = formatFromOptions(options ? options->split(QLatin1Char('/')) : QStringList());
    });
    if (const auto scale = table.number("scale")) {
        table.blame("scale", prefix,
                    [&] { applyFormatOption(format, QStringLiteral("scale=%1").arg(*scale, 0, 'g', 17)); });
    }
    if (const auto unit = table.text("unit")) {
        table.blame("unit", prefix, [&] { applyFormatOption(format, QStringLiteral("unit=%1").arg(*unit)); });
    }
    return format;
}

// A tag that is named like an item is that item: anything else would write to another one than it says.
void refuseNameOfAnotherItem(const TomlTable& table, const ItemNotation& notation, const Point& point,
                             const QString& name) {
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
        table.refuse("name", QStringLiteral("the tag's name \"%1\" is the text of another item").arg(name));
    }
}

LineTag lineTag(const TomlTable& table, const ItemNotation& notation) {
    table.checkKeys({"name", "type", "address", "station", "count", "format", "scale", "unit"});
    const QString name = neededText(table, "name");
    const QString prefix = QStringLiteral("tag \"%1\": ").arg(name);
    if (name.isEmpty()) {
        table.refuse("name", QStringLiteral("the tag's name is empty"));
    }
    if (hasControlCharacter(name)) {
        table.refuse("name", QStringLiteral("the tag's name holds a control character"));
    }
    Point point;
    const QString typeName = neededText(table, "type");
    table.blame("type", prefix, [&] { point.type = notation.type(typeName); });
    point.station = wholeNumber(table, "station", dx7common::LOWEST_STATION, dx7common::HIGHEST_STATION, 1);
    const bool counted = table.has("count");
    const int count = wholeNumber(table, "count", 1, HIGHEST_TAG_COUNT, 1);
    point.format = tagFormat(table, prefix);
    const QString address = addressText(table);
    table.blame("address", prefix,
                [&] { point.address = notation.address(point.type, address, count, point.items()); });
    refuseNameOfAnotherItem(table, notation, point, name);
    LineTag tag{name, {}};
    for (int i = 0; i < count; ++i) {
        table.blame(point.type.bit ? formatKey(table) : "address", prefix,
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

}  // namespace

struct LineFile::Content {
    toml::table file;
    TomlTable top;

    Content(const QString& path, const QByteArray& text) : file(parseToml(path, text)), top(path, file) {}
};

LineFile::LineFile(const QString& path) : content_(new Content(path, readTomlText(path))) {
    content_->top.checkKeys({"line", "tag"});
}

LineFile::~LineFile() = default;

void LineFile::apply(LineSettings& settings) const {
    const TomlTable& file = content_->top;
    const toml::node* node = file.node("line");
    if (node == nullptr) {
        return;
    }
    const TomlTable line = file.table(*node, "line");
    line.checkKeys({"serial", "tcp", "baud", "parity", "data_bits", "stop_bits", "rs485", "timeout", "late",
                    "retries", "block", "gap", "echo"});
    takeCarrier(line, settings);
    takeSetting(line, "baud", settings, &LineSettings::baud);
    takeSetting(line, "data_bits", settings, &LineSettings::dataBits);
    takeSetting(line, "stop_bits", settings, &LineSettings::stopBits);
    takeSetting(line, "timeout", settings, &LineSettings::timeoutMs);
    // Without effect since replies are proven; files of earlier versions have it.
    line.integer("late");
    takeSetting(line, "retries", settings, &LineSettings::retries);
    takeSetting(line, "block", settings, &LineSettings::block);
    const auto gap = line.number("gap");
    const auto parity = line.text("parity");
    const auto echo = line.text("echo");
    line.blame("gap", QString(), [&] {
        if (gap) {
            settings.gapMs = gapFromUser(*gap);
        }
    });
    line.blame("parity", QString(),
               [&] { settings.parity = parity ? parityFromText(*parity) : settings.parity; });
    line.blame("echo", QString(), [&] { settings.echo = echo ? echoFromText(*echo) : settings.echo; });
}

QVector<LineTag> LineFile::tags(const ItemNotation& notation) const {
    const TomlTable& file = content_->top;
    const toml::node* node = file.node("tag");
    if (node == nullptr) {
        return {};
    }
    if (!node->is_array()) {
        file.refuse("tag", QStringLiteral("write every tag as a table of its own: [[tag]]"));
    }
    QVector<LineTag> tags;
    QSet<QString> names;
    int points = 0;
    for (const toml::node& element : *node->as_array()) {
        const LineTag tag = lineTag(file.table(element, "tag"), notation);
        for (const QString& name : namesOf(tag)) {
            if (names.contains(name)) {
                file.refuse(element.source(), QStringLiteral("the name \"%1\" is taken already").arg(name));
            }
            names.insert(name);
        }
        points += tag.points.size();
        if (points > MOST_POINTS) {
            file.refuse(element.source(),
                        QStringLiteral("there are more than %1 items up to here").arg(MOST_POINTS));
        }
        tags += tag;
    }
    return tags;
}

}  // namespace dx7

#include "host/files/line_tag.h"

#include "common/modbus_limits.h"
#include "host/duration_text.h"
#include "host/files/toml_file.h"
#include "host/number_text.h"

namespace dx7 {

namespace {

constexpr int HIGHEST_TAG_COUNT = 1000;

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

// The key of `enum`: a whole number as people write it, with a minus sign where it is negative.
std::optional<qint64> enumNumber(const QString& key) {
    const bool negative = key.startsWith(QLatin1Char('-'));
    const std::optional<qint64> size = plainNumber(negative ? key.mid(1) : key);
    return size && negative ? std::optional<qint64>(-*size) : size;
}

void takeEnum(const TomlTable& table, const QString& prefix, Point& point) {
    const TomlTable names = table.table(*table.node("enum"), "enum");
    if (names.begin() == names.end()) {
        table.refuse("enum", prefix + QStringLiteral("enum names nothing"));
    }
    for (const auto& [key, node] : names) {
        const QString number = tomlText(key.str());
        const std::optional<qint64> value = enumNumber(number);
        if (!value) {
            names.refuse(key.source(),
                         prefix + QStringLiteral("enum: \"%1\" is not a whole decimal number").arg(number));
        }
        const std::optional<std::string> name = node.value_exact<std::string>();
        if (!name) {
            names.refuse(node.source(),
                         prefix + QStringLiteral("enum: what %1 means is not a text").arg(number));
        }
        names.blame(node.source(), prefix + QStringLiteral("enum: "),
                    [&] { setNumberName(point.format, point.type, *value, tomlText(*name)); });
    }
}

void takeBits(const TomlTable& table, const QString& prefix, Point& point) {
    const toml::node& list = *table.node("bits");
    if (!list.is_array() || list.as_array()->empty()) {
        table.refuse("bits", prefix + QStringLiteral("bits is not a list of names, that of bit 0 first"));
    }
    for (const toml::node& node : *list.as_array()) {
        const std::optional<std::string> name = node.value_exact<std::string>();
        if (!name) {
            table.refuse(node.source(), prefix + QStringLiteral("bits: a name is not a text"));
        }
        table.blame(node.source(), prefix + QStringLiteral("bits: "),
                    [&] { addBitName(point.format.names, point.format.bits(point.type), tomlText(*name)); });
    }
}

// Names that the format can have, and no others.
void takeNames(const TomlTable& table, const QString& prefix, Point& point) {
    const char* const key = table.has("enum") ? "enum" : "bits";
    if (!table.has(key)) {
        return;
    }
    for (const char* other : {"bits", "min", "max", "step"}) {
        if (QLatin1String(key) != QLatin1String(other) && table.has(other)) {
            table.refuse(
                other,
                prefix +
                    QStringLiteral("%1 does not go with %2").arg(QLatin1String(other), QLatin1String(key)));
        }
    }
    if (point.format.scaled()) {
        table.refuse(key, prefix + QStringLiteral("%1 does not go with a scale").arg(QLatin1String(key)));
    }
    if (table.has("enum")) {
        takeEnum(table, prefix, point);
    } else {
        takeBits(table, prefix, point);
    }
    table.blame(key, prefix, [&] { ItemNotation::checkFormat(point.type, point.address, point.format); });
}

void takeLimits(const TomlTable& table, const QString& prefix, Point& point) {
    const auto take = [&](const char* key, void (*set)(ValueFormat&, const RegisterType&, double)) {
        if (const auto given = table.number(key)) {
            table.blame(key, prefix + QStringLiteral("%1: ").arg(QLatin1String(key)),
                        [&] { set(point.format, point.type, *given); });
        }
    };
    take("min", setMin);
    take("max", setMax);
    take("step", setStep);
}

void takeInterval(const TomlTable& table, const QString& prefix, Point& point) {
    const auto interval = table.text("interval");
    table.blame("interval", prefix, [&] {
        if (interval) {
            point.intervalUs = durationUs(*interval, "interval", SHORTEST_INTERVAL_US);
        }
    });
}

QString tagName(const TomlTable& table) {
    QString name = neededText(table, "name");
    if (name.isEmpty()) {
        table.refuse("name", QStringLiteral("the tag's name is empty"));
    }
    if (hasControlCharacter(name)) {
        table.refuse("name", QStringLiteral("the tag's name holds a control character"));
    }
    return name;
}

}  // namespace

LineTag readTag(const TomlTable& table, const TagPlace& place, const ItemNotation& notation) {
    table.checkKeys({"name", "type", "address", "line", "station", "count", "format", "scale", "unit", "min",
                     "max", "step", "readonly", "verify", "enum", "bits", "interval"});
    const QString name = place.prefix + tagName(table);
    const QString prefix = QStringLiteral("tag \"%1\": ").arg(name);
    Point point;
    const QString typeName = neededText(table, "type");
    table.blame("type", prefix, [&] { point.type = notation.type(typeName); });
    point.station = place.station.value_or(
        wholeNumber(table, "station", dx7common::LOWEST_STATION, dx7common::HIGHEST_STATION, 1));
    const bool counted = table.has("count");
    const int count = wholeNumber(table, "count", 1, HIGHEST_TAG_COUNT, 1);
    point.format = tagFormat(table, prefix);
    const QString address = addressText(table);
    table.blame("address", prefix,
                [&] { point.address = notation.address(point.type, address, count, point.items()); });
    refuseNameOfAnotherItem(table, notation, point, name);
    const auto checkFormat = [&] {
        table.blame(point.type.bit ? formatKey(table) : "address", prefix,
                    [&] { ItemNotation::checkFormat(point.type, point.address, point.format); });
    };
    checkFormat();
    takeNames(table, prefix, point);
    takeLimits(table, prefix, point);
    point.readOnlyBy = table.flag("readonly").value_or(false) ? table.path() : QString();
    point.verify = table.flag("verify");
    takeInterval(table, prefix, point);
    LineTag tag;
    tag.name = name;
    for (int i = 0; i < count; ++i) {
        checkFormat();
        point.name = counted ? QStringLiteral("%1[%2]").arg(name).arg(i) : name;
        tag.points += point;
        point.address += point.items();
    }
    return tag;
}

}  // namespace dx7

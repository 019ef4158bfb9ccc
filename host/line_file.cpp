#include "line_file.h"

#include <QSet>

#include "error.h"
#include "toml_file.h"

namespace dx7 {

namespace {

const toml::table& tableAt(const QString& path, const toml::node& node, const char* what) {
    if (!node.is_table()) {
        refuseToml(path, node.source(), QStringLiteral("%1 is not a table").arg(QLatin1String(what)));
    }
    return *node.as_table();
}

void takeInteger(const QString& path, const toml::table& table, const char* key, int* setting) {
    const auto value = tomlInteger(path, table, key);
    if (value && (*value < -1000000000 || *value > 1000000000)) {
        refuseToml(path, table.get(key)->source(), QStringLiteral("%1 is out of range").arg(*value));
    }
    *setting = static_cast<int>(value.value_or(*setting));
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

QVector<Point> tagPoints(const QString& path, const toml::table& table, const ItemNotation& notation) {
    checkTomlKeys(path, table, {"name", "type", "address", "station", "count", "format", "scale", "unit"});
    const QString name = neededText(path, table, "name");
    QString item = QStringLiteral("%1:%2").arg(neededText(path, table, "type"), addressText(path, table));
    const auto count = tomlInteger(path, table, "count");
    const auto format = tomlText(path, table, "format");
    if (count) {
        item += QStringLiteral(",%1").arg(*count);
    }
    item += QStringLiteral("@%1").arg(tomlInteger(path, table, "station").value_or(1));
    if (format) {
        item += QLatin1Char('/') + *format;
    }
    QVector<Point> points;
    try {
        points = notation.points(item);
        for (int i = 0; i < points.size(); ++i) {
            Point& point = points[i];
            point.name = count ? QStringLiteral("%1[%2]").arg(name).arg(i) : name;
            point.format.unit = tomlText(path, table, "unit").value_or(point.format.unit);
            if (const auto scale = tomlNumber(path, table, "scale")) {
                applyFormatOption(point.format, QStringLiteral("scale=%1").arg(*scale, 0, 'g', 17));
            }
        }
    } catch (const UsageError& error) {
        const QString place = path + QLatin1Char(':');
        if (error.text().startsWith(place)) {
            throw;
        }
        refuseToml(path, table.source(), QStringLiteral("tag \"%1\": %2").arg(name, error.text()));
    }
    return points;
}

void checkTop(const QString& path, const toml::table& table) {
    checkTomlKeys(path, table, {"line", "tag"});
}

}  // namespace

void applyLineFile(LineSettings& settings, const QString& path) {
    const toml::table file = readToml(path);
    checkTop(path, file);
    const toml::node* node = file.get("line");
    if (node == nullptr) {
        return;
    }
    const toml::table& line = tableAt(path, *node, "line");
    checkTomlKeys(path, line,
                  {"serial", "tcp", "baud", "parity", "data_bits", "stop_bits", "rs485", "timeout", "late",
                   "retries", "block", "gap"});
    const auto serial = tomlText(path, line, "serial");
    const auto tcp = tomlText(path, line, "tcp");
    if (serial && tcp) {
        refuseToml(path, line.get("tcp")->source(), QStringLiteral("a line is either serial or tcp"));
    }
    takeInteger(path, line, "baud", &settings.baud);
    takeInteger(path, line, "data_bits", &settings.dataBits);
    takeInteger(path, line, "stop_bits", &settings.stopBits);
    takeInteger(path, line, "timeout", &settings.timeoutMs);
    takeInteger(path, line, "late", &settings.lateMs);
    takeInteger(path, line, "retries", &settings.retries);
    takeInteger(path, line, "block", &settings.block);
    settings.rs485 = tomlFlag(path, line, "rs485").value_or(settings.rs485);
    settings.gapMs = tomlNumber(path, line, "gap").value_or(settings.gapMs);
    try {
        if (serial) {
            settings.carrier = Carrier::Serial;
            settings.serialPort = *serial;
        } else if (tcp) {
            setTcpAddress(settings, *tcp);
        }
        if (const auto parity = tomlText(path, line, "parity")) {
            settings.parity = parityFromText(*parity);
        }
        checkSettings(settings);
    } catch (const UsageError& error) {
        refuseToml(path, line.source(), error.text());
    }
}

QVector<Point> tagsFromFile(const QString& path, const ItemNotation& notation) {
    const toml::table file = readToml(path);
    checkTop(path, file);
    const toml::node* node = file.get("tag");
    if (node == nullptr) {
        return {};
    }
    if (!node->is_array()) {
        refuseToml(path, node->source(), QStringLiteral("write every tag as a table of its own: [[tag]]"));
    }
    QVector<Point> points;
    QSet<QString> names;
    for (const toml::node& element : *node->as_array()) {
        for (const Point& point : tagPoints(path, tableAt(path, element, "tag"), notation)) {
            if (names.contains(point.name)) {
                refuseToml(path, element.source(),
                           QStringLiteral("the name \"%1\" is taken already").arg(point.name));
            }
            names.insert(point.name);
            points += point;
        }
    }
    return points;
}

}  // namespace dx7

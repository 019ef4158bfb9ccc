#include "host/files/line_file.h"

#include <QSet>
#include <algorithm>

#include "host/files/line_tag.h"
#include "host/files/plant_tables.h"
#include "host/files/toml_file.h"

namespace dx7 {

namespace {

constexpr int MOST_POINTS = 100000;

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
    const auto modbusTcp = line.text("modbus_tcp");
    settings.rs485 = line.flag("rs485").value_or(settings.rs485);
    if ((serial && tcp) || (modbusTcp && (serial || tcp))) {
        line.refuse(modbusTcp ? "modbus_tcp" : "tcp",
                    QStringLiteral("a line is one of serial, tcp and modbus_tcp"));
    }
    if (serial) {
        if (serial->isEmpty()) {
            line.refuse("serial", QStringLiteral("serial names no port"));
        }
        settings.carrier = Carrier::Serial;
        settings.serialPort = *serial;
    } else if (tcp) {
        line.blame("tcp", QString(), [&] { setTcpAddress(settings, *tcp); });
    } else if (modbusTcp) {
        line.blame("modbus_tcp", QString(), [&] { setModbusTcpAddress(settings, *modbusTcp); });
    }
    if (settings.rs485 && (tcp || modbusTcp)) {
        line.refuse("rs485", QStringLiteral("RS-485 mode needs a serial port"));
    }
}

// As a basic string of TOML.
QString quoted(QString text) {
    text.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

// A text or a whole number of a table that is not checked yet; empty for anything else.
QString rawText(const TomlTable& table, const char* key) {
    const toml::node* node = table.node(key);
    if (node == nullptr) {
        return {};
    }
    if (const auto text = node->value_exact<std::string>()) {
        return tomlText(*text);
    }
    const auto number = node->value_exact<int64_t>();
    return number ? QString::number(*number) : QString();
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

// Adds the tag's names to those that are taken.
void claimNames(const TomlTable& table, const LineTag& tag, QSet<QString>& taken) {
    for (const QString& name : namesOf(tag)) {
        if (taken.contains(name)) {
            table.refuse(QStringLiteral("the name \"%1\" is taken already").arg(name));
        }
        taken.insert(name);
    }
}

}  // namespace

LineFile::LineFile(const QString& path, QStringList* faults)
    : tables_(std::make_unique<PlantTables>(path, faults)) {
    for (const PlantTables::Tag& tag : tables_->tags()) {
        const QString name = tag.place.prefix + rawText(tag.table, "name");
        lineOfTag_.insert(name, tag.line);
        if (tag.table.has("count")) {
            lineOfRow_.insert(name, tag.line);
        }
    }
}

LineFile::~LineFile() = default;

QStringList LineFile::lines() const {
    QStringList names;
    for (const PlantTables::Line& line : tables_->lines()) {
        names += line.name;
    }
    return names;
}

int LineFile::lineNamed(const QString& name) const {
    return tables_->lineNamed(name);
}

std::optional<int> LineFile::lineOfTag(const QString& name) const {
    // "out[1]" is a point of "out", or a tag that is called so.
    const auto own = lineOfTag_.constFind(name);
    if (own != lineOfTag_.constEnd()) {
        return *own;
    }
    const int bracket = name.endsWith(QLatin1Char(']')) ? name.lastIndexOf(QLatin1Char('[')) : -1;
    const auto row = bracket < 0 ? lineOfRow_.constEnd() : lineOfRow_.constFind(name.left(bracket));
    return row == lineOfRow_.constEnd() ? std::nullopt : std::optional<int>(*row);
}

QVector<LineFile::NamedTag> LineFile::namedTags() const {
    QVector<NamedTag> named;
    for (const PlantTables::Tag& tag : tables_->tags()) {
        const QString name = rawText(tag.table, "name");
        if (!name.isEmpty()) {
            const QString station =
                tag.place.station ? QString::number(*tag.place.station) : rawText(tag.table, "station");
            named += NamedTag{tag.place.prefix + name,
                              rawText(tag.table, "type") + QLatin1Char(':') + rawText(tag.table, "address") +
                                  QLatin1Char('@') + (station.isEmpty() ? QStringLiteral("1") : station),
                              tag.line};
        }
    }
    return named;
}

QVector<int> LineFile::linesWithTags() const {
    QVector<int> found;
    for (const PlantTables::Tag& tag : tables_->tags()) {
        if (!found.contains(tag.line)) {
            found += tag.line;
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

QStringList LineFile::paths() const {
    return tables_->paths();
}

void LineFile::apply(LineSettings& settings, int line) const {
    if (tables_->lines().empty()) {
        return;
    }
    const TomlTable& table = tables_->lines()[static_cast<std::size_t>(line)].table;
    table.checkKeys({"name", "serial", "tcp", "modbus_tcp", "baud", "parity", "data_bits", "stop_bits",
                     "rs485", "timeout", "late", "retries", "block", "gap", "echo"});
    settings.name = tables_->lines()[static_cast<std::size_t>(line)].name;
    takeCarrier(table, settings);
    takeSetting(table, "baud", settings, &LineSettings::baud);
    takeSetting(table, "data_bits", settings, &LineSettings::dataBits);
    takeSetting(table, "stop_bits", settings, &LineSettings::stopBits);
    takeSetting(table, "timeout", settings, &LineSettings::timeoutMs);
    // Without effect since replies are proven; files of earlier versions have it.
    table.integer("late");
    takeSetting(table, "retries", settings, &LineSettings::retries);
    takeSetting(table, "block", settings, &LineSettings::block);
    const auto gap = table.number("gap");
    const auto parity = table.text("parity");
    const auto echo = table.text("echo");
    table.blame("gap", QString(), [&] {
        if (gap) {
            settings.gapMs = gapFromUser(*gap);
        }
    });
    table.blame("parity", QString(),
                [&] { settings.parity = parity ? parityFromText(*parity) : settings.parity; });
    table.blame("echo", QString(), [&] { settings.echo = echo ? echoFromText(*echo) : settings.echo; });
}

QVector<LineTag> LineFile::tags(const ItemNotation& notation) const {
    return tags(notation, nullptr);
}

QVector<LineTag> LineFile::tags(const ItemNotation& notation, QStringList* faults) const {
    QVector<LineTag> tags;
    QSet<QString> names;
    QSet<QString> told;
    int points = 0;
    for (const PlantTables::Tag& source : tables_->tags()) {
        try {
            LineTag tag = readTag(source.table, source.place, notation);
            tag.line = source.line;
            claimNames(source.table, tag, names);
            points += tag.points.size();
            if (points > MOST_POINTS) {
                source.table.refuse(
                    QStringLiteral("there are more than %1 items up to here").arg(MOST_POINTS));
            }
            tags += tag;
        } catch (const UsageError& error) {
            if (faults == nullptr || points > MOST_POINTS) {
                throw;
            }
            QString fault = error.text();
            // A template has one for each of its stations; the first is told.
            const int before = told.size();
            told.insert(fault.remove(source.place.prefix));
            if (told.size() > before) {
                *faults += error.text();
            }
        }
    }
    return tags;
}

QByteArray lineFileText(const LineSettings& settings, const QString& comment) {
    QString text;
    for (const QString& line : comment.split(QLatin1Char('\n'))) {
        text += QStringLiteral("# ") + line + QLatin1Char('\n');
    }
    text += QStringLiteral("[line]\n");
    if (isOverTcp(settings)) {
        text += QStringLiteral("%1 = %2\n")
                    .arg(QLatin1String(settings.carrier == Carrier::Tcp ? "tcp" : "modbus_tcp"),
                         quoted(tcpAddressText(settings)));
    } else {
        text += QStringLiteral("serial = %1\n").arg(quoted(settings.serialPort));
    }
    text += QStringLiteral("baud = %1\nparity = \"%2\"\ndata_bits = %3\nstop_bits = %4\n")
                .arg(settings.baud)
                .arg(parityText(settings.parity))
                .arg(settings.dataBits)
                .arg(settings.stopBits);
    return text.toUtf8();
}

}  // namespace dx7

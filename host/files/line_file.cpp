#include "host/files/line_file.h"

#include <QSet>

#include "host/files/line_tag.h"
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

void takeName(const TomlTable& line, LineSettings& settings) {
    const QString name = line.text("name").value_or(settings.name);
    if (line.has("name") && name.isEmpty()) {
        line.refuse("name", QStringLiteral("the line's name is empty"));
    }
    if (hasControlCharacter(name)) {
        line.refuse("name", QStringLiteral("the line's name holds a control character"));
    }
    settings.name = name;
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
    line.checkKeys({"name", "serial", "tcp", "modbus_tcp", "baud", "parity", "data_bits", "stop_bits",
                    "rs485", "timeout", "late", "retries", "block", "gap", "echo"});
    takeName(line, settings);
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
        const LineTag tag = readTag(file.table(element, "tag"), notation);
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

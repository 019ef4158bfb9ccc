#include "host/cli/options.h"

#include <QRegularExpression>
#include <algorithm>
#include <cmath>
#include <limits>

#include "host/cli/value_offers.h"
#include "host/error.h"
#include "host/files/named_items.h"
#include "host/number_text.h"

namespace dx7::cli {

namespace {

// The parser's own conversion takes more: octal after 0, hexadecimal fractions, the point of the locale.
std::string refusal(bool taken, const std::string& given, const char* what) {
    return taken ? std::string() : '"' + given + "\" is not " + what;
}

// Adds options to the section of the line.
auto lineOptionsOf(CommandLine& command) {
    return [&command](const char* names, dx7common::ValueTarget target, const char* value,
                      const char* help) -> dx7common::CommandOption& {
        return command.add(names, target, help).named(value).in("Line");
    };
}

// Of the tag that is named, or written to, by an argument.
std::optional<int> lineOfArgument(const LineFile& file, const QString& argument) {
    const std::optional<int> line = file.lineOfTag(argument);
    const int equals = argument.lastIndexOf(QLatin1Char('='));
    return line || equals < 0 ? line : file.lineOfTag(argument.left(equals));
}

QString lineList(const LineFile& file, const QVector<int>& lines) {
    QStringList names;
    for (const int line : lines) {
        names += file.lines().at(line);
    }
    return names.join(QStringLiteral(", "));
}

// Those of the tags that are named, in the file's order.
QVector<int> linesNamed(const LineFile& file, const std::vector<std::string>& arguments) {
    QVector<int> lines;
    for (const std::string& argument : arguments) {
        const std::optional<int> line = lineOfArgument(file, text(argument));
        if (line && !lines.contains(*line)) {
            lines += *line;
        }
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

// A name that is misspelt tells nothing of its line.
void refuseUnknownName(const LineFile& file, const std::vector<std::string>& arguments) {
    for (const std::string& argument : arguments) {
        const QString name = text(argument).left(text(argument).lastIndexOf(QLatin1Char('=')));
        if (!name.contains(QLatin1Char(':'))) {
            QStringList tags;
            for (const LineFile::NamedTag& tag : file.namedTags()) {
                tags += tag.name;
            }
            refuseName(name, tags);
        }
    }
}

// The line called `asked` (empty: none is), else that of the tags which are named.
int chosenOf(const LineFile& file, const QString& asked, const std::vector<std::string>* named) {
    const QVector<int> lines = named == nullptr  ? QVector<int>()
                               : !named->empty() ? linesNamed(file, *named)
                               : asked.isEmpty() ? file.linesWithTags()
                                                 : QVector<int>();
    if (!asked.isEmpty()) {
        const int line = file.lineNamed(asked);
        for (const int other : lines) {
            if (other != line) {
                throw UsageError(QStringLiteral("--line is %1, and tags of %2 are named")
                                     .arg(asked, lineList(file, {other})));
            }
        }
        return line;
    }
    if (lines.size() > 1) {
        throw UsageError(QStringLiteral("the tags are of several lines, name one with --line: %1")
                             .arg(lineList(file, lines)));
    }
    if (lines.isEmpty() && file.lines().size() > 1) {
        if (named != nullptr) {
            refuseUnknownName(file, *named);
        }
        throw UsageError(QStringLiteral("%1 has several lines, name one with --line: %2")
                             .arg(file.paths().first(), file.lines().join(QStringLiteral(", "))));
    }
    return lines.isEmpty() ? 0 : lines.first();
}

}  // namespace

std::string notEmpty(const std::string& given) {
    return given.empty() ? std::string("the text is empty") : std::string();
}

std::string wholeNumber(const std::string& given) {
    const QString number = text(given);
    const QString digits = number.startsWith(QLatin1Char('-')) ? number.mid(1) : number;
    return refusal(plainNumber(digits).has_value(), given, "a whole number");
}

std::string anyNumber(const std::string& given) {
    static const QRegularExpression needless(QStringLiteral("^(\\+|-?0[0-9])"));
    const QString number = text(given);
    return refusal(!needless.match(number).hasMatch() && std::isfinite(decimalFraction(number).value_or(
                                                             std::numeric_limits<double>::infinity())),
                   given, "a number");
}

const LineFile* CommonOptions::lineFile() const {
    if (!filePath.empty() && !lineFile_) {
        lineFile_ = std::make_shared<LineFile>(text(filePath));
    }
    return lineFile_.get();
}

int CommonOptions::chosenLine() const {
    const LineFile* const lines = lineFile();
    if (lines == nullptr && !lineName.empty()) {
        throw UsageError(QStringLiteral("--line names a line of a file, name the file with -c"));
    }
    return lines == nullptr ? 0 : chosenOf(*lines, text(lineName), named);
}

void addDriverOption(CommandLine& command, CommonOptions& options) {
    command
        .add("--driver", &options.driverPath,
             "The driver library (default: $DX7_DRIVER, else beside dx7, else the loader's path)")
        .named("FILE");
}

void addJsonOption(CommandLine& command, CommonOptions& options) {
    command.add("--json", &options.json, "One JSON object per line");
}

void addSerialFormatOptions(CommandLine& command, CommonOptions& options) {
    const auto add = lineOptionsOf(command);
    add("--baud", &options.baud, "N", "Baud rate (default: the driver's)")
        .check(wholeNumber)
        .suggest({"1200", "2400", "4800", "9600", "19200", "38400", "57600", "115200"});
    add("--parity", &options.parity, "NAME", "none, even or odd (default: the driver's)")
        .suggest({"none", "even", "odd"});
    add("--data-bits", &options.dataBits, "N", "7 or 8 (default: the driver's)")
        .check(wholeNumber)
        .suggest({"7", "8"});
    add("--stop-bits", &options.stopBits, "N", "1 or 2 (default: the driver's)")
        .check(wholeNumber)
        .suggest({"1", "2"});
}

void addFileOptions(CommandLine& command, CommonOptions& options) {
    const auto add = lineOptionsOf(command);
    add("-c,--config", &options.filePath, "FILE", "A TOML file with lines and their tags").check(notEmpty);
    add("--line", &options.lineName, "NAME", "The line of the file, by its name")
        .check(notEmpty)
        .suggest(lineOffer());
}

dx7common::CommandOption& addPortOptions(CommandLine& command, CommonOptions& options) {
    const auto add = lineOptionsOf(command);
    addFileOptions(command, options);
    const auto& serial = add("--serial", &options.serialPort, "PORT", "Serial port or pseudo-terminal")
                             .check(notEmpty)
                             .suggest(portOffer());
    const auto& tcp = add("--tcp", &options.tcpAddress, "HOST[:PORT]", "RTU frames over TCP")
                          .excludes(serial)
                          .check(notEmpty);
    auto& modbusTcp =
        add("--modbus-tcp", &options.modbusTcpAddress, "HOST[:PORT]", "Modbus/TCP (default port 502)")
            .excludes(serial)
            .excludes(tcp)
            .check(notEmpty);
    addSerialFormatOptions(command, options);
    command.add("--rs485", &options.rs485, "Set the kernel's RS-485 mode on the port").in("Line");
    return modbusTcp;
}

void addLineOptions(CommandLine& command, CommonOptions& options) {
    addPortOptions(command, options);
    const auto add = lineOptionsOf(command);
    add("--timeout", &options.timeoutMs, "MS", "Time for a reply to begin (default 500)").check(wholeNumber);
    // Of earlier versions; replies are proven instead.
    add("--late", &options.lateMs, "MS", "Accepted and ignored").check(wholeNumber).hide();
    add("--retries", &options.retries, "N",
        "How often a request is sent at most; retries x timeout bounds an operation (default 3)")
        .check(wholeNumber);
    add("--echo", &options.echo, "auto|on|off",
        "Whether the adapter sends back what is sent (default auto: find out)")
        .suggest({"auto", "on", "off"});
    add("--block", &options.block, "N", "Most items in one request, 1 to 125 (default 64)")
        .check(wholeNumber);
    add("--gap", &options.gapMs, "MS", "Silence before a request (default 3.5 characters; 0 over TCP)")
        .check(anyNumber);
}

void addRecordOption(CommandLine& command, CommonOptions& options) {
    command.add("--record", &options.recordPath, "Record every request and reply into this file (pcap)")
        .named("FILE")
        .check(notEmpty)
        .in("Line");
}

void addAnywayOption(CommandLine& command, CommonOptions& options) {
    command
        .add("--anyway", &options.anyway,
             "Send at once; without it a serial line is listened to for 0.3 s, and nothing is sent where "
             "another "
             "master is heard")
        .in("Line");
}

void addDeviceOptions(CommandLine& command, CommonOptions& options) {
    addDriverOption(command, options);
    addJsonOption(command, options);
    addLineOptions(command, options);
    addRecordOption(command, options);
}

LineSettings lineSettings(const CommonOptions& options, const QString& driverParameter, bool needLine,
                          const LineSettings& defaults) {
    LineSettings settings = defaults;
    applyDriverDefaults(settings, driverParameter);
    if (const LineFile* file = options.lineFile()) {
        file->apply(settings, options.chosenLine());
    } else {
        options.chosenLine();
    }
    if (!options.serialPort.empty()) {
        settings.carrier = Carrier::Serial;
        settings.serialPort = text(options.serialPort);
    } else if (!options.tcpAddress.empty()) {
        setTcpAddress(settings, text(options.tcpAddress));
    } else if (!options.modbusTcpAddress.empty()) {
        setModbusTcpAddress(settings, text(options.modbusTcpAddress));
    } else if (needLine && settings.carrier == Carrier::None) {
        throw UsageError(QStringLiteral(
            "no line is given, use --serial PORT, --tcp HOST[:PORT] or --modbus-tcp HOST[:PORT]"));
    }
    if (options.rs485 && isOverTcp(settings)) {
        throw UsageError(QStringLiteral("RS-485 mode needs a serial port (--serial PORT)"));
    }
    // The file's RS-485 mode belongs to the file's port.
    settings.rs485 = options.rs485 || (settings.rs485 && settings.carrier == Carrier::Serial);
    const auto take = [&](const std::optional<qint64>& given, int LineSettings::*setting) {
        if (given) {
            setNumber(settings, setting, *given);
        }
    };
    take(options.baud, &LineSettings::baud);
    take(options.dataBits, &LineSettings::dataBits);
    take(options.stopBits, &LineSettings::stopBits);
    take(options.timeoutMs, &LineSettings::timeoutMs);
    take(options.retries, &LineSettings::retries);
    take(options.block, &LineSettings::block);
    if (options.gapMs) {
        settings.gapMs = gapFromUser(*options.gapMs);
    }
    if (options.echo) {
        settings.echo = echoFromText(text(*options.echo));
    }
    if (options.parity) {
        settings.parity = parityFromText(text(*options.parity));
    }
    checkSettings(settings);
    return settings;
}

LineSettings fileSettings(const LineFile& file, const QString& driverParameter, int line) {
    LineSettings settings;
    applyDriverDefaults(settings, driverParameter);
    file.apply(settings, line);
    if (settings.carrier == Carrier::None) {
        settings.carrier = Carrier::Serial;
    }
    checkSettings(settings);
    return settings;
}

QString text(const std::string& argument) {
    return QString::fromLocal8Bit(argument.c_str());
}

QStringList texts(const std::vector<std::string>& arguments) {
    QStringList list;
    for (const std::string& argument : arguments) {
        list += text(argument);
    }
    return list;
}

}  // namespace dx7::cli

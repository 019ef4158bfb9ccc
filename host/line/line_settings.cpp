#include "host/line/line_settings.h"

#include <QStringList>

#include "common/modbus_limits.h"
#include "host/error.h"
#include "host/number_text.h"

namespace dx7 {

namespace {

// Fields of the driver's parameter text, counted from 0.
enum { FIELD_BAUD = 1, FIELD_DATA_BITS, FIELD_PARITY, FIELD_STOP_BITS, FIELD_PORT = 8 };

constexpr int FASTEST_PACED_BAUD = 19200;
constexpr int FAST_GAP_US = 1750;
constexpr int MODBUS_TCP_PORT = 502;

void takeNumber(const QStringList& fields, int index, int lowest, int highest, int* setting) {
    bool ok = false;
    const int value = fields.value(index).toInt(&ok);
    if (ok && value >= lowest && value <= highest) {
        *setting = value;
    }
}

struct NumberSetting {
    int LineSettings::*setting;
    const char* what;
    int lowest;
    int highest;
};

constexpr NumberSetting NUMBER_SETTINGS[] = {
    {&LineSettings::block, "the block size (--block)", 1, dx7common::MOST_REGISTERS},
    {&LineSettings::retries, "the number of attempts (--retries)", 0, 99},
    {&LineSettings::timeoutMs, "the timeout in ms (--timeout)", 1, 600000},
    {&LineSettings::baud, "the baud rate (--baud)", 50, 4000000},
    {&LineSettings::dataBits, "the number of data bits (--data-bits)", 7, 8},
    {&LineSettings::stopBits, "the number of stop bits (--stop-bits)", 1, 2},
};

void checkRange(const NumberSetting& number, qint64 value) {
    if (value < number.lowest || value > number.highest) {
        throw UsageError(QStringLiteral("%1 is %2, it must be %3 to %4")
                             .arg(QLatin1String(number.what))
                             .arg(value)
                             .arg(number.lowest)
                             .arg(number.highest));
    }
}

void takeTcpAddress(LineSettings& settings, const QString& text) {
    const int bracket = text.lastIndexOf(QLatin1Char(']'));
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    const bool hasPort = colon > bracket && (bracket >= 0 || text.count(QLatin1Char(':')) == 1);
    QString host = hasPort ? text.left(colon) : text;
    if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']'))) {
        host = host.mid(1, host.size() - 2);
    }
    if (host.isEmpty()) {
        throw UsageError(QStringLiteral("\"%1\" names no host, use HOST or HOST:PORT").arg(text));
    }
    settings.tcpHost = host;
    if (!hasPort) {
        return;
    }
    settings.tcpPort = numberInRange(text.mid(colon + 1), "TCP port", 1, 65535);
}

}  // namespace

void applyDriverDefaults(LineSettings& settings, const QString& driverParameter) {
    const QStringList fields = driverParameter.split(QLatin1Char(','));
    takeNumber(fields, FIELD_BAUD, 1, 4000000, &settings.baud);
    takeNumber(fields, FIELD_DATA_BITS, 7, 8, &settings.dataBits);
    takeNumber(fields, FIELD_STOP_BITS, 1, 2, &settings.stopBits);
    takeNumber(fields, FIELD_PORT, 1, 65535, &settings.tcpPort);
    try {
        settings.parity = parityFromText(fields.value(FIELD_PARITY));
    } catch (const UsageError&) {
        // An unknown parity leaves the default.
    }
}

QString parityText(Parity parity) {
    switch (parity) {
        case Parity::Even:
            return QStringLiteral("even");
        case Parity::Odd:
            return QStringLiteral("odd");
        default:
            return QStringLiteral("none");
    }
}

Parity parityFromText(const QString& text) {
    const QString lower = text.toLower();
    for (const Parity parity : {Parity::None, Parity::Even, Parity::Odd}) {
        const QString name = parityText(parity);
        if (lower == name || lower == name.left(1)) {
            return parity;
        }
    }
    throw UsageError(QStringLiteral("parity \"%1\" is unknown, use none, even or odd").arg(text));
}

EchoMode echoFromText(const QString& text) {
    const QString lower = text.toLower();
    if (lower == QLatin1String("auto")) {
        return EchoMode::Auto;
    }
    if (lower == QLatin1String("on") || lower == QLatin1String("off")) {
        return lower == QLatin1String("on") ? EchoMode::On : EchoMode::Off;
    }
    throw UsageError(QStringLiteral("--echo is \"%1\", it must be auto, on or off").arg(text));
}

void setTcpAddress(LineSettings& settings, const QString& text) {
    settings.carrier = Carrier::Tcp;
    takeTcpAddress(settings, text);
}

void setModbusTcpAddress(LineSettings& settings, const QString& text) {
    settings.carrier = Carrier::ModbusTcp;
    settings.tcpPort = MODBUS_TCP_PORT;
    takeTcpAddress(settings, text);
}

double gapFromUser(double gapMs) {
    // Written so that "not a number" is refused, too.
    if (!(gapMs >= 0 && gapMs <= 10000)) {
        throw UsageError(
            QStringLiteral("the silent interval (--gap) is %1 ms, it must be 0 to 10000 ms").arg(gapMs));
    }
    return gapMs;
}

void setNumber(LineSettings& settings, int LineSettings::*setting, qint64 value) {
    for (const NumberSetting& number : NUMBER_SETTINGS) {
        if (number.setting == setting) {
            checkRange(number, value);
        }
    }
    settings.*setting = static_cast<int>(value);
}

void checkSettings(const LineSettings& settings) {
    for (const NumberSetting& number : NUMBER_SETTINGS) {
        checkRange(number, settings.*number.setting);
    }
    if (settings.gapMs) {
        gapFromUser(*settings.gapMs);
    }
}

int bitsPerCharacter(const LineSettings& settings) {
    return 1 + settings.dataBits + (settings.parity == Parity::None ? 0 : 1) + settings.stopBits;
}

qint64 lineTimeUs(const LineSettings& settings, int bytes) {
    if (isOverTcp(settings) || settings.baud <= 0) {
        return 0;
    }
    return qint64(bytes) * bitsPerCharacter(settings) * 1000000 / settings.baud;
}

qint64 silentIntervalUs(const LineSettings& settings) {
    if (settings.gapMs) {
        return static_cast<qint64>(*settings.gapMs * 1000);
    }
    if (isOverTcp(settings)) {
        return 0;
    }
    if (settings.baud > FASTEST_PACED_BAUD) {
        return FAST_GAP_US;
    }
    return lineTimeUs(settings, 7) / 2;
}

QByteArray propertyText(const LineSettings& settings, int linkId) {
    return QStringLiteral("%1#0#0#%2#%3").arg(linkId).arg(settings.retries).arg(settings.block).toLatin1();
}

QString tcpAddressText(const LineSettings& settings) {
    const bool bare = !settings.tcpHost.contains(QLatin1Char(':'));
    return QStringLiteral("%1:%2")
        .arg(bare ? settings.tcpHost : QLatin1Char('[') + settings.tcpHost + QLatin1Char(']'))
        .arg(settings.tcpPort);
}

QString lineName(const LineSettings& settings) {
    if (!settings.name.isEmpty()) {
        return settings.name;
    }
    return isOverTcp(settings) ? tcpAddressText(settings) : settings.serialPort;
}

QString describeLine(const LineSettings& settings) {
    switch (settings.carrier) {
        case Carrier::Serial:
            return QStringLiteral("serial port %1 (%2 %3%4%5)")
                .arg(settings.serialPort)
                .arg(settings.baud)
                .arg(settings.dataBits)
                .arg(parityText(settings.parity).left(1).toUpper())
                .arg(settings.stopBits);
        case Carrier::Tcp:
        case Carrier::ModbusTcp:
            return QLatin1String(settings.carrier == Carrier::Tcp ? "tcp " : "Modbus/TCP ") +
                   tcpAddressText(settings);
        default:
            return QStringLiteral("no line");
    }
}

}  // namespace dx7

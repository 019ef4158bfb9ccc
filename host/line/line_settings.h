/// \file
/// The settings of one line and what follows from them.
#ifndef DX7_HOST_LINE_SETTINGS_H
#define DX7_HOST_LINE_SETTINGS_H

#include <QByteArray>
#include <QString>
#include <optional>

namespace dx7 {

/// What carries the bytes; None while no line is given.
enum class Carrier {
    None,
    Serial,
    /// RTU frames in a TCP connection.
    Tcp,
    /// Modbus/TCP: a head with a transaction id in place of the CRC.
    ModbusTcp
};
enum class Parity { None, Even, Odd };
/// Whether the adapter sends back what is sent: found out, or known.
enum class EchoMode { Auto, On, Off };

/// How the device is reached and how the loop treats it. The line's own values are defaults until
/// applyDriverDefaults() puts the driver's in their place. Plain values; the functions here keep nothing.
struct LineSettings {
    /// What its users call it; empty when they have no name for it.
    QString name;
    Carrier carrier = Carrier::None;
    /// Path or name of the port.
    QString serialPort;
    /// Bits per second, 50 to 4000000.
    int baud = 9600;
    /// 7 or 8.
    int dataBits = 8;
    Parity parity = Parity::None;
    /// 1 or 2.
    int stopBits = 1;
    /// Ask the kernel to switch the transmitter (TIOCSRS485).
    bool rs485 = false;
    /// Nothing is ever sent: the port is opened for reading alone.
    bool listenOnly = false;
    QString tcpHost;
    int tcpPort = 8888;
    /// From the end of a request until its reply must have begun to fill; 1 to 600000.
    int timeoutMs = 500;
    /// How often a request is sent before it has failed; 0 counts as 1.
    int retries = 3;
    /// Most items that one request reads or writes, 1 to 125; eight times as many bits in a read.
    int block = 64;
    /// Silence before a request, 0 to 10000; where none is given, silentIntervalUs() follows the baud rate.
    std::optional<double> gapMs;
    /// Pause after a broadcast.
    int turnaroundMs = 100;
    EchoMode echo = EchoMode::Auto;
};

/// Takes baud rate, data bits, parity, stop bits and TCP port from the driver's 25 comma-separated
/// parameters. Fields that are missing or make no sense leave the setting alone.
void applyDriverDefaults(LineSettings& settings, const QString& driverParameter);

/// "none", "even" or "odd".
QString parityText(Parity parity);

/// "none", "even" or "odd" (or their first letters), any case. Throws UsageError for anything else.
Parity parityFromText(const QString& text);

/// Whether a TCP connection carries the bytes.
inline bool isOverTcp(const LineSettings& settings) {
    return settings.carrier == Carrier::Tcp || settings.carrier == Carrier::ModbusTcp;
}

/// "auto", "on" or "off", any case. Throws UsageError for anything else.
EchoMode echoFromText(const QString& text);

/// Takes "HOST", "HOST:PORT" or "[IPV6]:PORT" apart into carrier Tcp, tcpHost and tcpPort. Throws UsageError.
void setTcpAddress(LineSettings& settings, const QString& text);
/// The same with carrier ModbusTcp; its port is 502 when none is given.
void setModbusTcpAddress(LineSettings& settings, const QString& text);

/// "HOST:PORT" or "[IPV6]:PORT" of a line over TCP.
QString tcpAddressText(const LineSettings& settings);

/// A silent interval as the user gave it, in ms. Throws UsageError when it is not 0 to 10000.
double gapFromUser(double gapMs);

/// Takes a number over that a user gave. Throws UsageError, naming value and range, when it is out of the
/// setting's range.
void setNumber(LineSettings& settings, int LineSettings::*setting, qint64 value);

/// Throws UsageError for the first setting that cannot work.
void checkSettings(const LineSettings& settings);

/// Start, data, parity and stop bits of a character.
int bitsPerCharacter(const LineSettings& settings);

/// Time that `bytes` take on the wire; 0 over TCP, where no baud rate is known.
qint64 lineTimeUs(const LineSettings& settings, int bytes);

/// Silence that must lie before a request: the one of the settings, else 3.5 characters, fixed at 1.75 ms
/// above 19200 baud; none over TCP.
qint64 silentIntervalUs(const LineSettings& settings);

/// The property text for intf_initProperty.
QByteArray propertyText(const LineSettings& settings, int linkId);

/// "serial port /dev/ttyUSB0 (9600 8N1)", "tcp 10.0.0.7:8888" or "Modbus/TCP 10.0.0.7:502".
QString describeLine(const LineSettings& settings);

/// What the user calls it: its name, else "/dev/ttyUSB0" or "10.0.0.7:8888".
QString lineName(const LineSettings& settings);

}  // namespace dx7

#endif

#include "host/line/line_settings.h"

#include <cmath>

#include <gtest/gtest.h>

#include "host/error.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

LineSettings serial(int baud) {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.serialPort = QStringLiteral("/dev/ttyS0");
    settings.baud = baud;
    return settings;
}

TEST(LineSettings, TakesTheDriversDefaults) {
    LineSettings settings;
    settings.baud = settings.dataBits = settings.stopBits = settings.tcpPort = 0;
    settings.parity = Parity::Odd;
    QString parameter;
    driverFunctions().getDriverParameter(parameter);
    applyDriverDefaults(settings, parameter);
    EXPECT_EQ(settings.baud, 9600);
    EXPECT_EQ(settings.dataBits, 8);
    EXPECT_EQ(settings.parity, Parity::None);
    EXPECT_EQ(settings.stopBits, 1);
    EXPECT_EQ(settings.tcpPort, 8888);
}

TEST(LineSettings, ModbusTcpHasAPortOfItsOwn) {
    LineSettings settings;
    setModbusTcpAddress(settings, QStringLiteral("10.0.0.7"));
    EXPECT_EQ(settings.carrier, Carrier::ModbusTcp);
    EXPECT_EQ(settings.tcpPort, 502);
    EXPECT_EQ(describeLine(settings), QStringLiteral("Modbus/TCP 10.0.0.7:502"));
    EXPECT_EQ(lineTimeUs(settings, 100), 0);
    EXPECT_EQ(silentIntervalUs(settings), 0);
    setModbusTcpAddress(settings, QStringLiteral("[::1]:1502"));
    EXPECT_EQ(settings.tcpPort, 1502);
    setTcpAddress(settings, QStringLiteral("10.0.0.7:8888"));
    EXPECT_EQ(settings.carrier, Carrier::Tcp);
    EXPECT_FALSE(isOverTcp(LineSettings()));
}

TEST(LineSettings, SilentIntervalIsThreeAndAHalfCharacters) {
    EXPECT_EQ(silentIntervalUs(serial(9600)), 10 * 7 * 1000000 / 9600 / 2);
    EXPECT_EQ(silentIntervalUs(serial(19200)), 10 * 7 * 1000000 / 19200 / 2);
    EXPECT_EQ(silentIntervalUs(serial(38400)), 1750);
    EXPECT_EQ(silentIntervalUs(serial(115200)), 1750);
    LineSettings given = serial(9600);
    given.gapMs = 12.5;
    EXPECT_EQ(silentIntervalUs(given), 12500);
    given.carrier = Carrier::Tcp;
    given.gapMs.reset();
    EXPECT_EQ(silentIntervalUs(given), 0);
}

TEST(LineSettings, LineTimeCountsAllBitsOfACharacter) {
    LineSettings settings = serial(9600);
    EXPECT_EQ(lineTimeUs(settings, 96), 100000);
    settings.parity = Parity::Even;
    EXPECT_EQ(bitsPerCharacter(settings), 11);
    settings.stopBits = 2;
    EXPECT_EQ(bitsPerCharacter(settings), 12);
}

TEST(LineSettings, PropertyTextIsTheDriversFiveFields) {
    LineSettings settings = serial(9600);
    settings.retries = 4;
    settings.block = 32;
    EXPECT_EQ(propertyText(settings, 7), QByteArray("7#0#0#4#32"));
}

TEST(LineSettings, TakesTcpAddressesApart) {
    LineSettings settings;
    setTcpAddress(settings, QStringLiteral("10.0.0.7"));
    EXPECT_EQ(settings.tcpHost, QStringLiteral("10.0.0.7"));
    EXPECT_EQ(settings.tcpPort, 8888);
    setTcpAddress(settings, QStringLiteral("gateway:502"));
    EXPECT_EQ(settings.tcpHost, QStringLiteral("gateway"));
    EXPECT_EQ(settings.tcpPort, 502);
    setTcpAddress(settings, QStringLiteral("[fe80::1]:503"));
    EXPECT_EQ(settings.tcpHost, QStringLiteral("fe80::1"));
    EXPECT_EQ(settings.tcpPort, 503);
    for (const char* bad : {"", ":502", "host:", "host:0", "host:65536", "host:abc"}) {
        EXPECT_THROW(setTcpAddress(settings, QString::fromLatin1(bad)), UsageError) << bad;
    }
}

TEST(LineSettings, RefusesWhatCannotWork) {
    struct Case {
        const char* name;
        void (*spoil)(LineSettings&);
    };
    const Case cases[] = {
        {"block 0", [](LineSettings& s) { s.block = 0; }},
        {"block -3", [](LineSettings& s) { s.block = -3; }},
        {"block 126", [](LineSettings& s) { s.block = 126; }},
        {"timeout 0", [](LineSettings& s) { s.timeoutMs = 0; }},
        {"retries -1", [](LineSettings& s) { s.retries = -1; }},
        {"baud 0", [](LineSettings& s) { s.baud = 0; }},
        {"data bits 5", [](LineSettings& s) { s.dataBits = 5; }},
        {"stop bits 3", [](LineSettings& s) { s.stopBits = 3; }},
        {"gap -1 ms", [](LineSettings& s) { s.gapMs = -1; }},
        {"gap 20 s", [](LineSettings& s) { s.gapMs = 20000; }},
        {"gap nan", [](LineSettings& s) { s.gapMs = std::nan(""); }},
    };
    EXPECT_NO_THROW(checkSettings(serial(9600)));
    for (const Case& c : cases) {
        LineSettings settings = serial(9600);
        c.spoil(settings);
        EXPECT_THROW(checkSettings(settings), UsageError) << c.name;
    }
}

TEST(LineSettings, KnowsParitiesByNameAndLetter) {
    EXPECT_EQ(parityFromText(QStringLiteral("NONE")), Parity::None);
    EXPECT_EQ(parityFromText(QStringLiteral("e")), Parity::Even);
    EXPECT_EQ(parityFromText(QStringLiteral("Odd")), Parity::Odd);
    EXPECT_THROW(parityFromText(QStringLiteral("mark")), UsageError);
    EXPECT_THROW(parityFromText(QString()), UsageError);
}

TEST(LineSettings, KnowsEchoesByName) {
    EXPECT_EQ(LineSettings().echo, EchoMode::Auto);
    EXPECT_EQ(echoFromText(QStringLiteral("AUTO")), EchoMode::Auto);
    EXPECT_EQ(echoFromText(QStringLiteral("on")), EchoMode::On);
    EXPECT_EQ(echoFromText(QStringLiteral("Off")), EchoMode::Off);
    for (const char* bad : {"", "o", "yes", "1", "on "}) {
        EXPECT_THROW(echoFromText(QString::fromLatin1(bad)), UsageError) << bad;
    }
}

}  // namespace

#include "host/exchange/likely_settings.h"

#include <gtest/gtest.h>

#include <set>

#include "host/exchange/line_listener.h"
#include "host/files/line_file.h"

using namespace dx7;

namespace {

LineSettings serialPort() {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.serialPort = QStringLiteral("/dev/ttyUSB0");
    settings.timeoutMs = 200;
    return settings;
}

TEST(LikelySettings, AreEachBaudRateWithEachParityTheLikelyOnesFirst) {
    const QVector<LineSettings> all = likelySettings(serialPort(), {});
    ASSERT_EQ(all.size(), 24);
    std::set<std::string> names;
    for (const LineSettings& one : all) {
        names.insert(formatName(one).toStdString());
        EXPECT_EQ(one.stopBits, 1);
        EXPECT_EQ(one.dataBits, 8);
    }
    EXPECT_EQ(names.size(), 24U);
    EXPECT_EQ(formatName(all.first()), QStringLiteral("9600 8N1"));
    EXPECT_EQ(formatName(all.at(1)), QStringLiteral("19200 8N1"));
    const auto place = [&all](const char* name) {
        for (int i = 0; i < all.size(); ++i) {
            if (formatName(all.at(i)) == QLatin1String(name)) {
                return i;
            }
        }
        return -1;
    };
    EXPECT_LT(place("19200 8E1"), place("4800 8N1"));
    EXPECT_LT(place("1200 8E1"), place("9600 8O1"));
}

TEST(LikelySettings, WhatIsKnownStays) {
    LineSettings settings = serialPort();
    settings.baud = 31250;
    settings.stopBits = 2;
    const QVector<LineSettings> parities = likelySettings(settings, {true, false});
    ASSERT_EQ(parities.size(), 3);
    EXPECT_EQ(formatName(parities.first()), QStringLiteral("31250 8N2"));
    settings.parity = Parity::Odd;
    EXPECT_EQ(likelySettings(settings, {true, true}).size(), 1);
    const QVector<LineSettings> bauds = likelySettings(settings, {false, true});
    ASSERT_EQ(bauds.size(), 8);
    EXPECT_EQ(formatName(bauds.first()), QStringLiteral("9600 8O2"));
}

// 4 characters of a query, 3.5 of silence before it.
TEST(LikelySettings, ATrialTakesItsListeningAndItsTimeOuts) {
    EXPECT_EQ(searchTimeUs(serialPort(), 0), LISTEN_US);
    EXPECT_EQ(searchTimeUs(serialPort(), 16), LISTEN_US + 16 * (200000 + 4166 + 3645));
}

TEST(LikelySettings, AreWrittenAsOptions) {
    LineSettings settings = serialPort();
    settings.parity = Parity::Even;
    EXPECT_EQ(formatOptions(settings),
              QStringLiteral("--baud 9600 --parity even --data-bits 8 --stop-bits 1"));
}

TEST(LikelySettings, AreSavedAsALineFile) {
    LineSettings settings = serialPort();
    settings.serialPort = QStringLiteral("/dev/serial/by-id/a \"b\\c");
    EXPECT_EQ(
        lineFileText(settings, QStringLiteral("one\ntwo")).toStdString(),
        "# one\n# two\n[line]\nserial = \"/dev/serial/by-id/a \\\"b\\\\c\"\nbaud = 9600\nparity = \"none\"\n"
        "data_bits = 8\nstop_bits = 1\n");
    setTcpAddress(settings, QStringLiteral("[::1]:8888"));
    EXPECT_TRUE(lineFileText(settings, QString()).contains("[line]\ntcp = \"[::1]:8888\"\nbaud = 9600\n"));
    setModbusTcpAddress(settings, QStringLiteral("10.0.0.7"));
    EXPECT_TRUE(lineFileText(settings, QString()).contains("[line]\nmodbus_tcp = \"10.0.0.7:502\"\n"));
}

}  // namespace

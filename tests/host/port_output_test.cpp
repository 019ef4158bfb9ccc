#include "host/cli/port_output.h"

#include <gtest/gtest.h>

#include <QStringList>

#include "host/cli/output.h"

using namespace dx7;
using namespace dx7::cli;

namespace {

QVector<PortInfo> twoPorts() {
    PortInfo usb;
    usb.path = QStringLiteral("/dev/ttyUSB0");
    usb.adapter = QStringLiteral("FTDI FT232R USB UART");
    usb.byId = QStringLiteral("/dev/serial/by-id/usb-FTDI-port0");
    usb.latencyMs = 16;
    usb.access = {true, QStringLiteral("dialout"), true};
    usb.holders = {{4711, QStringLiteral("minicom")}};
    PortInfo board;
    board.path = QStringLiteral("/dev/ttyS0");
    board.access = {false, QStringLiteral("dialout"), true};
    return {usb, board};
}

TEST(PortOutput, ATableNamesHolderLatencyAndMissingPermission) {
    EXPECT_EQ(portLines(twoPorts()).join(QLatin1Char('\n')).toStdString(),
              "PORT          ADAPTER               LATENCY  HELD BY                 NAME THAT STAYS\n"
              "/dev/ttyUSB0  FTDI FT232R USB UART  16 ms    minicom (process 4711)  "
              "/dev/serial/by-id/usb-FTDI-port0\n"
              "/dev/ttyS0    -                     -        -                       -\n"
              "  no permission: members of the group \"dialout\" may use it: sudo usermod -aG dialout $USER, "
              "then log in again");
}

TEST(PortOutput, JsonHasAllOfIt) {
    EXPECT_EQ(portJson(twoPorts()[0]).dump(),
              R"({"event":"port","port":"/dev/ttyUSB0","adapter":"FTDI FT232R USB UART",)"
              R"("by_id":"/dev/serial/by-id/usb-FTDI-port0","latency_ms":16,"permitted":true,)"
              R"("group":"dialout","holders":[{"process":4711,"program":"minicom"}]})");
    EXPECT_EQ(portJson(twoPorts()[1]).dump(),
              R"({"event":"port","port":"/dev/ttyS0","adapter":null,"by_id":null,"latency_ms":null,)"
              R"("permitted":false,"group":"dialout","holders":[]})");
}

TEST(PortOutput, AWordForAShellIsQuotedWhereItMustBe) {
    EXPECT_EQ(shellWord(QStringLiteral("/dev/ttyUSB0")), QStringLiteral("/dev/ttyUSB0"));
    EXPECT_EQ(shellWord(QStringLiteral("a b")), QStringLiteral("'a b'"));
    EXPECT_EQ(shellWord(QStringLiteral("it's")), QStringLiteral("'it'\\''s'"));
    EXPECT_EQ(shellWord(QString()), QStringLiteral("''"));
}

struct Fault {
    LoopbackResult result;
    const char* text;
};

LoopbackResult result(int sent, int received) {
    LoopbackResult made;
    made.sent = sent;
    made.received = received;
    return made;
}

TEST(PortOutput, EachFaultOfALoopbackHasItsSentence) {
    LoopbackResult changed = result(65, 65);
    changed.difference = LoopbackResult::Difference{4, 3, 0x1A};
    LoopbackResult lost = result(1, 0);
    lost.lost = true;
    const Fault faults[] = {
        {result(321, 321), ""},
        {result(1, 0), "nothing came back: are TX and RX bridged"},
        {result(65, 12), "of 65 bytes only 12 came back"},
        {result(65, 70), "70 bytes came back in place of 65"},
        {changed, "byte 5 was sent as 03 and came back as 1A"},
        {lost, "the line was lost: unplugged"},
    };
    for (const Fault& fault : faults) {
        const std::string text = loopbackFault(fault.result, QStringLiteral("unplugged")).toStdString();
        EXPECT_EQ(text.rfind(fault.text, 0), 0U) << text;
        EXPECT_EQ(text.empty(), *fault.text == '\0') << text;
    }
}

}  // namespace

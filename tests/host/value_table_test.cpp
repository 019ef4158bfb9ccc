#include "value_table.h"

#include <gtest/gtest.h>

#include "loaded_driver.h"
#include "scripted_line.h"

using namespace dx7;

namespace {

// Values get into the driver as replies to reads, as on a line.
class ValueTableTest : public testing::Test {
protected:
    ValueTableTest() : session(driverFunctions(), QByteArray("1#0#0#3#64")) {}

    void watch(const char* items) {
        table.setPoints(notation().points(QString::fromLatin1(items).split(QLatin1Char(' '))));
    }
    QVector<int> readFromDevice(const ItemRange& range, bool bits, qint64 nowUs = 1) {
        session.addRead(range, bits);
        FRAME_PRO frame;
        while (driverFunctions().getSendFrame(&frame) == 1 && frame.opKind == TAG_WRITE) {
            answer(frame);
        }
        answer(frame);
        return table.take(session, range, nullptr, nowUs);
    }
    void answer(const FRAME_PRO& frame) {
        QByteArray reply =
            device.answer(QByteArray(reinterpret_cast<const char*>(frame.sendBuf), frame.sendLen));
        QString info;
        EXPECT_EQ(driverFunctions().dealRcvFrame(reply, info), 1);
    }

    const ItemRange word{1, QStringLiteral("F"), 0, 1};
    const ItemRange coils{1, QStringLiteral("SDO"), 1, 8};
    DriverSession session;
    ScriptedDevice device;
    ValueTable table;
};

TEST_F(ValueTableTest, TheFirstReadIsANewValueButNoChange) {
    watch("F:0.0.00");
    EXPECT_EQ(readFromDevice(word, false), QVector<int>{0});
    EXPECT_EQ(table.state(0).changes, 0);
    EXPECT_EQ(table.state(0).quality, Quality::Good);
    EXPECT_TRUE(readFromDevice(word, false).isEmpty());
    device.registers[0xF000] = 7;
    EXPECT_EQ(readFromDevice(word, false, 99), QVector<int>{0});
    EXPECT_EQ(table.state(0).changes, 1);
    EXPECT_EQ(table.state(0).raw, 7u);
    EXPECT_EQ(table.state(0).readUs, 99);
}

// The driver compares bits by whole reply bytes: it reports bits that did not change, and may miss some that
// did.
TEST_F(ValueTableTest, BitsChangeWhenTheyDifferWhateverTheDriverReports) {
    watch("SDO:1,8");
    device.coils[0x1060] = 1;
    EXPECT_EQ(readFromDevice(coils, true).size(), 8);
    const qint64 reports = session.changeReports();
    EXPECT_TRUE(readFromDevice(coils, true).isEmpty());
    EXPECT_GT(session.changeReports(), reports) << "the driver did report unchanged bits";
    // The reply's first byte is 0 + 1 in the bit's stored form: no report, yet a change of bit 1.
    for (int i = 0; i < 8; ++i) {
        device.coils[0x1060 + i] = i == 5 ? 1 : 0;
    }
    EXPECT_EQ(readFromDevice(coils, true), (QVector<int>{0, 5}));
}

TEST_F(ValueTableTest, APendingBitDoesNotShowAsTheFirstOfItsGroup) {
    watch("CW_bit:0,8");
    const ItemRange bits{1, QStringLiteral("CW_bit"), 0, 8};
    readFromDevice(bits, true);
    const ItemRange write{1, QStringLiteral("CW_bit"), 3, 1};
    session.addWrite(write, hex("01"));
    EXPECT_EQ(session.value(1, QStringLiteral("CW_bit"), 0, 1), 1)
        << "the driver shows the pending bit there";
    EXPECT_TRUE(table.take(session, bits, &write, 2).isEmpty());
    EXPECT_EQ(table.state(0).raw, 0u);
}

TEST_F(ValueTableTest, AWideValueNeedsBothWords) {
    watch("F:0.0.00/u32");
    device.registers[0xF000] = 1;
    device.registers[0xF001] = 2;
    EXPECT_TRUE(readFromDevice(word, false).isEmpty());
    EXPECT_FALSE(table.state(0).known);
    EXPECT_EQ(readFromDevice({1, QStringLiteral("F"), 1, 1}, false), QVector<int>{0});
    EXPECT_EQ(table.state(0).raw, 0x10002u);
}

TEST_F(ValueTableTest, AFailedReadKeepsTheLastGoodValue) {
    watch("F:0.0.00 F:3.0.00");
    device.registers[0xF000] = 7;
    readFromDevice(word, false, 50);
    EXPECT_EQ(table.state(1).fault, QStringLiteral("never read"));
    EXPECT_EQ(table.fail(word, QStringLiteral("no reply")), QVector<int>{0});
    EXPECT_TRUE(table.fail(word, QStringLiteral("wrong CRC")).isEmpty()) << "it is bad already";
    EXPECT_EQ(table.state(0).quality, Quality::Bad);
    EXPECT_EQ(table.state(0).fault, QStringLiteral("wrong CRC"));
    EXPECT_EQ(table.state(0).raw, 7u);
    EXPECT_EQ(table.state(0).readUs, 50);
    EXPECT_EQ(readFromDevice(word, false), QVector<int>{0}) << "good again is news";
    EXPECT_TRUE(table.state(0).fault.isEmpty());
    EXPECT_EQ(table.state(0).changes, 0);
}

TEST_F(ValueTableTest, WithoutALineEverythingIsNoLineUntilItIsReadAgain) {
    watch("F:0.0.00 F:3.0.00");
    readFromDevice(word, false);
    EXPECT_EQ(table.lineLost(), (QVector<int>{0, 1}));
    EXPECT_TRUE(table.lineLost().isEmpty()) << "they have no line already";
    EXPECT_EQ(table.state(1).quality, Quality::Bad);
    EXPECT_EQ(table.state(1).fault, QStringLiteral("no line"));
    table.lineBack();
    EXPECT_EQ(table.state(0).quality, Quality::Bad);
    EXPECT_NE(table.state(0).fault, QStringLiteral("no line"));
    EXPECT_EQ(table.state(1).fault, QStringLiteral("never read"));
    EXPECT_EQ(table.lineLost(), (QVector<int>{0, 1})) << "once more";
    table.lineBack();
    EXPECT_EQ(table.fail({1, QStringLiteral("F"), 168, 1}, QStringLiteral("no reply")), QVector<int>{1})
        << "the first reading failed";
    readFromDevice(word, false);
    EXPECT_EQ(table.state(0).quality, Quality::Good);
}

}  // namespace

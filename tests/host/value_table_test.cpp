#include "host/poll/value_table.h"

#include <gtest/gtest.h>

#include "host/exchange/transaction.h"
#include "loaded_driver.h"
#include "scripted_line.h"

using namespace dx7;

namespace {

// Values get into the driver as replies to reads, as on a line.
class ValueTableTest : public testing::Test {
protected:
    ValueTableTest() : session(driverFunctions(), QByteArray("1#0#0#3#64")) {}

    void watch(const char* items) {
        table.setPoints(notation().points(QString::fromLatin1(items).split(QLatin1Char(' '))), 0);
    }
    // Values get into the driver and from there into the table, and are proven.
    QVector<int> readFromDevice(const ItemRange& range, bool bits, qint64 nowUs = 1) {
        const std::vector<quint16> items = itemsFromDevice(range, bits);
        const ReadItems read{range, nullptr, items.data(), nowUs, ++ticket};
        arrived(read);
        return settled(read, true);
    }
    std::vector<quint16> itemsFromDevice(const ItemRange& range, bool bits) {
        session.addRead(range, bits);
        FRAME_PRO frame;
        EXPECT_TRUE(session.nextRequest(&frame));
        answer(frame);
        std::vector<quint16> items;
        session.values(range, bits ? 1 : 2, &items);
        return items;
    }
    QVector<int> settled(const ReadItems& read, bool good) {
        std::vector<int> changed;
        table.settle(read, good, &changed);
        return QVector<int>(changed.begin(), changed.end());
    }
    QVector<int> arrived(const ReadItems& read) {
        std::vector<int> changed;
        table.arrive(read, &changed);
        return QVector<int>(changed.begin(), changed.end());
    }
    void answer(const FRAME_PRO& frame) {
        QByteArray reply =
            device.answer(QByteArray(reinterpret_cast<const char*>(frame.sendBuf), frame.sendLen));
        QString info;
        EXPECT_EQ(session.takeReply(reply, info), DX7_REPLY_GOOD);
    }

    const ItemRange word{1, QStringLiteral("F"), 0, 1};
    const ItemRange coils{1, QStringLiteral("SDO"), 1, 8};
    DriverSession session;
    ScriptedDevice device;
    ValueTable table;
    quint64 ticket = 0;
};

TEST_F(ValueTableTest, TheFirstReadIsANewValueButNoChange) {
    watch("F:0.0.00");
    EXPECT_EQ(readFromDevice(word, false), QVector<int>{0});
    EXPECT_EQ(table.told(0).changes, 0);
    EXPECT_EQ(table.told(0).quality, Quality::Good);
    EXPECT_TRUE(readFromDevice(word, false).isEmpty());
    device.registers[0xF000] = 7;
    EXPECT_EQ(readFromDevice(word, false, 99), QVector<int>{0});
    EXPECT_EQ(table.told(0).changes, 1);
    EXPECT_EQ(table.told(0).raw, 7u);
    EXPECT_EQ(table.told(0).readUs, 99);
    EXPECT_EQ(table.state(0).raw, 7u);
}

TEST_F(ValueTableTest, WhatIsNotProvenIsKnownButNotTold) {
    watch("F:0.0.00");
    const quint16 first[] = {5};
    const quint16 second[] = {6};
    const ReadItems one{word, nullptr, first, 10, 1};
    const ReadItems two{word, nullptr, second, 20, 2};
    EXPECT_EQ(arrived(one), QVector<int>{0});
    EXPECT_EQ(table.state(0).quality, Quality::Fresh);
    EXPECT_EQ(table.state(0).raw, 5u);
    EXPECT_EQ(table.told(0).quality, Quality::Bad);
    EXPECT_FALSE(table.told(0).raw);
    EXPECT_EQ(arrived(two), QVector<int>{0});
    EXPECT_EQ(settled(one, true), QVector<int>{0});
    EXPECT_EQ(table.told(0).raw, 5u);
    EXPECT_EQ(table.told(0).readUs, 10);
    EXPECT_EQ(table.state(0).quality, Quality::Fresh) << "a newer one is not proven yet";
    EXPECT_EQ(table.state(0).raw, 6u);
    EXPECT_EQ(settled(two, true), QVector<int>{0});
    EXPECT_EQ(table.told(0).raw, 6u);
    EXPECT_EQ(table.told(0).changes, 1);
    EXPECT_EQ(table.state(0).quality, Quality::Good);
}

TEST_F(ValueTableTest, ADoubtfulValueIsToldAsSuchAndIsNoChange) {
    watch("F:0.0.00");
    readFromDevice(word, false);
    const quint16 items[] = {9};
    const ReadItems read{word, nullptr, items, 30, ++ticket};
    arrived(read);
    EXPECT_EQ(settled(read, false), QVector<int>{0});
    EXPECT_EQ(table.told(0).quality, Quality::Doubtful);
    EXPECT_EQ(table.told(0).raw, 9u);
    EXPECT_EQ(table.told(0).changes, 0);
    EXPECT_EQ(readFromDevice(word, false), QVector<int>{0});
    EXPECT_EQ(table.told(0).quality, Quality::Good);
    EXPECT_EQ(table.told(0).raw, 0u);
    EXPECT_EQ(table.told(0).changes, 0) << "no good value differed from the one before it";
}

// The driver compares bits by whole reply bytes: it reports bits that did not change, and may miss some that
// did. Its reports are not looked at.
TEST_F(ValueTableTest, BitsChangeWhenTheyDifferWhateverTheDriverReports) {
    watch("SDO:1,8");
    device.coils[0x1060] = 1;
    EXPECT_EQ(readFromDevice(coils, true).size(), 8);
    EXPECT_TRUE(readFromDevice(coils, true).isEmpty());
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
    std::vector<quint16> items;
    session.values(bits, 1, &items);
    EXPECT_EQ(items.front(), 1) << "the driver shows the pending bit there";
    const ReadItems read{bits, &write, items.data(), 2, ++ticket};
    EXPECT_TRUE(arrived(read).isEmpty());
    EXPECT_TRUE(settled(read, true).isEmpty());
    EXPECT_EQ(table.told(0).raw, 0u);
    EXPECT_EQ(table.state(0).raw, 0u);
}

TEST_F(ValueTableTest, AWideValueNeedsBothWords) {
    watch("F:0.0.00/u32");
    device.registers[0xF000] = 1;
    device.registers[0xF001] = 2;
    EXPECT_TRUE(readFromDevice(word, false).isEmpty());
    EXPECT_FALSE(table.told(0).raw);
    EXPECT_EQ(readFromDevice({1, QStringLiteral("F"), 1, 1}, false), QVector<int>{0});
    EXPECT_EQ(table.told(0).raw, 0x10002u);
}

TEST_F(ValueTableTest, AFailedReadKeepsTheLastGoodValue) {
    watch("F:0.0.00 F:3.0.00");
    device.registers[0xF000] = 7;
    readFromDevice(word, false, 50);
    EXPECT_EQ(table.told(1).fault, QStringLiteral("never read"));
    EXPECT_EQ(table.fail(word, QStringLiteral("no reply"), false, 5), QVector<int>{0});
    EXPECT_EQ(table.told(0).quality, Quality::Stale);
    EXPECT_EQ(table.told(0).raw, 7u);
    EXPECT_TRUE(table.fail(word, QStringLiteral("no reply"), false, 5).isEmpty()) << "it is stale already";
    EXPECT_EQ(table.fail(word, QStringLiteral("wrong CRC"), false, 5), QVector<int>{0}) << "another fault";
    EXPECT_EQ(table.told(0).fault, QStringLiteral("wrong CRC"));
    EXPECT_EQ(table.fail(word, QStringLiteral("refused"), true, 5), QVector<int>{0});
    EXPECT_EQ(table.told(0).quality, Quality::Bad);
    EXPECT_EQ(table.told(0).raw, 7u);
    EXPECT_EQ(table.told(0).readUs, 50);
    EXPECT_EQ(readFromDevice(word, false), QVector<int>{0}) << "good again is news";
    EXPECT_TRUE(table.told(0).fault.isEmpty());
    EXPECT_EQ(table.told(0).changes, 0);
}

// What was never proven is no value that could be kept.
TEST_F(ValueTableTest, AFailedReadForgetsWhatWasNotProven) {
    watch("F:0.0.00");
    const quint16 items[] = {9};
    const ReadItems read{word, nullptr, items, 30, ++ticket};
    arrived(read);
    settled(read, false);
    EXPECT_EQ(table.fail(word, QStringLiteral("no reply"), false, 5), QVector<int>{0});
    EXPECT_EQ(table.told(0).quality, Quality::Bad);
    EXPECT_FALSE(table.told(0).raw);
}

TEST_F(ValueTableTest, AStationThatFailsTakesItsPointsAlone) {
    watch("F:0.0.00@1 F:0.0.00@2");
    readFromDevice(word, false);
    EXPECT_EQ(table.failStation(2, QStringLiteral("no reply"), 5), QVector<int>{1});
    EXPECT_EQ(table.told(0).quality, Quality::Good);
    EXPECT_EQ(table.told(1).fault, QStringLiteral("no reply"));
}

TEST_F(ValueTableTest, WithoutALineEverythingIsNoLineUntilItIsReadAgain) {
    watch("F:0.0.00 F:3.0.00");
    readFromDevice(word, false);
    EXPECT_EQ(table.lineLost(5), (QVector<int>{0, 1}));
    EXPECT_TRUE(table.lineLost(5).isEmpty()) << "they have no line already";
    EXPECT_EQ(table.told(1).quality, Quality::Bad);
    EXPECT_EQ(table.told(1).fault, QStringLiteral("no line"));
    table.lineBack(5);
    EXPECT_EQ(table.told(0).quality, Quality::Stale);
    EXPECT_NE(table.told(0).fault, QStringLiteral("no line"));
    EXPECT_EQ(table.told(1).fault, QStringLiteral("never read"));
    EXPECT_EQ(table.lineLost(5), (QVector<int>{0, 1})) << "once more";
    table.lineBack(5);
    EXPECT_EQ(table.fail({1, QStringLiteral("F"), 168, 1}, QStringLiteral("no reply"), false, 5),
              QVector<int>{1})
        << "the first reading failed";
    readFromDevice(word, false);
    EXPECT_EQ(table.told(0).quality, Quality::Good);
}

TEST_F(ValueTableTest, SaysSinceWhenAValueIsBad) {
    watch("F:0.0.00");
    EXPECT_EQ(table.told(0).sinceUs, 0) << "never read";
    table.fail(word, QStringLiteral("no reply"), false, 10);
    table.fail(word, QStringLiteral("no reply"), false, 20);
    EXPECT_EQ(table.told(0).sinceUs, 10) << "the same fault goes on";
    EXPECT_EQ(table.state(0).sinceUs, 10);
    table.fail(word, QStringLiteral("wrong CRC"), false, 30);
    EXPECT_EQ(table.told(0).sinceUs, 30);
    readFromDevice(word, false, 40);
    EXPECT_EQ(table.told(0).sinceUs, 40);
    table.lineLost(50);
    EXPECT_EQ(table.told(0).sinceUs, 50);
}

// What a station refused since stays refused, whatever is proven of the reading before.
TEST_F(ValueTableTest, ALateProofOfAnOlderReadingDoesNotOverturnARefusal) {
    watch("F:0.0.00");
    const quint16 items[] = {7};
    const ReadItems read{word, nullptr, items, 10, 1};
    arrived(read);
    table.fail(word, QStringLiteral("exception 2"), true, 20);
    settled(read, true);
    EXPECT_EQ(table.told(0).quality, Quality::Bad);
    EXPECT_EQ(table.told(0).fault, QStringLiteral("exception 2"));
    EXPECT_EQ(table.told(0).sinceUs, 20);
    EXPECT_EQ(table.told(0).raw, 7u);
    const ReadItems other{word, nullptr, items, 15, 2};
    EXPECT_TRUE(settled(other, false).isEmpty()) << "nor does doubt";
    EXPECT_EQ(table.told(0).quality, Quality::Bad);
}

}  // namespace

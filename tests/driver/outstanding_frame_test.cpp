// The frame on the wire: nothing of an earlier frame shows in it, no copy that the host keeps changes, and
// the text about it replaces whatever the host's text held.
#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class OutstandingFrame : public DriverTest {
protected:
    static FRAME_PRO next() {
        FRAME_PRO frame;
        EXPECT_EQ(1, intf_getSendFrame(&frame));
        return frame;
    }

    static int answer(QByteArray reply) {
        QString info;
        return intf_dealRcvFrame(reply, info);
    }

    static FRAME_PRO filled(int byte) {
        FRAME_PRO frame;
        std::memset(frame.sendBuf, byte, sizeof frame.sendBuf);
        std::memset(frame.varData, byte, sizeof frame.varData);
        frame.sendLen = frame.expectLen = frame.dataOffset = frame.dataCount = byte;
        frame.opKind = frame.station = frame.address = frame.count = byte;
        frame.regType = QString("F");
        return frame;
    }

    void TearDown() override {
        driver.frameList.clear();
        DriverTest::TearDown();
    }
};

TEST_F(OutstandingFrame, NothingOfALongerFrameBeforeShowsInTheNext) {
    unsigned char words[80];
    std::memset(words, 0xAB, sizeof words);
    intf_setData(1, "F", 0, 40, words, 7);
    EXPECT_EQ(1, answer(ack(next())));

    KEY_ADDRESS key = entry(2, "AI", 0, 1);
    intf_addConditionRead(key, 3);
    const FRAME_PRO read = next();
    EXPECT_EQ(8, read.sendLen);
    for (int i = read.sendLen; i < DX7_DATA_BYTES; ++i)
        ASSERT_EQ(0, read.sendBuf[i]) << "byte " << i;
    for (int i = 0; i < DX7_DATA_BYTES; ++i)
        ASSERT_EQ(0, read.varData[i]) << "byte " << i;
    EXPECT_EQ(QString("AI"), read.regType);
}

TEST_F(OutstandingFrame, ACopyThatTheHostKeptStaysAsItWas) {
    QList<KEY_ADDRESS> list;
    list << entry(1, "AI", 0, 1) << entry(2, "MOD", 1, 1);
    intf_addrMerge(list);
    next();
    const QList<FRAME_PRO> kept = driver.frameList;
    EXPECT_EQ(1, answer(wordReply(1, 4, {5})));
    next();
    ASSERT_EQ(1, kept.size());
    EXPECT_EQ(1, kept.at(0).station);
    EXPECT_EQ(QString("AI"), kept.at(0).regType);
    EXPECT_EQ(2, driver.frameList.at(0).station);
}

TEST_F(OutstandingFrame, ACopiedFrameHasEveryField) {
    FRAME_PRO frame = filled(4);
    frame.frameReserved = 6;
    const FRAME_PRO copy(frame);
    EXPECT_EQ(0, std::memcmp(copy.sendBuf, frame.sendBuf, sizeof copy.sendBuf));
    EXPECT_EQ(4, copy.sendLen);
    EXPECT_EQ(4, copy.expectLen);
    EXPECT_EQ(4, copy.dataOffset);
    EXPECT_EQ(4, copy.dataCount);
    EXPECT_EQ(6, copy.frameReserved);
    EXPECT_EQ(4, copy.opKind);
    EXPECT_EQ(4, copy.station);
    EXPECT_EQ(frame.regType, copy.regType);
    EXPECT_EQ(4, copy.address);
    EXPECT_EQ(4, copy.count);
    EXPECT_EQ(0, std::memcmp(copy.varData, frame.varData, sizeof copy.varData));
}

// The text that describes a frame is written over the host's own, whatever it held and whoever shares it.
TEST_F(OutstandingFrame, TheTextAboutAFrameReplacesWhatTheHostsTextHeld) {
    QList<KEY_ADDRESS> list;
    list << entry(1, "AI", 0, 1);
    intf_addrMerge(list);
    next();
    QByteArray none;
    QString info =
        QString("something that is much longer than what the driver has to say about a frame 123456789");
    const QString shared = info;
    const int sharedSize = shared.size();
    EXPECT_EQ(8, intf_dealRcvFrame(none, info));
    EXPECT_EQ(QString("1#AI0(1)(0)"), info);
    EXPECT_EQ(sharedSize, shared.size());
    EXPECT_EQ(8, intf_dealRcvFrame(none, info));
    EXPECT_EQ(QString("1#AI0(1)(0)"), info);
    EXPECT_EQ(2, intf_dealRcvFrame(none, info));
    EXPECT_EQ(0, intf_dealRcvFrame(none, info));
    EXPECT_TRUE(info.isEmpty());
    EXPECT_FALSE(info.isNull());
}

TEST_F(OutstandingFrame, TheTextAboutAFrameStaysOutOfMemoryThatTheHostsTextOnlyBorrowed) {
    QList<KEY_ADDRESS> list;
    list << entry(1, "AI", 0, 1);
    intf_addrMerge(list);
    next();
    const std::vector<QChar> borrowed(100, QLatin1Char('x'));
    QString info = QString::fromRawData(borrowed.data(), static_cast<int>(borrowed.size()));
    QByteArray none;
    EXPECT_EQ(8, intf_dealRcvFrame(none, info));
    EXPECT_EQ(QString("1#AI0(1)(0)"), info);
    EXPECT_EQ(std::vector<QChar>(100, QLatin1Char('x')), borrowed);
}

// A host that has the text written over the frame's own type name finds that name empty in it, as it was
// emptied first.
TEST_F(OutstandingFrame, TheTextMayBeTheTypeNameOfTheFrameItself) {
    QList<KEY_ADDRESS> list;
    list << entry(1, "AI", 0, 1);
    intf_addrMerge(list);
    next();
    QByteArray none;
    EXPECT_EQ(8, intf_dealRcvFrame(none, driver.frameList[0].regType));
    EXPECT_EQ(QString("1#0(1)(0)"), driver.frameList.at(0).regType);
}

}  // namespace

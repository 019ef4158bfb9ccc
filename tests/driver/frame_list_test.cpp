// The record of a finished frame serves the next one: nothing of the old frame may show, and no copy that the
// host keeps may change.
#include "frame_list.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class FrameList : public DriverTest {
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

TEST_F(FrameList, NothingOfALongerFrameBeforeShowsInTheNext) {
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

TEST_F(FrameList, ACopyThatTheHostKeptStaysAsItWas) {
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

TEST_F(FrameList, IsEmptyWhenItsOnlyFrameHasLeft) {
    appendFrame(filled(1));
    removeFirstFrame();
    EXPECT_TRUE(driver.frameList.isEmpty());
    removeFirstFrame();
    EXPECT_TRUE(driver.frameList.isEmpty());
}

TEST_F(FrameList, ALeavingFrameLeavesNoOlderOneBehind) {
    appendFrame(filled(1));
    removeFirstFrame();
    driver.frameList << filled(2);  // by the host: the record of the first is still to be had
    removeFirstFrame();
    EXPECT_TRUE(driver.frameList.isEmpty());
    appendFrame(filled(3));
    ASSERT_EQ(1, driver.frameList.size());
    EXPECT_EQ(3, driver.frameList.at(0).station);
}

TEST_F(FrameList, FramesAreAppendedAtTheEndAndLeaveAtTheFront) {
    appendFrame(filled(1));
    removeFirstFrame();
    appendFrame(filled(2));
    appendFrame(filled(3));
    ASSERT_EQ(2, driver.frameList.size());
    EXPECT_EQ(2, driver.frameList.at(0).station);
    removeFirstFrame();
    ASSERT_EQ(1, driver.frameList.size());
    EXPECT_EQ(3, driver.frameList.at(0).station);
    EXPECT_EQ(3, driver.frameList.at(0).sendBuf[DX7_DATA_BYTES - 1]);
}

TEST_F(FrameList, AFrameTakesOverEveryFieldOfItsSuccessor) {
    appendFrame(filled(1));
    removeFirstFrame();
    FRAME_PRO other = filled(9);
    other.sendLen = 11;
    other.expectLen = 12;
    other.dataOffset = 13;
    other.dataCount = 14;
    other.frameReserved = 15;
    other.opKind = 16;
    other.station = 17;
    other.regType = QString("DO");
    other.address = 18;
    other.count = 19;
    appendFrame(other);
    const FRAME_PRO& now = driver.frameList.at(0);
    EXPECT_EQ(11, now.sendLen);
    EXPECT_EQ(12, now.expectLen);
    EXPECT_EQ(13, now.dataOffset);
    EXPECT_EQ(14, now.dataCount);
    EXPECT_EQ(15, now.frameReserved);
    EXPECT_EQ(16, now.opKind);
    EXPECT_EQ(17, now.station);
    EXPECT_EQ(QString("DO"), now.regType);
    EXPECT_EQ(18, now.address);
    EXPECT_EQ(19, now.count);
    EXPECT_EQ(0, std::memcmp(now.sendBuf, other.sendBuf, sizeof now.sendBuf));
    EXPECT_EQ(0, std::memcmp(now.varData, other.varData, sizeof now.varData));
}

TEST_F(FrameList, ACopiedFrameHasEveryField) {
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
TEST_F(FrameList, TheTextAboutAFrameReplacesWhatTheHostsTextHeld) {
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

TEST_F(FrameList, TheTextAboutAFrameStaysOutOfMemoryThatTheHostsTextOnlyBorrowed) {
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
TEST_F(FrameList, TheTextMayBeTheTypeNameOfTheFrameItself) {
    QList<KEY_ADDRESS> list;
    list << entry(1, "AI", 0, 1);
    intf_addrMerge(list);
    next();
    QByteArray none;
    EXPECT_EQ(8, intf_dealRcvFrame(none, driver.frameList[0].regType));
    EXPECT_EQ(QString("1#0(1)(0)"), driver.frameList.at(0).regType);
}

}  // namespace

// The frame on the wire: nothing of an earlier frame shows in it, and no copy that the host keeps changes.
#include <QtCore/QList>
#include <QtCore/QString>
#include <cstring>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class OutstandingFrame : public DriverTest {
protected:
    static FRAME_PRO next() {
        FRAME_PRO frame;
        EXPECT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
        return frame;
    }
};

TEST_F(OutstandingFrame, NothingOfALongerFrameBeforeShowsInTheNext) {
    unsigned char words[80];
    std::memset(words, 0xAB, sizeof words);
    intf_setData(1, "F", 0, 40, words, 7);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(ack(next())));

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
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 4, {5})));
    next();
    ASSERT_EQ(1, kept.size());
    EXPECT_EQ(1, kept.at(0).station);
    EXPECT_EQ(QString("AI"), kept.at(0).regType);
    EXPECT_EQ(2, driver.frameList.at(0).station);
}

}  // namespace

// What counts as a good reply: length and checksum, nothing else; and the text that describes it.
#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <limits>
#include <memory>

#include "line.h"
#include "receive.h"
#include "support.h"

using namespace dx7test;

namespace {

class ReplyCheck : public DriverTest {
protected:
    static int judge(const QByteArray& reply) {
        return check_rcv_data(reinterpret_cast<const unsigned char*>(reply.constData()), reply.size());
    }

    // A frame that waits for `expectLen` bytes.
    static void waitFor(int expectLen, int dataCount) {
        FRAME_PRO frame;
        frame.expectLen = expectLen;
        frame.dataCount = dataCount;
        driver.frameList.clear();
        driver.frameList << frame;
    }
};

TEST_F(ReplyCheck, WithoutAFrameReturns0AndAnEmptyInfo) {
    QByteArray reply = wordReply(1, 3, {1});
    QString info("earlier");
    driver.badReplyCount = 2;
    EXPECT_EQ(DX7_REPLY_UNEXPECTED, intf_dealRcvFrame(reply, info));
    EXPECT_EQ(QString(""), info);
    EXPECT_EQ(2, driver.badReplyCount);
    EXPECT_TRUE(driver.dataAreas.isEmpty());
}

TEST_F(ReplyCheck, DescribesTheFrameAndTheSizeOfTheReplyWhateverTheResult) {
    driver.pollList << request(1, "DO", 100, 8, 4);
    EXPECT_EQ(QString("read DO100(8)"), whatIsSent());
    QString info;
    QByteArray none;
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, intf_dealRcvFrame(none, info));
    EXPECT_EQ(QString("1#DO100(8)(0)"), info);
    QByteArray wrong(300, 'x');
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, intf_dealRcvFrame(wrong, info));
    EXPECT_EQ(QString("1#DO100(8)(300)"), info);
    QByteArray right = bitReply(1, 1, hex("00"));
    EXPECT_EQ(DX7_REPLY_GOOD, intf_dealRcvFrame(right, info));
    EXPECT_EQ(QString("1#DO100(8)(6)"), info);
    EXPECT_EQ(DX7_REPLY_UNEXPECTED, intf_dealRcvFrame(right, info));
    EXPECT_EQ(QString(""), info);
}

TEST_F(ReplyCheck, DescribesNegativeNumbersAndAddressesOfParametersInDecimal) {
    driver.frameList << FRAME_PRO();
    FRAME_PRO& frame = driver.frameList.first();
    frame.station = -7;
    frame.regType = "F";
    frame.address = 193;
    frame.count = -2;
    EXPECT_EQ(QString("-7#F193(-2)(3)"), getErrorInfo(QByteArray(3, 'a')));
    frame.station = frame.address = frame.count = std::numeric_limits<int>::min();
    EXPECT_EQ(QString("-2147483648#F-2147483648(-2147483648)(0)"), getErrorInfo(QByteArray()));
    frame.station = frame.address = frame.count = std::numeric_limits<int>::max();
    EXPECT_EQ(QString("2147483647#F2147483647(2147483647)(0)"), getErrorInfo(QByteArray()));
    frame.station = -7;
    frame.address = 193;
    frame.count = -2;
    frame.regType = "%1%5";
    EXPECT_EQ(QString("-7#%1%5193(-2)(3)"), getErrorInfo(QByteArray(3, 'a')));
}

TEST_F(ReplyCheck, JudgesSilenceByWhetherAReplyWasExpected) {
    waitFor(0, 0);
    EXPECT_EQ(REPLY_ACKNOWLEDGE, judge(QByteArray()));
    waitFor(0, 5);
    EXPECT_EQ(REPLY_ACKNOWLEDGE, judge(QByteArray()));
    waitFor(8, 0);
    EXPECT_EQ(REPLY_BAD, judge(QByteArray()));
    waitFor(-1, 1);
    EXPECT_EQ(REPLY_BAD, judge(QByteArray()));
}

TEST_F(ReplyCheck, JudgesByExactLengthAndSum) {
    const QByteArray reply = wordReply(1, 3, {0x1234});
    waitFor(7, 2);
    EXPECT_EQ(REPLY_DATA, judge(reply));
    EXPECT_EQ(REPLY_BAD, judge(reply.left(6)));
    EXPECT_EQ(REPLY_BAD, judge(withCrc(reply.left(4))));
    EXPECT_EQ(REPLY_BAD, judge(reply + '\0'));
    EXPECT_EQ(REPLY_BAD, judge(reply + reply));
    for (int i = 0; i < reply.size(); ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            QByteArray broken = reply;
            broken[i] = static_cast<char>(broken[i] ^ (1 << bit));
            EXPECT_EQ(REPLY_BAD, judge(broken)) << "byte " << i << " bit " << bit;
        }
    }
    waitFor(7, 0);
    EXPECT_EQ(REPLY_ACKNOWLEDGE, judge(reply));
    waitFor(6, 2);
    EXPECT_EQ(REPLY_BAD, judge(reply));
}

TEST_F(ReplyCheck, OfTwoBytesComparesThemWithTheStartValueOfTheSum) {
    waitFor(2, -24);
    EXPECT_EQ(REPLY_DATA, judge(hex("FF FF")));
    EXPECT_EQ(REPLY_BAD, judge(hex("FF FE")));
    EXPECT_EQ(REPLY_BAD, judge(hex("FE FF")));
    EXPECT_EQ(REPLY_BAD, judge(hex("00 00")));
    waitFor(2, 0);
    EXPECT_EQ(REPLY_ACKNOWLEDGE, judge(hex("FF FF")));
}

// The number of summed bytes is held in 16 bits: one byte received means a sum over 65535, all but the first
// zero.
TEST_F(ReplyCheck, OfOneByteSumsItAnd65534Zeros) {
    const auto sumFrom = [](int first) {
        return kit::crcOf(QByteArray(1, static_cast<char>(first)).leftJustified(65535, '\0'));
    };
    // Sums of equally long bytes combine by exclusive or, so those of single bits give all others.
    const quint16 sumOfZero = sumFrom(0);
    quint16 changeByBit[8];
    for (int bit = 0; bit < 8; ++bit)
        changeByBit[bit] = static_cast<quint16>(sumFrom(1 << bit) ^ sumOfZero);
    waitFor(1, -4);
    for (int byte = 0; byte < 256; ++byte) {
        quint16 crc = sumOfZero;
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<quint16>(crc ^ ((byte >> bit) % 2 != 0 ? changeByBit[bit] : 0));
        const bool good = (crc & 0xFF) == 0 && (crc >> 8) == byte;
        const std::unique_ptr<unsigned char[]> exact(new unsigned char[1]{static_cast<unsigned char>(byte)});
        EXPECT_EQ(good ? REPLY_DATA : REPLY_BAD, check_rcv_data(exact.get(), 1)) << byte;
    }
}

TEST_F(ReplyCheck, OfMoreThan65537BytesSumsTheirNumberModulo65536) {
    QByteArray reply(65536 + 2, 'u');
    reply[65536] = reply[65537] = static_cast<char>(0xFF);
    waitFor(65538, 2);
    EXPECT_EQ(REPLY_DATA, judge(reply)) << "a sum over no byte";
    QByteArray longer = withCrc(hex("31")) + QByteArray();
    reply.fill('u', 65536 + 3);
    reply[0] = longer[0];
    reply[65537] = longer[1];
    reply[65538] = longer[2];
    waitFor(65539, 2);
    EXPECT_EQ(REPLY_DATA, judge(reply)) << "a sum over the first byte";
    reply[0] = 'x';
    EXPECT_EQ(REPLY_BAD, judge(reply));
}

}  // namespace

// Bad replies: retries, giving up, what is marked as failed, and replies of arbitrary bytes.
#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <memory>
#include <random>
#include <string>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class ReceiveFailure : public DriverTest {
protected:
    static int fail() { return answer(QByteArray()); }

    // Addresses whose areas of that type are marked as failed, in order of creation.
    static std::vector<int> failedItems(const char* regType) {
        std::vector<int> addresses;
        for (const _DATA_& item : driver.dataAreas) {
            if (item.regType == QString(regType) && item.commError == 1)
                addresses.push_back(item.address);
        }
        return addresses;
    }
};

TEST_F(ReceiveFailure, IsTriedAsOftenAsTheRetryCountSays) {
    for (int retryCount : {2, 3, 4, 10}) {
        SCOPED_TRACE(retryCount);
        init(("1#0#0#" + QByteArray::number(retryCount) + "#64").constData());
        putReadOnLine("CW", 0, 1);
        for (int i = 1; i < retryCount; ++i) {
            EXPECT_EQ(8, fail());
            EXPECT_EQ(i, driver.badReplyCount);
            EXPECT_EQ(1, driver.frameList.size());
            EXPECT_EQ(0, driver.commFailed);
        }
        EXPECT_EQ(2, fail());
        EXPECT_EQ(0, driver.badReplyCount);
        EXPECT_TRUE(driver.frameList.isEmpty());
        EXPECT_EQ(1, driver.commFailed);
        EXPECT_EQ(0, fail());
    }
}

TEST_F(ReceiveFailure, GivesUpAtTheFirstBadReplyWithARetryCountOf1OrLess) {
    for (const char* properties : {"1#0#0#1#64", "1#0#0#0#64", "1#0#0#-5#64"}) {
        init(properties);
        putReadOnLine("CW", 0, 1);
        EXPECT_EQ(2, fail()) << properties;
    }
}

TEST_F(ReceiveFailure, ThatWillBeRetriedLeavesAllElseAsItIs) {
    putReadOnLine("CW", 0, 2);
    driver.writeList << request(1, "MOD", 1, 1);
    driver.conditionList << request(1, "AI", 1, 1);
    driver.pollList << request(1, "SW", 0, 1);
    driver.commFailed = 5;
    const FRAME_PRO before = driver.frameList.first();
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, answer(withCrc(hex("01 83 02"))));
    EXPECT_EQ(sentBytes(before), sentBytes(driver.frameList.first()));
    EXPECT_EQ(1, driver.badReplyCount);
    EXPECT_EQ(5, driver.commFailed);
    EXPECT_EQ(4, driver.opKind);
    EXPECT_EQ(1, driver.writeList.size());
    EXPECT_EQ(1, driver.conditionList.size());
    EXPECT_EQ((ItemsList{{1, "CW", 0, 2}, {1, "SW", 0, 1}}), itemsOf(driver.pollList));
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_TRUE(reports.empty());
}

TEST_F(ReceiveFailure, IsForgottenByAGoodReply) {
    putReadOnLine("CW", 0, 1);
    driver.commFailed = 1;
    EXPECT_EQ(8, fail());
    EXPECT_EQ(8, fail());
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {5})));
    EXPECT_EQ(0, driver.badReplyCount);
    EXPECT_EQ(0, driver.commFailed);
    putReadOnLine("CW", 0, 1);
    EXPECT_EQ(8, fail());
    EXPECT_EQ(8, fail());
    EXPECT_EQ(2, fail());
}

TEST_F(ReceiveFailure, OfWordsMarksEveryWordAndKeepsItsValue) {
    for (const char* type : {"AI", "FIN", "F", "D", "DE", "CW", "SW", "MOD"}) {
        SCOPED_TRACE(type);
        init("1#0#0#1#64");
        areaOf(type, 6).value[0] = 9;
        putReadOnLine(type, 5, 3);
        EXPECT_EQ(2, fail());
        EXPECT_EQ((std::vector<int>{6, 5, 7}), failedItems(type));
        EXPECT_EQ(9, areaOf(type, 6).value[0]);
        EXPECT_EQ(3, driver.dataAreas.size());
    }
    EXPECT_TRUE(reports.empty());
}

TEST_F(ReceiveFailure, OfBitsMarksEvery8thAddress) {
    for (const char* type : {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI"}) {
        SCOPED_TRACE(type);
        init("1#0#0#1#64");
        putReadOnLine(type, 3, 4);
        EXPECT_EQ(2, fail());
        EXPECT_EQ((std::vector<int>{3, 11, 19, 27}), failedItems(type));
        EXPECT_EQ(4, driver.dataAreas.size());
    }
}

TEST_F(ReceiveFailure, OfBitsLeavesTheMarksBeyondTheFirstBitToOtherItems) {
    init("1#0#0#1#64");
    putReadOnLine("DI", 1, 2);
    fail();
    EXPECT_EQ(1, areaOf("DI", 1).commError);
    EXPECT_EQ(0, areaOf("DI", 2).commError);
    putReadOnLine("DI", 1, 2);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 2, hex("00"))));
    EXPECT_EQ((std::vector<int>{9}), failedItems("DI")) << "a good reply clears its own items only";
}

TEST_F(ReceiveFailure, OfTheStatusAndUnknownTypesMarksNothing) {
    init("1#0#0#1#64");
    for (const char* type : {"FAS", "unknown", "FW"}) {
        putReadOnLine(type, 0, 1);
        EXPECT_EQ(2, fail()) << type;
    }
    EXPECT_TRUE(driver.dataAreas.isEmpty());
}

TEST_F(ReceiveFailure, OfAWriteMarksNothing) {
    init("1#0#0#1#64");
    unsigned char values[4] = {1, 0, 2, 0};
    intf_setData(1, "F", 0, 2, values, 2);
    EXPECT_EQ(QString("write F0(2)"), whatIsSent());
    EXPECT_EQ(2, fail());
    intf_setData(1, "DO", 1, 1, values, 2);
    EXPECT_EQ(QString("write DO1(1)"), whatIsSent());
    EXPECT_EQ(2, fail());
    EXPECT_TRUE(failedItems("F").empty());
    EXPECT_TRUE(failedItems("DO").empty());
}

TEST_F(ReceiveFailure, OfAPollRotatesThePlan) {
    init("1#0#0#1#64");
    driver.pollList << request(1, "CW", 0, 1, 4) << request(1, "SW", 0, 1, 4);
    EXPECT_EQ(QString("read CW0(1)"), whatIsSent());
    EXPECT_EQ(2, fail());
    EXPECT_EQ(QString("read SW0(1)"), whatIsSent());
}

TEST_F(ReceiveFailure, DropsEveryFrameOfTheOperation) {
    init("1#0#0#1#64");
    putReadOnLine("CW", 0, 1);
    driver.frameList << driver.frameList.first() << driver.frameList.first();
    EXPECT_EQ(2, fail());
    EXPECT_TRUE(driver.frameList.isEmpty());
}

TEST_F(ReceiveFailure, IsNotTheEndWhenAGoodReplyLeavesFurtherFrames) {
    putReadOnLine("CW", 0, 1);
    driver.pollList << request(1, "SW", 0, 1, 4);
    driver.frameList << driver.frameList.first();
    EXPECT_EQ(8, fail());
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {5})));
    EXPECT_EQ(0, driver.badReplyCount);
    EXPECT_EQ(1, driver.frameList.size());
    EXPECT_EQ(QString("CW"), driver.pollList.first().regType) << "the operation goes on";
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {5})));
    EXPECT_EQ(QString("SW"), driver.pollList.first().regType);
}

TEST_F(ReceiveFailure, OfAWriteToStation0IsAnyAnswerAtAll) {
    unsigned char on = 1;
    intf_setData(0, "DO", 1, 1, &on, 2);
    FRAME_PRO frame;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
    EXPECT_EQ(0, frame.expectLen);
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, answer(ack(frame)));
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, answer(hex("00")));
    EXPECT_EQ(DX7_REPLY_GOOD, answer(QByteArray()));
    EXPECT_TRUE(driver.writeList.isEmpty());
}

// Arbitrary bytes of every length up to 300, each in a buffer of exactly its size, so that a sanitizer sees
// any access outside it. The judgement must be the one that length and checksum alone give.
class HostileReplies : public DriverTest, public testing::WithParamInterface<const char*> {};

TEST_P(HostileReplies, AreJudgedByLengthAndSumAlone) {
    const QByteArray what(GetParam());
    const bool isWrite = what.startsWith("write ");
    const QByteArray regType = what.mid(what.indexOf(' ') + 1);
    std::mt19937 random(7);
    int bad = 0;
    for (int count : {1, 2, 17, 100}) {
        init("1#0#0#3#64");
        for (int length = 0; length <= 300; ++length) {
            if (driver.frameList.isEmpty()) {
                driver.pollList.clear();
                driver.writeList.clear();
                if (isWrite)
                    driver.writeList << request(1, regType, 1, regType == "CW" ? 1 : count, 2);
                else
                    driver.pollList << request(1, regType, 1, count, 4);
                driver.burstCount = 0;
                ASSERT_NE(QString("nothing"), whatIsSent());
                bad = 0;
            }
            const FRAME_PRO waiting = driver.frameList.first();
            const std::unique_ptr<char[]> buffer(new char[static_cast<size_t>(length)]);
            for (int i = 0; i < length; ++i)
                buffer[static_cast<size_t>(i)] = static_cast<char>(random());
            QByteArray reply = QByteArray::fromRawData(buffer.get(), length);
            const bool good = length == waiting.expectLen &&
                              (length == 0 || withCrc(QByteArray(buffer.get(), length - 2)) == reply);
            const int expected = good ? 1 : ++bad < 3 ? 8 : 2;
            QString info;
            ASSERT_EQ(expected, intf_dealRcvFrame(reply, info)) << "length " << length << " count " << count;
            ASSERT_EQ(expected == 8 ? 1 : 0, driver.frameList.size());
            ASSERT_EQ(QString("1#%1%2(%3)(%4)")
                          .arg(QString(regType))
                          .arg(waiting.address)
                          .arg(waiting.count)
                          .arg(length),
                      info);
        }
    }
}

TEST_P(HostileReplies, WithTheRightLengthAndSumAreGood) {
    const QByteArray what(GetParam());
    const bool isWrite = what.startsWith("write ");
    const QByteArray regType = what.mid(what.indexOf(' ') + 1);
    std::mt19937 random(11);
    for (int count : {0, 1, 2, 17, 100, 400}) {
        if (isWrite)
            driver.writeList << request(1, regType, 1, regType == "CW" ? 1 : count, 2);
        else
            driver.pollList = QList<VARIABLE>() << request(1, regType, 1, count, 4);
        driver.burstCount = 0;
        ASSERT_NE(QString("nothing"), whatIsSent());
        const int length = driver.frameList.first().expectLen;
        QByteArray body;
        for (int i = 0; i < length - 2; ++i)
            body.append(static_cast<char>(random()));
        const QByteArray whole = withCrc(body);
        const std::unique_ptr<char[]> buffer(new char[static_cast<size_t>(length)]);
        std::memcpy(buffer.get(), whole.constData(), static_cast<size_t>(length));
        QByteArray reply = QByteArray::fromRawData(buffer.get(), length);
        QString info;
        EXPECT_EQ(DX7_REPLY_GOOD, intf_dealRcvFrame(reply, info)) << count;
        EXPECT_EQ(whole, reply) << "the host's bytes stay as they are";
    }
}

INSTANTIATE_TEST_SUITE_P(AgainstEveryFrame, HostileReplies,
                         testing::Values("read CW_bit", "read SW_bit", "read DO", "read RO", "read SDO",
                                         "read DI", "read AI", "read FIN", "read F", "read D", "read DE",
                                         "read CW", "read SW", "read MOD", "read FAS", "read unknown",
                                         "write CW_bit", "write DO", "write RO", "write SDO", "write CW",
                                         "write F", "write MOD"),
                         [](const testing::TestParamInfo<const char*>& frame) {
                             return std::string(QByteArray(frame.param).replace(' ', '_').constData());
                         });

}  // namespace

// What goes on the line next: writes, condition reads and polling in their turns, and the frame that waits.
#include <QtCore/QList>
#include <QtCore/QString>
#include <atomic>
#include <chrono>
#include <thread>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class SendSchedule : public DriverTest {
protected:
    static void poll(std::initializer_list<const char*> types) {
        driver.pollList.clear();
        for (const char* type : types)
            driver.pollList << request(1, type, 0, 1, 4);
    }

    static void queueWrites(int count) {
        for (int i = 0; i < count; ++i)
            driver.writeList << request(1, "MOD", i, 1, 2);
    }

    static void queueConditions(int count) {
        for (int i = 0; i < count; ++i)
            driver.conditionList << request(1, "AI", i, 1, 3);
    }

    // Whether a call comes back while another thread holds the host's mutex.
    bool returnsWhileMutexIsHeld(const std::function<void()>& call, std::chrono::milliseconds patience) {
        std::atomic<bool> done(false);
        mutex.lock();
        std::thread caller([&] {
            call();
            done = true;
        });
        const auto end = std::chrono::steady_clock::now() + patience;
        while (!done && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const bool returned = done;
        mutex.unlock();
        caller.join();
        return returned;
    }
};

FRAME_PRO sentinelFrame() {
    FRAME_PRO frame;
    std::memset(frame.sendBuf, 0xA5, sizeof frame.sendBuf);
    std::memset(frame.varData, 0x5A, sizeof frame.varData);
    frame.sendLen = frame.expectLen = frame.dataOffset = frame.dataCount = frame.frameReserved = -11;
    frame.opKind = frame.station = frame.address = frame.count = -22;
    frame.regType = QString("host");
    return frame;
}

void expectSame(const FRAME_PRO& expected, const FRAME_PRO& actual) {
    EXPECT_EQ(0, std::memcmp(expected.sendBuf, actual.sendBuf, sizeof expected.sendBuf));
    EXPECT_EQ(0, std::memcmp(expected.varData, actual.varData, sizeof expected.varData));
    EXPECT_EQ(expected.sendLen, actual.sendLen);
    EXPECT_EQ(expected.expectLen, actual.expectLen);
    EXPECT_EQ(expected.dataOffset, actual.dataOffset);
    EXPECT_EQ(expected.dataCount, actual.dataCount);
    EXPECT_EQ(expected.frameReserved, actual.frameReserved);
    EXPECT_EQ(expected.opKind, actual.opKind);
    EXPECT_EQ(expected.station, actual.station);
    EXPECT_EQ(expected.regType, actual.regType);
    EXPECT_EQ(expected.address, actual.address);
    EXPECT_EQ(expected.count, actual.count);
}

TEST_F(SendSchedule, WithNothingToDoReturns0AndLeavesTheHostsRecordAlone) {
    driver.opKind = 4;
    driver.burstCount = 3;
    FRAME_PRO frame = sentinelFrame();
    EXPECT_EQ(DX7_SEND_NOTHING, intf_getSendFrame(&frame));
    expectSame(sentinelFrame(), frame);
    EXPECT_EQ(0, driver.opKind);
    EXPECT_EQ(0, driver.burstCount);
    EXPECT_TRUE(driver.frameList.isEmpty());
}

TEST_F(SendSchedule, OfAWriteThatIsNeverBuiltLeavesTheHostsRecordAlone) {
    driver.writeList << request(1, "AI", 0, 1);
    FRAME_PRO frame = sentinelFrame();
    EXPECT_EQ(DX7_SEND_NOTHING, intf_getSendFrame(&frame));
    expectSame(sentinelFrame(), frame);
}

TEST_F(SendSchedule, CopiesTheWholeFrameIntoTheHostsRecord) {
    VARIABLE var = request(3, "F", 57, 2, 99);
    for (int i = 0; i < DX7_DATA_BYTES; ++i)
        var.data[i] = static_cast<unsigned char>(i * 5 + 9);
    driver.writeList << var;
    FRAME_PRO frame = sentinelFrame();
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
    ASSERT_EQ(1, driver.frameList.size());
    expectSame(driver.frameList.first(), frame);
    EXPECT_EQ(99, frame.opKind);
    EXPECT_EQ(3, frame.station);
    EXPECT_EQ(57, frame.address);
    EXPECT_EQ(2, frame.count);
    EXPECT_EQ(0, std::memcmp(var.data, frame.varData, DX7_DATA_BYTES));
    EXPECT_EQ(withCrc(hex("03 10 E1 01 00 02 04 0E 09 18 13")), sentBytes(frame));
}

TEST_F(SendSchedule, KeepsTheWholeRequestAsTheCurrentOne) {
    VARIABLE var = request(2, "CW", 0, 1, 4);
    var.data[1023] = 0x77;
    driver.pollList << var;
    FRAME_PRO frame;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
    EXPECT_EQ(itemsOf(var), itemsOf(driver.currentVar));
    EXPECT_EQ(4, driver.currentVar.opKind);
    EXPECT_EQ(0x77, driver.currentVar.data[1023]);
    EXPECT_EQ(0x77, frame.varData[1023]);
}

TEST_F(SendSchedule, HandsOutTheSameFrameUntilItIsAnswered) {
    queueWrites(1);
    poll({"CW"});
    FRAME_PRO first;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&first));
    EXPECT_EQ(1, driver.burstCount);
    driver.writeList.clear();
    hostFlags[RECIPE_WRITE_REQUEST] = 1;
    for (int i = 0; i < 10; ++i) {
        FRAME_PRO again = sentinelFrame();
        ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&again));
        expectSame(first, again);
        EXPECT_EQ(1, driver.burstCount);
        EXPECT_EQ(2, driver.opKind);
        EXPECT_EQ(1, driver.frameList.size());
    }
}

TEST_F(SendSchedule, PollsRoundRobin) {
    poll({"CW", "SW", "FIN"});
    EXPECT_EQ(QString("read CW0(1), read SW0(1), read FIN0(1), read CW0(1), read SW0(1), read FIN0(1)"),
              traffic(6));
}

TEST_F(SendSchedule, PollsASingleBlockAgainAndAgain) {
    poll({"FAS"});
    EXPECT_EQ(QString("read FAS0(1), read FAS0(1), read FAS0(1)"), traffic(3));
    EXPECT_EQ(4, driver.opKind);
    EXPECT_EQ(0, driver.burstCount);
}

TEST_F(SendSchedule, SendsAWriteThenAConditionReadThenPolls) {
    queueWrites(1);
    queueConditions(1);
    poll({"CW"});
    EXPECT_EQ(QString("write MOD0(1)"), whatIsSent());
    EXPECT_EQ(2, driver.opKind);
    EXPECT_EQ(1, driver.burstCount);
    answerWell();
    EXPECT_EQ(QString("read AI0(1)"), whatIsSent());
    EXPECT_EQ(3, driver.opKind);
    EXPECT_EQ(2, driver.burstCount);
    answerWell();
    EXPECT_EQ(QString("read CW0(1)"), whatIsSent());
    EXPECT_EQ(4, driver.opKind);
    EXPECT_EQ(0, driver.burstCount);
}

TEST_F(SendSchedule, Serves5WritesForEveryPollTurn) {
    queueWrites(12);
    poll({"CW", "SW"});
    EXPECT_EQ(
        QString("write MOD0(1), write MOD1(1), write MOD2(1), write MOD3(1), write MOD4(1), read CW0(1), "
                "write MOD5(1), write MOD6(1), write MOD7(1), write MOD8(1), write MOD9(1), read SW0(1), "
                "write MOD10(1), write MOD11(1), read CW0(1)"),
        traffic(15));
}

TEST_F(SendSchedule, Serves3ConditionReadsForEveryPollTurn) {
    queueConditions(5);
    poll({"CW"});
    EXPECT_EQ(
        QString("read AI0(1), read AI1(1), read AI2(1), read CW0(1), read AI3(1), read AI4(1), read CW0(1)"),
        traffic(7));
}

TEST_F(SendSchedule, CountsWritesAndConditionReadsTogether) {
    queueWrites(2);
    queueConditions(3);
    poll({"CW"});
    EXPECT_EQ(
        QString(
            "write MOD0(1), write MOD1(1), read AI0(1), read CW0(1), read AI1(1), read AI2(1), read CW0(1)"),
        traffic(7));
}

TEST_F(SendSchedule, Serves2MoreWritesAfter3ConditionReads) {
    queueConditions(4);
    poll({"CW"});
    EXPECT_EQ(QString("read AI0(1), read AI1(1), read AI2(1)"), traffic(3));
    queueWrites(4);
    EXPECT_EQ(QString("write MOD0(1), write MOD1(1), read CW0(1), write MOD2(1), write MOD3(1), read AI3(1)"),
              traffic(6));
}

TEST_F(SendSchedule, After3WritesLetsConditionReadsWaitForThePollTurn) {
    queueWrites(3);
    queueConditions(1);
    poll({"CW"});
    EXPECT_EQ(QString("write MOD0(1), write MOD1(1), write MOD2(1), read CW0(1), read AI0(1)"), traffic(5));
}

TEST_F(SendSchedule, WithABurstOf3AndOnlyConditionReadsPolls) {
    queueConditions(1);
    poll({"CW"});
    driver.burstCount = 3;
    EXPECT_EQ(QString("read CW0(1)"), whatIsSent());
}

TEST_F(SendSchedule, WithABurstOf3AndNothingToPollReturns0Once) {
    queueConditions(4);
    EXPECT_EQ(QString("read AI0(1), read AI1(1), read AI2(1), nothing, read AI3(1)"), traffic(5));
}

TEST_F(SendSchedule, WithNothingToPollReturns0OnceAfter5Writes) {
    queueWrites(11);
    EXPECT_EQ(QString("write MOD0(1), write MOD1(1), write MOD2(1), write MOD3(1), write MOD4(1), nothing, "
                      "write MOD5(1), write MOD6(1), write MOD7(1), write MOD8(1), write MOD9(1), nothing, "
                      "write MOD10(1), nothing"),
              traffic(14));
}

TEST_F(SendSchedule, OfAUsedUpBurstWithNothingToPollForgetsTheOperation) {
    queueWrites(1);
    driver.burstCount = 5;
    driver.opKind = 2;
    EXPECT_EQ(QString("nothing"), whatIsSent());
    EXPECT_EQ(0, driver.opKind);
    EXPECT_EQ(0, driver.burstCount);
    EXPECT_EQ(1, driver.writeList.size());
}

TEST_F(SendSchedule, NeverTakesEntriesOutOfTheListsItself) {
    queueWrites(2);
    queueConditions(2);
    poll({"CW", "SW"});
    whatIsSent();
    EXPECT_EQ(2, driver.writeList.size());
    EXPECT_EQ(2, driver.conditionList.size());
    EXPECT_EQ((ItemsList{{1, "CW", 0, 1}, {1, "SW", 0, 1}}), itemsOf(driver.pollList));
}

TEST_F(SendSchedule, AWriteThatIsNeverBuiltCosts5EmptyCallsBeforeEveryPollTurn) {
    driver.writeList << request(1, "DI", 1, 1);
    poll({"CW"});
    const QString round("nothing, nothing, nothing, nothing, nothing, read CW0(1)");
    EXPECT_EQ(round + ", " + round + ", " + round, traffic(18));
    EXPECT_EQ((ItemsList{{1, "DI", 1, 1}}), itemsOf(driver.writeList));
}

TEST_F(SendSchedule, AWriteThatIsNeverBuiltBlocksEveryWriteAndConditionReadAfterIt) {
    driver.writeList << request(1, "CW", 0, 2);
    queueWrites(1);
    queueConditions(1);
    poll({"SW"});
    const QString round("nothing, nothing, nothing, nothing, nothing, read SW0(1)");
    EXPECT_EQ(round + ", " + round, traffic(12));
    EXPECT_EQ(2, driver.writeList.size());
    EXPECT_EQ(1, driver.conditionList.size());
}

TEST_F(SendSchedule, AWriteThatIsNeverBuiltIsStillTheOperationInProgress) {
    driver.writeList << request(1, "D", 0, 1);
    EXPECT_EQ(QString("nothing"), whatIsSent());
    EXPECT_EQ(2, driver.opKind);
    EXPECT_EQ(1, driver.burstCount);
    EXPECT_EQ(QString("D"), driver.currentVar.regType);
}

TEST_F(SendSchedule, EveryTypeThatCannotBeWrittenStaysAtTheHead) {
    for (const char* regType : {"SW_bit", "DI", "AI", "FIN", "D", "DE", "SW", "FAS", "unknown"}) {
        driver.writeList.clear();
        driver.writeList << request(1, regType, 1, 1);
        driver.burstCount = 0;
        EXPECT_EQ(QString("nothing, nothing, nothing, nothing, nothing, nothing"), traffic(6)) << regType;
        EXPECT_EQ(1, driver.writeList.size()) << regType;
    }
}

TEST_F(SendSchedule, AConditionReadOfAnUnknownTypeIsSentAllTheSame) {
    driver.conditionList << request(1, "unknown", 9, 2, 3);
    FRAME_PRO frame;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
    EXPECT_EQ(withCrc(hex("01 03 00 00 00 02")), sentBytes(frame));
}

TEST_F(SendSchedule, APlanRebuiltWhileAFrameWaitsKeepsTheFrameAndRotatesTheNewList) {
    poll({"CW", "SW"});
    EXPECT_EQ(QString("read CW0(1)"), whatIsSent());
    QList<KEY_ADDRESS> monitored;
    monitored << entry(1, "AI", 0, 1) << entry(1, "FIN", 0, 1) << entry(1, "MOD", 1, 1);
    EXPECT_EQ(3, intf_addrMerge(monitored));
    EXPECT_EQ(QString("read CW0(1)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GOOD, answerWell());
    EXPECT_EQ(QString("read FIN0(1), read MOD1(1), read AI0(1)"), traffic(3));
}

TEST_F(SendSchedule, InitialisationForgetsTheFrameThatWaits) {
    queueWrites(1);
    whatIsSent();
    init("1#0#0#3#64");
    EXPECT_EQ(QString("nothing"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_UNEXPECTED, answer(hex("01")));
}

TEST_F(SendSchedule, ReadsTheRecipeRequestsUnderTheHostsMutex) {
    poll({"CW"});
    EXPECT_FALSE(returnsWhileMutexIsHeld([] { whatIsSent(); }, std::chrono::milliseconds(60)));
    EXPECT_EQ(1, driver.frameList.size());
    EXPECT_TRUE(mutex.tryLock());
    mutex.unlock();
}

TEST_F(SendSchedule, HandsOutAWaitingFrameWithoutTheHostsMutex) {
    poll({"CW"});
    whatIsSent();
    EXPECT_TRUE(returnsWhileMutexIsHeld([] { whatIsSent(); }, std::chrono::seconds(10)));
}

}  // namespace

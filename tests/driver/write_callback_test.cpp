// What the host sees and does inside a report about its own writes and at the end of a condition read: the
// order of report, store and clean-up, and calls back into the driver.
#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class WriteCallback : public DriverTest {
protected:
    static void setWord(const char* regType, int address, int value) {
        unsigned char data[2] = {static_cast<unsigned char>(value & 0xFF),
                                 static_cast<unsigned char>(value >> 8)};
        intf_setData(1, regType, address, 1, data, 2);
    }

    static int shownWord(const char* regType, int address) {
        unsigned char out[2] = {0xEE, 0xEE};
        intf_getData(1, regType, address, 1, out);
        return out[0] + 256 * out[1];
    }

    static int shownBit(const char* regType, int address) {
        unsigned char out = 0xEE;
        intf_getData(1, regType, address, 1, &out);
        return out;
    }

    static void queueRead(const char* regType, int address, int station = 1) {
        KEY_ADDRESS key = entry(station, regType, address, 1);
        intf_addConditionRead(key, 3);
    }

    static void fillTheStore(int round) {
        std::vector<unsigned char> bytes(800);
        intf_getData(9, "F", 1000 * round, 400, bytes.data());
        for (int i = 0; i < 60; ++i) {
            queueRead("AI", 1000 * round + 2 * i, 9);
            intf_setData(9, "F", 1000 * round + 2 * i, 1, bytes.data(), 2);
        }
    }

    static Report end(int result) { return Report{-1, -1, "-1", result}; }
};

TEST_F(WriteCallback, OfAWrittenWordStillSeesTheEarlierValue) {
    monitorOnly("F", 4, 2);
    areaOf("F", 4).value[0] = 3;
    unsigned char data[4] = {7, 0, 8, 0};
    int calls = 0;
    hook = [&](const Report& report) {
        ++calls;
        EXPECT_EQ(report.address == 4 ? 3 : 7, shownWord("F", 4));
        EXPECT_EQ(0, shownWord("F", 5));
    };
    intf_setData(1, "F", 4, 2, data, 2);
    EXPECT_EQ(2, calls);
    EXPECT_EQ(7, shownWord("F", 4));
    EXPECT_EQ(8, shownWord("F", 5));
    hook = [](const Report&) { EXPECT_EQ(7, shownWord("F", 4)) << "the value written before"; };
    setWord("F", 4, 9);
    EXPECT_EQ(9, shownWord("F", 4));
}

TEST_F(WriteCallback, OfAWrittenBitStillSeesTheEarlierValue) {
    unsigned char data[2] = {1, 0};
    hook = [](const Report& report) { EXPECT_EQ(report.address == 8 ? 0 : 1, shownBit("DO", 8)); };
    intf_setData(1, "DO", 8, 2, data, 2);
    EXPECT_EQ((Reports{{1, 1, "DO", 8}, {1, 1, "DO", 9}}), takeReports());
    EXPECT_EQ(0, shownBit("DO", 8));
}

TEST_F(WriteCallback, OfAWrittenWordNamesItsMonitoredBitsFirst) {
    driver.retryCount = 1;
    areaOf("CW", 3).bitMonitorMask = 0x8101;
    areaOf("CW", 3).wordMonitorFlags = 7;
    areaOf("CW", 3).value[0] = 0x01;
    const Reports expected{{1, 1, "CW_bit", 56},
                           {1, 1, "CW_bit", 63},
                           {1, 1, "CW", 3},
                           {1, 1, "CW_double", 3},
                           {1, 1, "CW_double", 2}};
    setWord("CW", 3, 0x8101);
    EXPECT_EQ(expected, takeReports());
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    Reports twice(expected);
    twice.insert(twice.end(), expected.begin(), expected.end());
    EXPECT_EQ(twice, takeReports()) << "the fall back to the value read, by frame and by operation";
}

TEST_F(WriteCallback, OfAWriteFindsItAlreadyQueued) {
    hook = [](const Report&) { EXPECT_EQ((ItemsList{{1, "DO", 1, 1}}), itemsOf(driver.writeList)); };
    unsigned char on = 1;
    intf_setData(1, "DO", 1, 1, &on, 2);
    EXPECT_EQ(1u, reports.size());
}

TEST_F(WriteCallback, MayWriteTheVeryWordWhoseWriteItReports) {
    monitorOnly("F", 4, 1);
    hook = [this](const Report&) {
        hook = nullptr;
        setWord("F", 4, 9);
        EXPECT_EQ(9, shownWord("F", 4));
    };
    setWord("F", 4, 5);
    EXPECT_EQ(2u, reports.size());
    EXPECT_EQ(5, shownWord("F", 4)) << "the outer write is stored after its report";
    ASSERT_EQ(2, driver.writeList.size());
    EXPECT_EQ(5, driver.writeList.at(0).data[0]);
    EXPECT_EQ(9, driver.writeList.at(1).data[0]);
}

TEST_F(WriteCallback, MayWriteTheVeryBitWhoseWriteItReports) {
    hook = [this](const Report&) {
        hook = nullptr;
        unsigned char two = 2;
        intf_setData(1, "DO", 8, 1, &two, 2);
    };
    unsigned char one = 1;
    intf_setData(1, "DO", 8, 1, &one, 2);
    EXPECT_EQ(2u, reports.size());
    EXPECT_EQ(1, shownBit("DO", 8));
}

TEST_F(WriteCallback, MayFillTheStoreDuringAWrite) {
    monitorOnly("F", 0, 30);
    driver.pollList.clear();
    std::vector<unsigned char> data(60);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<unsigned char>(i + 1);
    int round = 0;
    hook = [&](const Report&) { fillTheStore(++round); };
    intf_setData(1, "F", 0, 30, data.data(), 2);
    intf_setData(1, "CW_bit", 0, 8, data.data(), 2);
    EXPECT_EQ(38, round);
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(2 * i + 1 + 256 * (2 * i + 2), shownWord("F", i));
        EXPECT_EQ(1, areaOf("F", i).writePending);
    }
    EXPECT_EQ(8, areaOf("CW_bit", 0).writtenValue[0]);
}

TEST_F(WriteCallback, OfAFailedWriteComesOnceBeforeAndOnceAfterTheFrameIsGone) {
    driver.retryCount = 2;
    monitorOnly("MOD", 1, 1);
    driver.pollList.clear();
    setWord("MOD", 1, 7);
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, answer(QByteArray()));
    takeReports();
    int calls = 0;
    hook = [&](const Report&) {
        ++calls;
        EXPECT_EQ(calls == 1 ? 1 : 0, driver.frameList.size());
        EXPECT_EQ(calls == 1 ? 2 : 0, driver.badReplyCount);
        EXPECT_EQ(1, driver.commFailed);
        EXPECT_EQ(1, driver.writeList.size()) << "the write leaves the list after its reports";
        EXPECT_EQ(0, shownWord("MOD", 1)) << "it falls back before it is reported";
    };
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ(2, calls);
    EXPECT_TRUE(driver.writeList.isEmpty());
}

TEST_F(WriteCallback, MayFillTheStoreWhenAWriteFails) {
    driver.retryCount = 1;
    QList<KEY_ADDRESS> monitored;
    monitored << entry(1, "F", 0, 20) << entry(1, "DO", 0, 8);
    intf_addrMerge(monitored);
    driver.pollList.clear();
    std::vector<unsigned char> data(60, 0x5A);
    intf_setData(1, "F", 0, 20, data.data(), 2);
    intf_setData(1, "DO", 0, 1, data.data(), 2);
    takeReports();
    int round = 0;
    hook = [&](const Report& report) {
        if (report.station == 1)
            fillTheStore(++round);
    };
    EXPECT_EQ(QString("write F0(20)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ(40, round);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(0, areaOf("F", i).writePending);
        EXPECT_EQ(0, shownWord("F", i));
    }
    EXPECT_EQ((Items{1, "DO", 0, 1}), itemsOf(driver.writeList.first()))
        << "the failed write and no other is gone";
    EXPECT_EQ(QString("write DO0(1)"), whatIsSent());
    round = 0;
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ(8, round) << "0x5A has four bits that differ, each reported by frame and by operation";
    EXPECT_EQ(0, areaOf("DO", 0).writePending);
    EXPECT_EQ(9, driver.writeList.first().station);
}

TEST_F(WriteCallback, OfAFailedWriteMayWriteAgain) {
    driver.retryCount = 1;
    monitorOnly("MOD", 1, 1);
    driver.pollList.clear();
    setWord("MOD", 1, 7);
    whatIsSent();
    takeReports();
    hook = [this](const Report&) {
        hook = nullptr;
        setWord("MOD", 1, 8);
    };
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    ASSERT_EQ((ItemsList{{1, "MOD", 1, 1}}), itemsOf(driver.writeList));
    EXPECT_EQ(8, driver.writeList.first().data[0]);
    EXPECT_EQ(0, areaOf("MOD", 1).writePending)
        << "the end of the operation takes the newer value back as well";
    EXPECT_EQ(3u, reports.size());
    EXPECT_EQ(QString("write MOD1(1)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GOOD, answerWell());
    EXPECT_EQ(8, shownWord("MOD", 1));
}

TEST_F(WriteCallback, ReportsTheEndOfAConditionReadBeforeItLeavesTheList) {
    queueRead("AI", 0);
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, answer(QByteArray()));
    driver.commFailed = 1;
    hook = [](const Report&) {
        EXPECT_EQ(1, driver.conditionList.size());
        EXPECT_TRUE(driver.frameList.isEmpty());
        EXPECT_EQ(1, driver.badReplyCount);
        EXPECT_EQ(0, driver.commFailed);
    };
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 4, {0})));
    EXPECT_EQ((Reports{end(0)}), takeReports());
    EXPECT_EQ(0, driver.badReplyCount);
    EXPECT_TRUE(driver.conditionList.isEmpty());
}

TEST_F(WriteCallback, ReportsTheEndOfAFailedConditionReadAfterTheCountIsReset) {
    queueRead("AI", 0);
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, answer(QByteArray()));
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, answer(QByteArray()));
    hook = [](const Report&) {
        EXPECT_EQ(1, driver.conditionList.size());
        EXPECT_TRUE(driver.frameList.isEmpty());
        EXPECT_EQ(0, driver.badReplyCount);
        EXPECT_EQ(1, driver.commFailed);
        EXPECT_EQ(1, areaOf("AI", 0).commError);
    };
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ((Reports{end(-1)}), takeReports());
    EXPECT_TRUE(driver.conditionList.isEmpty());
}

TEST_F(WriteCallback, MayQueueTheNextConditionReadAtTheEndOfOne) {
    queueRead("AI", 0);
    whatIsSent();
    hook = [this](const Report&) {
        hook = nullptr;
        queueRead("AI", 0);
        queueRead("AI", 3);
    };
    EXPECT_EQ(DX7_REPLY_GOOD, answerWell());
    EXPECT_EQ((Reports{end(0)}), takeReports());
    EXPECT_EQ((ItemsList{{1, "AI", 0, 1}, {1, "AI", 3, 1}}), itemsOf(driver.conditionList));
    EXPECT_EQ(QString("read AI0(1)"), traffic(1));
    EXPECT_TRUE(takeReports().empty()) << "the last one queued is another";
    EXPECT_EQ(QString("read AI3(1)"), traffic(1));
    EXPECT_EQ((Reports{end(0)}), takeReports());
}

TEST_F(WriteCallback, LosesWhatItQueuesAtTheEndOfAFailedConditionRead) {
    driver.retryCount = 1;
    queueRead("AI", 0);
    whatIsSent();
    hook = [this](const Report&) {
        hook = nullptr;
        queueRead("AI", 3);
        setWord("MOD", 1, 5);
    };
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_TRUE(driver.conditionList.isEmpty());
    EXPECT_EQ(3, driver.conditionVar.address);
    EXPECT_EQ(QString("write MOD1(1)"), whatIsSent()) << "writes are kept";
}

TEST_F(WriteCallback, MayFillTheListsAtTheEndOfAConditionRead) {
    queueRead("AI", 0);
    whatIsSent();
    hook = [this](const Report&) {
        hook = nullptr;
        for (int round = 1; round < 20; ++round)
            fillTheStore(round);
    };
    EXPECT_EQ(DX7_REPLY_GOOD, answerWell());
    EXPECT_EQ(512, driver.conditionList.size()) << "513 were held when the head left";
    EXPECT_EQ((Items{9, "AI", 1000, 1}), itemsOf(driver.conditionList.first()));
}

TEST_F(WriteCallback, OfAWriteMayChangeTheTextItIsGiven) {
    scribble = "host";
    driver.retryCount = 1;
    QList<KEY_ADDRESS> monitored;
    monitored << entry(1, "F", 0, 3) << entry(1, "DO", 0, 3);
    intf_addrMerge(monitored);
    driver.pollList.clear();
    unsigned char data[6] = {7, 1, 7, 1, 7, 1};
    intf_setData(1, "F", 0, 3, data, 2);
    intf_setData(1, "DO", 0, 1, data, 2);
    EXPECT_EQ((Reports{{1, 1, "F", 0}, {1, 1, "F", 1}, {1, 1, "F", 2}, {1, 1, "DO", 0}}), takeReports());
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ(
        (Reports{
            {1, 1, "F", 0}, {1, 1, "F", 1}, {1, 1, "F", 2}, {1, 1, "F", 0}, {1, 1, "F", 1}, {1, 1, "F", 2}}),
        takeReports());
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    const Report bits[] = {{1, 1, "DO", 0}, {1, 1, "DO", 1}, {1, 1, "DO", 2}};
    EXPECT_EQ((Reports{bits[0], bits[1], bits[2], bits[0], bits[1], bits[2]}), takeReports());
    queueRead("AI", 0);
    queueRead("AI", 1);
    EXPECT_EQ(QString("read AI0(1), nothing, read AI1(1)"), traffic(3));
    EXPECT_EQ((Reports{end(0)}), takeReports());
    for (const _DATA_& item : driver.dataAreas)
        EXPECT_NE(QString("host"), item.regType);
}

}  // namespace

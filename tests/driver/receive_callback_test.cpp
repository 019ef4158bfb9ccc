// What the host sees and does inside a report about received data: values are stored before they are
// reported, and whatever the host asks, writes or queues inside the report, the rest of the reply is dealt
// with as without it.
#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVector>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class ReceiveCallback : public DriverTest {
protected:
    // Does in every report what makes any kept reference into a list or the store worthless: hundreds of new
    // areas, queued writes and condition reads. Reports that this causes itself are not answered.
    void disturbInEveryReport() {
        hook = [this](const Report&) {
            if (busy_)
                return;
            busy_ = true;
            std::vector<unsigned char> bytes(300, 1);
            const int fresh = 1000 * ++rounds_;
            intf_getData(9, "F", fresh, 150, bytes.data());
            intf_getData(9, "DI", fresh, 100, bytes.data());
            intf_setData(9, "MOD", fresh, 130, bytes.data(), 2);
            intf_setData(9, "DO", fresh, 3, bytes.data(), 2);
            for (int i = 0; i < 10; ++i) {
                KEY_ADDRESS key = entry(9, "AI", fresh + 2 * i, 1);
                intf_addConditionRead(key, 3);
            }
            busy_ = false;
        };
    }

    // Reports so far without those about the disturbing station.
    Reports ownReports() {
        Reports own;
        for (const Report& report : takeReports()) {
            if (report.station != 9)
                own.push_back(report);
        }
        return own;
    }

    static QByteArray shown(const char* regType, int address, int count, int bytesEach) {
        QByteArray out(count * bytesEach, '\xEE');
        intf_getData(1, regType, address, count, reinterpret_cast<unsigned char*>(out.data()));
        return out;
    }

    int rounds_ = 0;

private:
    bool busy_ = false;
};

TEST_F(ReceiveCallback, SeesTheNewBit) {
    putReadOnLine("DO", 1, 3);
    int calls = 0;
    hook = [&](const Report& report) {
        ++calls;
        const int expected[] = {1, 0, 1};
        EXPECT_EQ(QByteArray(1, char(expected[report.address - 1])), shown("DO", report.address, 1, 1));
        EXPECT_EQ(QByteArray(1, 0), shown("DO", report.address + 1, 1, 1))
            << "the next one is not stored yet";
    };
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 1, hex("05"))));
    EXPECT_EQ(3, calls);
}

TEST_F(ReceiveCallback, SeesTheReadBitInsteadOfAPendingOne) {
    areaOf("DO", 8).writePending = 1;
    areaOf("DO", 8).writtenValue[0] = 0x33;
    putReadOnLine("DO", 8, 1);
    hook = [](const Report&) { EXPECT_EQ(hex("01"), shown("DO", 8, 1, 1)); };
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 1, hex("01"))));
    EXPECT_EQ(1u, reports.size());
}

TEST_F(ReceiveCallback, SeesTheNewWord) {
    monitorOnly("F", 0, 2);
    areaOf("F", 0).writePending = 1;
    putReadOnLine("F", 0, 2);
    hook = [](const Report& report) {
        EXPECT_EQ(report.address == 0 ? hex("34 12 00 00") : hex("34 12 78 56"), shown("F", 0, 2, 2));
    };
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1234, 0x5678})));
    EXPECT_EQ(2u, reports.size());
}

TEST_F(ReceiveCallback, SeesTheNewStatus) {
    areaOf("FAS", 0).writePending = 1;
    putReadOnLine("FAS", 0, 1);
    hook = [](const Report&) { EXPECT_EQ(hex("5A"), shown("FAS", 0, 1, 1)); };
    EXPECT_EQ(DX7_REPLY_GOOD, answer(statusReply(1, 0x5A)));
    EXPECT_EQ(1u, reports.size());
}

TEST_F(ReceiveCallback, ComesWhileTheFrameStillWaitsAndAfterCommFailedIsCleared) {
    driver.commFailed = 1;
    putReadOnLine("FAS", 0, 1);
    EXPECT_EQ(DX7_REPLY_SEND_AGAIN, answer(QByteArray()));
    hook = [](const Report&) {
        EXPECT_EQ(1, driver.frameList.size());
        EXPECT_EQ(1, driver.badReplyCount);
        EXPECT_EQ(0, driver.commFailed);
    };
    EXPECT_EQ(DX7_REPLY_GOOD, answer(statusReply(1, 0x5A)));
    EXPECT_EQ(1u, reports.size());
}

TEST_F(ReceiveCallback, MayQueueAnythingDuringAReadOfBits) {
    disturbInEveryReport();
    putReadOnLine("CW_bit", 0, 40);
    driver.pollList << request(1, "SW", 0, 1, 4);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 1, hex("FF 0F A5 5A 81"))));
    EXPECT_GT(rounds_, 4);
    EXPECT_EQ(hex("01 01 01 01 01 01 01 01 01 01 01 01 00 00 00 00 01 00 01 00 00 01 00 01 "
                  "00 01 00 01 01 00 01 00 01 00 00 00 00 00 00 01"),
              shown("CW_bit", 0, 40, 1));
    EXPECT_TRUE(driver.frameList.isEmpty());
    EXPECT_EQ(QString("SW"), driver.pollList.first().regType);
}

TEST_F(ReceiveCallback, MayQueueAnythingDuringAReadOfWords) {
    QList<KEY_ADDRESS> monitored;
    monitored << entry(1, "CW", 0, 20);
    intf_addrMerge(monitored);
    for (int i = 0; i < 20; ++i) {
        areaOf("CW", i).bitMonitorMask = 0x0003;
        areaOf("CW", i).wordMonitorFlags = 7;
    }
    putReadOnLine("CW", 0, 20);
    disturbInEveryReport();
    QVector<int> words;
    Reports expected;
    for (int i = 0; i < 20; ++i) {
        words << 0x0103 + i * 4;
        expected.push_back({1, 1, "CW_bit", 16 * i});
        expected.push_back({1, 1, "CW_bit", 16 * i + 1});
        expected.push_back({1, 1, "CW", i});
        expected.push_back({1, 1, "CW_double", i});
        if (i > 0)
            expected.push_back({1, 1, "CW_double", i - 1});
    }
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, words)));
    EXPECT_EQ(expected, ownReports());
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(words[i], areaOf("CW", i).value[0] + 256 * areaOf("CW", i).value[1]);
}

TEST_F(ReceiveCallback, MayQueueAnythingDuringAStatusQuery) {
    disturbInEveryReport();
    putReadOnLine("FAS", 0, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(statusReply(1, 0x5A)));
    EXPECT_EQ((Reports{{1, 1, "FAS", 0}}), ownReports());
    EXPECT_EQ(hex("5A"), shown("FAS", 0, 1, 1));
}

TEST_F(ReceiveCallback, MayQueueAnythingDuringARecipeRead) {
    for (int i = 0; i < 5; ++i)
        driver.recipeVars << recipeVariable(1, 1, "F", 10 + i, 1, 100 + i);
    driver.recipeBlocks << recipeVariable(1, 1, "F", 10, 5, 100);
    driver.recipeBlockStart << 0;
    hostFlags[RECIPE_READ_REQUEST] = 1;
    whatIsSent();
    disturbInEveryReport();
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {1, 2, 3, 4, 5})));
    EXPECT_EQ((Reports{{0, -1, "RWI", 100},
                       {0, -1, "RWI", 101},
                       {0, -1, "RWI", 102},
                       {0, -1, "RWI", 103},
                       {0, -1, "RWI", 104}}),
              ownReports());
    EXPECT_EQ(hex("01 00 02 00 03 00 04 00 05 00"),
              QByteArray(reinterpret_cast<const char*>(recipeMemory.data()) + 200, 10));
    EXPECT_EQ(0, hostFlags[RECIPE_READ_REQUEST]);
}

TEST_F(ReceiveCallback, MayWriteTheVeryBitItReports) {
    putReadOnLine("DO", 8, 1);
    hook = [this](const Report&) {
        hook = nullptr;
        unsigned char off = 0;
        intf_setData(1, "DO", 8, 1, &off, 2);
    };
    EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 1, hex("01"))));
    EXPECT_EQ((Reports{{1, 1, "DO", 8}, {1, 1, "DO", 8}}), takeReports());
    EXPECT_EQ(1, areaOf("DO", 8).value[0]);
    EXPECT_EQ(1, areaOf("DO", 8).writePending);
    EXPECT_EQ(hex("00"), shown("DO", 8, 1, 1));
    EXPECT_EQ(QString("write DO8(1)"), whatIsSent());
}

TEST_F(ReceiveCallback, MayWriteTheVeryWordItReports) {
    monitorOnly("MOD", 1, 1);
    putReadOnLine("MOD", 1, 1);
    hook = [this](const Report&) {
        hook = nullptr;
        unsigned char back[2] = {0x11, 0x22};
        intf_setData(1, "MOD", 1, 1, back, 2);
    };
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1234})));
    EXPECT_EQ(2u, reports.size());
    EXPECT_EQ(0x34, areaOf("MOD", 1).value[0]);
    EXPECT_EQ(1, areaOf("MOD", 1).writePending);
    EXPECT_EQ(hex("11 22"), shown("MOD", 1, 1, 2));
}

TEST_F(ReceiveCallback, MayChangeTheTextItIsGiven) {
    for (const char* text : {"", "F", "host", "a very long text that the host puts in its place"}) {
        SCOPED_TRACE(text);
        init("1#0#0#3#64");
        scribble = QString(text);
        QList<KEY_ADDRESS> monitored;
        monitored << entry(1, "CW", 0, 3) << entry(1, "DI", 1, 3) << entry(1, "FAS", 0, 1);
        intf_addrMerge(monitored);
        for (int i = 0; i < 3; ++i)
            areaOf("CW", i).bitMonitorMask = 1;
        takeReports();
        Reports expected;
        for (int step = 0; step < 3; ++step) {
            const QString sent = whatIsSent();
            if (sent == QString("read CW0(3)")) {
                EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {1, 3, 5})));
                for (int i = 0; i < 3; ++i) {
                    expected.push_back({1, 1, "CW_bit", 16 * i});
                    expected.push_back({1, 1, "CW", i});
                }
            } else if (sent == QString("read DI1(3)")) {
                EXPECT_EQ(DX7_REPLY_GOOD, answer(bitReply(1, 2, hex("07"))));
                for (int i = 1; i <= 3; ++i)
                    expected.push_back({1, 1, "DI", i});
            } else {
                EXPECT_EQ(QString("read FAS0(1)"), sent);
                EXPECT_EQ(DX7_REPLY_GOOD, answer(statusReply(1, 9)));
                expected.push_back({1, 1, "FAS", 0});
            }
        }
        EXPECT_EQ(expected, takeReports());
        EXPECT_EQ(hex("01 00 03 00 05 00"), shown("CW", 0, 3, 2));
        EXPECT_EQ(hex("01 01 01"), shown("DI", 1, 3, 1));
        for (const _DATA_& item : driver.dataAreas)
            EXPECT_TRUE(item.regType == "CW" || item.regType == "DI" || item.regType == "FAS");
        EXPECT_EQ((ItemsList{{1, "FAS", 0, 1}, {1, "DI", 1, 3}, {1, "CW", 0, 3}}), itemsOf(driver.pollList));
    }
}

}  // namespace

// Written values: stored at once, confirmed or taken back per item, and how each kind of operation ends.
#include "write_path.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <algorithm>

#include "line.h"
#include "operations.h"
#include "support.h"

using namespace dx7test;

namespace {

class WritePath : public DriverTest {
protected:
    static void store(const char* regType, int address, const QByteArray& data, int count) {
        write_saveDataToArea(1, regType, address, count,
                             reinterpret_cast<const unsigned char*>(data.constData()));
    }

    static QByteArray shown(const char* regType, int address, int bytes = 1) {
        unsigned char out[8] = {};
        intf_getData(1, regType, address, bytes == 2 ? 1 : bytes, out);
        return QByteArray(reinterpret_cast<const char*>(out), bytes);
    }

    static void setWord(const char* regType, int address, int value) {
        unsigned char data[2] = {static_cast<unsigned char>(value & 0xFF),
                                 static_cast<unsigned char>(value >> 8)};
        intf_setData(1, regType, address, 1, data, 2);
    }

    static Report end(int result) { return Report{-1, -1, "-1", result}; }
};

TEST_F(WritePath, StoresWordsOfEveryTypeAsPending) {
    for (const char* type : WORD_TYPES) {
        SCOPED_TRACE(type);
        store(type, 4, hex("34 12 78 56"), 2);
        EXPECT_EQ(1, areaOf(type, 4).writePending);
        EXPECT_EQ(0, areaOf(type, 4).value[0]);
        EXPECT_EQ(0x34, areaOf(type, 4).writtenValue[0]);
        EXPECT_EQ(0x12, areaOf(type, 4).writtenValue[1]);
        EXPECT_EQ(hex("78 56"), shown(type, 5, 2));
    }
    EXPECT_TRUE(reports.empty()) << "no word is monitored";
}

TEST_F(WritePath, ReportsAMonitoredWordOnlyWhenItDiffersFromWhatWasShown) {
    monitorOnly("F", 4, 1);
    store("F", 4, hex("05 00"), 1);
    EXPECT_EQ((Reports{{1, 1, "F", 4}}), takeReports());
    store("F", 4, hex("05 00"), 1);
    EXPECT_TRUE(takeReports().empty()) << "equals the value written before";
    store("F", 4, hex("00 00"), 1);
    EXPECT_EQ((Reports{{1, 1, "F", 4}}), takeReports()) << "differs from it, though not from the value read";
    areaOf("F", 4).writePending = 0;
    store("F", 4, hex("00 00"), 1);
    EXPECT_TRUE(takeReports().empty());
}

TEST_F(WritePath, StoresBitsOfEveryTypeInTheAreaOfTheirGroup) {
    for (const char* type : BIT_TYPES) {
        SCOPED_TRACE(type);
        store(type, 11, hex("01"), 1);
        EXPECT_EQ(1, areaOf(type, 8).writePending);
        EXPECT_EQ(1, areaOf(type, 8).writtenValue[0]);
        EXPECT_EQ(hex("01"), shown(type, 8));
        EXPECT_EQ(hex("00"), shown(type, 11)) << "the bit itself still shows the value read";
    }
}

TEST_F(WritePath, ComparesEachBitWithItsGroupAsTheBitBeforeLeftIt) {
    store("DO", 3, hex("01 00 01"), 3);
    EXPECT_EQ((Reports{{1, 1, "DO", 3}, {1, 1, "DO", 4}, {1, 1, "DO", 5}}), takeReports());
    EXPECT_EQ(1, areaOf("DO", 0).writtenValue[0]);
    EXPECT_EQ(1, driver.dataAreas.size());
    store("DO", 3, hex("01 01 01"), 3);
    EXPECT_TRUE(takeReports().empty());
    store("DO", 6, hex("01 01 00 00"), 4);
    EXPECT_TRUE(takeReports().empty()) << "the next group shows 0";
    EXPECT_EQ(0, areaOf("DO", 8).writtenValue[0]);
    store("DO", 9, hex("00 01"), 2);
    EXPECT_EQ((Reports{{1, 1, "DO", 10}}), takeReports());
}

TEST_F(WritePath, StoresBitBytesOtherThan0And1AsTheyAre) {
    store("DO", 1, hex("A7"), 1);
    EXPECT_EQ(0xA7, areaOf("DO", 0).writtenValue[0]);
    EXPECT_EQ((Reports{{1, 1, "DO", 1}}), takeReports());
}

TEST_F(WritePath, StoresNothingWithoutItemsOrForOtherTypes) {
    for (int count : {0, -1, -100}) {
        store("DO", 1, hex("01 01"), count);
        store("F", 1, hex("01 01"), count);
        _write_FailOrSuc(1, "DO", 1, count, 1);
        _write_FailOrSuc(1, "F", 1, count, 0);
    }
    for (const char* type : {"FAS", "FW", "", "unknown"}) {
        store(type, 0, hex("01 01 01 01"), 2);
        _write_FailOrSuc(1, type, 0, 2, 1);
        _write_FailOrSuc(1, type, 0, 2, 0);
    }
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_TRUE(reports.empty());
}

TEST_F(WritePath, ConfirmsWords) {
    monitorOnly("F", 4, 2);
    store("F", 4, hex("34 12 78 56"), 2);
    takeReports();
    _write_FailOrSuc(1, "F", 4, 2, 1);
    EXPECT_EQ(0, areaOf("F", 4).writePending);
    EXPECT_EQ(0x34, areaOf("F", 4).value[0]);
    EXPECT_EQ(0x12, areaOf("F", 4).value[1]);
    EXPECT_EQ(0x56, areaOf("F", 5).value[1]);
    EXPECT_TRUE(takeReports().empty());
}

TEST_F(WritePath, TakesBackWordsThatFailedAndReportsThoseThatDiffer) {
    monitorOnly("F", 4, 2);
    areaOf("F", 4).value[0] = 0x34;
    areaOf("F", 4).value[1] = 0x12;
    store("F", 4, hex("34 12 78 56"), 2);
    takeReports();
    _write_FailOrSuc(1, "F", 4, 2, 0);
    EXPECT_EQ((Reports{{1, 1, "F", 5}}), takeReports());
    EXPECT_EQ(0, areaOf("F", 5).writePending);
    EXPECT_EQ(hex("00 00"), shown("F", 5, 2));
    EXPECT_EQ(0x78, areaOf("F", 5).writtenValue[0]);
}

TEST_F(WritePath, TakesAnySuccessOtherThan1ForAFailure) {
    for (int success : {0, 2, -1, 255}) {
        store("F", 4, hex("05 00"), 1);
        _write_FailOrSuc(1, "F", 4, 1, success);
        EXPECT_EQ(0, areaOf("F", 4).value[0]) << success;
        store("DO", 4, hex("01"), 1);
        _write_FailOrSuc(1, "DO", 4, 1, success);
        EXPECT_EQ(0, areaOf("DO", 0).value[0]) << success;
    }
}

TEST_F(WritePath, ConfirmsBitsInTheAreaOfTheirGroup) {
    store("DO", 9, hex("01 01"), 2);
    takeReports();
    _write_FailOrSuc(1, "DO", 9, 2, 1);
    EXPECT_EQ(0, areaOf("DO", 8).writePending);
    EXPECT_EQ(1, areaOf("DO", 8).value[0]);
    EXPECT_EQ(1, driver.dataAreas.size());
    EXPECT_TRUE(takeReports().empty());
}

TEST_F(WritePath, TakesBackBitsAndReportsMonitoredBitsOfTheWholeGroupForEachOne) {
    monitorOnly("DO", 0, 3);
    store("DO", 1, hex("07 07"), 2);
    takeReports();
    _write_FailOrSuc(1, "DO", 1, 2, 0);
    const Reports once{{1, 1, "DO", 0}, {1, 1, "DO", 1}, {1, 1, "DO", 2}};
    Reports twice(once);
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(twice, takeReports());
    EXPECT_EQ(0, areaOf("DO", 0).value[0]);
    EXPECT_EQ(0, areaOf("DO", 0).writePending);
}

TEST_F(WritePath, TakesBackUnmonitoredBitsSilently) {
    store("DO", 1, hex("01"), 1);
    takeReports();
    _write_FailOrSuc(1, "DO", 1, 1, 0);
    EXPECT_TRUE(takeReports().empty());
}

TEST_F(WritePath, OfBitsStaysPendingWhileTheGroupHasPendingBits) {
    areaOf("DO", 8).pendingBits = 0x0A;
    store("DO", 9, hex("01"), 1);
    _write_FailOrSuc(1, "DO", 9, 1, 1);
    EXPECT_EQ(0x08, areaOf("DO", 8).pendingBits);
    EXPECT_EQ(1, areaOf("DO", 8).writePending);
    EXPECT_EQ(1, areaOf("DO", 8).value[0]);
    _write_FailOrSuc(1, "DO", 11, 1, 1);
    EXPECT_EQ(0, areaOf("DO", 8).pendingBits);
    EXPECT_EQ(0, areaOf("DO", 8).writePending);
}

TEST_F(WritePath, CompletesItemsThatWereNeverStored) {
    _write_FailOrSuc(2, "DO", 17, 1, 1);
    _write_FailOrSuc(2, "F", 5, 1, 0);
    ASSERT_EQ(2, driver.dataAreas.size());
    EXPECT_EQ(16, driver.dataAreas.at(0).address);
    EXPECT_EQ(5, driver.dataAreas.at(1).address);
    EXPECT_TRUE(reports.empty());
}

TEST_F(WritePath, OfAWordThatFailedIsReportedTwice) {
    driver.retryCount = 1;
    monitorOnly("MOD", 1, 1);
    driver.pollList.clear();
    setWord("MOD", 1, 7);
    EXPECT_EQ((Reports{{1, 1, "MOD", 1}}), takeReports());
    EXPECT_EQ(QString("write MOD1(1)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ((Reports{{1, 1, "MOD", 1}, {1, 1, "MOD", 1}}), takeReports())
        << "per frame, then per operation";
    EXPECT_TRUE(driver.writeList.isEmpty());
    EXPECT_EQ(hex("00 00"), shown("MOD", 1, 2));
}

TEST_F(WritePath, OfABitThatFailedIsReportedTwice) {
    driver.retryCount = 1;
    monitorOnly("DO", 0, 2);
    driver.pollList.clear();
    unsigned char on = 1;
    intf_setData(1, "DO", 0, 1, &on, 2);
    whatIsSent();
    takeReports();
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ((Reports{{1, 1, "DO", 0}, {1, 1, "DO", 0}}), takeReports());
}

TEST_F(WritePath, OfAWordThatFailedWithTheCurrentValueIsNotReported) {
    driver.retryCount = 1;
    monitorOnly("MOD", 1, 1);
    driver.pollList.clear();
    areaOf("MOD", 1).value[0] = 7;
    setWord("MOD", 1, 7);
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_TRUE(takeReports().empty());
}

TEST_F(WritePath, AcknowledgingAnOlderWriteConfirmsTheNewestValue) {
    setWord("MOD", 1, 7);
    whatIsSent();
    setWord("MOD", 1, 9);
    EXPECT_EQ(2, driver.writeList.size());
    EXPECT_EQ(DX7_REPLY_GOOD, answerWell());
    EXPECT_EQ(9, areaOf("MOD", 1).value[0]);
    EXPECT_EQ(0, areaOf("MOD", 1).writePending);
    EXPECT_EQ(QString("write MOD1(1)"), whatIsSent());
}

TEST_F(WritePath, OfAFailedWriteLetsTheNextOneBeServed) {
    driver.retryCount = 1;
    setWord("MOD", 1, 7);
    setWord("MOD", 2, 8);
    whatIsSent();
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ(QString("write MOD2(1)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GOOD, answerWell());
    EXPECT_EQ(8, areaOf("MOD", 2).value[0]);
    EXPECT_EQ(0, areaOf("MOD", 1).value[0]);
}

TEST_F(WritePath, EndsAWriteByCommFailed) {
    for (int commFailed : {0, 1, 5, -1}) {
        init("1#0#0#3#64");
        setWord("F", 1, 7);
        setWord("F", 2, 8);
        driver.opKind = 2;
        driver.commFailed = commFailed;
        dealListWhenFinish();
        EXPECT_EQ(commFailed == 0 ? 7 : 0, areaOf("F", 1).value[0]);
        EXPECT_EQ((ItemsList{{1, "F", 2, 1}}), itemsOf(driver.writeList));
        EXPECT_EQ(1, areaOf("F", 2).writePending);
    }
}

TEST_F(WritePath, EndsNothingWhenNothingIsListed) {
    for (int opKind : {-1, 0, 1, 2, 3, 4, 7, 100}) {
        for (int commFailed : {0, 1}) {
            driver.opKind = opKind;
            driver.commFailed = commFailed;
            dealListWhenFinish();
            EXPECT_TRUE(driver.dataAreas.isEmpty());
            EXPECT_TRUE(reports.empty());
        }
    }
}

TEST_F(WritePath, EndsNoListForOtherKinds) {
    for (int opKind : {0, 1, 7, -1}) {
        init("1#0#0#3#64");
        driver.writeList << request(1, "F", 1, 1);
        driver.conditionList << request(1, "F", 1, 1);
        driver.pollList << request(1, "F", 1, 1) << request(1, "F", 2, 1);
        driver.conditionVar = request(1, "F", 1, 1);
        driver.opKind = opKind;
        dealListWhenFinish();
        EXPECT_EQ(1, driver.writeList.size());
        EXPECT_EQ(1, driver.conditionList.size());
        EXPECT_EQ(1, driver.pollList.first().address);
        EXPECT_TRUE(reports.empty());
    }
}

TEST_F(WritePath, EndsAConditionReadWithAReportOnlyForTheOneQueuedLast) {
    const struct {
        VARIABLE last;
        bool reported;
    } rows[] = {{request(1, "F", 1, 1, 77, hex("01")), true},
                {request(2, "F", 1, 1), false},
                {request(1, "D", 1, 1), false},
                {request(1, "F", 2, 1), false},
                {request(1, "F", 1, 2), false}};
    for (const auto& row : rows) {
        for (int commFailed : {0, 1}) {
            SCOPED_TRACE(testing::PrintToString(itemsOf(row.last)) + (commFailed ? " failed" : ""));
            driver.conditionList.clear();
            driver.conditionList << request(1, "F", 1, 1, 3) << request(1, "F", 9, 1, 3);
            driver.conditionVar = row.last;
            driver.opKind = 3;
            driver.commFailed = commFailed;
            dealListWhenFinish();
            EXPECT_EQ(row.reported ? (Reports{end(commFailed ? -1 : 0)}) : Reports(), takeReports());
            EXPECT_EQ(commFailed ? 0 : 1, driver.conditionList.size());
        }
    }
}

TEST_F(WritePath, EndsACyclicReadByRotatingAtLeastTwoBlocks) {
    driver.opKind = 4;
    driver.pollList << request(1, "F", 1, 1, 4);
    dealListWhenFinish();
    EXPECT_EQ((ItemsList{{1, "F", 1, 1}}), itemsOf(driver.pollList));
    driver.pollList << request(1, "F", 2, 1, 4) << request(1, "F", 3, 1, 4);
    driver.commFailed = 1;
    dealListWhenFinish();
    EXPECT_EQ((ItemsList{{1, "F", 2, 1}, {1, "F", 3, 1}, {1, "F", 1, 1}}), itemsOf(driver.pollList));
}

TEST_F(WritePath, EndsARecipeTransferAfterItsLastBlockOrAFailure) {
    for (int opKind : {5, 6}) {
        const size_t own = opKind == 5 ? RECIPE_WRITE_REQUEST : RECIPE_READ_REQUEST;
        const size_t other = opKind == 5 ? RECIPE_READ_REQUEST : RECIPE_WRITE_REQUEST;
        SCOPED_TRACE(opKind);
        driver.recipeBlocks.resize(3);
        driver.opKind = opKind;
        driver.recipeIndex = 0;
        driver.commFailed = 0;
        hostFlags[own] = hostFlags[other] = 1;
        for (int index : {1, 2, 0}) {
            dealListWhenFinish();
            EXPECT_EQ(index, driver.recipeIndex);
            EXPECT_EQ(index == 0 ? 0 : 1, hostFlags[own]);
        }
        EXPECT_EQ(1, hostFlags[other]);
        hostFlags[own] = 1;
        driver.recipeIndex = 1;
        driver.commFailed = 1;
        dealListWhenFinish();
        EXPECT_EQ(0, driver.recipeIndex);
        EXPECT_EQ(0, hostFlags[own]);
        EXPECT_TRUE(mutex.tryLock()) << "the host's mutex is free again";
        mutex.unlock();
    }
    EXPECT_EQ(60200, std::count(hostFlags.begin(), hostFlags.end(), 0) + 1) << "no other byte was touched";
}

}  // namespace

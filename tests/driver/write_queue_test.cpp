// Host writes on their way into the queue: kinds, blocks, counts, and which queued write a newer one
// replaces.
#include <QtCore/QString>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class WriteQueue : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        for (int i = 0; i < 4096; ++i)
            values.push_back(static_cast<unsigned char>(i * 7 + i / 256 + 1));
    }

    int set(const char* regType, int address, int count, int tag = 2) {
        return intf_setData(1, regType, address, count, values.data(), tag);
    }

    // Whether the first `length` data bytes of a request are those values from `offset` on, and all others 0.
    bool carries(const VARIABLE& var, int offset, int length) const {
        for (int i = 0; i < DX7_DATA_BYTES; ++i) {
            const int expected = i < length ? values[static_cast<size_t>(offset + i)] : 0;
            if (var.data[i] != expected)
                return false;
        }
        return true;
    }

    std::vector<unsigned char> values;
};

TEST_F(WriteQueue, HoldsOneRequestForBitsOfAnyType) {
    for (const char* type : BIT_TYPES) {
        SCOPED_TRACE(type);
        driver.writeList.clear();
        EXPECT_EQ(1, set(type, 3, 70, 41));
        ASSERT_EQ((ItemsList{{1, type, 3, 70}}), itemsOf(driver.writeList));
        EXPECT_EQ(41, driver.writeList.first().opKind);
        EXPECT_TRUE(carries(driver.writeList.first(), 0, 70));
    }
}

TEST_F(WriteQueue, SplitsWordsOfAnyTypeIntoBlocks) {
    init("1#0#0#3#8");
    for (const char* type : WORD_TYPES) {
        SCOPED_TRACE(type);
        driver.writeList.clear();
        EXPECT_EQ(1, set(type, 100, 20, 42));
        ASSERT_EQ((ItemsList{{1, type, 100, 8}, {1, type, 108, 8}, {1, type, 116, 4}}),
                  itemsOf(driver.writeList));
        EXPECT_TRUE(carries(driver.writeList.at(0), 0, 16));
        EXPECT_TRUE(carries(driver.writeList.at(1), 16, 16));
        EXPECT_TRUE(carries(driver.writeList.at(2), 32, 8));
        for (const VARIABLE& var : driver.writeList)
            EXPECT_EQ(42, var.opKind);
    }
}

TEST_F(WriteQueue, SplitsWordsAtExactMultiplesOfTheBlock) {
    init("1#0#0#3#8");
    const struct {
        int count;
        ItemsList blocks;
    } rows[] = {{1, {{1, "MOD", 5, 1}}},
                {7, {{1, "MOD", 5, 7}}},
                {8, {{1, "MOD", 5, 8}}},
                {9, {{1, "MOD", 5, 8}, {1, "MOD", 13, 1}}},
                {16, {{1, "MOD", 5, 8}, {1, "MOD", 13, 8}}}};
    for (const auto& row : rows) {
        driver.writeList.clear();
        set("MOD", 5, row.count);
        EXPECT_EQ(row.blocks, itemsOf(driver.writeList)) << row.count;
    }
}

TEST_F(WriteQueue, LetsBlocksOfParametersRunAcrossGroups) {
    init("1#0#0#3#8");
    set("F", 50, 16);
    EXPECT_EQ((ItemsList{{1, "F", 50, 8}, {1, "F", 58, 8}}), itemsOf(driver.writeList));
}

TEST_F(WriteQueue, SplitsByTheCopyOfTheBlockLimit) {
    driver.maxBlockWords = 4;
    driver.maxBlockWordsCopy = 10;
    driver.maxBlockBits = 2;
    set("F", 0, 12);
    EXPECT_EQ((ItemsList{{1, "F", 0, 10}, {1, "F", 10, 2}}), itemsOf(driver.writeList));
    driver.writeList.clear();
    set("DO", 0, 12);
    EXPECT_EQ((ItemsList{{1, "DO", 0, 12}}), itemsOf(driver.writeList));
}

TEST_F(WriteQueue, OfNoWordsStaysEmptyAndOfNoBitsHoldsOneEmptyRequest) {
    EXPECT_EQ(1, set("F", 0, 0));
    EXPECT_TRUE(driver.writeList.isEmpty());
    EXPECT_EQ(1, set("DO", 1, 0));
    ASSERT_EQ((ItemsList{{1, "DO", 1, 0}}), itemsOf(driver.writeList));
    EXPECT_TRUE(carries(driver.writeList.first(), 0, 0));
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_TRUE(reports.empty());
}

TEST_F(WriteQueue, OfANegativeCountFollowsTheBlockArithmetic) {
    init("1#0#0#3#8");
    for (int count : {-1, -3, -7}) {
        driver.writeList.clear();
        EXPECT_EQ(1, set("F", 5, count));
        ASSERT_EQ((ItemsList{{1, "F", 5, count}}), itemsOf(driver.writeList));
        EXPECT_TRUE(carries(driver.writeList.first(), 0, 0));
    }
    driver.writeList.clear();
    for (int count : {-8, -9, -12, -16, -20, -1000}) {
        EXPECT_EQ(1, set("F", 5, count));
        EXPECT_TRUE(driver.writeList.isEmpty()) << count;
    }
    EXPECT_EQ(1, set("DO", 1, -9));
    ASSERT_EQ((ItemsList{{1, "DO", 1, -9}}), itemsOf(driver.writeList));
    EXPECT_TRUE(carries(driver.writeList.first(), 0, 0));
    EXPECT_TRUE(driver.dataAreas.isEmpty());
}

TEST_F(WriteQueue, CopiesAtMostTheDataOfOneRecord) {
    set("DO", 1, 1500);
    ASSERT_EQ((ItemsList{{1, "DO", 1, 1500}}), itemsOf(driver.writeList));
    EXPECT_TRUE(carries(driver.writeList.first(), 0, 1024));
    driver.writeList.clear();
    driver.maxBlockWordsCopy = 1000;
    set("MOD", 1, 1000);
    ASSERT_EQ((ItemsList{{1, "MOD", 1, 1000}}), itemsOf(driver.writeList));
    EXPECT_TRUE(carries(driver.writeList.first(), 0, 1024));
}

TEST_F(WriteQueue, WithoutAPositiveBlockLimitDoesNotSplit) {
    for (int limit : {0, -1, -8}) {
        driver.maxBlockWordsCopy = limit;
        driver.writeList.clear();
        EXPECT_EQ(1, set("F", 3, 20));
        ASSERT_EQ((ItemsList{{1, "F", 3, 20}}), itemsOf(driver.writeList)) << limit;
        EXPECT_TRUE(carries(driver.writeList.first(), 0, 40));
    }
}

TEST_F(WriteQueue, IgnoresTheStatusAndUnknownTypes) {
    for (const char* type : {"FAS", "FW", "", "do", "unknown"}) {
        EXPECT_EQ(1, set(type, 0, 2)) << type;
        EXPECT_TRUE(driver.writeList.isEmpty()) << type;
    }
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_TRUE(reports.empty());
}

TEST_F(WriteQueue, StaysEmptyWhenWritesAreLocalWhileTheValuesAreStored) {
    for (const char* properties : {"1#1#0#3#8", "1#-4#0#3#8"}) {
        init(properties);
        takeReports();
        EXPECT_EQ(1, set("DO", 1, 1));
        EXPECT_EQ(1, set("F", 3, 20));
        EXPECT_TRUE(driver.writeList.isEmpty());
        EXPECT_EQ(QString("nothing"), whatIsSent());
        EXPECT_EQ(1, areaOf("F", 22).writePending);
        unsigned char out[40];
        intf_getData(1, "F", 3, 20, out);
        EXPECT_EQ(0, std::memcmp(values.data(), out, sizeof out));
        EXPECT_EQ((Reports{{1, 1, "DO", 1}}), takeReports());
    }
}

TEST_F(WriteQueue, StoresIntoTheFirstAreaOfAnItemAlsoAfterTheListWasEdited) {
    for (int i = 0; i < 4; ++i)
        areaOf("F", i);
    set("F", 0, 4);
    driver.dataAreas.prepend(area(1, "F", 2));
    set("F", 2, 1);
    EXPECT_EQ(1, driver.dataAreas.at(0).writePending);
    driver.dataAreas.move(0, 4);
    driver.dataAreas.removeFirst();
    set("F", 0, 1);
    ASSERT_EQ(5, driver.dataAreas.size());
    EXPECT_EQ(0, driver.dataAreas.at(4).address);
    EXPECT_EQ(1, driver.dataAreas.at(4).writePending);
}

TEST_F(WriteQueue, OfALocalWriteStaysPendingUntilADifferentValueIsRead) {
    init("1#1#0#3#8");
    set("F", 3, 1);
    putReadOnLine("F", 3, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0})));
    EXPECT_EQ(1, areaOf("F", 3).writePending) << "the value read is the value stored";
    putReadOnLine("F", 3, 1);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x55})));
    EXPECT_EQ(0, areaOf("F", 3).writePending);
}

TEST_F(WriteQueue, ReplacesAQueuedWriteOfTheSameItemsInPlace) {
    set("MOD", 1, 1);
    set("MOD", 2, 1, 10);
    set("DO", 1, 1);
    values[0] = 99;
    set("MOD", 2, 1, 11);
    ASSERT_EQ((ItemsList{{1, "MOD", 1, 1}, {1, "MOD", 2, 1}, {1, "DO", 1, 1}}), itemsOf(driver.writeList));
    EXPECT_EQ(99, driver.writeList.at(1).data[0]);
    EXPECT_EQ(11, driver.writeList.at(1).opKind);
}

TEST_F(WriteQueue, NeverReplacesTheWriteInProgress) {
    set("MOD", 1, 1);
    values[0] = 99;
    set("MOD", 1, 1);
    ASSERT_EQ(2, driver.writeList.size());
    EXPECT_EQ(1, driver.writeList.at(0).data[0]);
    EXPECT_EQ(99, driver.writeList.at(1).data[0]);
    values[0] = 77;
    set("MOD", 1, 1);
    ASSERT_EQ(2, driver.writeList.size());
    EXPECT_EQ(77, driver.writeList.at(1).data[0]);
}

TEST_F(WriteQueue, TellsWritesApartByStationTypeAddressAndCount) {
    set("MOD", 0, 1);
    set("F", 5, 2);
    intf_setData(2, "F", 5, 2, values.data(), 2);
    set("D", 5, 2);
    set("F", 6, 2);
    set("F", 5, 3);
    set("F", 5, 2);
    EXPECT_EQ(6, driver.writeList.size());
}

TEST_F(WriteQueue, HoldsNoMoreThan513RequestsAndKeepsReplacingTheLast) {
    for (int i = 0; i < 513; ++i)
        set("F", i, 1);
    ASSERT_EQ(513, driver.writeList.size());
    EXPECT_EQ(512, driver.writeList.at(512).address);
    set("F", 600, 1);
    EXPECT_EQ(513, driver.writeList.size());
    EXPECT_EQ(600, driver.writeList.at(512).address);
    EXPECT_EQ(511, driver.writeList.at(511).address);
    set("F", 601, 1);
    EXPECT_EQ(601, driver.writeList.at(512).address);
    set("F", 300, 1, 50);
    EXPECT_EQ(513, driver.writeList.size());
    EXPECT_EQ(50, driver.writeList.at(300).opKind) << "a write of the same items is still replaced in place";
    EXPECT_EQ(601, driver.writeList.at(512).address);
}

TEST_F(WriteQueue, GivesTheTagToTheFrame) {
    set("MOD", 1, 1, 4711);
    FRAME_PRO frame;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
    EXPECT_EQ(4711, frame.opKind);
    EXPECT_EQ(2, driver.opKind);
}

TEST_F(WriteQueue, SendsOnlyTheFirstCoilOfAMultiBitWrite) {
    values[0] = 0;
    values[1] = 1;
    set("DO", 1, 2);
    FRAME_PRO frame;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
    EXPECT_EQ(withCrc(hex("01 05 10 20 00 00")), sentBytes(frame));
    answerWell();
    EXPECT_EQ(QString("nothing"), whatIsSent());
}

}  // namespace

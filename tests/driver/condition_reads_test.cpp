// One-off reads: how they are split and queued.

#include <QtCore/QString>
#include <climits>
#include <utility>

#include "polling_plan.h"
#include "support.h"

namespace dx7test {
namespace {

class ConditionReads : public DriverTest {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        init("1#0#0#3#10");
    }

    /// Queues a read of words and returns what conditionList holds then.
    ItemsList queue(const QString& regType, int address, int length, int bitOffset = 0, int tag = 3) {
        KEY_ADDRESS key = entry(1, regType, address, length);
        key.bitOffset = bitOffset;
        EXPECT_EQ(intf_addConditionRead(key, tag), DX7_DONE);
        return itemsOf(driver.conditionList);
    }
};

TEST_F(ConditionReads, WordsAreSplitByTheWordLimit) {
    EXPECT_EQ(queue("F", 100, 25), (ItemsList{{1, "F", 100, 10}, {1, "F", 110, 10}, {1, "F", 120, 5}}));
    EXPECT_EQ(itemsOf(driver.conditionVar), (Items{1, "F", 120, 5}));
}

TEST_F(ConditionReads, BitsAreSplitByEightTimesTheWordLimit) {
    EXPECT_EQ(queue("DO", 100, 25, -1), (ItemsList{{1, "DO", 100, 25}}));
    driver.conditionList.clear();
    EXPECT_EQ(queue("DO", 0, 80, -1), (ItemsList{{1, "DO", 0, 80}}));
    driver.conditionList.clear();
    EXPECT_EQ(queue("DO", 0, 81, -1), (ItemsList{{1, "DO", 0, 80}, {1, "DO", 80, 1}}));
}

TEST_F(ConditionReads, OnlyABitOffsetOfMinusOneMeansBits) {
    EXPECT_EQ(queue("CW", 0, 25, -1).size(), 1u);
    for (int bitOffset : {0, 1, 15, -2, INT_MAX, INT_MIN}) {
        driver.conditionList.clear();
        EXPECT_EQ(queue("DO", 0, 25, bitOffset).size(), 3u) << bitOffset;
    }
}

TEST_F(ConditionReads, ALengthOfExactlyTheLimitIsQueuedWhole) {
    EXPECT_EQ(queue("F", 0, 10), (ItemsList{{1, "F", 0, 10}}));
}

TEST_F(ConditionReads, AMultipleOfTheLimitLeavesNoRest) {
    EXPECT_EQ(queue("F", 0, 20), (ItemsList{{1, "F", 0, 10}, {1, "F", 10, 10}}));
    EXPECT_EQ(itemsOf(driver.conditionVar), (Items{1, "F", 10, 10}));
}

TEST_F(ConditionReads, ALengthOfZeroOrLessIsQueuedWhole) {
    EXPECT_EQ(queue("F", 5, 0), (ItemsList{{1, "F", 5, 0}}));
    EXPECT_EQ(itemsOf(driver.conditionVar), (Items{1, "F", 5, 0}));
    EXPECT_EQ(queue("F", 5, -25), (ItemsList{{1, "F", 5, 0}, {1, "F", 5, -25}}));
    EXPECT_EQ(queue("F", 5, INT_MIN).size(), 3u);
}

TEST_F(ConditionReads, EveryLengthIsSplitIntoFullPiecesAndARest) {
    for (int limit = 1; limit <= 12; ++limit) {
        for (int length = 1; length <= 60; ++length) {
            driver.maxBlockWordsCopy = limit;
            driver.conditionList.clear();
            ItemsList expected;
            for (int done = 0; done < length; done += limit)
                expected.push_back(Items{1, "CW", 7 + done, qMin(limit, length - done)});
            ASSERT_EQ(queue("CW", 7, length), expected) << length << " by " << limit;
            ASSERT_EQ(itemsOf(driver.conditionVar), expected.back());
        }
    }
}

TEST_F(ConditionReads, TheLimitsAreTheDriversOwnCopies) {
    driver.maxBlockWords = 1;
    EXPECT_EQ(queue("F", 0, 10).size(), 1u);
    driver.maxBlockWordsCopy = 5;
    driver.conditionList.clear();
    EXPECT_EQ(queue("F", 0, 10).size(), 2u);
    driver.maxBlockBits = 3;
    driver.conditionList.clear();
    EXPECT_EQ(queue("DO", 0, 10, -1).size(), 4u);
}

TEST_F(ConditionReads, PiecesKnowNoGroups) {
    EXPECT_EQ(queue("F", 50, 12), (ItemsList{{1, "F", 50, 10}, {1, "F", 60, 2}}));
}

TEST_F(ConditionReads, AnyTypeIsQueued) {
    for (const char* type : {"FAS", "SW", "XX", ""}) {
        driver.conditionList.clear();
        EXPECT_EQ(queue(type, 1, 1), (ItemsList{{1, type, 1, 1}}));
    }
}

TEST_F(ConditionReads, AddressesOfPiecesWrap) {
    EXPECT_EQ(queue("CW", INT_MAX - 4, 12),
              (ItemsList{{1, "CW", INT_MAX - 4, 10}, {1, "CW", INT_MIN + 5, 2}}));
}

TEST_F(ConditionReads, TheTagTravelsInEveryPiece) {
    for (int tag : {0, 3, -7, INT_MAX}) {
        driver.conditionList.clear();
        queue("F", 0, 25, 0, tag);
        for (const VARIABLE& var : std::as_const(driver.conditionList))
            EXPECT_EQ(var.opKind, tag);
        EXPECT_EQ(driver.conditionVar.opKind, tag);
    }
}

TEST_F(ConditionReads, TheHostsRecordIsNotModified) {
    KEY_ADDRESS key = entry(4, "F", 100, 25);
    key.hostText = "mine";
    key.data[1023] = 7;
    intf_addConditionRead(key, 3);
    EXPECT_EQ(itemsOf(key), (Items{4, "F", 100, 25}));
    EXPECT_EQ(key.hostText, "mine");
    EXPECT_EQ(key.bitOffset, 0);
    EXPECT_EQ(key.data[1023], 7);
}

TEST_F(ConditionReads, TheSameRequestReplacesAnOlderOneAfterTheFirst) {
    queue("F", 0, 1, 0, 1);
    queue("F", 5, 1, 0, 2);
    queue("F", 9, 1, 0, 3);
    queue("F", 5, 1, 0, 4);
    EXPECT_EQ(itemsOf(driver.conditionList), (ItemsList{{1, "F", 0, 1}, {1, "F", 5, 1}, {1, "F", 9, 1}}));
    EXPECT_EQ(driver.conditionList.at(1).opKind, 4);
    EXPECT_EQ(itemsOf(driver.conditionVar), (Items{1, "F", 5, 1}));
    EXPECT_EQ(driver.conditionVar.opKind, 4);
}

TEST_F(ConditionReads, TheRequestBeingServedDoesNotPreventACopy) {
    queue("F", 0, 1);
    EXPECT_EQ(queue("F", 0, 1), (ItemsList{{1, "F", 0, 1}, {1, "F", 0, 1}}));
}

TEST_F(ConditionReads, RequestsAreNeitherSortedNorMerged) {
    queue("F", 9, 1);
    queue("F", 8, 1);
    EXPECT_EQ(queue("CW_bit", 0, 1), (ItemsList{{1, "F", 9, 1}, {1, "F", 8, 1}, {1, "CW_bit", 0, 1}}));
}

TEST_F(ConditionReads, AFullListGivesUpItsLastPlace) {
    driver.maxBlockWordsCopy = 1;
    const ItemsList all = queue("CW", 0, 600);
    ASSERT_EQ(all.size(), 513u);
    for (int i = 0; i < 512; ++i)
        ASSERT_EQ(all[static_cast<size_t>(i)].address, i);
    EXPECT_EQ(all[512].address, 599);
    EXPECT_EQ(itemsOf(driver.conditionVar), (Items{1, "CW", 599, 1}));
}

TEST_F(ConditionReads, NothingElseOfTheDriverIsTouched) {
    driver.pollList << request(1, "AI", 0, 1);
    driver.writeList << request(1, "CW", 0, 1);
    driver.dataAreas << area(1, "F", 0);
    driver.dataAreas[0].wordMonitorFlags = 1;
    queue("F", 0, 25);
    EXPECT_EQ(driver.pollList.size(), 1);
    EXPECT_EQ(driver.writeList.size(), 1);
    EXPECT_EQ(driver.dataAreas.size(), 1);
    EXPECT_EQ(driver.dataAreas.at(0).wordMonitorFlags, 1);
    EXPECT_TRUE(driver.frameList.isEmpty());
    EXPECT_EQ(driver.opKind, OP_NONE);
    EXPECT_TRUE(reports.empty());
}

TEST_F(ConditionReads, ALimitThatIsNotPositiveDoesNotSplit) {
    for (int limit : {0, -1, INT_MIN}) {
        driver.maxBlockWordsCopy = limit;
        driver.conditionList.clear();
        EXPECT_EQ(queue("CW", 0, 600), (ItemsList{{1, "CW", 0, 600}})) << limit;
    }
}

}  // namespace
}  // namespace dx7test

// Hosts that rearrange the driver's lists inside a report, and recipe lists that describe nothing.
#include <QtCore/QByteArray>
#include <QtCore/QString>

#include "data_areas.h"
#include "line.h"
#include "support.h"
#include "twin_stores.h"

using namespace dx7test;

namespace {

class HostInterference : public DriverTest {
protected:
    // One block of `vars` variables, whose words begin at word 100 of the recipe memory.
    void requestRecipeRead(int vars) {
        for (int i = 0; i < vars; ++i) {
            driver.recipeVars << recipeVariable(1, 1, "F", 10 + i, 1, 100 + i);
            driver.recipeBlockStart << i;
        }
        driver.recipeBlocks << recipeVariable(1, 1, "F", 10, vars, 100);
        hostFlags[RECIPE_READ_REQUEST] = 1;
    }

    static void initAnewInside(HostInterference& test) {
        test.hook = [&test](const Report&) {
            test.hook = nullptr;
            test.init("1#0#0#3#64");
        };
    }
};

TEST_F(HostInterference, ALinkStartedAnewInsideAReportOfAReadLeavesNoFrame) {
    putReadOnLine("AI", 0, 2);
    monitorOnly("AI", 0, 2);
    initAnewInside(*this);
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 4, {7, 8})));
    EXPECT_TRUE(driver.frameList.isEmpty());
    EXPECT_EQ(0, driver.badReplyCount);
    EXPECT_EQ(QString("nothing"), whatIsSent());
}

TEST_F(HostInterference, ALinkStartedAnewInsideTheReportOfAFailedWriteEmptiesTheWriteList) {
    driver.retryCount = 1;
    monitorOnly("MOD", 1, 1);
    unsigned char data[2] = {5, 0};
    intf_setData(1, "MOD", 1, 1, data, 2);
    takeReports();
    ASSERT_EQ(QString("write MOD1(1)"), whatIsSent());
    int seen = 0;
    hook = [&seen](const Report&) {
        // The second report is that of the operation, the first that of its frame.
        if (++seen == 2) {
            driver.writeList.clear();
        }
    };
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ(2, seen);
    EXPECT_TRUE(driver.writeList.isEmpty());
    EXPECT_TRUE(driver.frameList.isEmpty());
}

TEST_F(HostInterference, AWriteOfNothingQueuesNothingWhenThereIsNoBlockLimit) {
    init("1#0#0#3#0");
    unsigned char data[2] = {5, 0};
    EXPECT_EQ(DX7_DONE, intf_setData(1, "MOD", 1, 0, data, 2));
    EXPECT_TRUE(driver.writeList.isEmpty());
    EXPECT_EQ(DX7_DONE, intf_setData(1, "MOD", 1, 1, data, 2));
    EXPECT_EQ((ItemsList{{1, "MOD", 1, 1}}), itemsOf(driver.writeList));
}

TEST_F(HostInterference, ARecipeReadWithoutRecipeVariablesCopiesNothing) {
    requestRecipeRead(1);
    driver.recipeVars.clear();
    ASSERT_EQ(QString("read F10(1)"), whatIsSent());
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1234})));
    EXPECT_EQ(std::vector<unsigned char>(recipeMemory.size(), 0), recipeMemory);
    EXPECT_TRUE(reports.empty());
    EXPECT_EQ(0, hostFlags[RECIPE_READ_REQUEST]);
}

TEST_F(HostInterference, RecipeVariablesThatGoAwayInsideAReportEndTheCopy) {
    requestRecipeRead(1);
    driver.recipeBlocks[0].count = 2;
    driver.recipeVars << recipeVariable(1, 1, "F", 11, 1, 101);
    ASSERT_EQ(QString("read F10(2)"), whatIsSent());
    hook = [](const Report& report) {
        if (report.regType == QString("RWI")) {
            driver.recipeVars.resize(1);
        }
    };
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1234, 0x5678})));
    EXPECT_EQ((Reports{{0, -1, "RWI", 100}}), takeReports());
    EXPECT_EQ(0x34, recipeMemory[200]);
    EXPECT_EQ(0x12, recipeMemory[201]);
    EXPECT_EQ(0, recipeMemory[202]);
}

TEST_F(HostInterference, ANegativeRecipeIndexStartsNoBlock) {
    requestRecipeRead(1);
    driver.recipeIndex = -1;
    EXPECT_EQ(QString("nothing"), whatIsSent());
    driver.opKind = OP_CYCLIC_READ;
    driver.currentVar = request(1, "CW", 0, 1);
    EXPECT_EQ(QString("read CW0(1)"), whatIsSent()) << "the operation before is repeated";
}

TEST_F(HostInterference, ANegativeRecipeIndexCopiesNothing) {
    requestRecipeRead(2);
    ASSERT_EQ(QString("read F10(2)"), whatIsSent());
    driver.recipeIndex = -1;
    EXPECT_EQ(DX7_REPLY_GOOD, answer(wordReply(1, 3, {0x1234, 0x5678})));
    EXPECT_EQ(std::vector<unsigned char>(recipeMemory.size(), 0), recipeMemory);
}

// A hint of where an area was seen must not be trusted after a report.
class LongStoreInsideAReport : public HostInterference {
protected:
    void SetUp() override {
        HostInterference::SetUp();
        for (int i = 0; i < LONG_LIST; ++i) {
            getIndexOfDataArea(1, "CW", i, driver.dataAreas);
        }
    }

    // Writes bits 0 to 8 of DO: the hook runs after the first, the group of the last comes after it.
    static void writeTwoGroups() {
        unsigned char bits[9] = {1, 0, 0, 0, 0, 0, 0, 0, 1};
        intf_setData(1, "DO", 0, 9, bits, 2);
    }
};

TEST_F(LongStoreInsideAReport, AnAreaThatGetsItsKeyIsFoundInTheSameCall) {
    hook = [this](const Report&) {
        hook = nullptr;
        driver.dataAreas[10].regType = "DO";
        driver.dataAreas[10].address = 8;
    };
    writeTwoGroups();
    EXPECT_EQ(LONG_LIST + 1, driver.dataAreas.size()) << "the group of bit 0 alone is new";
    EXPECT_EQ(1, driver.dataAreas.at(10).writtenValue[0]);
    EXPECT_EQ(1, driver.dataAreas.at(10).writePending);
}

TEST_F(LongStoreInsideAReport, AnAreaThatMovesIsFoundInTheSameCall) {
    ASSERT_EQ(LONG_LIST, getIndexOfDataArea(1, "DO", 8, driver.dataAreas));
    hook = [this](const Report&) {
        hook = nullptr;
        swapPlaces(driver.dataAreas, 10, LONG_LIST);
    };
    writeTwoGroups();
    EXPECT_EQ(LONG_LIST + 2, driver.dataAreas.size()) << "the group of bit 0 alone is new";
    EXPECT_EQ(1, driver.dataAreas.at(10).writtenValue[0]);
    EXPECT_EQ(1, driver.dataAreas.at(10).writePending);
    EXPECT_EQ(0, driver.dataAreas.at(LONG_LIST).writePending);
}

}  // namespace

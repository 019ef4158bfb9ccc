// A recipe request when no block is left: the previous operation's frame is sent again for as long as the
// request is set, and ends its operation once more.
#include <QtCore/QByteArray>
#include <QtCore/QString>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

class RecipeFallback : public DriverTest {
protected:
    void requestRecipe(bool on = true) { hostFlags[RECIPE_WRITE_REQUEST] = on ? 1 : 0; }
};

TEST_F(RecipeFallback, BuildsTheFrameOfTheOperationInProgress) {
    const struct {
        int opKind;
        const char* sent;
    } rows[] = {{0, "nothing"},      {1, "nothing"},       {2, "write MOD1(1)"}, {3, "read MOD1(1)"},
                {4, "read MOD1(1)"}, {5, "write MOD1(1)"}, {6, "read MOD1(1)"},  {7, "nothing"},
                {-1, "nothing"},     {100, "nothing"}};
    for (int flag : {RECIPE_WRITE_REQUEST, RECIPE_READ_REQUEST}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::Message() << "flag " << flag << " opKind " << row.opKind);
            init("1#0#0#3#64");
            hostFlags[RECIPE_WRITE_REQUEST] = hostFlags[RECIPE_READ_REQUEST] = 0;
            hostFlags[static_cast<size_t>(flag)] = 1;
            driver.currentVar = request(1, "MOD", 1, 1, 2);
            driver.opKind = row.opKind;
            driver.burstCount = 4;
            driver.recipeIndex = 3;
            EXPECT_EQ(QString(row.sent), whatIsSent());
            EXPECT_EQ(row.opKind, driver.opKind);
            EXPECT_EQ(4, driver.burstCount);
            EXPECT_EQ(3, driver.recipeIndex);
        }
    }
}

TEST_F(RecipeFallback, IsReachedWhenTheIndexIsAfterTheLastBlock) {
    driver.recipeBlocks << recipeVariable(1, 1, "F", 0, 1, 0);
    driver.currentVar = request(1, "CW", 0, 1, 4);
    driver.opKind = 4;
    requestRecipe();
    driver.recipeIndex = 1;
    EXPECT_EQ(QString("read CW0(1)"), whatIsSent());
    driver.frameList.clear();
    driver.recipeIndex = 0;
    EXPECT_EQ(QString("write F0(1)"), whatIsSent());
}

TEST_F(RecipeFallback, AfterAnIdleCallReturns0ForAsLongAsTheRequestIsSet) {
    whatIsSent();
    requestRecipe();
    driver.pollList << request(1, "CW", 0, 1, 4);
    driver.writeList << request(1, "MOD", 1, 1, 2);
    driver.conditionList << request(1, "AI", 0, 1, 3);
    FRAME_PRO untouched;
    untouched.sendLen = -5;
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(DX7_SEND_NOTHING, intf_getSendFrame(&untouched));
    EXPECT_EQ(-5, untouched.sendLen);
    EXPECT_EQ(0, driver.opKind);
    requestRecipe(false);
    EXPECT_EQ(QString("write MOD1(1)"), whatIsSent());
}

TEST_F(RecipeFallback, AfterAWriteThatWasNeverBuiltReturns0) {
    driver.writeList << request(1, "AI", 0, 1, 2);
    driver.pollList << request(1, "CW", 0, 1, 4);
    whatIsSent();
    requestRecipe();
    EXPECT_EQ(QString("nothing, nothing, nothing, nothing, nothing, nothing, nothing"), traffic(7));
    EXPECT_EQ(2, driver.opKind);
    EXPECT_EQ(1, driver.burstCount);
    EXPECT_EQ(1, driver.writeList.size());
}

TEST_F(RecipeFallback, AfterAPollRepeatsTheBlockAndRotatesThePlanEachTime) {
    driver.pollList << request(1, "CW", 0, 1, 4) << request(1, "SW", 0, 1, 4) << request(1, "AI", 0, 1, 4);
    EXPECT_EQ(QString("read CW0(1)"), traffic(1));
    requestRecipe();
    EXPECT_EQ(QString("read CW0(1)"), traffic(1));
    EXPECT_EQ((ItemsList{{1, "AI", 0, 1}, {1, "CW", 0, 1}, {1, "SW", 0, 1}}), itemsOf(driver.pollList));
    EXPECT_EQ(QString("read CW0(1), read CW0(1)"), traffic(2));
    requestRecipe(false);
    EXPECT_EQ(QString("read SW0(1)"), traffic(1));
}

TEST_F(RecipeFallback, AfterAWriteSendsItAgainWithNothingLeftToEnd) {
    unsigned char value[2] = {7, 0};
    intf_setData(1, "MOD", 1, 1, value, 2);
    EXPECT_EQ(QString("write MOD1(1)"), traffic(1));
    EXPECT_TRUE(driver.writeList.isEmpty());
    requestRecipe();
    EXPECT_EQ(QString("write MOD1(1), write MOD1(1)"), traffic(2));
    EXPECT_TRUE(driver.writeList.isEmpty());
    EXPECT_EQ(7, areaOf("MOD", 1).value[0]);
}

TEST_F(RecipeFallback, AfterAWriteEndsTheNextWriteUnsent) {
    unsigned char value[2] = {7, 0};
    intf_setData(1, "MOD", 1, 1, value, 2);
    intf_setData(1, "MOD", 2, 1, value, 2);
    EXPECT_EQ(QString("write MOD1(1)"), traffic(1));
    requestRecipe();
    EXPECT_EQ(QString("write MOD1(1)"), traffic(1));
    EXPECT_TRUE(driver.writeList.isEmpty());
    EXPECT_EQ(0, areaOf("MOD", 2).writePending);
    EXPECT_EQ(7, areaOf("MOD", 2).value[0]) << "counts as written though it never was";
}

TEST_F(RecipeFallback, OfAWriteThatFailsReportsItsOwnItemsOnceWhenTheListIsEmpty) {
    monitorOnly("MOD", 1, 1);
    driver.pollList.clear();
    driver.retryCount = 1;
    unsigned char value[2] = {7, 0};
    intf_setData(1, "MOD", 1, 1, value, 2);
    EXPECT_EQ(QString("write MOD1(1)"), traffic(1));
    areaOf("MOD", 1).value[0] = 9;
    requestRecipe();
    EXPECT_EQ(QString("write MOD1(1)"), whatIsSent());
    takeReports();
    EXPECT_EQ(DX7_REPLY_GIVEN_UP, answer(QByteArray()));
    EXPECT_EQ((Reports{{1, 1, "MOD", 1}}), takeReports());
}

TEST_F(RecipeFallback, AfterTheLastConditionReadReportsNoSecondEnd) {
    KEY_ADDRESS key = entry(1, "AI", 0, 1);
    intf_addConditionRead(key, 3);
    EXPECT_EQ(QString("read AI0(1)"), traffic(1));
    EXPECT_EQ((Reports{{-1, -1, "-1", 0}}), takeReports());
    requestRecipe();
    EXPECT_EQ(QString("read AI0(1)"), traffic(1));
    EXPECT_TRUE(takeReports().empty());
}

TEST_F(RecipeFallback, AfterAConditionReadEndsTheNextOneUnsentAndReportsIt) {
    KEY_ADDRESS first = entry(1, "AI", 0, 1);
    KEY_ADDRESS second = entry(1, "AI", 1, 1);
    intf_addConditionRead(first, 3);
    intf_addConditionRead(second, 3);
    EXPECT_EQ(QString("read AI0(1)"), traffic(1));
    EXPECT_TRUE(takeReports().empty());
    requestRecipe();
    EXPECT_EQ(QString("read AI0(1)"), traffic(1));
    EXPECT_EQ((Reports{{-1, -1, "-1", 0}}), takeReports());
    EXPECT_TRUE(driver.conditionList.isEmpty());
}

TEST_F(RecipeFallback, AfterARecipeTransferEndsItAgainWhichClearsTheRequest) {
    driver.recipeBlocks << recipeVariable(1, 1, "F", 0, 1, 0);
    requestRecipe();
    EXPECT_EQ(QString("write F0(1)"), traffic(1));
    EXPECT_EQ(0, hostFlags[RECIPE_WRITE_REQUEST]);
    driver.recipeBlocks.clear();
    requestRecipe();
    EXPECT_EQ(QString("write F0(1)"), traffic(1));
    EXPECT_EQ(0, hostFlags[RECIPE_WRITE_REQUEST]) << "an operation of kind 5 has ended";
    EXPECT_EQ(0, driver.recipeIndex);
}

TEST_F(RecipeFallback, OfAPollLeavesTheRequestAlone) {
    driver.pollList << request(1, "CW", 0, 1, 4);
    traffic(1);
    requestRecipe();
    traffic(5);
    EXPECT_EQ(1, hostFlags[RECIPE_WRITE_REQUEST]);
}

TEST_F(RecipeFallback, SendsTheFrameThatWaitsFirst) {
    driver.pollList << request(1, "CW", 0, 1, 4);
    whatIsSent();
    driver.recipeBlocks << recipeVariable(1, 1, "F", 0, 1, 0);
    requestRecipe();
    EXPECT_EQ(QString("read CW0(1), write F0(1)"), traffic(2));
}

TEST_F(RecipeFallback, OfABitWriteWithoutItemsWritesOff) {
    unsigned char unused = 1;
    intf_setData(1, "DO", 1, 0, &unused, 2);
    FRAME_PRO frame;
    ASSERT_EQ(DX7_SEND_FRAME, intf_getSendFrame(&frame));
    EXPECT_EQ(withCrc(hex("01 05 10 20 00 00")), sentBytes(frame));
}

}  // namespace

// From monitored addresses to read blocks, example by example. Random lists: polling_plan_random_test.cpp.

#include "polling_plan.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <climits>
#include <utility>

#include "support.h"

namespace dx7test {
namespace {

using Merging = DriverTest;
using Joining = DriverTest;
using PollingPlan = DriverTest;
using RecipeBlocks = DriverTest;

typedef QList<KEY_ADDRESS> Keys;

/// The blocks that `list` merges into as a polling plan.
ItemsList merged(Keys list) {
    addrMerge(list, MERGE_POLLING_PLAN);
    return itemsOf(list);
}

struct MergeCase {
    const char* name;
    int maxBlockWords;
    ItemsList entries;
    ItemsList blocks;
};

class MergeCases : public DriverTest, public ::testing::WithParamInterface<MergeCase> {};

TEST_P(MergeCases, GiveTheirBlocks) {
    driver.maxBlockWords = GetParam().maxBlockWords;
    Keys list;
    for (const Items& items : GetParam().entries)
        list << entry(items.station, items.regType, items.address, items.count);
    EXPECT_EQ(intf_addrMerge(list), static_cast<int>(GetParam().blocks.size()));
    EXPECT_EQ(itemsOf(list), GetParam().blocks);
    EXPECT_EQ(itemsOf(driver.pollList), GetParam().blocks);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, MergeCases,
    ::testing::Values(
        MergeCase{"SingleEntry", 64, {{1, "CW", 3, 2}}, {{1, "CW", 3, 2}}},
        MergeCase{"ContiguousEntriesJoin", 64, {{1, "CW", 100, 2}, {1, "CW", 102, 3}}, {{1, "CW", 100, 5}}},
        MergeCase{"AGapSeparates",
                  64,
                  {{1, "CW", 100, 2}, {1, "CW", 103, 1}},
                  {{1, "CW", 100, 2}, {1, "CW", 103, 1}}},
        MergeCase{"OverlappingEntriesJoin", 64, {{1, "CW", 100, 4}, {1, "CW", 102, 5}}, {{1, "CW", 100, 7}}},
        MergeCase{"EntriesAreSortedFirst", 64, {{1, "CW", 102, 3}, {1, "CW", 100, 2}}, {{1, "CW", 100, 5}}},
        MergeCase{
            "TypesSeparate", 64, {{1, "AI", 0, 1}, {1, "FIN", 1, 1}}, {{1, "AI", 0, 1}, {1, "FIN", 1, 1}}},
        MergeCase{"TypesAreOrderedByTheirPlaceInRegNames",
                  64,
                  {{0, "MOD", 1, 1}, {0, "FW", 1, 1}, {0, "AI", 1, 1}, {0, "CW_bit", 1, 1}, {0, "XX", 1, 1}},
                  {{0, "XX", 1, 1}, {0, "CW_bit", 1, 1}, {0, "AI", 1, 1}, {0, "FW", 1, 1}, {0, "MOD", 1, 1}}},
        MergeCase{"SwAndFasSortLikeUnknownTypesByAddress",
                  64,
                  {{0, "SW", 3, 1}, {0, "FAS", 2, 1}, {0, "SW", 1, 1}},
                  {{0, "SW", 1, 1}, {0, "FAS", 2, 1}, {0, "SW", 3, 1}}},
        MergeCase{"EqualWeightsKeepTheHostsOrder",
                  64,
                  {{0, "FAS", 0, 1}, {0, "SW", 0, 1}, {0, "XX", 0, 1}},
                  {{0, "FAS", 0, 1}, {0, "SW", 0, 1}, {0, "XX", 0, 1}}},
        MergeCase{"EqualWeightsOfTwoStationsKeepTheHostsOrder",
                  64,
                  {{1, "CW_bit", 0, 1}, {0, "DI", 0, 1}},
                  {{1, "CW_bit", 0, 1}, {0, "DI", 0, 1}}},
        MergeCase{"AStationStepWeighsFiveTypeSteps",
                  64,
                  {{0, "MOD", 1, 1}, {1, "CW_bit", 1, 1}, {1, "AI", 1, 1}, {2, "DO", 1, 1}},
                  {{1, "CW_bit", 1, 1}, {1, "AI", 1, 1}, {2, "DO", 1, 1}, {0, "MOD", 1, 1}}},
        MergeCase{"EntriesOfDifferentStationsMergeIntoOneBlock",
                  64,
                  {{2, "CW", 1, 1}, {1, "CW", 0, 1}},
                  {{1, "CW", 0, 2}}},
        MergeCase{
            "TheSameItemOfAnotherStationIsLost", 64, {{1, "CW", 5, 1}, {2, "CW", 5, 1}}, {{1, "CW", 5, 1}}},
        MergeCase{"AnEntryOfAnotherStationFarBelowGivesANegativeSpan",
                  64,
                  {{1, "CW", 40, 1}, {2, "CW", 10, 1}},
                  {{1, "CW", 40, -29}}},
        MergeCase{"WithoutALimitANegativeLengthJoinsBothEndsOfTheAddresses",
                  INT_MAX,
                  {{1, "CW", 0, -3}, {1, "CW", INT_MAX - 1, 1}},
                  {{1, "CW", 0, INT_MAX}}}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Lengths, MergeCases,
    ::testing::Values(
        MergeCase{"InnerEntryShortensTheBlock", 64, {{1, "CW", 0, 10}, {1, "CW", 2, 2}}, {{1, "CW", 0, 4}}},
        MergeCase{"AShortenedBlockMayLeaveAGap",
                  64,
                  {{1, "CW", 0, 10}, {1, "CW", 2, 2}, {1, "CW", 8, 1}},
                  {{1, "CW", 0, 4}, {1, "CW", 8, 1}}},
        MergeCase{"TheLastOfEqualAddressesGivesTheLength",
                  64,
                  {{1, "CW", 5, 8}, {1, "CW", 5, 1}, {1, "CW", 5, 3}},
                  {{1, "CW", 5, 3}}},
        MergeCase{"ASpanOfExactlyTheLimitFits", 12, {{1, "CW", 0, 8}, {1, "CW", 8, 4}}, {{1, "CW", 0, 12}}},
        MergeCase{"ASpanAboveTheLimitStartsABlock",
                  10,
                  {{1, "CW", 0, 8}, {1, "CW", 8, 4}},
                  {{1, "CW", 0, 8}, {1, "CW", 8, 4}}},
        MergeCase{"BitTypesAreLimitedByItemsToo",
                  10,
                  {{1, "DO", 0, 8}, {1, "DO", 8, 4}},
                  {{1, "DO", 0, 8}, {1, "DO", 8, 4}}},
        MergeCase{"ASingleEntryAboveTheLimitStaysWhole", 10, {{1, "CW", 0, 100}}, {{1, "CW", 0, 100}}},
        MergeCase{"AnEntryAboveTheLimitStaysWholeUnlessShortened",
                  10,
                  {{1, "CW", 0, 100}, {1, "CW", 1, 2}},
                  {{1, "CW", 0, 3}}},
        MergeCase{"TheSecondPassJoinsWhatTheFirstOneShortened",
                  10,
                  {{1, "CW", 0, 8}, {1, "CW", 8, 4}, {1, "CW", 9, 1}},
                  {{1, "CW", 0, 10}}},
        MergeCase{"ANegativeSpanIsStoredAsItIs", 64, {{1, "CW", 4, 1}, {1, "CW", 4, -3}}, {{1, "CW", 4, -3}}},
        MergeCase{"AZeroSpanIsStoredAsItIs", 64, {{1, "CW", 4, 1}, {1, "CW", 4, 0}}, {{1, "CW", 4, 0}}},
        MergeCase{"ALimitOfZeroJoinsOnlyEmptySpans",
                  0,
                  {{1, "CW", 0, 1}, {1, "CW", 1, 1}, {1, "CW", 1, -1}},
                  {{1, "CW", 0, 0}}}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Groups, MergeCases,
    ::testing::Values(
        MergeCase{
            "SubGroupsSeparate", 64, {{1, "F", 9, 1}, {1, "F", 10, 1}}, {{1, "F", 9, 1}, {1, "F", 10, 1}}},
        MergeCase{"InsideASubGroupEntriesJoin", 64, {{1, "F", 10, 1}, {1, "F", 11, 1}}, {{1, "F", 10, 2}}},
        MergeCase{
            "GroupsSeparate", 64, {{1, "F", 55, 1}, {1, "F", 56, 1}}, {{1, "F", 55, 1}, {1, "F", 56, 1}}},
        MergeCase{
            "GroupsOfDSeparate", 64, {{1, "D", 55, 1}, {1, "D", 56, 1}}, {{1, "D", 55, 1}, {1, "D", 56, 1}}},
        MergeCase{"SubGroupsOfDeSeparate",
                  64,
                  {{1, "DE", 19, 1}, {1, "DE", 20, 1}},
                  {{1, "DE", 19, 1}, {1, "DE", 20, 1}}},
        MergeCase{"OtherTypesKnowNoGroups", 64, {{1, "CW", 9, 1}, {1, "CW", 10, 1}}, {{1, "CW", 9, 2}}},
        MergeCase{"TheSameSubGroupOfAnotherGroupSeparates",
                  200,
                  {{1, "F", 0, 60}, {1, "F", 56, 1}},
                  {{1, "F", 0, 60}, {1, "F", 56, 1}}},
        MergeCase{
            "AnEntryMayReachPastItsSubGroup", 64, {{1, "F", 5, 1}, {1, "F", 6, 20}}, {{1, "F", 5, 21}}}),
    [](const auto& row) { return row.param.name; });

TEST_F(Merging, ABlockIsACopyOfItsFirstEntry) {
    Keys list = {entry(1, "CW", 1, 1), entry(1, "CW", 0, 1)};
    list[0].hostText = "later";
    list[1].hostText = "first";
    list[1].hostText2 = "second text";
    list[1].hostWord1 = 11;
    list[1].hostWord2 = 22;
    list[1].bitOffset = -1;
    list[1].data[1023] = 0xAB;
    addrMerge(list, MERGE_POLLING_PLAN);
    ASSERT_EQ(itemsOf(list), (ItemsList{{1, "CW", 0, 2}}));
    EXPECT_EQ(list[0].hostText, "first");
    EXPECT_EQ(list[0].hostText2, "second text");
    EXPECT_EQ(list[0].hostWord1, 11);
    EXPECT_EQ(list[0].hostWord2, 22);
    EXPECT_EQ(list[0].bitOffset, -1);
    EXPECT_EQ(list[0].data[1023], 0xAB);
}

TEST_F(Merging, WeightsAreComparedUnsigned) {
    // The weight of station -1 has its highest bit set and so sorts last.
    EXPECT_EQ(merged({entry(-1, "XX", 0, 1), entry(0, "YY", 9, 1)}),
              (ItemsList{{0, "YY", 9, 1}, {-1, "XX", 0, 1}}));
    EXPECT_EQ(merged({entry(0, "XX", -5, 1), entry(0, "XX", 5, 1)}), (ItemsList{{0, "XX", 5, -9}}));
}

TEST_F(Merging, AnotherHolderOfTheHostsListKeepsItsEntries) {
    Keys list = {entry(1, "CW", 1, 1), entry(1, "CW", 0, 1)};
    const Keys other = list;
    intf_addrMerge(list);
    EXPECT_EQ(itemsOf(list).size(), 1u);
    EXPECT_EQ(itemsOf(other), (ItemsList{{1, "CW", 1, 1}, {1, "CW", 0, 1}}));
}

TEST_F(Joining, GroupAndSubGroupAreComparedByStartAddressesAlone) {
    for (const char* type : {"F", "D", "DE", "CW", "FIN"}) {
        const bool grouped = QString(type) != "CW" && QString(type) != "FIN";
        for (int first = -120; first <= 230; ++first) {
            for (int next = first; next <= 230; ++next) {
                const bool same = first / 56 == next / 56 && first % 56 / 10 == next % 56 / 10;
                const int expected = grouped && !same ? 1 : 0;
                ASSERT_EQ(the_Merge(entry(1, type, first, 1000), entry(1, type, next, 1)), expected)
                    << type << ' ' << first << ' ' << next;
            }
        }
    }
}

TEST_F(Joining, TypesAreComparedExactlyAndStationsNotAtAll) {
    EXPECT_EQ(the_Merge(entry(1, "CW", 0, 1), entry(1, "cw", 1, 1)), 1);
    EXPECT_EQ(the_Merge(entry(1, "CW", 0, 1), entry(1, "CW ", 1, 1)), 1);
    EXPECT_EQ(the_Merge(entry(1, "any", 0, 1), entry(2, "any", 1, 1)), 0);
}

TEST_F(Joining, GapsAreMeasuredInThirtyTwoBitsThatWrap) {
    EXPECT_EQ(the_Merge(entry(1, "CW", 0, 1), entry(1, "CW", 2, 1)), 1);
    EXPECT_EQ(the_Merge(entry(1, "CW", 0, 1), entry(1, "CW", INT_MIN, 1)), 1);
    EXPECT_EQ(the_Merge(entry(1, "CW", INT_MAX, 1), entry(1, "CW", INT_MIN, 1)), 0);
    EXPECT_EQ(the_Merge(entry(1, "CW", INT_MAX, 2), entry(1, "CW", 0, 1)), 1);
}

TEST_F(PollingPlan, BlocksAreCyclicReads) {
    Keys list = {entry(3, "CW", 7, 2)};
    EXPECT_EQ(intf_addrMerge(list), 1);
    ASSERT_EQ(driver.pollList.size(), 1);
    EXPECT_EQ(driver.pollList.at(0).opKind, 4);
    EXPECT_EQ(itemsOf(driver.pollList), (ItemsList{{3, "CW", 7, 2}}));
}

TEST_F(PollingPlan, AnEmptyListEmptiesThePlanAndTheFlags) {
    Keys list = {entry(1, "CW", 7, 2), entry(1, "DO", 1, 1)};
    intf_addrMerge(list);
    Keys none;
    EXPECT_EQ(intf_addrMerge(none), 0);
    EXPECT_TRUE(driver.pollList.isEmpty());
    ASSERT_EQ(driver.dataAreas.size(), 3);
    for (const _DATA_& data : std::as_const(driver.dataAreas)) {
        EXPECT_EQ(data.wordMonitorFlags, 0);
        EXPECT_EQ(data.bitMonitorMask, 0);
    }
}

TEST_F(PollingPlan, EachCallReplacesThePlanAndTheMonitoredSet) {
    Keys first = {entry(1, "CW", 7, 1), entry(1, "DO", 1, 1)};
    intf_addrMerge(first);
    Keys second = {entry(1, "CW", 8, 1)};
    EXPECT_EQ(intf_addrMerge(second), 1);
    EXPECT_EQ(itemsOf(driver.pollList), (ItemsList{{1, "CW", 8, 1}}));
    ASSERT_EQ(driver.dataAreas.size(), 3);
    EXPECT_EQ(driver.dataAreas.at(0).wordMonitorFlags, 0);
    EXPECT_EQ(driver.dataAreas.at(1).bitMonitorMask, 0);
    EXPECT_EQ(driver.dataAreas.at(2).address, 8);
    EXPECT_EQ(driver.dataAreas.at(2).wordMonitorFlags, 1);
}

TEST_F(PollingPlan, ValuesAndWriteStatesSurviveANewPlan) {
    _DATA_ data = area(1, "CW", 0);
    data.commError = data.writePending = 1;
    data.pendingBits = 5;
    data.wordMonitorFlags = 7;
    data.bitMonitorMask = 0xFFFF;
    data.value[0] = 1;
    data.value[1] = 2;
    data.writtenValue[0] = 3;
    driver.dataAreas << data;
    Keys list = {entry(1, "AI", 0, 1)};
    intf_addrMerge(list);
    const _DATA_ kept = driver.dataAreas.at(0);
    EXPECT_EQ(kept.commError, 1);
    EXPECT_EQ(kept.writePending, 1);
    EXPECT_EQ(kept.pendingBits, 5);
    EXPECT_EQ(kept.wordMonitorFlags, 0);
    EXPECT_EQ(kept.bitMonitorMask, 0);
    EXPECT_EQ(kept.value[0], 1);
    EXPECT_EQ(kept.value[1], 2);
    EXPECT_EQ(kept.writtenValue[0], 3);
}

TEST_F(PollingPlan, AreasAreCreatedInTheHostsOrderFromTheUnmergedEntries) {
    // The inner entry shortens the block to four words, yet all ten are monitored.
    Keys list = {entry(1, "CW", 2, 2), entry(1, "CW", 0, 10), entry(1, "FAS", 0, 1), entry(1, "XX", 0, 1)};
    EXPECT_EQ(intf_addrMerge(list), 3);
    QList<int> addresses;
    for (const _DATA_& data : std::as_const(driver.dataAreas)) {
        addresses << data.address;
        EXPECT_EQ(data.regType, "CW");
        EXPECT_EQ(data.wordMonitorFlags, 1);
    }
    EXPECT_EQ(addresses, (QList<int>{2, 3, 0, 1, 4, 5, 6, 7, 8, 9}));
}

TEST_F(PollingPlan, OtherListsAreLeftAlone) {
    driver.writeList << request(1, "CW", 0, 1);
    driver.conditionList << request(1, "CW", 0, 1);
    driver.frameList << FRAME_PRO();
    Keys list = {entry(1, "CW", 7, 2)};
    intf_addrMerge(list);
    EXPECT_EQ(driver.writeList.size(), 1);
    EXPECT_EQ(driver.conditionList.size(), 1);
    EXPECT_EQ(driver.frameList.size(), 1);
    EXPECT_TRUE(driver.recipeBlockStart.isEmpty());
    EXPECT_TRUE(reports.empty());
}

TEST_F(RecipeBlocks, TheHostsOrderIsKeptAndStartsAreAppended) {
    driver.maxBlockWords = 3;
    driver.recipeBlockStart << 99;
    Keys list = {entry(1, "CW", 10, 1), entry(1, "CW", 11, 1), entry(1, "CW", 0, 1),
                 entry(1, "AI", 0, 1),  entry(1, "AI", 1, 2),  entry(1, "AI", 3, 1)};
    addrMerge(list, MERGE_RECIPE_BLOCKS);
    // Address 0 after 10 is not a gap, so that entry widens the block to a negative span.
    EXPECT_EQ(itemsOf(list), (ItemsList{{1, "CW", 10, -9}, {1, "AI", 0, 3}, {1, "AI", 3, 1}}));
    EXPECT_EQ(driver.recipeBlockStart, (QList<int>{99, 0, 3, 5}));
}

TEST_F(RecipeBlocks, ASingleEntryIsABlock) {
    Keys list = {entry(1, "CW", 10, 1)};
    addrMerge(list, MERGE_RECIPE_BLOCKS);
    EXPECT_EQ(itemsOf(list), (ItemsList{{1, "CW", 10, 1}}));
    EXPECT_EQ(driver.recipeBlockStart, QList<int>{0});
}

TEST_F(RecipeBlocks, ThereIsNoSecondPass) {
    driver.maxBlockWords = 10;
    const Keys entries = {entry(1, "CW", 0, 8), entry(1, "CW", 8, 4), entry(1, "CW", 9, 1)};
    Keys list = entries;
    addrMerge(list, MERGE_RECIPE_BLOCKS);
    EXPECT_EQ(itemsOf(list), (ItemsList{{1, "CW", 0, 8}, {1, "CW", 8, 2}}));
    EXPECT_EQ(driver.recipeBlockStart, (QList<int>{0, 1}));
}

}  // namespace
}  // namespace dx7test

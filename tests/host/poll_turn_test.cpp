#include "host/poll/poll_turn.h"

#include <gtest/gtest.h>

#include "host/poll/poll_plan.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

const qint64 SECOND = 1000000;
const QString F = QStringLiteral("F");

class PollTurnTest : public testing::Test {
protected:
    void watch(const char* items) {
        const QVector<Point> points = notation().points(QString::fromLatin1(items).split(QLatin1Char(' ')));
        entries = pollEntries(points);
        schedule.watch(points, entries, 0);
        refused.watch(points);
        for (const Point& point : points) {
            stations.add(point.station);
        }
    }
    void die(int station) {
        for (int cycle = 0; cycle < 2; ++cycle) {
            stations.polled(station, false);
            stations.cycleEnd(0);
        }
        ASSERT_TRUE(stations.isDead(station));
    }
    TurnSituation at(qint64 nowUs, bool turnOver = true, bool searchInTurn = true) const {
        return TurnSituation{nowUs, entries, schedule, stations, refused, probes, turnOver, searchInTurn};
    }
    Turn turn(qint64 nowUs, bool turnOver = true, bool searchInTurn = true) const {
        return pollTurn(at(nowUs, turnOver, searchInTurn));
    }

    QVector<ItemRange> entries;
    PollSchedule schedule;
    StationHealth stations;
    RefusedItems refused;
    ProbeBudget probes;
};

TEST_F(PollTurnTest, ATurnIsEverythingThatIsWatched) {
    watch("F:0.0.00,3 AI:0@2");
    EXPECT_EQ(turn(0).lists, EntryLists{entries});
    EXPECT_FALSE(turn(0).read);
    EXPECT_FALSE(turn(0).station);
    EXPECT_EQ(nextTurnUs(at(7)), 7);
}

TEST_F(PollTurnTest, WhileATurnIsUnderWayTheListIsEmpty) {
    watch("F:0.0.00,3");
    EXPECT_TRUE(nothingIn(turn(0, false).lists));
    EXPECT_FALSE(nextTurnUs(at(0, false)));
}

TEST_F(PollTurnTest, NothingWatchedIsNothingToDo) {
    EXPECT_TRUE(nothingIn(turn(0).lists));
    EXPECT_FALSE(nextTurnUs(at(0)));
}

TEST_F(PollTurnTest, SilentStationsAreLeftOut) {
    watch("F:0.0.00@1 F:0.0.00@2 F:0.0.00@3");
    die(2);
    EXPECT_EQ(turn(0).lists, (EntryLists{QVector<ItemRange>{{1, F, 0, 1}, {3, F, 0, 1}}}));
}

TEST_F(PollTurnTest, RefusedItemsAreLeftOut) {
    watch("F:0.0.00,3");
    refused.refused(ItemRange{1, F, 1, 1}, 2, 0);
    EXPECT_EQ(turn(0).lists, (EntryLists{QVector<ItemRange>{{1, F, 0, 1}, {1, F, 2, 1}}}));
    EXPECT_FALSE(turn(SECOND / 2 - 1, false).read);
    EXPECT_EQ(nextTurnUs(at(0, false)), SECOND / 2);
    const Turn later = turn(SECOND / 2, false);
    ASSERT_TRUE(later.read);
    EXPECT_EQ(*later.read, (ItemRange{1, F, 1, 1}));
    EXPECT_TRUE(later.probe);
}

TEST_F(PollTurnTest, ASearchTakesTurnsWithThePlan) {
    watch("F:0.0.00,4 AI:0");
    refused.refused(ItemRange{1, F, 0, 4}, 2, 0);
    EXPECT_EQ(turn(0, false).read, (ItemRange{1, F, 0, 2}));
    EXPECT_FALSE(turn(0, false).probe) << "it takes nothing of the budget";
    EXPECT_FALSE(turn(0, false, false).read);
    EXPECT_EQ(turn(0).lists, (EntryLists{QVector<ItemRange>{{1, QStringLiteral("AI"), 0, 1}}}));
}

TEST_F(PollTurnTest, ASearchGoesOnWhereNothingElseIsPolled) {
    watch("F:0.0.00,4");
    refused.refused(ItemRange{1, F, 0, 4}, 2, 0);
    EXPECT_EQ(turn(0, true, false).read, (ItemRange{1, F, 0, 2}));
    EXPECT_TRUE(nothingIn(turn(0).lists));
}

TEST_F(PollTurnTest, ProbesKeepToTheirBudgetWhileOthersArePolled) {
    watch("F:0.0.00@1 F:0.0.00@2");
    die(2);
    probes.spent(SECOND, SECOND + SECOND / 10);
    const qint64 fromUs = SECOND + SECOND / 10 + ProbeBudget::PAUSES * SECOND / 10;
    EXPECT_FALSE(turn(fromUs - 1, false).station);
    EXPECT_EQ(nextTurnUs(at(SECOND, false)), fromUs);
    EXPECT_EQ(turn(fromUs, false).station, 2);
}

TEST_F(PollTurnTest, ProbesTakeTheIdleTimeOfALineOnWhichNothingElseIsPolled) {
    watch("F:0.0.00@1 F:0.0.00@2");
    die(1);
    die(2);
    probes.spent(0, 10 * SECOND);
    EXPECT_EQ(turn(SECOND / 2).station, 1);
    EXPECT_EQ(nextTurnUs(at(0)), SECOND / 2);
}

TEST_F(PollTurnTest, SilentStationsAndRefusedItemsAreAskedInTheOrderInWhichTheyFallDue) {
    watch("F:0.0.00,2@1 F:0.0.00@2 AI:0@3");
    die(2);
    refused.refused(ItemRange{1, F, 0, 1}, 2, SECOND / 4);
    EXPECT_EQ(turn(SECOND).station, 2);
    EXPECT_FALSE(turn(SECOND).read);
    stations.probed(2, false, SECOND);
    EXPECT_EQ(turn(SECOND).read, (ItemRange{1, F, 0, 1}));
    EXPECT_FALSE(turn(SECOND).station);
}

TEST_F(PollTurnTest, NothingIsAskedOfASilentStationButWhetherItAnswers) {
    watch("F:0.0.00,4@1 F:0.0.00@2");
    refused.refused(ItemRange{1, F, 0, 4}, 2, 0);
    refused.refused(ItemRange{1, F, 0, 4}, 6, 0);
    die(1);
    const Turn turn = pollTurn(at(SECOND));
    EXPECT_FALSE(turn.read);
    EXPECT_EQ(turn.station, 1);
}

}  // namespace

#include "host/poll/poll_schedule.h"

#include <gtest/gtest.h>

#include "host/poll/poll_plan.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

constexpr qint64 SECOND = 1000000;

struct Tag {
    const char* item;
    // 0 = none.
    qint64 intervalUs;
};

class PollScheduleTest : public testing::Test {
protected:
    void watch(std::initializer_list<Tag> tags, qint64 nowUs = 0) {
        QVector<Point> points;
        for (const Tag& tag : tags) {
            for (Point point : notation().points(QString::fromLatin1(tag.item))) {
                point.intervalUs = tag.intervalUs > 0 ? std::optional<qint64>(tag.intervalUs) : std::nullopt;
                points += point;
            }
        }
        entries = pollEntries(points);
        schedule.watch(points, entries, nowUs);
    }
    // The addresses of the entries that are due.
    QVector<int> due(qint64 nowUs) const {
        QVector<int> addresses;
        for (int i = 0; i < entries.size(); ++i) {
            if (schedule.due(i, nowUs)) {
                addresses += entries.at(i).address;
            }
        }
        return addresses;
    }
    void turn(qint64 beginUs, qint64 endUs) {
        schedule.begin(beginUs);
        schedule.end(endUs);
    }
    IntervalTurns only() const { return schedule.turns().at(0); }

    QVector<ItemRange> entries;
    PollSchedule schedule;
};

TEST_F(PollScheduleTest, WithoutIntervalsEverythingIsAlwaysDue) {
    watch({{"F:0.0.00,2", 0}});
    EXPECT_FALSE(schedule.hasIntervals());
    EXPECT_TRUE(schedule.hasOthers());
    EXPECT_EQ(due(5), (QVector<int>{0, 1}));
    EXPECT_FALSE(schedule.nextUs());
    EXPECT_TRUE(schedule.turns().isEmpty());
}

TEST_F(PollScheduleTest, EachIntervalIsDueAtItsMultiples) {
    watch({{"AI:0", SECOND}, {"AI:1", 3 * SECOND}, {"AI:2", 0}}, 7);
    EXPECT_EQ(due(7), (QVector<int>{0, 1, 2}));
    turn(7, 100);
    EXPECT_EQ(due(7 + SECOND - 1), QVector<int>{2});
    EXPECT_EQ(schedule.nextUs(), 7 + SECOND);
    EXPECT_EQ(due(7 + SECOND), (QVector<int>{0, 2}));
    turn(7 + SECOND, 8 + SECOND);
    turn(7 + 2 * SECOND, 8 + 2 * SECOND);
    EXPECT_EQ(due(7 + 3 * SECOND), (QVector<int>{0, 1, 2}));
}

TEST_F(PollScheduleTest, ATurnThatBeginsLateDoesNotMoveTheNext) {
    watch({{"AI:0", SECOND}});
    turn(SECOND / 3, SECOND / 2);
    EXPECT_EQ(schedule.nextUs(), SECOND);
    turn(SECOND + SECOND / 3, SECOND + SECOND / 2);
    EXPECT_EQ(schedule.nextUs(), 2 * SECOND);
    EXPECT_EQ(only().late, 0);
}

TEST_F(PollScheduleTest, TheShortestIntervalOfAnItemHolds) {
    watch({{"AI:0", 5 * SECOND}, {"AI:0/hex", SECOND}, {"AI:1", SECOND}, {"AI:1/hex", 0}});
    turn(0, 1);
    EXPECT_EQ(due(2), QVector<int>{1}) << "no interval at all is shorter than any";
    EXPECT_EQ(due(SECOND), (QVector<int>{0, 1}));
    EXPECT_EQ(schedule.turns().size(), 1);
}

TEST_F(PollScheduleTest, ATurnIsLateWhenItIsNotOverBeforeTheNext) {
    watch({{"AI:0", SECOND}});
    turn(0, SECOND);
    EXPECT_EQ(only().late, 0) << "just in time";
    turn(SECOND, 2 * SECOND + 1);
    EXPECT_EQ(only().turns, 2);
    EXPECT_EQ(only().late, 1);
}

TEST_F(PollScheduleTest, TurnsThatNeverBeganAreLate) {
    watch({{"AI:0", SECOND}});
    turn(0, 3 * SECOND + SECOND / 2);
    turn(3 * SECOND + SECOND / 2, 3 * SECOND + SECOND / 2 + 1);
    EXPECT_EQ(only().turns, 4) << "of 0 s, and 1, 2 and 3 s, of which one began";
    EXPECT_EQ(only().late, 3);
    EXPECT_EQ(schedule.nextUs(), 4 * SECOND);
}

TEST_F(PollScheduleTest, NamesTheIntervalThatTheLastTurnsWouldHaveKept) {
    watch({{"AI:0", SECOND}});
    qint64 nowUs = 0;
    for (int i = 0; i < 3; ++i) {
        turn(nowUs, nowUs + 1200000);
        nowUs += 1234000;
        EXPECT_TRUE(schedule.takeNotices().isEmpty()) << i;
    }
    schedule.begin(nowUs);
    EXPECT_EQ(only().achievableUs, 1300000) << "up to the moment when the next could begin, rounded up";
    EXPECT_EQ(
        schedule.takeNotices(),
        QStringList{QStringLiteral("the line cannot keep an interval of 1s: 3 turns in a row were late; "
                                   "an interval of 1.3s would be kept")});
}

TEST_F(PollScheduleTest, SaysSoOnceUntilItIsKeptAgain) {
    watch({{"AI:0", SECOND}});
    const auto said = [this](int turns, qint64 fromUs, qint64 tookUs) {
        int notices = 0;
        for (int i = 0; i < turns; ++i) {
            turn(fromUs + i * 2 * SECOND, fromUs + i * 2 * SECOND + tookUs);
            notices += schedule.takeNotices().size();
        }
        return notices;
    };
    EXPECT_EQ(said(10, 0, 3 * SECOND / 2), 1);
    EXPECT_EQ(said(3, 20 * SECOND, SECOND / 2), 0);
    EXPECT_EQ(said(10, 30 * SECOND, 3 * SECOND / 2), 1);
}

TEST_F(PollScheduleTest, WithoutALineNoTurnIsLate) {
    watch({{"AI:0", SECOND}});
    schedule.begin(0);
    schedule.pass(5 * SECOND + 1);
    EXPECT_EQ(schedule.nextUs(), 6 * SECOND);
    schedule.lineBack(5 * SECOND + SECOND / 2);
    EXPECT_EQ(schedule.nextUs(), 5 * SECOND) << "due at once";
    turn(5 * SECOND + SECOND / 2, 5 * SECOND + SECOND / 2 + 1);
    EXPECT_EQ(schedule.nextUs(), 6 * SECOND) << "at its multiples again";
    EXPECT_EQ(only().turns, 2);
    EXPECT_EQ(only().late, 0);
}

}  // namespace

#include "host/poll/station_health.h"

#include <gtest/gtest.h>

using namespace dx7;

namespace {

const qint64 SECOND = 1000000;

StationHealth deadHealth(qint64 nowUs) {
    StationHealth health;
    health.add(1);
    for (int cycle = 0; cycle < 2; ++cycle) {
        health.polled(1, false);
        health.cycleEnd(nowUs);
    }
    return health;
}

TEST(StationHealth, DiesAfterTwoCyclesWithoutAnyAnswer) {
    StationHealth health;
    health.add(1);
    health.polled(1, false);
    EXPECT_TRUE(health.cycleEnd(0).isEmpty());
    EXPECT_FALSE(health.isDead(1));
    health.polled(1, false);
    EXPECT_EQ(health.cycleEnd(0), QVector<int>{1});
    EXPECT_TRUE(health.isDead(1));
}

TEST(StationHealth, OneAnsweredBlockKeepsItAlive) {
    StationHealth health;
    health.add(1);
    for (int cycle = 0; cycle < 10; ++cycle) {
        health.polled(1, false);
        health.polled(1, true);
        health.polled(1, false);
        EXPECT_TRUE(health.cycleEnd(0).isEmpty());
    }
}

TEST(StationHealth, AnAnswerBetweenStartsTheCountAnew) {
    StationHealth health;
    health.add(1);
    for (const bool answered : {false, true, false}) {
        health.polled(1, answered);
        EXPECT_TRUE(health.cycleEnd(0).isEmpty());
    }
}

TEST(StationHealth, ACycleWithoutItsBlocksDoesNotCount) {
    StationHealth health;
    health.add(1);
    health.polled(1, false);
    health.cycleEnd(0);
    EXPECT_TRUE(health.cycleEnd(0).isEmpty());
    EXPECT_TRUE(health.cycleEnd(0).isEmpty());
}

TEST(StationHealth, ProbesHalfASecondLaterEachTimeUpToTenSeconds) {
    StationHealth health = deadHealth(0);
    qint64 nowUs = 0;
    for (int probe = 1; probe <= 25; ++probe) {
        const qint64 pauseUs = std::min<qint64>(probe * SECOND / 2, 10 * SECOND);
        EXPECT_EQ(health.nextProbeUs(), nowUs + pauseUs) << probe;
        nowUs += pauseUs;
        EXPECT_EQ(health.nextProbe(), 1) << probe;
        EXPECT_FALSE(health.probed(1, false, nowUs));
    }
}

TEST(StationHealth, IsBackWithItsFirstAnswer) {
    StationHealth health = deadHealth(0);
    EXPECT_TRUE(health.probed(1, true, SECOND));
    EXPECT_FALSE(health.isDead(1));
    EXPECT_FALSE(health.nextProbeUs());
    health.polled(1, false);
    EXPECT_TRUE(health.cycleEnd(SECOND).isEmpty()) << "it needs two failed cycles again";
}

TEST(StationHealth, WhenTheLineIsBackTheDeadAreProbedAtOnce) {
    StationHealth health = deadHealth(0);
    for (int probe = 0; probe < 10; ++probe) {
        health.probed(1, false, 0);
    }
    health.lineBack(SECOND);
    EXPECT_EQ(health.nextProbeUs(), SECOND);
    EXPECT_FALSE(health.probed(1, false, SECOND));
    EXPECT_EQ(health.nextProbeUs(), SECOND + SECOND / 2);
}

TEST(StationHealth, StationsAreIndependent) {
    StationHealth health;
    for (const int station : {1, 2, 3}) {
        health.add(station);
    }
    for (int cycle = 0; cycle < 2; ++cycle) {
        health.polled(1, true);
        health.polled(2, false);
        health.polled(3, true);
        health.cycleEnd(0);
    }
    EXPECT_EQ(health.dead(), QVector<int>{2});
}

// However many are due, each has its turn.
TEST(StationHealth, TheOneThatIsDueFirstIsProbedNext) {
    StationHealth health;
    for (const int station : {1, 2, 3}) {
        health.add(station);
    }
    for (int cycle = 0; cycle < 2; ++cycle) {
        for (const int station : {1, 2, 3}) {
            health.polled(station, false);
        }
        health.cycleEnd(0);
    }
    qint64 nowUs = 100 * SECOND;
    for (const int station : {1, 2, 3, 1, 2, 3}) {
        EXPECT_EQ(health.nextProbe(), station);
        health.probed(station, false, nowUs);
        nowUs += 5 * SECOND;
    }
}

}  // namespace

// Items that are polled at intervals, on a paced line with the real driver.
#include <gtest/gtest.h>

#include "host/exchange/rtu_frame.h"
#include "loaded_driver.h"
#include "stations_rig.h"

using namespace dx7;

namespace {

constexpr qint64 MS = 1000;
constexpr qint64 SECOND = 1000 * MS;
constexpr qint64 HOUR = 3600 * SECOND;

// Function codes.
constexpr int READ_DISCRETE_INPUTS = 2;
constexpr int READ_HOLDING_REGISTERS = 3;
constexpr int READ_INPUT_REGISTERS = 4;

class PollEngineInterval : public StationsTest {
protected:
    // "ITEM" as often as possible, "ITEM~MS" each so many milliseconds.
    void watch(const char* items) {
        QVector<Point> points;
        for (const QString& text : QString::fromLatin1(items).split(QLatin1Char(' '))) {
            const QStringList parts = text.split(QLatin1Char('~'));
            for (Point point : notation().points(parts.first())) {
                if (parts.size() > 1) {
                    point.intervalUs = parts.last().toInt() * MS;
                }
                points += point;
            }
        }
        EngineEvents events;
        events.reading = [this](const Reading& reading) { readings.push_back(reading); };
        events.notice = [this](const QString& sentence) { notices += sentence; };
        engine.setEvents(events);
        engine.watch(points, rig.clock.nowUs());
    }
    // When requests with this function code were sent.
    QVector<qint64> sentUs(int function) const {
        QVector<qint64> times;
        for (int i = 0; i < rig.line.requests.size(); ++i) {
            if (byteAt(rig.line.requests.at(i), 1) == function) {
                times += rig.line.requestTimes.at(i);
            }
        }
        return times;
    }
    QVector<Reading> readingsOf(int point) const {
        QVector<Reading> found;
        for (const Reading& reading : readings) {
            if (reading.point == point) {
                found += reading;
            }
        }
        return found;
    }

    std::vector<Reading> readings;
    QStringList notices;
};

TEST_F(PollEngineInterval, KeepsItsPhaseForAnHour) {
    const qint64 startUs = rig.clock.nowUs();
    watch("AI:0,4~1000");
    rig.runFor(HOUR);
    const QVector<qint64> times = sentUs(READ_INPUT_REGISTERS);
    ASSERT_EQ(times.size(), 3600);
    for (int i = 0; i < times.size(); ++i) {
        const qint64 afterUs = times.at(i) - startUs - i * SECOND;
        ASSERT_GE(afterUs, 0) << i;
        ASSERT_LT(afterUs, 100 * MS) << "turn " << i << " drifted";
    }
    ASSERT_EQ(engine.turns().size(), 1);
    EXPECT_EQ(engine.turns().first().turns, 3600);
    EXPECT_EQ(engine.turns().first().late, 0);
    EXPECT_TRUE(notices.isEmpty());
}

TEST_F(PollEngineInterval, TheLineIsIdleInBetween) {
    watch("AI:0,4~10000");
    rig.runFor(100 * SECOND);
    EXPECT_EQ(sentUs(READ_INPUT_REGISTERS).size(), 10);
    EXPECT_LE(rig.line.requests.size(), 30) << "proofs take no more than the reads";
    allGood();
}

TEST_F(PollEngineInterval, EachItemHasItsOwn) {
    watch("AI:0~1000 F:0.0.00~5000 DI:1");
    rig.runFor(20 * SECOND);
    rig.conclude();
    EXPECT_EQ(sentUs(READ_INPUT_REGISTERS).size(), 20);
    EXPECT_EQ(sentUs(READ_HOLDING_REGISTERS).size(), 4);
    EXPECT_GT(sentUs(READ_DISCRETE_INPUTS).size(), 200) << "as often as the line allows";
    EXPECT_EQ(readingsOf(0).size(), 20);
    EXPECT_EQ(readingsOf(1).size(), 4);
}

TEST_F(PollEngineInterval, EveryReadingIsToldOnceWithItsTimeAndValue) {
    watch("AI:0~1000 AI:2/u32~1000");
    for (int i = 0; i < 10; ++i) {
        devices[1].registers[0x1200] = i;
        rig.runFor(SECOND);
    }
    rig.conclude();
    const QVector<Reading> words = readingsOf(0);
    EXPECT_EQ(words.size(), 10);
    EXPECT_EQ(readingsOf(1).size(), 10) << "a value of two items is one reading";
    for (const Reading& reading : words) {
        EXPECT_EQ(reading.state.quality, Quality::Good);
        EXPECT_EQ(reading.state.raw, static_cast<quint32>(&reading - words.data()));
    }
}

TEST_F(PollEngineInterval, SaysWhatTheLineCanKeepAndKeepsThat) {
    watch("F:0.0.00,60~20");
    rig.runFor(30 * SECOND);
    const IntervalTurns turns = engine.turns().first();
    EXPECT_GT(turns.late, turns.turns / 2);
    ASSERT_EQ(notices.size(), 1);
    EXPECT_TRUE(notices.first().startsWith(QStringLiteral("the line cannot keep an interval of 20ms: ")));
    ASSERT_GT(turns.achievableUs, 20 * MS);
    ASSERT_LT(turns.achievableUs, 500 * MS);
    const std::string items = "F:0.0.00,60~" + std::to_string(turns.achievableUs / MS);
    watch(items.c_str());
    rig.runFor(60 * SECOND);
    EXPECT_EQ(engine.turns().first().late, 0);
    EXPECT_EQ(notices.size(), 1);
}

TEST_F(PollEngineInterval, ASilentStationHasAReadingAtEachOfItsTimes) {
    watch("AI:0@1~1000 AI:0@2~1000");
    silent = {2};
    rig.runFor(30 * SECOND);
    EXPECT_EQ(engine.health().dead(), QVector<int>{2});
    const QVector<Reading> failed = readingsOf(1);
    EXPECT_GE(failed.size(), 30);
    for (const Reading& reading : failed) {
        EXPECT_EQ(reading.state.quality, Quality::Bad);
        EXPECT_FALSE(reading.state.raw);
        EXPECT_FALSE(reading.state.fault.isEmpty());
    }
    for (int i = 1; i < failed.size(); ++i) {
        EXPECT_LE(failed.at(i).state.sinceUs - failed.at(i - 1).state.sinceUs, 2 * SECOND)
            << "a gap at " << i;
    }
    EXPECT_GE(readingsOf(0).size(), 28) << "the other one goes on";
}

TEST_F(PollEngineInterval, ALineOfSilentStationsHasThemToo) {
    watch("AI:0~1000");
    silent = {1};
    rig.runFor(30 * SECOND);
    EXPECT_GE(readingsOf(0).size(), 28);
}

TEST_F(PollEngineInterval, WithoutAnIntervalEachAttemptIsAReading) {
    watch("AI:0");
    silent = {1};
    rig.runFor(30 * SECOND);
    const int attempts = readingsOf(0).size();
    EXPECT_GE(attempts, 6);
    EXPECT_LE(attempts, 20) << "as often as the silent station is asked";
}

TEST_F(PollEngineInterval, ARefusedItemHasAReadingAtEachOfItsTimes) {
    watch("AI:0~1000");
    refusing = true;
    rig.runFor(30 * SECOND);
    const QVector<Reading> failed = readingsOf(0);
    EXPECT_GE(failed.size(), 29);
    EXPECT_NE(failed.last().state.fault.indexOf(QStringLiteral("exception")), -1);
}

TEST_F(PollEngineInterval, ALostLineHasAReadingAtEachTime) {
    watch("AI:0~1000 AI:1");
    rig.runFor(5 * SECOND + SECOND / 2);
    const int before = readingsOf(0).size();
    rig.line.refuseOpen = true;
    rig.line.close();
    rig.runFor(10 * SECOND);
    EXPECT_EQ(readingsOf(0).size() - before, 12) << "what was not proven yet, and one at the loss";
    EXPECT_EQ(readingsOf(0).at(before).state.quality, Quality::Doubtful);
    EXPECT_EQ(readingsOf(0).last().state.fault, QStringLiteral("no line"));
    EXPECT_EQ(readingsOf(1).last().state.fault, QStringLiteral("no line"));
    rig.line.refuseOpen = false;
    rig.runFor(11 * SECOND);
    EXPECT_EQ(readingsOf(0).last().state.quality, Quality::Good);
    EXPECT_EQ(engine.turns().first().late, 0) << "a line that is not there is not slow";
}

TEST_F(PollEngineInterval, TheTurnAfterALossBeginsAtOnce) {
    watch("AI:0~60000");
    rig.runFor(SECOND);
    rig.line.close();
    rig.runFor(3 * SECOND);
    EXPECT_EQ(sentUs(READ_INPUT_REGISTERS).size(), 2);
}

TEST_F(PollEngineInterval, DoubtfulReadingsAreToldAsSuch) {
    watch("AI:0~1000");
    rig.runFor(SECOND / 20);
    rig.line.close();
    rig.runFor(SECOND / 10);
    ASSERT_FALSE(readings.empty());
    EXPECT_EQ(readings.front().state.quality, Quality::Doubtful);
    EXPECT_TRUE(readings.front().state.raw);
    EXPECT_EQ(readings.back().state.fault, QStringLiteral("no line"));
}

}  // namespace

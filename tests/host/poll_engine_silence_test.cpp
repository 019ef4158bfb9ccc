// Stations that fall silent, what that costs the others, and how they come back.
#include <gtest/gtest.h>

#include "host/exchange/rtu_frame.h"
#include "host/poll/poll_engine.h"
#include "loaded_driver.h"
#include "stations_rig.h"

using namespace dx7;

namespace {

using PollEngineSilence = StationsTest;

TEST_F(PollEngineSilence, ADeadStationKeepsItsLastGoodValueAndComesBackWithinOneProbe) {
    devices[1].registers[0xF000] = 5;
    rig.watch("F:0.0.00@1 F:0.0.00@2");
    rig.runFor(1000000);
    silent = {1};
    QVector<bool> news;
    EngineEvents events;
    events.station = [&](int station, bool alive) {
        EXPECT_EQ(station, 1);
        news += alive;
    };
    engine.setEvents(events);
    rig.runFor(6000000);
    EXPECT_EQ(engine.health().dead(), QVector<int>{1});
    EXPECT_EQ(rig.told(0).quality, Quality::Stale);
    EXPECT_EQ(rig.told(0).raw, 5u);
    EXPECT_EQ(engine.plan().blockCount(), 1);
    silent.clear();
    EXPECT_TRUE(rig.runUntil([&] { return engine.health().dead().isEmpty(); }, 10500000));
    // What it owed from before is forgotten by then.
    rig.runFor(11500000);
    allGood();
    EXPECT_EQ(engine.plan().blockCount(), 2);
    EXPECT_EQ(news, (QVector<bool>{false, true}));
}

// Faults that ended before a station was taken out of the plan leave no trace when what the stations owed is
// forgotten, which is 10 s after it was asked for.
TEST_F(PollEngineSilence, SoonAfterTheFaultsEndEverythingIsGood) {
    rig.watch("F:0.0.00,4@1 AI:0,4@1 F:0.0.00,4@2 AI:0,4@2");
    rig.runFor(2000000);
    allGood();
    silent = {1, 2};
    const auto stale = [this] {
        int number = 0;
        for (int i = 0; i < engine.table().size(); ++i) {
            number += rig.told(i).quality == Quality::Stale ? 1 : 0;
        }
        return number;
    };
    EXPECT_TRUE(rig.runUntil([&] { return stale() == engine.table().size(); }, 10000000));
    ASSERT_TRUE(engine.health().dead().isEmpty());
    silent.clear();
    rig.runFor(11500000);
    allGood();
}

// The cause of the last thing that came, and not the silence of what was not asked for.
TEST_F(PollEngineSilence, AStationWithoutAValidAnswerIsLeftOutForItsRealCause) {
    rig.line.script = [](ScriptedLine& line, const QByteArray& request) {
        QByteArray damaged = framed(request.left(2) + hex("02 00 07"));
        damaged[damaged.size() - 1] = static_cast<char>(damaged.back() ^ 1);
        line.arrive(damaged, 20000);
    };
    rig.watch("F:0.0.00 AI:0");
    rig.runFor(5000000);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(rig.told(i).fault, QStringLiteral("wrong CRC")) << i;
    }
}

TEST_F(PollEngineSilence, ARefusalOfAProbeIsASignOfLife) {
    silent = {1};
    rig.watch("F:0.0.00@1");
    rig.runFor(6000000);
    ASSERT_EQ(engine.health().dead(), QVector<int>{1});
    silent.clear();
    refusing = true;
    EXPECT_TRUE(rig.runUntil([&] { return engine.health().dead().isEmpty(); }, 10500000));
}

TEST_F(PollEngineSilence, AProbeIsASingleRequest) {
    silent = {1};
    rig.watch("F:0.0.00@1");
    rig.runFor(15000000);
    ASSERT_EQ(engine.health().dead(), QVector<int>{1});
    rig.line.requests.clear();
    rig.runFor(60000000);
    // Pauses between 0.5 s and 10 s; with three attempts per probe there would be three times as many
    // requests.
    EXPECT_LE(rig.line.requests.size(), 20);
    EXPECT_GE(rig.line.requests.size(), 5);
}

// Ten stations with the same twelve items each, one of them dead: the others' cycle must not notice.
TEST_F(PollEngineSilence, TheLivingAreNotSlowedByADeadStation) {
    const auto items = [](int first) {
        QByteArray list;
        for (int station = first; station <= 10; ++station) {
            const QByteArray number = QByteArray::number(station);
            list += "AI:0,4@" + number + " F:0.0.00,8@" + number + ' ';
        }
        return list;
    };
    const auto meanCycleUs = [this](qint64 durationUs) {
        const qint64 before = engine.statistics().cycles().count();
        rig.runFor(durationUs);
        return static_cast<double>(durationUs) /
               static_cast<double>(engine.statistics().cycles().count() - before);
    };
    const qint64 minute = 60000000;
    rig.watch(items(2).constData());
    const double livingUs = meanCycleUs(minute);
    silent = {1};
    rig.watch(items(1).constData());
    const qint64 before = rig.clock.nowUs();
    EXPECT_TRUE(rig.runUntil([this] { return engine.health().isDead(1); }));
    EXPECT_LT(static_cast<double>(rig.clock.nowUs() - before), 2 * livingUs * 2.5) << "two cycles";
    // From the first pause on, and when the pauses have become long.
    for (int window = 0; window < 6; ++window) {
        EXPECT_LT(meanCycleUs(minute / 3), livingUs * 1.10) << window;
    }
    EXPECT_TRUE(engine.health().isDead(1));
}

// Half of the stations are dead: together they are probed no more often than one.
TEST_F(PollEngineSilence, TheLivingAreNotSlowedByManyDeadStations) {
    rig.watch("AI:0,4@6 AI:0,4@7 AI:0,4@8 AI:0,4@9 AI:0,4@10");
    const qint64 minute = 60000000;
    rig.runFor(minute);
    const qint64 alone = engine.statistics().cycles().count();
    silent = {1, 2, 3, 4, 5};
    rig.watch("AI:0,4@1 AI:0,4@2 AI:0,4@3 AI:0,4@4 AI:0,4@5 AI:0,4@6 AI:0,4@7 AI:0,4@8 AI:0,4@9 AI:0,4@10");
    EXPECT_TRUE(rig.runUntil([this] { return engine.health().dead().size() == 5; }));
    const qint64 before = engine.statistics().cycles().count();
    rig.runFor(minute);
    EXPECT_GT(static_cast<double>(engine.statistics().cycles().count() - before),
              static_cast<double>(alone) / 1.10);
    silent.clear();
    EXPECT_TRUE(rig.runUntil([this] { return engine.health().dead().isEmpty(); }, minute))
        << "each had its turn";
}

// What a station sent last, before it fell silent, is never proven: nothing is asked for that again and
// again.
TEST_F(PollEngineSilence, TheLivingAreNotSlowedByAStationThatFallsSilent) {
    const qint64 minute = 60000000;
    const auto cyclesIn = [this](qint64 durationUs) {
        const qint64 before = engine.statistics().cycles().count();
        rig.runFor(durationUs);
        return static_cast<double>(engine.statistics().cycles().count() - before);
    };
    rig.watch("AI:0,4@1 AI:0,4@2 AI:0,4@4 AI:0,4@5");
    const double alone = cyclesIn(minute) / 3;
    rig.watch("AI:0,4@1 AI:0,4@2 AI:0,4@3 AI:0,4@4 AI:0,4@5");
    rig.runFor(minute);
    silent = {3};
    EXPECT_TRUE(rig.runUntil([this] { return engine.health().isDead(3); }));
    for (int window = 0; window < 6; ++window) {
        EXPECT_GT(cyclesIn(minute / 3), alone / 1.10) << window;
    }
}

}  // namespace

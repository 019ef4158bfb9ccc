#include "poll_engine.h"

#include <gtest/gtest.h>

#include <set>

#include "loaded_driver.h"
#include "one_shot_read.h"
#include "rtu_frame.h"
#include "scripted_line.h"

using namespace dx7;

namespace {

const int BAUD = 9600;

LineSettings pacedSettings() {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.baud = BAUD;
    settings.timeoutMs = 300;
    return settings;
}

// An engine over the real driver on a paced line with stations that answer, or do not.
class PollEngineTest : public testing::Test {
protected:
    PollEngineTest()
        : session(driverFunctions(), propertyText(settings, 1)),
          line(clock),
          loop(driverFunctions(), line, clock, settings),
          engine(session, loop, clock, settings) {
        line.script = [this](ScriptedLine& l, const QByteArray& request) {
            const int station = byteAt(request, 0);
            if (silent.count(station) != 0 || station == 0) {
                return;
            }
            const QByteArray reply = refusing ? framed(QByteArray(request.left(1)) +
                                                       static_cast<char>(byteAt(request, 1) | 0x80) + '\2')
                                              : devices[station].answer(request);
            l.arrive(reply, lineTimeUs(settings, request.size() + reply.size()) + 2000);
        };
    }

    QVector<Point> points(const QStringList& items) { return notation().points(items); }
    void runFor(qint64 durationUs) {
        const qint64 endUs = clock.nowUs() + durationUs;
        while (clock.nowUs() < endUs) {
            const CommLoop::Step step = engine.step();
            if (step == CommLoop::Step::Idle || step == CommLoop::Step::NoLine) {
                clock.sleepUntilUs(engine.wakeUs());
            }
        }
    }
    void runOperations() {
        for (int steps = 0; engine.pendingOperations() > 0 && steps < 1000; ++steps) {
            engine.step();
        }
    }

    LineSettings settings = pacedSettings();
    VirtualClock clock;
    DriverSession session;
    ScriptedLine line;
    CommLoop loop;
    PollEngine engine;
    std::map<int, ScriptedDevice> devices;
    std::set<int> silent;
    bool refusing = false;
};

TEST_F(PollEngineTest, ValuesComeFromTheirOwnStation) {
    devices[1].registers[0xF000] = 100;
    devices[2].registers[0xF000] = 200;
    engine.watch(points({QStringLiteral("F:0.0.00@1"), QStringLiteral("F:0.0.00@2")}));
    runFor(1000000);
    EXPECT_EQ(engine.table().state(0).raw, 100u);
    EXPECT_EQ(engine.table().state(1).raw, 200u);
    EXPECT_GT(engine.statistics().cycles().count(), 5);
}

TEST_F(PollEngineTest, WritesAreCutWhereRegisterNumbersDoNotRunOn) {
    const WriteRequest request = notation().write(QStringLiteral("F:0.0.08,4=1,2,3,4"));
    int good = 0;
    engine.write(request, [&](const Transaction& transaction) { good += transaction.good() ? 1 : 0; });
    runOperations();
    EXPECT_EQ(good, 2);
    EXPECT_EQ(line.requests, (QVector<QByteArray>{framed(hex("01 10 E0 08 00 02 04 00 01 00 02")),
                                                  framed(hex("01 10 E0 10 00 02 04 00 03 00 04"))}));
}

TEST_F(PollEngineTest, EveryBitIsAWriteOfItsOwn) {
    engine.write(notation().write(QStringLiteral("SDO:3,3=1,0,1")), [](const Transaction&) {});
    runOperations();
    EXPECT_EQ(line.requests,
              (QVector<QByteArray>{framed(hex("01 05 10 62 FF 00")), framed(hex("01 05 10 63 00 00")),
                                   framed(hex("01 05 10 64 FF 00"))}));
}

TEST_F(PollEngineTest, ABroadcastGoesOutAndIsDone) {
    int good = 0;
    engine.write(notation().write(QStringLiteral("RO:1@0=1")),
                 [&](const Transaction& transaction) { good += transaction.good() ? 1 : 0; });
    runOperations();
    EXPECT_EQ(good, 1);
}

TEST_F(PollEngineTest, OneShotReadsCollectWhatIsGoodAndNameWhatIsNot) {
    devices[1].registers[0xF009] = 9;
    devices[1].registers[0xF010] = 10;
    silent = {2};
    const QVector<Point> wanted = points({QStringLiteral("F:0.0.09,2"), QStringLiteral("AI:0@2")});
    OneShotRead read(session, engine, clock);
    read.queue(wanted);
    runOperations();
    EXPECT_FALSE(read.allGood());
    EXPECT_EQ(read.table().state(0).raw, 9u);
    EXPECT_EQ(read.table().state(1).raw, 10u);
    EXPECT_EQ(read.fault(2), QStringLiteral("no reply"));
    EXPECT_TRUE(read.fault(0).isEmpty());
}

TEST_F(PollEngineTest, AFailedReadTakesNoOtherWithIt) {
    silent = {2};
    OneShotRead read(session, engine, clock);
    read.queue(points({QStringLiteral("AI:0@2"), QStringLiteral("AI:0@3"), QStringLiteral("AI:0@4")}));
    runOperations();
    EXPECT_EQ(read.table().state(1).quality, Quality::Good);
    EXPECT_EQ(read.table().state(2).quality, Quality::Good);
}

TEST_F(PollEngineTest, WritesGoAheadOfPolling) {
    engine.watch(points({QStringLiteral("F:0.0.00")}));
    runFor(100000);
    engine.write(notation().write(QStringLiteral("F:0.0.00=77")), [](const Transaction&) {});
    runFor(200000);
    EXPECT_EQ(engine.pendingOperations(), 0);
    devices[1].registers[0xF000] = 77;
    runFor(100000);
    EXPECT_EQ(engine.table().state(0).raw, 77u);
}

TEST_F(PollEngineTest, AWriteThatComesInTheSilenceGoesOutRightAfterIt) {
    engine.watch(points({QStringLiteral("AI:0,4")}));
    engine.step();
    const qint64 silentUs = clock.nowUs() + silentIntervalUs(settings);
    engine.awaitTurn();
    EXPECT_EQ(clock.nowUs(), silentUs);
    engine.write(notation().write(QStringLiteral("MOD:1=7")), [](const Transaction&) {});
    engine.step();
    EXPECT_EQ(line.requests.last(), framed(hex("01 06 13 01 00 07")));
    EXPECT_EQ(line.requestTimes.last(), silentUs);
}

TEST_F(PollEngineTest, NothingIsWaitedForOnALineThatIsNotOpen) {
    engine.watch(points({QStringLiteral("AI:0,4")}));
    engine.step();
    line.close();
    const qint64 before = clock.nowUs();
    engine.awaitTurn();
    EXPECT_EQ(clock.nowUs(), before);
}

TEST_F(PollEngineTest, ARefusingStationIsAliveButItsValuesAreBad) {
    refusing = true;
    engine.watch(points({QStringLiteral("AI:0@1")}));
    runFor(2000000);
    EXPECT_TRUE(engine.health().dead().isEmpty());
    EXPECT_EQ(engine.table().state(0).quality, Quality::Bad);
    EXPECT_GT(engine.statistics().all().exceptions.value(2), 0);
}

TEST_F(PollEngineTest, ADeadStationKeepsItsLastGoodValueAndComesBackWithinOneProbe) {
    devices[1].registers[0xF000] = 5;
    engine.watch(points({QStringLiteral("F:0.0.00@1"), QStringLiteral("F:0.0.00@2")}));
    runFor(1000000);
    silent = {1};
    QVector<bool> news;
    EngineEvents events;
    events.station = [&](int station, bool alive) {
        EXPECT_EQ(station, 1);
        news += alive;
    };
    engine.setEvents(events);
    runFor(4000000);
    EXPECT_EQ(engine.health().dead(), QVector<int>{1});
    EXPECT_EQ(engine.table().state(0).quality, Quality::Bad);
    EXPECT_EQ(engine.table().state(0).raw, 5u);
    EXPECT_EQ(engine.plan().blockCount(), 1);
    runOperations();
    silent.clear();
    const qint64 probeUs = engine.health().nextProbeUs();
    runFor(probeUs - clock.nowUs() + 200000);
    EXPECT_TRUE(engine.health().dead().isEmpty());
    EXPECT_EQ(engine.table().state(0).quality, Quality::Good);
    EXPECT_EQ(engine.plan().blockCount(), 2);
    EXPECT_EQ(news, (QVector<bool>{false, true}));
}

// Faults that ended before a station was taken out of the plan leave no trace after one more request per
// block.
TEST_F(PollEngineTest, OneCycleAfterTheFaultsEndEverythingIsGood) {
    const QStringList items = {QStringLiteral("F:0.0.00,4@1"), QStringLiteral("AI:0,4@1"),
                               QStringLiteral("F:0.0.00,4@2"), QStringLiteral("AI:0,4@2")};
    engine.watch(points(items));
    const auto shown = [this](const QString& fault) {
        int number = 0;
        for (int i = 0; i < engine.table().points().size(); ++i) {
            number += engine.table().state(i).fault == fault ? 1 : 0;
        }
        return number;
    };
    const QString silence = QStringLiteral("no reply");
    const int all = engine.table().points().size();
    silent = {1, 2};
    for (int steps = 0; shown(silence) < all && steps < 100; ++steps) {
        engine.step();
    }
    ASSERT_EQ(shown(silence), all);
    ASSERT_TRUE(engine.health().dead().isEmpty());
    silent.clear();
    const int before = line.requests.size();
    while (line.requests.size() - before < engine.plan().blockCount()) {
        engine.step();
    }
    EXPECT_EQ(engine.plan().blockCount(), items.size());
    EXPECT_EQ(shown(QString()), all);
}

TEST_F(PollEngineTest, ARefusalOfAProbeIsASignOfLife) {
    silent = {1};
    engine.watch(points({QStringLiteral("F:0.0.00@1")}));
    runFor(4000000);
    ASSERT_EQ(engine.health().dead(), QVector<int>{1});
    runOperations();
    silent.clear();
    refusing = true;
    runFor(engine.health().nextProbeUs() - clock.nowUs() + 100000);
    EXPECT_TRUE(engine.health().dead().isEmpty());
}

TEST_F(PollEngineTest, AProbeIsASingleRequest) {
    silent = {1};
    engine.watch(points({QStringLiteral("F:0.0.00@1")}));
    runFor(4000000);
    ASSERT_EQ(engine.health().dead(), QVector<int>{1});
    line.requests.clear();
    const qint64 startUs = clock.nowUs();
    runFor(60000000);
    // Pauses between 0.5 s and 10 s; with three attempts per probe there would be three times as many
    // requests.
    EXPECT_LE(line.requests.size(), 12);
    EXPECT_GE(line.requests.size(), 5) << clock.nowUs() - startUs;
}

// Ten stations with the same twelve items each, one of them dead: the others' cycle must not notice.
TEST_F(PollEngineTest, TheLivingAreNotSlowedByADeadStation) {
    const auto items = [](int first) {
        QStringList list;
        for (int station = first; station <= 10; ++station) {
            list += QStringLiteral("AI:0,4@%1").arg(station);
            list += QStringLiteral("F:0.0.00,8@%1").arg(station);
        }
        return list;
    };
    const auto meanCycleUs = [](const Statistics& statistics, qint64 durationUs) {
        return static_cast<double>(durationUs) / static_cast<double>(statistics.cycles().count());
    };
    const qint64 minute = 60000000;
    engine.watch(points(items(2)));
    runFor(minute);
    const double livingUs = meanCycleUs(engine.statistics(), minute);

    silent = {1};
    PollEngine second(session, loop, clock, settings);
    second.watch(points(items(1)));
    const auto run = [&](qint64 durationUs) {
        const qint64 endUs = clock.nowUs() + durationUs;
        while (clock.nowUs() < endUs) {
            second.step();
        }
    };
    run(minute / 6);
    ASSERT_EQ(second.health().dead(), QVector<int>{1});
    const qint64 cyclesBefore = second.statistics().cycles().count();
    run(minute);
    const double withDeadUs = static_cast<double>(minute) /
                              static_cast<double>(second.statistics().cycles().count() - cyclesBefore);
    RecordProperty("cycle_without_dead_us", static_cast<int>(livingUs));
    RecordProperty("cycle_with_dead_us", static_cast<int>(withDeadUs));
    EXPECT_LT(withDeadUs, livingUs * 1.10);
}

TEST_F(PollEngineTest, ALostLineTurnsEverythingToNoLineAndRecovers) {
    engine.watch(points({QStringLiteral("F:0.0.00@1"), QStringLiteral("AI:0@1")}));
    runFor(500000);
    line.refuseOpen = true;
    line.close();
    runFor(1000000);
    EXPECT_EQ(engine.table().state(0).quality, Quality::Bad);
    EXPECT_EQ(engine.table().state(0).fault, QStringLiteral("no line"));
    EXPECT_EQ(engine.table().state(1).fault, QStringLiteral("no line"));
    line.refuseOpen = false;
    runFor(6000000);
    EXPECT_EQ(engine.table().state(0).quality, Quality::Good);
    EXPECT_EQ(engine.table().state(1).quality, Quality::Good);
}

// Whoever drives the engine gets a turn at least every 50 ms, however long connecting takes.
TEST_F(PollEngineTest, EverythingIsNoLineUntilAnAttemptThatTakesLongHasEnded) {
    engine.watch(points({QStringLiteral("F:0.0.00@1"), QStringLiteral("AI:0@1")}));
    runFor(500000);
    line.openTakesUs = 3000000;
    line.close();
    const qint64 lostUs = clock.nowUs();
    qint64 longestUs = 0;
    while (clock.nowUs() - lostUs < 3200000) {
        const qint64 turnUs = clock.nowUs();
        EXPECT_EQ(engine.step(), CommLoop::Step::NoLine);
        clock.sleepUntilUs(engine.wakeUs());
        longestUs = std::max(longestUs, clock.nowUs() - turnUs);
        EXPECT_EQ(engine.table().state(0).quality, Quality::Bad);
        EXPECT_EQ(engine.table().state(0).fault, QStringLiteral("no line"));
        EXPECT_EQ(engine.table().state(1).fault, QStringLiteral("no line"));
    }
    EXPECT_EQ(longestUs, 50000);
    EXPECT_EQ(line.openAttempts, 1);
    runFor(500000);
    EXPECT_EQ(line.openAttempts, 1);
    EXPECT_EQ(engine.table().state(0).quality, Quality::Good);
    EXPECT_EQ(engine.table().state(1).quality, Quality::Good);
}

TEST(RequestRanges, KeepToTheBlockLimitAndTheSubGroups) {
    const auto lengths = [](const char* type, int address, int count, int block) {
        QVector<int> list;
        for (const ItemRange& range :
             requestRanges(notation().type(QString::fromLatin1(type)), 1, address, count, block)) {
            list += range.count;
        }
        return list;
    };
    EXPECT_EQ(lengths("F", 8, 24, 64), (QVector<int>{2, 10, 10, 2}));
    EXPECT_EQ(lengths("F", 50, 10, 4), (QVector<int>{4, 2, 4}));
    EXPECT_EQ(lengths("SDO", 1, 8, 64), QVector<int>{8});
    EXPECT_EQ(lengths("CW_bit", 0, 16, 1), (QVector<int>{8, 8}));
}

TEST_F(PollEngineTest, AWriteThatWasOutWhenTheLineWasLostIsSentAgain) {
    bool lose = true;
    const auto answer = line.script;
    line.script = [&](ScriptedLine& l, const QByteArray& request) {
        if (lose) {
            l.close();
        } else {
            answer(l, request);
        }
    };
    int ends = 0;
    bool good = false;
    engine.write(notation().write(QStringLiteral("F:3.0.25=500")), [&](const Transaction& transaction) {
        ++ends;
        good = transaction.good();
    });
    engine.step();
    EXPECT_EQ(engine.pendingOperations(), 1);
    lose = false;
    runFor(2000000);
    EXPECT_EQ(engine.pendingOperations(), 0);
    EXPECT_EQ(ends, 1);
    EXPECT_TRUE(good);
    EXPECT_EQ(devices[1].registers[0xE325], 500);
}

}  // namespace

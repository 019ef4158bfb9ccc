#include "host/poll/poll_engine.h"

#include <gtest/gtest.h>

#include "host/exchange/rtu_frame.h"
#include "host/poll/one_shot_read.h"
#include "loaded_driver.h"
#include "stations_rig.h"

using namespace dx7;

namespace {

using PollEngineTest = StationsTest;

TEST_F(PollEngineTest, ValuesComeFromTheirOwnStation) {
    devices[1].registers[0xF000] = 100;
    devices[2].registers[0xF000] = 200;
    rig.watch("F:0.0.00@1 F:0.0.00@2");
    rig.runFor(1000000);
    EXPECT_EQ(rig.told(0).raw, 100u);
    EXPECT_EQ(rig.told(1).raw, 200u);
    allGood();
    EXPECT_GT(engine.statistics().cycles().count(), 5);
}

// What is told is proven; what is known may be newer.
TEST_F(PollEngineTest, AValueIsFreshUntilAQueryIsAnsweredInItsPlace) {
    QVector<Quality> told;
    int fresh = 0;
    EngineEvents events;
    events.fresh = [&](int) {
        ++fresh;
        EXPECT_EQ(engine.table().state(0).quality, Quality::Fresh);
        EXPECT_EQ(rig.told(0).quality, Quality::Bad);
    };
    events.value = [&](int point) { told += rig.told(point).quality; };
    engine.setEvents(events);
    devices[1].registers[0xF000] = 7;
    rig.watch("F:0.0.00");
    rig.runFor(1000000);
    EXPECT_EQ(fresh, 1);
    EXPECT_EQ(told, QVector<Quality>{Quality::Good});
    EXPECT_EQ(rig.told(0).raw, 7u);
}

// One reply too many shifts all that follow by one, each with a good CRC and the right length.
TEST_F(PollEngineTest, RepliesThatAreOneBehindAreNotTakenForOthers) {
    devices[1].registers[0xF000] = 1;
    devices[1].registers[0xF100] = 2;
    QByteArray before = framed(hex("01 03 02 00 63"));
    rig.line.script = [&](ScriptedLine& line, const QByteArray& request) {
        line.arrive(before, 20000);
        before = devices[1].answer(request);
    };
    EngineEvents events;
    events.value = [&](int point) {
        const PointState& told = rig.told(point);
        EXPECT_TRUE(told.quality != Quality::Good || told.raw == static_cast<quint32>(point + 1));
    };
    engine.setEvents(events);
    rig.watch("F:0.0.00 F:1.0.00");
    rig.runFor(20000000);
    EXPECT_GT(engine.statistics().all().requests, 5);
    EXPECT_GT(engine.statistics().all().surplus, 0);
}

TEST_F(PollEngineTest, WritesAreCutWhereRegisterNumbersDoNotRunOn) {
    int good = 0;
    rig.write("F:0.0.08,4=1,2,3,4",
              [&](const Transaction& transaction) { good += transaction.good() ? 1 : 0; });
    EXPECT_TRUE(rig.runOperations());
    EXPECT_EQ(good, 2);
    EXPECT_EQ(withoutQueries(rig.line.requests),
              (QVector<QByteArray>{framed(hex("01 10 E0 08 00 02 04 00 01 00 02")),
                                   framed(hex("01 10 E0 10 00 02 04 00 03 00 04"))}));
}

TEST_F(PollEngineTest, EveryBitIsAWriteOfItsOwn) {
    rig.write("SDO:3,3=1,0,1");
    EXPECT_TRUE(rig.runOperations());
    EXPECT_EQ(withoutQueries(rig.line.requests),
              (QVector<QByteArray>{framed(hex("01 05 10 62 FF 00")), framed(hex("01 05 10 63 00 00")),
                                   framed(hex("01 05 10 64 FF 00"))}));
}

TEST_F(PollEngineTest, ABroadcastGoesOutAndIsDone) {
    int good = 0;
    rig.write("RO:1@0=1", [&](const Transaction& transaction) { good += transaction.good() ? 1 : 0; });
    EXPECT_TRUE(rig.runOperations());
    EXPECT_EQ(good, 1);
    EXPECT_EQ(rig.line.requests.size(), 1);
}

TEST_F(PollEngineTest, OneShotReadsCollectWhatIsGoodAndNameWhatIsNot) {
    devices[1].registers[0xF009] = 9;
    devices[1].registers[0xF010] = 10;
    silent = {2};
    OneShotRead read(engine);
    read.queue(notation().points(QStringList{QStringLiteral("F:0.0.09,2"), QStringLiteral("AI:0@2")}));
    EXPECT_TRUE(rig.runOperations());
    EXPECT_FALSE(read.allGood());
    EXPECT_EQ(read.table().state(0).raw, 9u);
    EXPECT_EQ(read.table().state(1).raw, 10u);
    EXPECT_EQ(read.fault(2), QStringLiteral("no reply"));
    EXPECT_TRUE(read.fault(0).isEmpty());
}

TEST_F(PollEngineTest, AFailedReadTakesNoOtherWithIt) {
    silent = {2};
    OneShotRead read(engine);
    read.queue(notation().points(
        QStringList{QStringLiteral("AI:0@2"), QStringLiteral("AI:0@3"), QStringLiteral("AI:0@4")}));
    EXPECT_TRUE(rig.runOperations());
    EXPECT_EQ(read.table().state(1).quality, Quality::Good);
    EXPECT_EQ(read.table().state(2).quality, Quality::Good);
}

// A frame that answers nothing makes the first read doubtful; the second one is good.
TEST_F(PollEngineTest, AOneShotReadThatIsDoubtfulIsReadAgain) {
    devices[1].registers[0xF000] = 5;
    const auto honest = rig.line.script;
    bool disturb = true;
    rig.line.script = [&](ScriptedLine& line, const QByteArray& request) {
        honest(line, request);
        if (disturb) {
            disturb = false;
            line.arrive(framed(hex("01 03 02 00 63")), 25000);
        }
    };
    OneShotRead read(engine);
    read.queue(notation().points(QStringLiteral("F:0.0.00")));
    EXPECT_TRUE(rig.runOperations());
    EXPECT_TRUE(read.allGood());
    EXPECT_EQ(read.table().state(0).raw, 5u);
    EXPECT_EQ(withoutQueries(rig.line.requests).size(), 2);
}

TEST_F(PollEngineTest, WritesGoAheadOfPolling) {
    rig.watch("F:0.0.00");
    rig.runFor(100000);
    rig.write("F:0.0.00=77");
    rig.runFor(300000);
    EXPECT_EQ(engine.pendingOperations(), 0);
    devices[1].registers[0xF000] = 77;
    rig.runFor(2200000);
    EXPECT_EQ(rig.told(0).raw, 77u);
}

TEST_F(PollEngineTest, AWriteThatComesInTheSilenceGoesOutRightAfterIt) {
    rig.watch("AI:0,4");
    rig.runFor(3000000);
    qint64 endUs = 0;
    bool proven = false;
    EngineEvents events;
    events.answer = [&](const QueryAnswer&) { proven = true; };
    events.transaction = [&](const Transaction& transaction) { endUs = proven ? transaction.endUs : 0; };
    engine.setEvents(events);
    // Replies that are due to be proven go first; these are not.
    EXPECT_TRUE(rig.runUntil([&] { return endUs > 0; }));
    const qint64 silentUs = endUs + silentIntervalUs(rig.settings);
    rig.write("MOD:1,2=7,8");
    EXPECT_TRUE(rig.runUntil([&] { return rig.line.requestTimes.last() >= silentUs; }));
    EXPECT_EQ(byteAt(rig.line.requests.last(), 1), 16);
    EXPECT_EQ(rig.line.requestTimes.last(), silentUs);
}

TEST_F(PollEngineTest, ARefusingStationIsAliveButItsValuesAreBad) {
    refusing = true;
    rig.watch("AI:0@1");
    rig.runFor(2000000);
    EXPECT_TRUE(engine.health().dead().isEmpty());
    EXPECT_EQ(rig.told(0).quality, Quality::Bad);
    EXPECT_GT(engine.statistics().all().exceptions.value(2), 0);
}

TEST_F(PollEngineTest, ALostLineTurnsEverythingToNoLineAndRecovers) {
    rig.watch("F:0.0.00@1 AI:0@1");
    rig.runFor(1500000);
    allGood();
    rig.line.refuseOpen = true;
    rig.line.close();
    rig.runFor(1000000);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(rig.told(i).quality, Quality::Bad);
        EXPECT_EQ(rig.told(i).fault, QStringLiteral("no line"));
    }
    rig.line.refuseOpen = false;
    rig.runFor(7000000);
    allGood();
}

TEST_F(PollEngineTest, EverythingIsNoLineUntilAnAttemptThatTakesLongHasEnded) {
    rig.watch("F:0.0.00@1 AI:0@1");
    rig.runFor(1500000);
    rig.line.openTakesUs = 3000000;
    rig.line.close();
    const qint64 lostUs = rig.clock.nowUs();
    while (rig.clock.nowUs() - lostUs < 3200000) {
        rig.runner.turn(rig.clock.nowUs() + 50000);
        EXPECT_EQ(rig.told(0).quality, Quality::Bad);
        EXPECT_EQ(rig.told(0).fault, QStringLiteral("no line"));
        EXPECT_EQ(rig.told(1).fault, QStringLiteral("no line"));
    }
    EXPECT_EQ(rig.line.openAttempts, 1);
    rig.runFor(1500000);
    EXPECT_EQ(rig.line.openAttempts, 1);
    allGood();
}

TEST_F(PollEngineTest, AWriteThatWasOutWhenTheLineWasLostIsSentAgain) {
    bool lose = true;
    const auto honest = rig.line.script;
    rig.line.script = [&](ScriptedLine& line, const QByteArray& request) {
        if (lose && !isQuery(request)) {
            lose = false;
            line.close();
        } else {
            honest(line, request);
        }
    };
    QVector<Transaction> ends;
    rig.write("F:3.0.25=500", [&](const Transaction& transaction) { ends += transaction; });
    EXPECT_TRUE(rig.runUntil([&] { return !rig.runner.lineOpen(); }));
    EXPECT_EQ(engine.pendingOperations(), 1);
    rig.runFor(2000000);
    EXPECT_EQ(engine.pendingOperations(), 0);
    ASSERT_EQ(ends.size(), 1);
    EXPECT_TRUE(ends.first().good());
    EXPECT_EQ(devices[1].registers[0xE325], 500);
}

TEST_F(PollEngineTest, AQueryIsAnswered) {
    QVector<QueryAnswer> answers;
    EngineEvents events;
    events.answer = [&](const QueryAnswer& answered) { answers += answered; };
    engine.setEvents(events);
    silent = {2};
    engine.query(1);
    engine.query(2);
    EXPECT_EQ(engine.pendingOperations(), 2);
    EXPECT_TRUE(rig.runOperations());
    ASSERT_EQ(answers.size(), 1);
    EXPECT_EQ(answers.first().station, 1);
    EXPECT_EQ(answers.first().status, 0x55);
    EXPECT_EQ(answers.first().exceptionCode, 0);
    EXPECT_EQ(rig.line.requests.size(), 2);
}

TEST_F(PollEngineTest, ConcludingLeavesNothingUnproven) {
    devices[1].registers[0xF000] = 3;
    rig.watch("F:0.0.00");
    rig.runFor(10000000);
    devices[1].registers[0xF000] = 4;
    EXPECT_TRUE(rig.runUntil([&] { return engine.table().state(0).raw == 4; }));
    EXPECT_TRUE(rig.conclude());
    EXPECT_EQ(rig.told(0).raw, 4u);
    allGood();
}

}  // namespace

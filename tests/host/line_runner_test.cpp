#include "host/poll/line_runner.h"

#include <gtest/gtest.h>

#include "host/exchange/rtu_frame.h"
#include "rig.h"

using namespace dx7;

namespace {

class LineRunnerTest : public testing::Test {
protected:
    explicit LineRunnerTest(const LineSettings& settings = serialSettings()) : rig(settings) {
        rig.watch("F:3.0.25");
        device.registers[0xF325] = 500;
        answers();
        EngineEvents events;
        events.line = [this](bool open) { states += open; };
        rig.engine.setEvents(events);
    }

    void answers() {
        rig.line.script = [this](ScriptedLine& line, const QByteArray& request) {
            answer(line, rig.settings, device, request);
        };
    }
    void losesTheLine() {
        rig.line.script = [](ScriptedLine& line, const QByteArray&) { line.close(); };
    }
    bool runUntilLost() {
        return rig.runUntil([this] { return !rig.runner.lineOpen(); });
    }
    bool runUntilAttempt(int number) {
        return rig.runUntil([=] { return rig.line.openAttempts >= number; });
    }

    Rig rig;
    ScriptedDevice device;
    QVector<bool> states;
};

TEST_F(LineRunnerTest, ALostLineIsReopenedWithBackOff) {
    losesTheLine();
    rig.line.refuseOpen = true;
    ASSERT_TRUE(runUntilLost());
    const qint64 lostUs = rig.clock.nowUs();
    QVector<qint64> attempts;
    while (attempts.size() < 7) {
        ASSERT_TRUE(runUntilAttempt(attempts.size() + 1));
        attempts += rig.clock.nowUs() - lostUs;
    }
    // A turn takes 50 ms at most, and the attempt is made in the one after that.
    const QVector<qint64> due{250000, 750000, 1750000, 3750000, 7750000, 12750000, 17750000};
    for (int i = 0; i < due.size(); ++i) {
        EXPECT_GE(attempts[i], due[i]);
        EXPECT_LE(attempts[i], due[i] + 50000);
    }
    rig.line.refuseOpen = false;
    answers();
    EXPECT_TRUE(rig.runUntil([this] { return rig.told(0).quality == Quality::Good; }, 7000000));
    EXPECT_EQ(rig.told(0).raw, 500u);
    EXPECT_EQ(states, (QVector<bool>{false, true}));
}

// As a server whose only place is taken: it lets everyone in and out again.
TEST_F(LineRunnerTest, ALineThatIsLostAgainBeforeAGoodReplyIsLeftAloneLongerEachTime) {
    losesTheLine();
    ASSERT_TRUE(runUntilLost());
    for (const qint64 pauseUs : {250000, 500000, 1000000, 2000000, 4000000, 5000000, 5000000}) {
        const int attempts = rig.line.openAttempts;
        const qint64 lostUs = rig.clock.nowUs();
        ASSERT_TRUE(runUntilAttempt(attempts + 1));
        EXPECT_GE(rig.clock.nowUs() - lostUs, pauseUs);
        EXPECT_LE(rig.clock.nowUs() - lostUs, pauseUs + 50000);
        ASSERT_TRUE(runUntilLost());
    }
    answers();
    ASSERT_TRUE(rig.runUntil([this] { return rig.engine.statistics().all().good > 0; }));
    losesTheLine();
    ASSERT_TRUE(runUntilLost());
    const int attempts = rig.line.openAttempts;
    const qint64 lostUs = rig.clock.nowUs();
    ASSERT_TRUE(runUntilAttempt(attempts + 1));
    EXPECT_LE(rig.clock.nowUs() - lostUs, 300000) << "a good reply makes it a good line";
}

// The pause counts from the end of an attempt that takes 3 s, and no turn waits for that end.
TEST_F(LineRunnerTest, AnAttemptThatTakesItsTimeHoldsNothingUp) {
    rig.line.openTakesUs = 3000000;
    rig.line.refuseOpen = true;
    rig.line.close();
    ASSERT_TRUE(runUntilLost());
    const qint64 lostUs = rig.clock.nowUs();
    QVector<qint64> attempts;
    while (attempts.size() < 3) {
        const int before = rig.line.openAttempts;
        const qint64 turnUs = rig.clock.nowUs();
        rig.runner.turn(turnUs + 10000);
        EXPECT_LE(rig.clock.nowUs(), turnUs + 10000);
        if (rig.line.openAttempts > before) {
            attempts += rig.clock.nowUs() - lostUs;
        }
        ASSERT_LT(rig.clock.nowUs() - lostUs, 30000000);
    }
    const QVector<qint64> due{250000, 3750000, 7750000};
    for (int i = 0; i < due.size(); ++i) {
        EXPECT_GE(attempts[i], due[i]);
        EXPECT_LE(attempts[i], due[i] + 100000);
    }
    rig.line.refuseOpen = false;
    EXPECT_TRUE(rig.runUntil([this] { return rig.told(0).quality == Quality::Good; }, 15000000));
    EXPECT_EQ(states, (QVector<bool>{false, true}));
}

// What keeps a line busy: bytes every 10 ms for two minutes.
class BusyLine : public LineRunnerTest, public testing::WithParamInterface<const char*> {
protected:
    static LineSettings patient() {
        LineSettings settings = serialSettings();
        settings.timeoutMs = 60000;
        settings.gapMs = 100;
        return settings;
    }
    BusyLine() : LineRunnerTest(patient()) {
        rig.line.script = [](ScriptedLine&, const QByteArray&) {};
        for (int i = 0; i < 12000; ++i) {
            rig.line.arrive(hex(GetParam()), i * 10000);
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Bytes, BusyLine, testing::Values("55", "02 03 02 00 63 BC 6D"));

TEST_P(BusyLine, ATurnEndsInItsTimeAllTheSame) {
    for (int i = 0; i < 500; ++i) {
        const qint64 untilUs = rig.clock.nowUs() + 50000;
        rig.runner.turn(untilUs);
        ASSERT_LE(rig.clock.nowUs(), untilUs);
    }
    EXPECT_LE(rig.line.requests.size(), 3);
}

TEST_F(LineRunnerTest, AWakeEndsTheWait) {
    rig.runFor(2000000);
    rig.poller.wake();
    const qint64 beforeUs = rig.clock.nowUs();
    rig.runner.turn(beforeUs + 50000);
    EXPECT_EQ(rig.clock.nowUs(), beforeUs);
}

// What lay in the port before the first request may pass for its reply.
TEST_F(LineRunnerTest, WhatWasThereBeforeIsNeverToldAsGood) {
    EngineEvents events;
    events.value = [this](int point) {
        EXPECT_TRUE(rig.told(point).quality != Quality::Good || rig.told(point).raw == 500u);
    };
    rig.engine.setEvents(events);
    rig.line.arrive(framed(hex("01 03 02 00 07")), 0);
    EXPECT_TRUE(rig.runUntil([this] { return rig.told(0).quality == Quality::Good; }, 5000000));
}

}  // namespace

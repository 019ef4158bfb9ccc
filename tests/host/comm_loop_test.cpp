#include "comm_loop.h"

#include <gtest/gtest.h>

#include "driver_session.h"
#include "loaded_driver.h"
#include "scripted_line.h"

using namespace dx7;

namespace {

LineSettings serialSettings() {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.timeoutMs = 300;
    return settings;
}

// A loop over the real driver that polls F 3.0.25 of station 1; its reply is 7 bytes.
class CommLoopTest : public testing::Test {
protected:
    CommLoopTest()
        : session(driverFunctions(), propertyText(settings, 1)),
          line(clock),
          loop(driverFunctions(), line, clock, settings) {
        loop.setObserver([this](const Transaction& transaction) { seen += transaction; });
        session.merge({ItemRange{1, QStringLiteral("F"), 193, 1}});
    }

    int value() { return session.value(1, QStringLiteral("F"), 193, 2); }

    LineSettings settings = serialSettings();
    VirtualClock clock;
    DriverSession session;
    ScriptedLine line;
    CommLoop loop;
    QVector<Transaction> seen;
    const QByteArray good = framed(hex("01 03 02 01 F4"));
};

TEST_F(CommLoopTest, AReplyEndsWithItsLastByteNotWithTheTimeout) {
    line.script = [&](ScriptedLine& l, const QByteArray&) {
        l.arrive(good.left(3), 20000);
        l.arrive(good.mid(3), 25000);
    };
    EXPECT_EQ(loop.step(), CommLoop::Step::Request);
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen.first().outcome, Outcome::Good);
    EXPECT_EQ(seen.first().endUs - seen.first().sentUs, 25000);
    EXPECT_EQ(value(), 500);
    EXPECT_EQ(line.requests.first(), hex("01 03 F3 25 00 01 A6 85"));
}

TEST_F(CommLoopTest, WaitsOnlyForTheRestOfTheSilentInterval) {
    line.script = [&](ScriptedLine& l, const QByteArray&) { l.arrive(good, 10000); };
    loop.step();
    const qint64 lastByteUs = clock.nowUs();
    clock.sleepUntilUs(lastByteUs + 1000);
    loop.step();
    EXPECT_EQ(line.requestTimes.last(), lastByteUs + silentIntervalUs(settings));
    clock.sleepUntilUs(clock.nowUs() + 50000);
    const qint64 nowUs = clock.nowUs();
    loop.step();
    EXPECT_EQ(line.requestTimes.last(), nowUs) << "the line was silent for long enough";
}

TEST_F(CommLoopTest, ThrowsStaleBytesAwayBeforeARequest) {
    line.arrive(good, 0);
    line.script = [&](ScriptedLine& l, const QByteArray&) { l.arrive(framed(hex("01 03 02 00 07")), 5000); };
    loop.step();
    EXPECT_EQ(loop.staleBytes(), good.size());
    EXPECT_EQ(value(), 7);
}

TEST_F(CommLoopTest, ALineThatNeverFallsSilentIsUsedAllTheSame) {
    for (int i = 0; i < 2000; ++i) {
        line.arrive(hex("55"), i * 1000);
    }
    EXPECT_EQ(loop.step(), CommLoop::Step::Request);
    EXPECT_EQ(line.requests.size(), 1);
}

TEST_F(CommLoopTest, SilenceIsATimeoutAndTheDriverRepeats) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        loop.step();
    }
    ASSERT_EQ(seen.size(), 3);
    EXPECT_EQ(seen[0].outcome, Outcome::Timeout);
    EXPECT_FALSE(seen[0].repeated);
    EXPECT_TRUE(seen[1].repeated);
    EXPECT_EQ(seen[0].driverResult, SEND_AGAIN);
    EXPECT_EQ(seen[2].driverResult, OPERATION_FAILED);
    // The timeout counts from the end of the request, for as long as the reply takes on the line.
    EXPECT_EQ(seen[0].endUs - seen[0].sentUs, lineTimeUs(settings, 8) + 300000 + lineTimeUs(settings, 7));
}

TEST_F(CommLoopTest, AForeignReplyIsDiscardedAndWaitingGoesOn) {
    line.script = [&](ScriptedLine& l, const QByteArray&) {
        l.arrive(framed(hex("02 03 02 00 63")), 10000);
        l.arrive(good, 100000);
    };
    loop.step();
    EXPECT_EQ(seen.first().outcome, Outcome::Good);
    EXPECT_EQ(seen.first().foreignFrames, 1);
    EXPECT_EQ(value(), 500);
}

TEST_F(CommLoopTest, ARefusalEndsTheWaitAndReachesTheDriverAsNothing) {
    line.script = [&](ScriptedLine& l, const QByteArray&) { l.arrive(framed(hex("01 83 02")), 8000); };
    loop.step();
    EXPECT_EQ(seen.first().outcome, Outcome::Exception);
    EXPECT_EQ(seen.first().exceptionCode, 2);
    EXPECT_EQ(seen.first().endUs - seen.first().sentUs, 8000);
    EXPECT_EQ(seen.first().driverResult, SEND_AGAIN);
    EXPECT_EQ(seen.first().info, QStringLiteral("1#F193(1)(0)"));
    EXPECT_EQ(outcomeText(seen.first()), QStringLiteral("exception 2 (illegal data address)"));
}

TEST_F(CommLoopTest, ARefusalOfAStatusQueryIsNotStoredAsStatus) {
    session.merge({ItemRange{1, QStringLiteral("FAS"), 0, 1}});
    line.script = [&](ScriptedLine& l, const QByteArray&) { l.arrive(framed(hex("01 87 04")), 8000); };
    loop.step();
    EXPECT_EQ(session.value(1, QStringLiteral("FAS"), 0, 1), 0);
    EXPECT_EQ(seen.first().exceptionCode, 4);
}

TEST_F(CommLoopTest, AnAcknowledgementOfAnotherWriteDoesNotCount) {
    session.merge({});
    session.addWrite(ItemRange{1, QStringLiteral("F"), 193, 1}, hex("F4 01"));
    line.script = [&](ScriptedLine& l, const QByteArray& request) {
        l.arrive(framed(hex("01 06 E3 26 01 F4")), 5000);
        l.arrive(request, 50000);
    };
    loop.step();
    EXPECT_EQ(seen.first().outcome, Outcome::Good);
    EXPECT_EQ(seen.first().foreignFrames, 1);
    EXPECT_EQ(seen.first().endUs - seen.first().sentUs, 50000);
}

// Two blocks of one word each, so that a reply to one passes for one to the other.
class LateReplyTest : public CommLoopTest {
protected:
    LateReplyTest() {
        session.merge({ItemRange{1, QStringLiteral("F"), 193, 1}, ItemRange{1, QStringLiteral("F"), 249, 1}});
    }
    int second() { return session.value(1, QStringLiteral("F"), 249, 2); }

    const QByteArray other = framed(hex("01 03 02 00 07"));
};

TEST_F(LateReplyTest, IsNeverShownAsAnotherItemsValue) {
    // The driver asks for the first block until it gives up, then for the second.
    line.script = [&](ScriptedLine& l, const QByteArray&) {
        if (line.requests.size() == 4) {
            for (int attempt = 1; attempt <= 3; ++attempt) {
                l.arrive(good, attempt * 5000);
            }
            l.arrive(other, 30000);
        }
    };
    for (int i = 0; i < 4; ++i) {
        loop.step();
    }
    ASSERT_EQ(seen.size(), 4);
    EXPECT_EQ(line.requests.last(), framed(hex("01 03 F4 25 00 01")));
    EXPECT_EQ(seen.last().outcome, Outcome::Good);
    EXPECT_EQ(seen.last().endUs - seen.last().sentUs, 30000);
    EXPECT_EQ(seen.last().lateStations, (QVector<int>{1, 1, 1}));
    EXPECT_EQ(seen.last().foreignFrames, 0);
    EXPECT_EQ(second(), 7);
    EXPECT_EQ(value(), 0) << "given up is given up";
}

TEST_F(LateReplyTest, AloneIsATimeoutOfTheRequestThatItCouldBeMistakenFor) {
    line.script = [&](ScriptedLine& l, const QByteArray&) {
        if (line.requests.size() == 4) {
            l.arrive(good, 5000);
        }
    };
    for (int i = 0; i < 4; ++i) {
        loop.step();
    }
    EXPECT_EQ(seen.last().outcome, Outcome::Timeout);
    EXPECT_EQ(seen.last().driverResult, SEND_AGAIN);
    EXPECT_EQ(second(), 0);
}

TEST_F(LateReplyTest, ADroppedReplyHoldsALikeRequestBackForTheWindow) {
    settings.lateMs = 200;
    CommLoop patient(driverFunctions(), line, clock, settings);
    patient.setObserver([this](const Transaction& transaction) { seen += transaction; });
    line.script = [&](ScriptedLine& l, const QByteArray&) {
        if (line.requests.size() == 2) {
            l.arrive(good, 5000);
        } else if (line.requests.size() == 3) {
            l.arrive(other, 5000);
        }
    };
    for (int i = 0; i < 3; ++i) {
        patient.step();
    }
    ASSERT_EQ(seen.size(), 3);
    EXPECT_EQ(seen[1].outcome, Outcome::Good) << "the repetition";
    EXPECT_EQ(seen[2].outcome, Outcome::Good);
    EXPECT_EQ(value(), 500);
    EXPECT_EQ(second(), 7);
    // From the repetition: its own time on the line, its timeout and its reply's, and the window behind them.
    EXPECT_EQ(line.requestTimes[2] - line.requestTimes[1],
              lineTimeUs(settings, 8) + 300000 + lineTimeUs(settings, 7) + 200000);
}

TEST_F(LateReplyTest, WhoseSurplusComesInTheGapHoldsNothingBack) {
    line.script = [&](ScriptedLine& l, const QByteArray&) {
        if (line.requests.size() == 1) {
            l.arrive(good, 330000);
        } else if (line.requests.size() == 2) {
            l.arrive(good, 40000);
        } else {
            l.arrive(other, 5000);
        }
    };
    for (int i = 0; i < 3; ++i) {
        loop.step();
    }
    ASSERT_EQ(seen.size(), 3);
    EXPECT_EQ(seen[0].outcome, Outcome::Timeout);
    EXPECT_EQ(seen[1].outcome, Outcome::Good) << "with the reply to the first attempt";
    EXPECT_LT(seen[1].endUs - seen[1].sentUs, 40000);
    EXPECT_EQ(seen[2].lateStations, QVector<int>{1});
    EXPECT_EQ(line.requestTimes[2] - line.requestTimes[1], 40000 + silentIntervalUs(settings));
    EXPECT_EQ(second(), 7);
}

TEST_F(LateReplyTest, AStopEndsTheHoldingBack) {
    bool stop = false;
    loop.setStopRequest([&] { return stop; });
    line.script = [&](ScriptedLine& l, const QByteArray&) {
        if (line.requests.size() == 2) {
            l.arrive(good, 5000);
        }
    };
    loop.step();
    loop.step();
    stop = true;
    EXPECT_EQ(loop.step(), CommLoop::Step::Stopped);
    EXPECT_EQ(line.requests.size(), 2);
}

TEST_F(CommLoopTest, WhatCameWhileTheHostWasHeldUpStillCounts) {
    line.script = [&](ScriptedLine& l, const QByteArray&) {
        l.arrive(good, 50000);
        clock.sleepUntilUs(clock.nowUs() + 2000000);
    };
    loop.step();
    EXPECT_EQ(seen.first().outcome, Outcome::Good);
    EXPECT_EQ(value(), 500);
}

TEST_F(CommLoopTest, ABroadcastWaitsForTheTurnaroundAndNothingElse) {
    session.merge({});
    session.addWrite(ItemRange{0, QStringLiteral("RO"), 1, 1}, hex("01"));
    loop.step();
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen.first().driverResult, REPLY_GOOD);
    EXPECT_EQ(seen.first().endUs - seen.first().sentUs, lineTimeUs(settings, 8) + 100000);
}

TEST_F(CommLoopTest, WrongCrcAndWrongLengthAreToldApart) {
    QByteArray corrupt = good;
    corrupt[3] = 0x55;
    int attempt = 0;
    line.script = [&](ScriptedLine& l, const QByteArray&) {
        l.arrive(attempt++ == 0 ? corrupt : good.left(4), 5000);
    };
    loop.step();
    loop.step();
    EXPECT_EQ(seen[0].outcome, Outcome::WrongCrc);
    EXPECT_EQ(seen[1].outcome, Outcome::WrongLength);
}

TEST_F(CommLoopTest, NothingToSendIsIdle) {
    session.merge({});
    EXPECT_EQ(loop.step(), CommLoop::Step::Idle);
    EXPECT_TRUE(line.requests.isEmpty());
}

TEST_F(CommLoopTest, ALostLineIsReopenedWithBackOff) {
    QVector<bool> states;
    loop.setLineObserver([&](bool open) { states += open; });
    line.script = [](ScriptedLine& l, const QByteArray&) { l.close(); };
    line.refuseOpen = true;
    EXPECT_EQ(loop.step(), CommLoop::Step::NoLine);
    const qint64 lostUs = clock.nowUs();
    QVector<qint64> attempts;
    while (attempts.size() < 7) {
        clock.sleepUntilUs(loop.reopenUs());
        const int before = line.openAttempts;
        EXPECT_EQ(loop.step(), CommLoop::Step::NoLine);
        EXPECT_EQ(line.openAttempts, before + 1);
        attempts += clock.nowUs() - lostUs;
    }
    EXPECT_EQ(attempts, (QVector<qint64>{250000, 750000, 1750000, 3750000, 7750000, 12750000, 17750000}));
    EXPECT_EQ(loop.step(), CommLoop::Step::NoLine) << "no attempt before it is due";
    line.refuseOpen = false;
    line.script = [&](ScriptedLine& l, const QByteArray&) { l.arrive(good, 5000); };
    clock.sleepUntilUs(loop.reopenUs());
    EXPECT_EQ(loop.step(), CommLoop::Step::Request);
    EXPECT_EQ(value(), 500);
    EXPECT_EQ(states, (QVector<bool>{false, true}));
}

// As a server whose only place is taken: it lets everyone in and out again.
TEST_F(CommLoopTest, ALineThatIsLostAgainBeforeAGoodReplyIsLeftAloneLongerEachTime) {
    line.script = [](ScriptedLine& l, const QByteArray&) { l.close(); };
    EXPECT_EQ(loop.step(), CommLoop::Step::NoLine);
    QVector<qint64> pauses;
    while (pauses.size() < 6) {
        pauses += loop.reopenUs() - clock.nowUs();
        clock.sleepUntilUs(loop.reopenUs());
        EXPECT_EQ(loop.step(), CommLoop::Step::NoLine);
    }
    EXPECT_EQ(pauses, (QVector<qint64>{250000, 500000, 1000000, 2000000, 4000000, 5000000}));
    line.script = [&](ScriptedLine& l, const QByteArray&) { l.arrive(good, 5000); };
    clock.sleepUntilUs(loop.reopenUs());
    EXPECT_EQ(loop.step(), CommLoop::Step::Request);
    line.script = [](ScriptedLine& l, const QByteArray&) { l.close(); };
    EXPECT_EQ(loop.step(), CommLoop::Step::NoLine);
    EXPECT_EQ(loop.reopenUs() - clock.nowUs(), 250000) << "a good reply makes it a good line";
}

// An attempt of 3 s: every step in it returns without any time gone by, and the pause counts from its end.
TEST_F(CommLoopTest, AnAttemptThatTakesItsTimeHoldsNothingUp) {
    QVector<bool> states;
    loop.setLineObserver([&](bool open) { states += open; });
    line.openTakesUs = 3000000;
    line.refuseOpen = true;
    line.close();
    const auto stepWithoutWaiting = [&] {
        const qint64 beforeUs = clock.nowUs();
        EXPECT_EQ(loop.step(), CommLoop::Step::NoLine);
        EXPECT_EQ(clock.nowUs(), beforeUs);
    };
    stepWithoutWaiting();
    const qint64 lostUs = clock.nowUs();
    QVector<qint64> attempts;
    while (attempts.size() < 3) {
        clock.sleepUntilUs(loop.reopenUs());
        attempts += clock.nowUs() - lostUs;
        for (int i = 0; i < 30; ++i) {
            stepWithoutWaiting();
            clock.sleepUntilUs(clock.nowUs() + 100000);
        }
        EXPECT_EQ(line.openAttempts, attempts.size());
        stepWithoutWaiting();
    }
    EXPECT_EQ(attempts, (QVector<qint64>{250000, 3750000, 7750000}));
    line.refuseOpen = false;
    clock.sleepUntilUs(loop.reopenUs());
    stepWithoutWaiting();
    clock.sleepUntilUs(clock.nowUs() + line.openTakesUs);
    line.script = [&](ScriptedLine& l, const QByteArray&) { l.arrive(good, 5000); };
    EXPECT_EQ(loop.step(), CommLoop::Step::Request);
    EXPECT_EQ(value(), 500);
    EXPECT_EQ(states, (QVector<bool>{false, true}));
}

TEST_F(CommLoopTest, AStopRequestEndsTheWait) {
    bool stop = false;
    loop.setStopRequest([&] { return stop; });
    line.script = [&](ScriptedLine&, const QByteArray&) { stop = true; };
    const qint64 startUs = clock.nowUs();
    EXPECT_EQ(loop.step(), CommLoop::Step::Stopped);
    EXPECT_LE(clock.nowUs() - startUs, 100000);
    EXPECT_TRUE(seen.isEmpty());
}

}  // namespace

#include "host/exchange/comm_loop.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "host/exchange/rtu_frame.h"
#include "rig.h"

using namespace dx7;

namespace {

// A loop over the real driver that polls F 3.0.25 of station 1; its reply is 7 bytes.
class CommLoopTest : public testing::Test {
protected:
    CommLoopTest() {
        rig.session.merge({ItemRange{1, QStringLiteral("F"), 193, 1}});
        rig.line.script = [this](ScriptedLine& line, const QByteArray& request) {
            if (!isQuery(request)) {
                answerData(line);
            } else if (answersQueries) {
                line.arrive(device.answer(request), 5000);
            }
        };
    }

    // The driver's raw value of one item of station 1.
    int valueOf(const char* type, int address, int itemBytes) {
        std::vector<quint16> items;
        rig.session.values({1, QString::fromLatin1(type), address, 1}, itemBytes, &items);
        return items.front();
    }
    int value() { return valueOf("F", 193, 2); }
    int notesOf(ExchangeNote::Kind kind) const {
        return static_cast<int>(
            std::count_if(rig.notes.begin(), rig.notes.end(),
                          [kind](const ExchangeNote& note) { return note.kind == kind; }));
    }

    LoopRig rig;
    ScriptedDevice device;
    bool answersQueries = true;
    std::function<void(ScriptedLine&)> answerData = [](ScriptedLine&) {};
    const QByteArray good = framed(hex("01 03 02 01 F4"));
};

TEST_F(CommLoopTest, AReplyEndsWithItsLastByteNotWithTheTimeout) {
    answerData = [&](ScriptedLine& line) {
        line.arrive(good.left(3), 20000);
        line.arrive(good.mid(3), 25000);
    };
    EXPECT_TRUE(rig.step());
    ASSERT_EQ(rig.seen.size(), 1);
    EXPECT_EQ(rig.seen.first().outcome, Outcome::Good);
    EXPECT_EQ(rig.seen.first().endUs - rig.seen.first().sentUs, 25000);
    EXPECT_EQ(value(), 500);
    EXPECT_EQ(rig.line.requests, QVector<QByteArray>{hex("01 03 F3 25 00 01 A6 85")});
}

TEST_F(CommLoopTest, WaitsOnlyForTheRestOfTheSilentInterval) {
    answerData = [&](ScriptedLine& line) { line.arrive(good, 10000); };
    rig.step();
    const qint64 lastByteUs = rig.clock.nowUs();
    rig.clock.sleepUntilUs(lastByteUs + 1000);
    rig.step();
    EXPECT_EQ(rig.line.requestTimes.last(), lastByteUs + silentIntervalUs(rig.settings));
    rig.clock.sleepUntilUs(rig.clock.nowUs() + 50000);
    const qint64 nowUs = rig.clock.nowUs();
    rig.step();
    EXPECT_EQ(rig.line.requestTimes.last(), nowUs) << "the line was silent for long enough";
}

TEST_F(CommLoopTest, WhatComesBeforeARequestIsNotItsReply) {
    answerData = [&](ScriptedLine& line) { line.arrive(framed(hex("01 03 02 00 07")), 5000); };
    rig.line.arrive(good, 0);
    rig.runFor(1000);
    rig.step();
    EXPECT_EQ(notesOf(ExchangeNote::Foreign), 1);
    EXPECT_EQ(value(), 7);
}

TEST_F(CommLoopTest, ALineThatNeverFallsSilentIsUsedAllTheSame) {
    answerData = [&](ScriptedLine& line) { line.arrive(good, 10000); };
    rig.step();
    const qint64 startUs = rig.clock.nowUs();
    for (int i = 0; i < 3000; ++i) {
        rig.line.arrive(hex("55"), i * 1000);
    }
    rig.step();
    ASSERT_GE(rig.line.requests.size(), 2);
    EXPECT_GT(rig.line.requestTimes[1], startUs + 100000);
    EXPECT_LE(rig.line.requestTimes[1], startUs + 1000000);
}

// A query shows that no reply will come, so that the request may be repeated.
TEST_F(CommLoopTest, SilenceIsATimeoutAndTheDriverRepeats) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        EXPECT_TRUE(rig.step());
    }
    ASSERT_EQ(rig.seen.size(), 3);
    EXPECT_EQ(rig.seen[0].outcome, Outcome::Timeout);
    EXPECT_FALSE(rig.seen[0].repeated);
    EXPECT_TRUE(rig.seen[1].repeated);
    EXPECT_EQ(rig.seen[0].driverResult, DX7_REPLY_SEND_AGAIN);
    EXPECT_EQ(rig.seen[2].driverResult, DX7_REPLY_GIVEN_UP);
    EXPECT_EQ(withoutQueries(rig.line.requests).size(), 3);
    ASSERT_EQ(rig.line.requests.size(), 6) << "a query after each";
    EXPECT_TRUE(isQuery(rig.line.requests[1]));
    // The timeout counts from the end of the request, for as long as the reply takes on the line.
    EXPECT_EQ(rig.line.requestTimes[1] - rig.line.requestTimes[0],
              lineTimeUs(rig.settings, 8) + 300000 + lineTimeUs(rig.settings, 7));
}

// A request must not be repeated while its reply may still come.
TEST_F(CommLoopTest, AStationThatIsSilentAltogetherIsAskedOnce) {
    answersQueries = false;
    for (int attempt = 0; attempt < 3; ++attempt) {
        rig.step();
    }
    ASSERT_EQ(rig.seen.size(), 3);
    EXPECT_EQ(rig.seen[0].outcome, Outcome::Timeout);
    EXPECT_EQ(rig.seen[1].outcome, Outcome::Skipped);
    EXPECT_EQ(rig.seen[2].outcome, Outcome::Skipped);
    EXPECT_EQ(rig.seen[2].driverResult, DX7_REPLY_GIVEN_UP);
    EXPECT_EQ(withoutQueries(rig.line.requests).size(), 1);
    EXPECT_EQ(rig.line.requests.size(), 2);
    // Retries x timeout bound the operation.
    EXPECT_LE(rig.seen[2].endUs - rig.seen[0].sentUs, 900000 + lineTimeUs(rig.settings, 30));
}

TEST_F(CommLoopTest, AForeignReplyIsDiscardedAndWaitingGoesOn) {
    answerData = [&](ScriptedLine& line) {
        line.arrive(framed(hex("02 03 02 00 63")), 10000);
        line.arrive(good, 100000);
    };
    rig.step();
    EXPECT_EQ(rig.seen.first().outcome, Outcome::Good);
    EXPECT_EQ(rig.seen.first().otherFrames, 1);
    EXPECT_EQ(value(), 500);
}

TEST_F(CommLoopTest, ARefusalEndsTheWaitAndReachesTheDriverAsNothing) {
    answerData = [&](ScriptedLine& line) { line.arrive(framed(hex("01 83 02")), 8000); };
    rig.step();
    const Transaction& refused = rig.seen.first();
    EXPECT_EQ(refused.outcome, Outcome::Exception);
    EXPECT_EQ(refused.exceptionCode, 2);
    EXPECT_EQ(refused.endUs - refused.sentUs, 8000);
    EXPECT_EQ(refused.driverResult, DX7_REPLY_GIVEN_UP) << "a refusal is not asked for again at once";
    EXPECT_EQ(withoutQueries(rig.line.requests).size(), 1);
    EXPECT_EQ(outcomeText(refused), QStringLiteral("exception 2 (illegal data address)"));
    EXPECT_TRUE(refused.reply.isEmpty());
    EXPECT_TRUE(refused.ticket) << "it is to be proven like any reply";
}

TEST_F(CommLoopTest, ARefusalOfAStatusQueryIsNotStoredAsStatus) {
    rig.session.merge({ItemRange{1, QStringLiteral("FAS"), 0, 1}});
    rig.line.script = [&](ScriptedLine& line, const QByteArray&) {
        line.arrive(framed(hex("01 87 04")), 8000);
    };
    rig.step();
    EXPECT_EQ(valueOf("FAS", 0, 1), 0);
    EXPECT_EQ(rig.seen.first().exceptionCode, 4);
}

TEST_F(CommLoopTest, AnAcknowledgementOfAnotherWriteDoesNotCount) {
    rig.session.merge({});
    rig.session.addWrite(ItemRange{1, QStringLiteral("F"), 193, 1}, hex("F4 01"));
    answerData = [&](ScriptedLine& line) {
        line.arrive(framed(hex("01 06 E3 26 01 F4")), 5000);
        line.arrive(line.requests.last(), 50000);
    };
    rig.step();
    EXPECT_EQ(rig.seen.first().outcome, Outcome::Good);
    EXPECT_EQ(rig.seen.first().otherFrames, 1);
    EXPECT_EQ(rig.seen.first().sentUs, rig.line.requestTimes.last());
    EXPECT_EQ(rig.seen.first().endUs - rig.seen.first().sentUs, 50000);
}

// The reply that comes while a query is out is taken: nothing is asked twice.
TEST_F(CommLoopTest, ALateReplyIsTheReply) {
    answersQueries = false;
    answerData = [&](ScriptedLine& line) { line.arrive(good, 400000); };
    EXPECT_TRUE(rig.step());
    ASSERT_EQ(rig.seen.size(), 1);
    EXPECT_EQ(rig.seen.first().outcome, Outcome::Good);
    EXPECT_EQ(notesOf(ExchangeNote::Late), 1);
    EXPECT_EQ(withoutQueries(rig.line.requests).size(), 1);
    EXPECT_EQ(value(), 500);
}

// Neither its own request, whose end was told, nor the next.
TEST_F(CommLoopTest, AReplyThatComesAfterTheEndAnswersNothing) {
    rig.session.merge({ItemRange{1, QStringLiteral("F"), 193, 1}, ItemRange{1, QStringLiteral("F"), 249, 1}});
    answersQueries = false;
    answerData = [&](ScriptedLine& line) { line.arrive(good, 2000000); };
    for (int i = 0; i < 3; ++i) {
        rig.step();
    }
    ASSERT_EQ(rig.seen.last().driverResult, DX7_REPLY_GIVEN_UP);
    rig.runFor(5000000);
    EXPECT_EQ(notesOf(ExchangeNote::Late), 1);
    answersQueries = true;
    answerData = [&](ScriptedLine& line) { line.arrive(framed(hex("01 03 02 00 07")), 5000); };
    rig.step();
    EXPECT_EQ(rig.line.requests.last(), framed(hex("01 03 F4 25 00 01")));
    EXPECT_EQ(valueOf("F", 249, 2), 7);
    EXPECT_EQ(value(), 0) << "given up is given up";
}

TEST_F(CommLoopTest, WhatCameWhileTheHostWasHeldUpStillCounts) {
    answerData = [&](ScriptedLine& line) {
        line.arrive(good, 50000);
        rig.clock.sleepUntilUs(rig.clock.nowUs() + 2000000);
    };
    rig.step();
    EXPECT_EQ(rig.seen.first().outcome, Outcome::Good);
    EXPECT_EQ(value(), 500);
}

TEST_F(CommLoopTest, ABroadcastWaitsForTheTurnaroundAndNothingElse) {
    rig.session.merge({});
    rig.session.addWrite(ItemRange{0, QStringLiteral("RO"), 1, 1}, hex("01"));
    rig.step();
    ASSERT_EQ(rig.seen.size(), 1);
    EXPECT_EQ(rig.seen.first().driverResult, DX7_REPLY_GOOD);
    EXPECT_EQ(rig.seen.first().endUs - rig.seen.first().sentUs, lineTimeUs(rig.settings, 8) + 100000);
    EXPECT_EQ(rig.line.requests.size(), 1);
}

TEST_F(CommLoopTest, WrongCrcAndWrongLengthAreToldApart) {
    QByteArray corrupt = good;
    corrupt[3] = 0x55;
    int attempt = 0;
    answerData = [&](ScriptedLine& line) { line.arrive(attempt++ == 0 ? corrupt : good.left(4), 5000); };
    rig.step();
    rig.step();
    EXPECT_EQ(rig.seen[0].outcome, Outcome::WrongCrc);
    EXPECT_EQ(rig.seen[0].reply, corrupt);
    EXPECT_EQ(rig.seen[1].outcome, Outcome::WrongLength);
    EXPECT_EQ(rig.seen[1].reply, good.left(4));
}

TEST_F(CommLoopTest, NothingToSendIsIdle) {
    rig.session.merge({});
    EXPECT_FALSE(rig.step());
    EXPECT_TRUE(rig.line.requests.isEmpty());
    EXPECT_TRUE(rig.loop.betweenOperations());
}

TEST_F(CommLoopTest, AnEchoIsTakenOut) {
    answerData = [&](ScriptedLine& line) {
        line.arrive(line.requests.last(), 9000);
        line.arrive(good, 20000);
    };
    rig.step();
    EXPECT_EQ(rig.seen.first().outcome, Outcome::Good);
    EXPECT_EQ(rig.seen.first().otherFrames, 0);
    EXPECT_EQ(notesOf(ExchangeNote::Echo), 1);
    EXPECT_EQ(value(), 500);
}

// The acknowledgement of a write of one word is its echo byte for byte.
TEST_F(CommLoopTest, AWriteToASilentStationIsNotAcknowledgedByTheAdaptersEcho) {
    rig.session.merge({});
    rig.session.addWrite(ItemRange{1, QStringLiteral("F"), 193, 1}, hex("F4 01"));
    rig.line.script = [](ScriptedLine& line, const QByteArray& request) { line.arrive(request, 9000); };
    do {
        rig.step();
    } while (!rig.seen.last().finished());
    EXPECT_EQ(rig.seen.last().outcome, Outcome::EchoOnly);
    EXPECT_FALSE(rig.seen.last().unsettled);
    EXPECT_TRUE(withoutQueries(rig.line.requests).isEmpty());
}

}  // namespace

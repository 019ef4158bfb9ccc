// The promises of host/exchange/exchange.h, one by one.
#include "host/exchange/exchange.h"

#include <gtest/gtest.h>

#include "exchange_rig.h"

using dx7::byteAt;
using dx7::ExchangeEnd;
using dx7::ExchangeNote;
using truth::answerTo;
using truth::ExchangeRig;
using truth::frameOf;
using truth::readOf;
using truth::tcpSettings;
using truth::valueOf;

namespace {

// A station that has answered both kinds of query.
void introduce(ExchangeRig& rig, int station) {
    rig.exchanged(station, 1, 1);
    rig.proven();
    rig.exchanged(station, 1, 2);
    rig.proven();
}

int kindOf(const QByteArray& query) {
    return byteAt(query, 1);
}

TEST(Exchange, AReplyIsHeldUntilQueriesOfBothKindsAreAnswered) {
    ExchangeRig rig;
    const quint64 ticket = rig.exchanged(1, 10, 77);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Reply);
    EXPECT_TRUE(rig.held(ticket));
    for (const int kind : {7, 8}) {
        rig.prove();
        EXPECT_EQ(kindOf(rig.sent.last()), kind);
        EXPECT_TRUE(rig.held(ticket));
        rig.feed(answerTo(rig.sent.last()));
    }
    EXPECT_TRUE(rig.good(ticket));
}

// The four conversations in which an older answer to code 7 came in its place, too.

TEST(Exchange, WhatAnEarlierProgramLeftBehindProvesNothing) {
    for (const bool refuses8 : {false, true}) {
        ExchangeRig rig;
        rig.begin(readOf(1, 11));
        rig.feed(valueOf(1, 77));
        const quint64 ticket = rig.ends.last().ticket;
        rig.prove();
        rig.feed(frameOf("010711"));
        rig.prove();
        if (refuses8) {
            // It had sent a query of either kind.
            rig.feed(frameOf("018801"));
            EXPECT_TRUE(rig.held(ticket));
            rig.prove();
        }
        rig.feed(valueOf(1, 78));  // the reply
        rig.feed(answerTo(rig.sent.last()));
        EXPECT_TRUE(rig.doubtful(ticket));
    }
}

TEST(Exchange, CopiesThatComeWhileAReplyIsMissingProveNothing) {
    ExchangeRig rig;
    introduce(rig, 1);
    rig.exchanged(1, 10, 5);
    rig.answered();
    rig.exchanged(1, 11, 6);
    rig.answered();
    rig.exchanged(1, 10, 5);
    rig.begin(readOf(1, 11));
    rig.feed(valueOf(1, 5));  // copies from here on
    const quint64 ticket = rig.ends.last().ticket;
    for (int i = 0; i < 2; ++i) {
        rig.prove();
        rig.feed(frameOf("010711"));
    }
    rig.feed(valueOf(1, 6));  // the reply
    rig.feed(answerTo(rig.sent.last()));
    EXPECT_TRUE(rig.doubtful(ticket));
}

TEST(Exchange, TheRepliesOfAnotherMasterProveNothing) {
    ExchangeRig rig;
    introduce(rig, 1);
    rig.begin(readOf(1, 10));
    rig.feed(valueOf(1, 5));
    const quint64 ticket = rig.ends.last().ticket;
    for (const char* const answer : {"010711", "01080000FFFF"}) {
        rig.prove();
        rig.feed(frameOf(answer));
    }
    rig.feed(valueOf(1, 6));  // the host's own
    rig.feed(answerTo(rig.sent.last()));
    EXPECT_TRUE(rig.doubtful(ticket));
}

TEST(Exchange, AnOlderAcknowledgementProvesNoWrite) {
    ExchangeRig rig;
    introduce(rig, 1);
    const QByteArray write = frameOf("0110001000020400010002");
    const QByteArray acknowledgement = frameOf("011000100002");
    rig.begin(write, 8);
    rig.feed(acknowledgement);
    rig.proven();
    EXPECT_TRUE(rig.good(rig.ends.last().ticket));
    rig.exchanged(1, 10, 5);
    rig.answered();
    rig.begin(frameOf("0110001000020400030004"), 8);
    rig.feed(acknowledgement);  // its copy
    const quint64 ticket = rig.ends.last().ticket;
    for (int i = 0; i < 2; ++i) {
        rig.prove();
        rig.feed(frameOf("010711"));
    }
    rig.feed(frameOf("019004"));  // the refusal
    rig.feed(answerTo(rig.sent.last()));
    EXPECT_TRUE(rig.doubtful(ticket));
}

TEST(Exchange, AStationThatRefusesCode8AnswersThreeTimesBeforeItsFirstReplyIsGood) {
    ExchangeRig rig;
    const auto answer = [&rig] {
        rig.prove();
        const QByteArray query = rig.sent.last();
        rig.feed(kindOf(query) == 8 ? frameOf("018801") : answerTo(query));
    };
    const auto answersUntilGood = [&](int value) {
        const quint64 ticket = rig.exchanged(1, 10, value);
        int answers = 0;
        for (; rig.held(ticket) && answers < 9; ++answers) {
            answer();
        }
        EXPECT_TRUE(rig.good(ticket));
        return answers;
    };
    EXPECT_EQ(answersUntilGood(1), 3);
    EXPECT_EQ(answersUntilGood(2), 2);
    rig.exchanged(1, 10, 8);
    rig.feed(valueOf(1, 9));  // surplus
    answer();
    EXPECT_EQ(answersUntilGood(3), 3) << "besides the one that ended the disturbance";
}

TEST(Exchange, ARefusalOfAStationThatCountsProvesNothing) {
    ExchangeRig rig;
    introduce(rig, 1);
    const quint64 ticket = rig.exchanged(1, 10, 77);
    for (int i = 0; i < 4; ++i) {
        rig.prove();
        const QByteArray query = rig.sent.last();
        rig.feed(kindOf(query) == 8 ? frameOf("018806") : answerTo(query));
        EXPECT_TRUE(rig.held(ticket));
    }
    rig.proven();
    EXPECT_TRUE(rig.good(ticket));
}

TEST(Exchange, TheLateEchoOfAQueryIsNoAnswer) {
    ExchangeRig rig;
    rig.exchange.query(1, rig.nowUs);
    rig.pass(600);
    rig.exchange.query(2, rig.nowUs);
    rig.pass(1);
    ASSERT_EQ(rig.sent.size(), 2);
    rig.feed(rig.sent.at(0));
    rig.pass(100);
    EXPECT_EQ(rig.count(ExchangeNote::QueryAnswer), 0);
}

TEST(Exchange, AtTheEndAStationThatIgnoresCode8IsAskedByCode7Again) {
    ExchangeRig rig;
    const quint64 ticket = rig.exchanged(1, 10, 77);
    const qint64 beganUs = rig.nowUs;
    rig.exchange.setFinishing(true);
    QVector<int> kinds;
    for (int i = 0; i < 9 && rig.held(ticket); ++i) {
        const int sent = rig.sent.size();
        rig.exchange.prove(rig.nowUs);
        rig.pass(1);
        while (rig.sent.size() > sent && kindOf(rig.sent.last()) == 8) {
            rig.pass(510);
        }
        rig.feed(answerTo(rig.sent.last()));
    }
    EXPECT_TRUE(rig.good(ticket));
    EXPECT_LT(rig.nowUs - beganUs, 1200000) << "one time-out for each query that it ignored";
}

TEST(Exchange, AnythingInBetweenMakesDoubtfulWhatIsHeld) {
    for (const QByteArray& strange :
         {valueOf(1, 78), valueOf(9, 5), frameOf("0103F0000001"), QByteArray("noise!")}) {
        ExchangeRig rig;
        introduce(rig, 1);
        const quint64 ticket = rig.exchanged(1, 10, 77);
        rig.pass(2);
        rig.feed(strange);
        rig.pass(100);
        EXPECT_TRUE(rig.doubtful(ticket)) << strange.toHex().constData();
    }
}

TEST(Exchange, WhatComesAfterADisturbanceIsProvenByTheQueryAfterIt) {
    ExchangeRig rig;
    introduce(rig, 1);
    rig.feed(valueOf(1, 78));
    const quint64 disturbed = rig.exchanged(1, 10, 77);
    EXPECT_TRUE(rig.doubtful(disturbed));
    rig.answered();
    const quint64 ticket = rig.exchanged(1, 10, 77);
    rig.proven();
    EXPECT_TRUE(rig.good(ticket));
}

TEST(Exchange, AQueryProvesAllStationsThatNothingHasDisturbed) {
    ExchangeRig rig;
    introduce(rig, 1);
    introduce(rig, 2);
    const quint64 one = rig.exchanged(1, 10, 77);
    const quint64 two = rig.exchanged(2, 10, 78);
    rig.proven();
    EXPECT_TRUE(rig.good(one));
    EXPECT_TRUE(rig.good(two));
}

TEST(Exchange, AStationThatWasNeverProvenNeedsAQueryOfItsOwn) {
    ExchangeRig rig;
    introduce(rig, 1);
    const quint64 two = rig.exchanged(2, 10, 78);
    const quint64 one = rig.exchanged(1, 10, 77);
    for (int i = 0; i < 2; ++i) {
        rig.answered();
        EXPECT_EQ(byteAt(rig.sent.last(), 0), 2);
    }
    EXPECT_TRUE(rig.good(one));
    EXPECT_TRUE(rig.good(two));
}

TEST(Exchange, OnALineThatIsNeverSilentACopyIsWaitedForOnce) {
    ExchangeRig rig;
    introduce(rig, 1);
    rig.exchanged(1, 10, 77);
    rig.begin(readOf(1, 11));
    rig.pass(400);
    rig.feed(valueOf(1, 77));  // the copy
    rig.feed(valueOf(1, 78));
    rig.proven();
    rig.exchanged(1, 10, 79);
    const qint64 sinceUs = rig.nowUs;
    for (int i = 0; i < 40; ++i) {
        rig.feed(frameOf("090302") + QByteArray(1, char(i)));  // another master's
        rig.pass(50);
    }
    EXPECT_LE(rig.exchange.clearUs(), sinceUs + 1500000);
}

TEST(Exchange, ALateReplyIsTheReply) {
    ExchangeRig rig;
    rig.begin(readOf(1, 10));
    rig.pass(600);
    ASSERT_EQ(kindOf(rig.sent.last()), 7);
    EXPECT_TRUE(rig.ends.isEmpty());
    rig.feed(valueOf(1, 77));
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Reply);
    EXPECT_EQ(rig.exchange.reply(), valueOf(1, 77));
    EXPECT_EQ(rig.count(ExchangeNote::Late), 1);
    rig.feed(answerTo(rig.sent.last()));
    rig.proven();
    EXPECT_TRUE(rig.good(rig.ends.last().ticket));
}

TEST(Exchange, AQueryThatIsAnsweredWithoutTheReplyShowsThatNoneWillCome) {
    ExchangeRig rig;
    rig.begin(readOf(1, 10));
    rig.pass(510);
    rig.feed(answerTo(rig.sent.last()));
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Nothing);
    EXPECT_TRUE(rig.ends.last().sent);
}

TEST(Exchange, NeverMoreThanOneUnansweredRequest) {
    ExchangeRig rig;
    rig.exchange.setOthers(true);
    rig.begin(readOf(1, 10));
    rig.pass(1600);
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Owed);
    for (int i = 0; i < 20; ++i) {
        rig.begin(readOf(1, 10), 7, false);
        rig.pass(100);
    }
    EXPECT_EQ(rig.sent.count(readOf(1, 10)), 1);
    for (const QByteArray& frame : rig.sent) {
        EXPECT_TRUE(frame == readOf(1, 10) || kindOf(frame) == 7 || kindOf(frame) == 8);
    }
}

TEST(Exchange, AnotherStationIsServedMeanwhile) {
    ExchangeRig rig;
    rig.begin(readOf(1, 10));
    rig.pass(1600);
    rig.exchanged(2, 10, 5);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Reply);
}

TEST(Exchange, AnOwedQueryIsSentAgainAfterThreeSeconds) {
    ExchangeRig rig;
    introduce(rig, 1);
    rig.begin(readOf(1, 10));
    rig.pass(1600);
    const int sent = rig.sent.size();
    rig.pass(1500);
    EXPECT_FALSE(rig.exchange.proofDue(rig.nowUs));
    rig.pass(1000);
    EXPECT_TRUE(rig.exchange.proofDue(rig.nowUs));
    rig.prove();
    EXPECT_EQ(rig.sent.size(), sent + 1);
}

TEST(Exchange, AfterTenSecondsItIsForgotten) {
    ExchangeRig rig;
    rig.begin(readOf(1, 10));
    rig.pass(9900);
    rig.begin(readOf(1, 10), 7, false);
    rig.pass(1);
    EXPECT_EQ(rig.sent.count(readOf(1, 10)), 1);
    rig.pass(10000);
    rig.begin(readOf(1, 10), 7, false);
    rig.pass(1);
    EXPECT_EQ(rig.sent.count(readOf(1, 10)), 2);
}

TEST(Exchange, WhatWasForgottenAndComesAllTheSameIsSurplus) {
    ExchangeRig rig;
    rig.begin(readOf(1, 10));
    rig.pass(25000);
    rig.feed(valueOf(1, 77));
    EXPECT_EQ(rig.count(ExchangeNote::Surplus), 1);
}

TEST(Exchange, TheTwoKindsOfQueryTakeTurns) {
    ExchangeRig rig;
    QVector<int> kinds;
    for (int i = 0; i < 6; ++i) {
        rig.exchanged(1, 10, i);
        rig.answered();
        kinds += kindOf(rig.sent.last());
    }
    EXPECT_EQ(kinds, (QVector<int>{7, 8, 7, 8, 7, 8}));
}

TEST(Exchange, TheCounterOfTheQueriesNeverRepeats) {
    ExchangeRig rig;
    QVector<QByteArray> queries;
    for (int i = 0; i < 10; ++i) {
        rig.exchanged(1, 10, i);
        rig.proven();
        if (kindOf(rig.sent.last()) == 8) {
            EXPECT_FALSE(queries.contains(rig.sent.last()));
            queries += rig.sent.last();
        }
    }
    EXPECT_EQ(queries.size(), 10);
}

TEST(Exchange, ACopyOfAnAnswerIsNoneToTheNextQuery) {
    ExchangeRig rig;
    introduce(rig, 1);
    rig.exchanged(1, 10, 5);
    rig.proven();
    const QByteArray answer = answerTo(rig.sent.last());
    const quint64 ticket = rig.exchanged(1, 10, 6);
    rig.prove();
    rig.feed(answer);
    EXPECT_FALSE(rig.good(ticket));
}

// A reply whose proof is the last of a command, so many milliseconds after the first query. The time-out is
// 500 ms, with three attempts.
quint64 unansweredAtTheEnd(ExchangeRig& rig, int ms) {
    const quint64 ticket = rig.exchanged(1, 10, 77);
    rig.prove();
    rig.exchange.setFinishing(true);
    rig.pass(ms);
    return ticket;
}

TEST(Exchange, TheLastProofIsWaitedForAsLongAsAnOperation) {
    ExchangeRig rig;
    const quint64 ticket = unansweredAtTheEnd(rig, 1400);
    EXPECT_TRUE(rig.held(ticket));
    ASSERT_EQ(rig.sent.size(), 3) << "the request and two unlike queries";
    rig.feed(answerTo(rig.sent.last()));
    rig.exchange.prove(rig.nowUs);
    rig.pass(600);
    EXPECT_EQ(kindOf(rig.sent.last()), 7);
    rig.feed(answerTo(rig.sent.last()));
    EXPECT_TRUE(rig.good(ticket));
}

TEST(Exchange, TheLastProofIsNotWaitedForAnyLonger) {
    ExchangeRig rig;
    EXPECT_TRUE(rig.doubtful(unansweredAtTheEnd(rig, 1600)));
}

TEST(Exchange, AnExceptionAnswersAQuery) {
    ExchangeRig rig;
    const quint64 ticket = rig.exchanged(1, 10, 77);
    rig.prove();
    rig.feed(frameOf("018701"));
    rig.answered();
    EXPECT_TRUE(rig.good(ticket));
}

TEST(Exchange, AStationThatIgnoresCode8GetsCode7Alone) {
    ExchangeRig rig;
    for (int i = 0; i < 12; ++i) {
        rig.exchanged(1, 10, i);
        rig.prove();
        if (kindOf(rig.sent.last()) == 7) {
            rig.feed(answerTo(rig.sent.last()));
        }
        rig.pass(4000);
    }
    rig.sent.clear();
    for (int i = 0; i < 4; ++i) {
        const quint64 ticket = rig.exchanged(1, 10, i);
        rig.proven();
        EXPECT_EQ(kindOf(rig.sent.last()), 7);
        EXPECT_TRUE(rig.good(ticket));
    }
}

TEST(Exchange, EchoIsStrippedByContent) {
    ExchangeRig rig;
    rig.begin(readOf(1, 10));
    rig.feed(readOf(1, 10));
    EXPECT_TRUE(rig.ends.isEmpty());
    EXPECT_TRUE(rig.exchange.echoes());
    rig.feed(valueOf(1, 77));
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Reply);
    for (int i = 0; i < 2; ++i) {
        rig.prove();
        rig.feed(rig.sent.last());
        EXPECT_TRUE(rig.held(rig.ends.last().ticket)) << "the echo is no answer";
        rig.feed(answerTo(rig.sent.last()));
    }
    EXPECT_TRUE(rig.good(rig.ends.last().ticket));
}

TEST(Exchange, AWriteOfFunction5IsPrecededByAQueryThatTellsTheEcho) {
    ExchangeRig rig;
    const QByteArray write = frameOf("01050010FF00");
    rig.begin(write, 8);
    ASSERT_EQ(rig.sent.size(), 1);
    EXPECT_EQ(kindOf(rig.sent.at(0)), 7);
    rig.feed(answerTo(rig.sent.at(0)));
    rig.pass(1);
    ASSERT_EQ(rig.sent.size(), 2);
    EXPECT_EQ(rig.sent.at(1), write);
    rig.feed(write);
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Reply);
}

TEST(Exchange, WithAnEchoTheSecondFrameAcknowledgesAWrite) {
    ExchangeRig rig;
    const QByteArray write = frameOf("01050010FF00");
    rig.begin(write, 8);
    rig.feed(rig.sent.at(0));
    rig.feed(answerTo(rig.sent.at(0)));
    rig.pass(1);
    ASSERT_EQ(rig.sent.last(), write);
    rig.feed(write);
    EXPECT_TRUE(rig.ends.isEmpty());
    rig.feed(write);
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Reply);
}

// A station's status may be the byte that makes a reply of the echo and a byte that the line picks up.
TEST(Exchange, TheEchoOfCode7AndAStrayByteAreNoAnswer) {
    ExchangeRig rig;
    rig.begin(frameOf("03050010FF00"), 8);
    rig.feed(rig.sent.at(0) + QByteArray(1, '\0'));
    rig.pass(2000);
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Refused);
}

TEST(Exchange, OnceARequestWasAnsweredWithoutAnEchoSuchAStatusIsTheAnswer) {
    ExchangeRig rig;
    const quint64 ticket = rig.exchanged(3, 10, 77);
    rig.prove();
    rig.feed(rig.sent.last() + QByteArray(1, '\0'));
    EXPECT_FALSE(rig.exchange.echoes());
    rig.answered();
    EXPECT_TRUE(rig.good(ticket));
}

TEST(Exchange, AnAdapterThatStopsEchoingIsNoticed) {
    ExchangeRig rig;
    rig.begin(readOf(1, 10));
    rig.feed(readOf(1, 10) + valueOf(1, 77));
    for (int i = 0; i < 30; ++i) {
        EXPECT_TRUE(rig.exchange.echoes()) << "one echo may be damaged";
        EXPECT_TRUE(rig.exchanged(1, 10, i));
    }
    EXPECT_FALSE(rig.exchange.echoes());
    // From now on it is not known, so a query tells again.
    const QByteArray write = frameOf("01050010FF00");
    rig.begin(write, 8);
    EXPECT_EQ(kindOf(rig.sent.last()), 7);
    rig.feed(answerTo(rig.sent.last()));
    rig.pass(1);
    ASSERT_EQ(rig.sent.last(), write);
    rig.feed(write);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Reply);
}

TEST(Exchange, AfterAnEchoASlowStationIsWaitedFor) {
    ExchangeRig rig;
    const QByteArray write = frameOf("01050010FF00");
    rig.begin(write, 8);
    rig.feed(rig.sent.at(0));
    rig.pass(1400);
    EXPECT_TRUE(rig.ends.isEmpty());
    rig.feed(answerTo(rig.sent.at(0)));
    rig.pass(1);
    EXPECT_EQ(rig.sent.last(), write);
}

TEST(Exchange, OnlyAnEchoMeansTheWriteIsNotSent) {
    ExchangeRig rig;
    rig.begin(frameOf("01050010FF00"), 8);
    rig.feed(rig.sent.at(0));
    rig.pass(2000);
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Refused);
    EXPECT_FALSE(rig.ends.last().sent);
    EXPECT_EQ(rig.sent.size(), 1);
}

TEST(Exchange, ACopyRightAfterIsNoDisturbance) {
    ExchangeRig rig;
    introduce(rig, 1);
    const quint64 ticket = rig.exchanged(1, 10, 77);
    rig.feed(valueOf(1, 77));
    EXPECT_EQ(rig.count(ExchangeNote::Copy), 1);
    rig.proven();
    EXPECT_TRUE(rig.good(ticket));
}

TEST(Exchange, ALaterCopyIsADisturbance) {
    ExchangeRig rig;
    introduce(rig, 1);
    const quint64 first = rig.exchanged(1, 10, 77);
    rig.begin(readOf(1, 11));
    rig.feed(valueOf(1, 77));
    rig.feed(valueOf(1, 78));
    EXPECT_TRUE(rig.doubtful(first));
    EXPECT_TRUE(rig.doubtful(rig.ends.last().ticket));
}

TEST(Exchange, Station0OwesNothing) {
    ExchangeRig rig;
    rig.begin(frameOf("000600100001"), 0);
    rig.pass(99);
    EXPECT_TRUE(rig.ends.isEmpty());
    rig.pass(2);
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Broadcast);
    EXPECT_FALSE(rig.exchange.unproven());
    rig.begin(frameOf("000600100001"), 0);
    EXPECT_EQ(rig.sent.size(), 2);
}

TEST(Exchange, AReplyThatOvertakesAQueryWasThatToAnEarlierRequest) {
    ExchangeRig rig;
    introduce(rig, 1);
    const quint64 first = rig.exchanged(1, 10, 1);
    rig.prove();
    const QByteArray query = rig.sent.last();
    rig.pass(1600);
    rig.begin(readOf(1, 10));
    rig.pass(1);
    rig.feed(valueOf(1, 2));
    const quint64 second = rig.ends.last().ticket;
    rig.feed(answerTo(query));
    EXPECT_TRUE(rig.doubtful(first));
    EXPECT_TRUE(rig.doubtful(second));
}

TEST(Exchange, CodeSevenAsDataIsNotProvenByCodeSevenAlone) {
    ExchangeRig rig;
    const QByteArray status = frameOf("0107");
    rig.begin(status, 5);
    rig.feed(frameOf("010755"));
    const quint64 ticket = rig.ends.last().ticket;
    for (const int kind : {8, 7}) {
        EXPECT_TRUE(rig.held(ticket));
        rig.answered();
        EXPECT_EQ(kindOf(rig.sent.last()), kind);
    }
    EXPECT_TRUE(rig.good(ticket));
}

TEST(Exchange, ALostLineMakesDoubtfulWhatIsHeld) {
    ExchangeRig rig;
    introduce(rig, 1);
    const quint64 ticket = rig.exchanged(1, 10, 77);
    rig.exchange.reset();
    rig.pass(1);
    EXPECT_TRUE(rig.doubtful(ticket));
    EXPECT_TRUE(rig.exchange.idle());
}

TEST(Exchange, ADamagedReplyIsTheEndOnceAQueryIsAnswered) {
    ExchangeRig rig;
    rig.begin(readOf(1, 10));
    QByteArray damaged = valueOf(1, 77);
    damaged[4] = static_cast<char>(damaged.at(4) ^ 1);
    rig.feed(damaged);
    EXPECT_TRUE(rig.ends.isEmpty());
    rig.pass(60);
    rig.feed(answerTo(rig.sent.last()));
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Damaged);
    EXPECT_EQ(rig.exchange.reply(), damaged);
}

TEST(Exchange, AnAnnouncedQueryIsNotSentTwice) {
    ExchangeRig rig;
    introduce(rig, 1);
    const int sent = rig.sent.size();
    rig.exchange.query(1, rig.nowUs);
    rig.pass(1);
    rig.pass(700);
    rig.exchange.query(1, rig.nowUs);
    rig.pass(1);
    EXPECT_EQ(rig.sent.size(), sent + 1);
    EXPECT_TRUE(rig.exchange.askAgainUs(1) > 0);
}

}  // namespace

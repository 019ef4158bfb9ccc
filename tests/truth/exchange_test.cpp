// The promises of host/exchange/exchange.h, one by one: what is sent when, and how a request ends.
#include "host/exchange/exchange.h"

#include <gtest/gtest.h>

#include "exchange_rig.h"

using dx7::ExchangeEnd;
using dx7::ExchangeNote;
using truth::answerTo;
using truth::ExchangeRig;
using truth::frameOf;
using truth::introduce;
using truth::kindOf;
using truth::readOf;
using truth::valueOf;

namespace {

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
    EXPECT_TRUE(rig.good(rig.lastTicket()));
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

TEST(Exchange, AStationNeverHasMoreThanOneUnansweredRequest) {
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

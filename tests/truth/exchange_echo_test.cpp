// What the exchange makes of an adapter that sends back what is sent.
#include <gtest/gtest.h>

#include "exchange_rig.h"

using dx7::ExchangeEnd;
using dx7::ExchangeNote;
using truth::answerTo;
using truth::ExchangeRig;
using truth::frameOf;
using truth::kindOf;
using truth::readOf;
using truth::valueOf;

namespace {

TEST(Exchange, AnEchoIsTakenOutByItsContent) {
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
        EXPECT_TRUE(rig.held(rig.lastTicket())) << "the echo is not an answer";
        rig.feed(answerTo(rig.sent.last()));
    }
    EXPECT_TRUE(rig.good(rig.lastTicket()));
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

TEST(Exchange, AWriteIsNotSentWhereOnlyAnEchoComes) {
    ExchangeRig rig;
    rig.begin(frameOf("01050010FF00"), 8);
    rig.feed(rig.sent.at(0));
    rig.pass(2000);
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Refused);
    EXPECT_FALSE(rig.ends.last().sent);
    EXPECT_EQ(rig.sent.size(), 1);
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

}  // namespace

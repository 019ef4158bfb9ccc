// The exchange over Modbus/TCP: the transaction id says whose a reply is.
#include <gtest/gtest.h>

#include <random>

#include "exchange_rig.h"
#include "host/exchange/mbap.h"

using namespace dx7;
using namespace truth;

namespace {

LineSettings idSettings() {
    LineSettings settings;
    settings.carrier = Carrier::ModbusTcp;
    return settings;
}

class ExchangeIds : public testing::Test {
protected:
    // What was sent last, under another frame: the reply to it.
    QByteArray under(const QByteArray& request, const QByteArray& reply) const {
        return request.left(2) + mbapFrame(0, reply).mid(2);
    }

    ExchangeRig rig{idSettings()};
};

TEST_F(ExchangeIds, AReplyIsGoodAtOnceAndNothingElseIsSent) {
    rig.begin(readOf(1, 5));
    ASSERT_EQ(rig.sent.size(), 1);
    EXPECT_EQ(rig.sent[0], kit::hex("00 01 00 00 00 06 01 03 00 05 00 01"));
    rig.pass(3);
    rig.feed(under(rig.sent[0], valueOf(1, 7)));
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends[0].kind, ExchangeEnd::Reply);
    EXPECT_TRUE(rig.good(rig.lastTicket()));
    EXPECT_EQ(rig.exchange.reply(), valueOf(1, 7));
    rig.exchange.setFinishing(true);
    EXPECT_FALSE(rig.exchange.unproven());
    EXPECT_FALSE(rig.exchange.proofDue(rig.nowUs));
    rig.pass(20000);
    EXPECT_EQ(rig.sent.size(), 1);
    EXPECT_FALSE(rig.exchange.nextDueUs());
}

TEST_F(ExchangeIds, ARefusalIsGoodAtOnceToo) {
    rig.begin(readOf(1, 5));
    rig.feed(under(rig.sent[0], frameOf("01 83 02")));
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends[0].kind, ExchangeEnd::Exception);
    EXPECT_TRUE(rig.good(rig.lastTicket()));
}

TEST_F(ExchangeIds, NothingIsOwedAfterATimeOutAndTheLateReplyIsDropped) {
    rig.begin(readOf(1, 5));
    rig.pass(600);
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_EQ(rig.ends[0].kind, ExchangeEnd::Nothing);
    EXPECT_EQ(rig.sent.size(), 1) << "no query";
    rig.begin(readOf(1, 6));
    ASSERT_EQ(rig.sent.size(), 2);
    rig.pass(100);
    rig.feed(under(rig.sent[0], valueOf(1, 5)));
    EXPECT_EQ(rig.ends.size(), 1) << "it answers the first";
    EXPECT_EQ(rig.count(ExchangeNote::Late), 1);
    EXPECT_EQ(rig.notes.last().afterUs, 700000);
    rig.feed(under(rig.sent[1], valueOf(1, 6)));
    ASSERT_EQ(rig.ends.size(), 2);
    EXPECT_EQ(rig.exchange.reply(), valueOf(1, 6));
    EXPECT_TRUE(rig.good(rig.lastTicket()));
    EXPECT_FALSE(rig.exchange.disturbed());
}

// A station that is slower than the time-out is read all the same, as long as its operation has the time.
TEST_F(ExchangeIds, AStationThatAnsweredLateIsWaitedForLonger) {
    rig.begin(readOf(1, 5));
    rig.pass(600);
    rig.begin(readOf(1, 5), 7, false);
    rig.pass(100);
    rig.feed(under(rig.sent[0], valueOf(1, 5)));
    rig.pass(500);
    ASSERT_EQ(rig.ends.size(), 2);
    rig.begin(readOf(1, 5), 7, false);
    rig.pass(700);
    EXPECT_EQ(rig.ends.size(), 2) << "up to 1.05 s";
    rig.feed(under(rig.sent[2], valueOf(1, 5)));
    ASSERT_EQ(rig.ends.size(), 3);
    EXPECT_TRUE(rig.good(rig.lastTicket()));
}

TEST_F(ExchangeIds, ALateReplyBeforeTheNextRequestIsNoneOfIt) {
    rig.begin(readOf(1, 5));
    rig.pass(600);
    rig.feed(under(rig.sent[0], valueOf(1, 5)));
    EXPECT_EQ(rig.count(ExchangeNote::Late), 1);
    EXPECT_EQ(rig.ends.size(), 1);
}

TEST_F(ExchangeIds, FramesUnderOtherIdsMakeNothingDoubtful) {
    rig.begin(readOf(1, 5));
    const QByteArray reply = under(rig.sent[0], valueOf(1, 7));
    rig.feed(kit::hex("77 77 00 00 00 05 01 03 02 00 63"));
    EXPECT_TRUE(rig.ends.isEmpty());
    rig.feed(reply + reply + reply);
    ASSERT_EQ(rig.ends.size(), 1);
    EXPECT_TRUE(rig.good(rig.lastTicket()));
    EXPECT_EQ(rig.count(ExchangeNote::Surplus), 3);
    EXPECT_FALSE(rig.exchange.disturbed());
}

TEST_F(ExchangeIds, WhatDoesNotAnswerUnderItsIdEndsTheRequestAtOnce) {
    const char* const wrong[] = {"01 03 04 00 01 00 02", "02 03 02 00 07", "01 04 02 00 07", "01 03"};
    for (const char* reply : wrong) {
        const int before = rig.ends.size();
        rig.begin(readOf(1, 5));
        rig.feed(under(rig.sent.last(), frameOf(reply)));
        ASSERT_EQ(rig.ends.size(), before + 1) << reply;
        EXPECT_EQ(rig.ends.last().kind, ExchangeEnd::Nothing) << reply;
        EXPECT_FALSE(rig.ends.last().ticket) << reply;
    }
    rig.begin(readOf(1, 5));
    rig.feed(under(rig.sent.last(), frameOf(wrong[0])));
    EXPECT_EQ(rig.exchange.mismatch(), frameOf(wrong[0]));
}

TEST_F(ExchangeIds, WritesOfCodes5And6NeedNoQueriesBeforeThem) {
    const QByteArray write = frameOf("01 06 E3 25 01 F4");
    rig.begin(write, 8);
    ASSERT_EQ(rig.sent.size(), 1);
    rig.feed(under(rig.sent[0], write));
    EXPECT_TRUE(rig.good(rig.lastTicket()));
}

TEST_F(ExchangeIds, AProbeIsAnsweredOrForgotten) {
    rig.exchange.query(3, rig.nowUs);
    rig.pass(0);
    ASSERT_EQ(rig.sent.size(), 1);
    EXPECT_EQ(rig.sent[0], kit::hex("00 01 00 00 00 02 03 07"));
    rig.feed(under(rig.sent[0], frameOf("03 07 11")));
    EXPECT_EQ(rig.count(ExchangeNote::QueryAnswer), 1);
    EXPECT_TRUE(rig.exchange.idle());
    rig.exchange.query(4, rig.nowUs);
    rig.pass(600);
    EXPECT_TRUE(rig.exchange.idle());
    EXPECT_FALSE(rig.exchange.askAgainUs(4));
    rig.exchange.query(4, rig.nowUs);
    rig.pass(0);
    EXPECT_EQ(rig.sent.size(), 3);
}

TEST_F(ExchangeIds, ALostConnectionTakesItsRepliesAlong) {
    rig.begin(readOf(1, 5));
    rig.exchange.reset();
    rig.begin(readOf(1, 6));
    rig.feed(under(rig.sent[0], valueOf(1, 5)));
    EXPECT_TRUE(rig.ends.isEmpty());
    rig.feed(under(rig.sent[1], valueOf(1, 6)));
    EXPECT_EQ(rig.exchange.reply(), valueOf(1, 6));
}

TEST_F(ExchangeIds, NotSentIsKnownBehindItsHead) {
    rig.exchange.begin(readOf(1, 5), 7, true, rig.nowUs);
    EXPECT_TRUE(rig.exchange.requestSent());
    rig.exchange.notSent();
    EXPECT_FALSE(rig.exchange.requestSent());
}

// A server that answers late, twice, under other ids or not at all, in any order and in pieces: what is good
// is always the value that was asked for.
TEST(ExchangeIdsAtRandom, AGoodValueIsThatOfItsRequest) {
    std::mt19937 random(20261123);
    int good = 0;
    for (int line = 0; line < 200; ++line) {
        ExchangeRig rig(idSettings());
        std::multimap<qint64, QByteArray> underWay;
        int taken = 0;
        for (int request = 0; request < 60; ++request) {
            const int address = int(random() % 5000);
            const int ended = rig.ends.size();
            rig.begin(readOf(1, address));
            while (taken < rig.sent.size()) {
                const QByteArray asked = rig.sent[taken++];
                const QByteArray reply = asked.left(2) + mbapFrame(0, valueOf(1, wordAt(asked, 8))).mid(2);
                for (unsigned copies = random() % 4; copies > 0; --copies) {
                    underWay.emplace(rig.nowUs + qint64(random() % 900000), reply);
                }
                if (random() % 10 == 0) {
                    underWay.emplace(rig.nowUs + qint64(random() % 900000),
                                     mbapFrame(quint16(random()), valueOf(1, int(random() % 5000))));
                }
            }
            for (int ms = 0; ms < 3000 && rig.ends.size() == ended; ++ms) {
                while (!underWay.empty() && underWay.begin()->first <= rig.nowUs) {
                    const QByteArray reply = underWay.begin()->second;
                    underWay.erase(underWay.begin());
                    const int cut = int(random() % unsigned(reply.size()));
                    rig.feed(reply.left(cut));
                    rig.feed(reply.mid(cut));
                }
                rig.pass(1);
            }
            ASSERT_EQ(rig.ends.size(), ended + 1);
            if (rig.ends.last().kind == ExchangeEnd::Reply) {
                ASSERT_TRUE(rig.good(rig.lastTicket()));
                ASSERT_EQ(wordAt(rig.exchange.reply(), 3), address);
                ++good;
            }
        }
        EXPECT_EQ(rig.count(ExchangeNote::Query), 0);
    }
    EXPECT_GT(good, 2000);
}

}  // namespace

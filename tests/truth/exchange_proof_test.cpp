// What proves a reply, and what makes it doubtful.
#include <gtest/gtest.h>

#include "exchange_rig.h"

using dx7::byteAt;
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
        const quint64 ticket = rig.lastTicket();
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
    const quint64 ticket = rig.lastTicket();
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
    const quint64 ticket = rig.lastTicket();
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
    EXPECT_TRUE(rig.good(rig.lastTicket()));
    rig.exchanged(1, 10, 5);
    rig.answered();
    rig.begin(frameOf("0110001000020400030004"), 8);
    rig.feed(acknowledgement);  // its copy
    const quint64 ticket = rig.lastTicket();
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

TEST(Exchange, AnExceptionAnswersAQuery) {
    ExchangeRig rig;
    const quint64 ticket = rig.exchanged(1, 10, 77);
    rig.prove();
    rig.feed(frameOf("018701"));
    rig.answered();
    EXPECT_TRUE(rig.good(ticket));
}

TEST(Exchange, ACopyRightAfterItsReplyDisturbsNothing) {
    ExchangeRig rig;
    introduce(rig, 1);
    const quint64 ticket = rig.exchanged(1, 10, 77);
    rig.feed(valueOf(1, 77));
    EXPECT_EQ(rig.count(ExchangeNote::Copy), 1);
    rig.proven();
    EXPECT_TRUE(rig.good(ticket));
}

TEST(Exchange, ALaterCopyDisturbsTheLine) {
    ExchangeRig rig;
    introduce(rig, 1);
    const quint64 first = rig.exchanged(1, 10, 77);
    rig.begin(readOf(1, 11));
    rig.feed(valueOf(1, 77));
    rig.feed(valueOf(1, 78));
    EXPECT_TRUE(rig.doubtful(first));
    EXPECT_TRUE(rig.doubtful(rig.lastTicket()));
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
    const quint64 second = rig.lastTicket();
    rig.feed(answerTo(query));
    EXPECT_TRUE(rig.doubtful(first));
    EXPECT_TRUE(rig.doubtful(second));
}

TEST(Exchange, CodeSevenAsDataIsNotProvenByCodeSevenAlone) {
    ExchangeRig rig;
    const QByteArray status = frameOf("0107");
    rig.begin(status, 5);
    rig.feed(frameOf("010755"));
    const quint64 ticket = rig.lastTicket();
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

}  // namespace

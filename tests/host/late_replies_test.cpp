#include "late_replies.h"

#include <gtest/gtest.h>

#include "scripted_line.h"

using namespace dx7;

namespace {

using Owner = LateReplies::Owner;
using Ending = LateReplies::Ending;

enum { TIMEOUT = 1000, WINDOW = 500, NINE = 9, SEVEN = 7, ACKNOWLEDGEMENT = 8 };

// Two blocks of two words each, one of one word, and single and multiple writes.
const QByteArray A = framed(hex("01 03 F3 20 00 02"));
const QByteArray B = framed(hex("01 03 F4 20 00 02"));
const QByteArray ONE = framed(hex("01 03 F5 20 00 01"));
const QByteArray A_STATION_2 = framed(hex("02 03 F3 20 00 02"));
const QByteArray WRITE_5 = framed(hex("01 06 E3 20 00 05"));
const QByteArray WRITE_6 = framed(hex("01 06 E3 20 00 06"));
const QByteArray WRITE_TWO = framed(hex("01 10 E3 20 00 02 04 00 01 00 02"));
const QByteArray WRITE_TWO_OTHERS = framed(hex("01 10 E3 20 00 02 04 00 03 00 04"));

const QByteArray TWO_WORDS = framed(hex("01 03 04 00 07 00 08"));
const QByteArray ONE_WORD = framed(hex("01 03 02 00 09"));
const QByteArray REFUSAL = framed(hex("01 83 02"));
const QByteArray TWO_WORDS_STATION_2 = framed(hex("02 03 04 00 07 00 08"));
const QByteArray TWO_WRITTEN = framed(hex("01 10 E3 20 00 02"));

class LateRepliesTest : public testing::Test {
protected:
    void begin(const QByteArray& request, int expectLen = NINE) {
        late.begin(request, expectLen, now + TIMEOUT, now);
    }
    void timeOut(const QByteArray& request, int expectLen = NINE) {
        begin(request, expectLen);
        now += TIMEOUT;
        late.end(Ending::Unanswered);
    }
    // How long the request is held back.
    qint64 hold(const QByteArray& request, int expectLen = NINE) {
        return late.waitUntilUs(request, expectLen, now) - now;
    }

    LateReplies late{WINDOW};
    qint64 now = 1000000;
};

TEST_F(LateRepliesTest, WithoutATimeoutEveryReplyIsThePresentRequests) {
    for (const QByteArray& request : {A, B, A}) {
        EXPECT_EQ(hold(request), 0);
        begin(request);
        EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
        late.end(Ending::Answered);
    }
}

TEST_F(LateRepliesTest, WhatNobodyAskedForIsNobodys) {
    begin(A);
    EXPECT_EQ(late.claim(ONE_WORD), Owner::Nobody);
    EXPECT_EQ(late.claim(TWO_WORDS_STATION_2), Owner::Nobody);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
}

TEST_F(LateRepliesTest, OfTwoRepliesTheSecondIsThePresentRequests) {
    timeOut(A);
    begin(B);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Late);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
    late.end(Ending::Answered);
    EXPECT_EQ(hold(A), 0) << "both have come, nothing is expected any more";
}

TEST_F(LateRepliesTest, OneReplyThatMayBeEithersIsNotTaken) {
    timeOut(A);
    begin(B);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Late);
    now += TIMEOUT;
    late.end(Ending::Unanswered);
    // It may have been B's own; then nothing more comes. Or A's; then B's is still to come.
    EXPECT_EQ(hold(B), 0) << "a repetition may take it";
    EXPECT_EQ(hold(A), WINDOW) << "another request must not";
    begin(B);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
}

TEST_F(LateRepliesTest, ARepetitionTakesTheReplyAndTheSurplusHoldsOthersBack) {
    timeOut(A);
    EXPECT_EQ(hold(A), 0);
    begin(A);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
    late.end(Ending::Answered);
    EXPECT_EQ(hold(A), 0);
    EXPECT_EQ(hold(ONE, SEVEN), 0) << "another length cannot be mistaken";
    EXPECT_EQ(hold(A_STATION_2), 0);
    EXPECT_EQ(hold(B), TIMEOUT + WINDOW);
    EXPECT_EQ(late.drain(TWO_WORDS, now), std::vector<QByteArray>{TWO_WORDS});
    EXPECT_EQ(hold(B), 0) << "the surplus has come";
}

TEST_F(LateRepliesTest, AReplyOfAnotherShapeRulesOutEarlierOnes) {
    timeOut(A);
    begin(A);
    late.claim(TWO_WORDS);
    late.end(Ending::Answered);
    begin(ONE, SEVEN);
    EXPECT_EQ(late.claim(ONE_WORD), Owner::Present);
    late.end(Ending::Answered);
    EXPECT_EQ(hold(B), 0);
    begin(B);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
}

TEST_F(LateRepliesTest, AnotherStationsReplyRulesOutNothing) {
    timeOut(A);
    begin(A_STATION_2);
    EXPECT_EQ(late.claim(TWO_WORDS_STATION_2), Owner::Present);
    late.end(Ending::Answered);
    begin(B);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Late);
}

TEST_F(LateRepliesTest, ALateReplyOfAnotherShapeIsKnownAsLate) {
    timeOut(A);
    begin(ONE, SEVEN);
    EXPECT_TRUE(late.awaits(1, 3, NINE));
    EXPECT_FALSE(late.awaits(1, 4, NINE));
    EXPECT_FALSE(late.awaits(2, 3, NINE));
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Late);
    EXPECT_FALSE(late.awaits(1, 3, NINE));
    EXPECT_EQ(late.claim(ONE_WORD), Owner::Present);
}

TEST_F(LateRepliesTest, AReplyRulesOutThoseOfOlderRequestsOfAnyShape) {
    timeOut(ONE, SEVEN);
    timeOut(A);
    begin(B);
    EXPECT_TRUE(late.awaits(1, 3, SEVEN));
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Late);
    EXPECT_FALSE(late.awaits(1, 3, SEVEN));
}

TEST_F(LateRepliesTest, ASilentStationHoldsNothingBack) {
    for (const QByteArray& request : {A, A, A, B, B, B, A}) {
        EXPECT_EQ(hold(request), 0);
        timeOut(request);
    }
    EXPECT_EQ(hold(B), 0);
}

TEST_F(LateRepliesTest, AfterTheWindowAReplyIsThePresentRequests) {
    timeOut(A);
    begin(A);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
    late.end(Ending::Answered);
    now += TIMEOUT + WINDOW;
    EXPECT_EQ(hold(B), 0);
    begin(B);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
}

TEST_F(LateRepliesTest, ASilentStationsRepliesMayComeTenTimesAsLate) {
    timeOut(A);
    now += 10 * WINDOW - 1;
    begin(B);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Late);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
    late.end(Ending::Answered);
    timeOut(A);
    now += 10 * WINDOW;
    begin(B);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present);
}

TEST_F(LateRepliesTest, WhenASilenceEndsEveryReplyHeldUpIsKnown) {
    for (const QByteArray& request : {A, A, B, B}) {
        timeOut(request);
    }
    begin(A);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Late) << "to A, with B's behind it";
    now += TIMEOUT;
    late.end(Ending::Unanswered);
    EXPECT_EQ(hold(B), WINDOW) << "A's are still to come, although they were asked long ago";
    EXPECT_EQ(late.drain(TWO_WORDS + TWO_WORDS + TWO_WORDS + TWO_WORDS, now).size(), 4u);
    EXPECT_EQ(hold(B), 0);
}

TEST_F(LateRepliesTest, ARefusalMayBeAnyEarlierRequestsOfItsFunction) {
    timeOut(ONE, SEVEN);
    begin(A);
    EXPECT_EQ(late.claim(REFUSAL), Owner::Late);
    EXPECT_EQ(late.claim(REFUSAL), Owner::Present);
}

TEST_F(LateRepliesTest, ADamagedReplyLeavesThePresentOneDueOnlyBesideEarlierOnes) {
    begin(A);
    late.end(Ending::Damaged);
    begin(B);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present) << "it was A's reply that was damaged";
    late.end(Ending::Answered);
    timeOut(A);
    begin(A);
    late.end(Ending::Damaged);
    EXPECT_EQ(hold(B), TIMEOUT + WINDOW) << "either of A's may still come, and the station is alive";
}

TEST_F(LateRepliesTest, AnAcknowledgementEchoesItsRequest) {
    timeOut(WRITE_5, ACKNOWLEDGEMENT);
    EXPECT_EQ(hold(WRITE_6, ACKNOWLEDGEMENT), 0);
    begin(WRITE_6, ACKNOWLEDGEMENT);
    EXPECT_EQ(late.claim(WRITE_5), Owner::Late);
    EXPECT_EQ(late.claim(WRITE_6), Owner::Present);
}

TEST_F(LateRepliesTest, AnAcknowledgementOfTheSameRegistersIsNotTakenForOtherValues) {
    timeOut(WRITE_TWO, ACKNOWLEDGEMENT);
    begin(WRITE_TWO_OTHERS, ACKNOWLEDGEMENT);
    EXPECT_EQ(late.claim(TWO_WRITTEN), Owner::Late);
    EXPECT_EQ(late.claim(TWO_WRITTEN), Owner::Present);
}

TEST_F(LateRepliesTest, AWriteRepeatedAfterAnotherWriteDoesNotTakeTheFirstOnesAcknowledgement) {
    timeOut(WRITE_5, ACKNOWLEDGEMENT);
    timeOut(WRITE_6, ACKNOWLEDGEMENT);
    begin(WRITE_5, ACKNOWLEDGEMENT);
    EXPECT_EQ(late.claim(WRITE_5), Owner::Late) << "the device may hold 6 by now";
    EXPECT_EQ(late.claim(WRITE_6), Owner::Late);
    EXPECT_EQ(late.claim(WRITE_5), Owner::Present);
}

TEST_F(LateRepliesTest, DrainedBytesMayComeInPiecesAndBetweenNoise) {
    timeOut(A);
    timeOut(B);
    EXPECT_TRUE(late.drain(hex("55 AA") + TWO_WORDS.left(4), now).empty());
    EXPECT_EQ(late.drain(TWO_WORDS.mid(4) + hex("00") + REFUSAL, now),
              (std::vector<QByteArray>{TWO_WORDS, REFUSAL}));
    begin(A);
    EXPECT_EQ(late.claim(TWO_WORDS), Owner::Present) << "nothing is due any more";
}

TEST_F(LateRepliesTest, ForgetsTheOldestOfVeryMany) {
    late = LateReplies(1000000000);
    timeOut(A_STATION_2);
    for (int i = 0; i < 256; ++i) {
        timeOut(A);
    }
    EXPECT_FALSE(late.awaits(2, 3, NINE));
    EXPECT_TRUE(late.awaits(1, 3, NINE));
}

}  // namespace

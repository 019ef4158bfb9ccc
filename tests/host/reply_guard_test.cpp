#include "reply_guard.h"

#include <gtest/gtest.h>

#include "scripted_line.h"

using namespace dx7;

namespace {

const QByteArray READ = framed(hex("01 03 F3 25 00 02"));
const QByteArray GOOD = framed(hex("01 03 04 01 F4 00 07"));

ReplyGuard readGuard() {
    return ReplyGuard(READ, 9);
}

TEST(ReplyGuard, TakesAReplyAsSoonAsTheAnnouncedBytesAreThere) {
    ReplyGuard guard = readGuard();
    EXPECT_EQ(guard.feed(GOOD.left(8)), Verdict::Waiting);
    EXPECT_EQ(guard.feed(GOOD.mid(8)), Verdict::Complete);
    EXPECT_EQ(guard.reply(), GOOD);
    EXPECT_EQ(guard.fault(), ReplyFault::None);
    EXPECT_TRUE(guard.foreign().isEmpty());
}

TEST(ReplyGuard, PutsAFrameOfAnotherStationAsideAndWaitsOn) {
    ReplyGuard guard = readGuard();
    const QByteArray other = framed(hex("02 03 04 FF FF FF FF"));
    EXPECT_EQ(guard.feed(other), Verdict::Waiting);
    EXPECT_EQ(guard.foreign(), QVector<QByteArray>{other});
    EXPECT_EQ(guard.feed(GOOD), Verdict::Complete);
    EXPECT_EQ(guard.reply(), GOOD);
}

TEST(ReplyGuard, PutsAFrameOfAnotherFunctionCodeAsideEvenGluedToTheReply) {
    ReplyGuard guard = readGuard();
    const QByteArray other = framed(hex("01 04 02 00 11"));
    EXPECT_EQ(guard.feed(other + GOOD), Verdict::Complete);
    EXPECT_EQ(guard.foreign(), QVector<QByteArray>{other});
    EXPECT_EQ(guard.reply(), GOOD);
}

TEST(ReplyGuard, FindsTheReplyBehindNoise) {
    ReplyGuard guard = readGuard();
    EXPECT_EQ(guard.feed(hex("00 FF 7E")), Verdict::Waiting);
    EXPECT_EQ(guard.feed(GOOD), Verdict::Complete);
    EXPECT_EQ(guard.reply(), GOOD);
    EXPECT_EQ(guard.foreign().size(), 1);
}

TEST(ReplyGuard, EndsTheWaitWithARefusal) {
    ReplyGuard guard = readGuard();
    EXPECT_EQ(guard.feed(framed(hex("01 83 02"))), Verdict::Exception);
    EXPECT_EQ(guard.exceptionCode(), 2);
    EXPECT_TRUE(guard.reply().isEmpty());
}

TEST(ReplyGuard, RefusalOfAnotherStationIsForeign) {
    ReplyGuard guard = readGuard();
    EXPECT_EQ(guard.feed(framed(hex("02 83 02"))), Verdict::Waiting);
    EXPECT_EQ(guard.foreign().size(), 1);
}

TEST(ReplyGuard, RefusalOfAStatusQueryIsNoStatus) {
    ReplyGuard guard(framed(hex("01 07")), 5);
    EXPECT_EQ(guard.feed(framed(hex("01 87 01"))), Verdict::Exception);
    EXPECT_EQ(guard.exceptionCode(), 1);
}

TEST(ReplyGuard, RefusalWithABadCrcIsABadReply) {
    ReplyGuard guard = readGuard();
    QByteArray refusal = framed(hex("01 83 02"));
    refusal[4] = static_cast<char>(refusal.at(4) ^ 1);
    EXPECT_EQ(guard.feed(refusal), Verdict::Waiting);
    guard.giveUp();
    EXPECT_EQ(guard.reply(), refusal);
    EXPECT_EQ(guard.fault(), ReplyFault::WrongCrc);
}

TEST(ReplyGuard, HandsOnAWrongCrc) {
    ReplyGuard guard = readGuard();
    QByteArray bad = GOOD;
    bad[4] = static_cast<char>(bad.at(4) ^ 0x40);
    EXPECT_EQ(guard.feed(bad), Verdict::Complete);
    EXPECT_EQ(guard.fault(), ReplyFault::WrongCrc);
}

TEST(ReplyGuard, HandsOnAWholeButShorterReplyAtOnce) {
    ReplyGuard guard = readGuard();
    EXPECT_EQ(guard.feed(framed(hex("01 03 02 01 F4"))), Verdict::Complete);
    EXPECT_EQ(guard.fault(), ReplyFault::WrongLength);
}

TEST(ReplyGuard, HandsOnATruncatedReplyWhenTheTimeIsOver) {
    ReplyGuard guard = readGuard();
    EXPECT_EQ(guard.feed(GOOD.left(5)), Verdict::Waiting);
    guard.giveUp();
    EXPECT_EQ(guard.reply(), GOOD.left(5));
    EXPECT_EQ(guard.fault(), ReplyFault::WrongLength);
}

TEST(ReplyGuard, ADamagedHeadIsAWrongCrcAndNotForeign) {
    for (int hit = 0; hit < 2; ++hit) {
        ReplyGuard guard = readGuard();
        QByteArray damaged = GOOD;
        damaged[hit] = static_cast<char>(damaged.at(hit) ^ 0x10);
        EXPECT_EQ(guard.feed(damaged), Verdict::Waiting);
        guard.giveUp();
        EXPECT_EQ(guard.reply(), damaged);
        EXPECT_EQ(guard.fault(), ReplyFault::WrongCrc);
        EXPECT_TRUE(guard.foreign().isEmpty());
    }
}

TEST(ReplyGuard, SilenceIsAnEmptyReply) {
    ReplyGuard guard = readGuard();
    guard.giveUp();
    EXPECT_TRUE(guard.reply().isEmpty());
    EXPECT_EQ(guard.fault(), ReplyFault::Nothing);
}

TEST(ReplyGuard, UnfinishedBytesOfOthersAreNoReply) {
    ReplyGuard guard = readGuard();
    EXPECT_EQ(guard.feed(hex("02 03 04 00")), Verdict::Waiting);
    guard.giveUp();
    EXPECT_TRUE(guard.reply().isEmpty());
    EXPECT_EQ(guard.foreign().size(), 1);
}

struct EchoCase {
    const char* name;
    const char* request;
    const char* reply;
    bool taken;
};

class ReplyGuardEcho : public testing::TestWithParam<EchoCase> {};

TEST_P(ReplyGuardEcho, TakesOnlyTheAcknowledgementOfItsOwnRequest) {
    ReplyGuard guard(framed(hex(GetParam().request)), 8);
    const Verdict verdict = guard.feed(framed(hex(GetParam().reply)));
    EXPECT_EQ(verdict, GetParam().taken ? Verdict::Complete : Verdict::Waiting);
    EXPECT_EQ(guard.foreign().size(), GetParam().taken ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(
    Writes, ReplyGuardEcho,
    testing::Values(
        EchoCase{"CoilEcho", "01 05 10 20 FF 00", "01 05 10 20 FF 00", true},
        EchoCase{"CoilOtherAddress", "01 05 10 20 FF 00", "01 05 10 21 FF 00", false},
        EchoCase{"CoilOtherValue", "01 05 10 20 FF 00", "01 05 10 20 00 00", false},
        EchoCase{"RegisterEcho", "01 06 E3 25 01 F4", "01 06 E3 25 01 F4", true},
        EchoCase{"RegisterOtherAddress", "01 06 E3 25 01 F4", "01 06 E3 26 01 F4", false},
        EchoCase{"RegisterOtherValue", "01 06 E3 25 01 F4", "01 06 E3 25 01 F5", false},
        EchoCase{"RegistersEcho", "01 10 E0 10 00 02 04 00 0A 01 02", "01 10 E0 10 00 02", true},
        EchoCase{"RegistersOtherAddress", "01 10 E0 10 00 02 04 00 0A 01 02", "01 10 E0 11 00 02", false},
        EchoCase{"RegistersOtherQuantity", "01 10 E0 10 00 02 04 00 0A 01 02", "01 10 E0 10 00 01", false}),
    [](const auto& row) { return row.param.name; });

TEST(ReplyGuard, DataWithAnotherByteCountIsForeign) {
    ReplyGuard guard = readGuard();
    const QByteArray miscounted = framed(hex("01 03 06 01 F4 00 07"));
    EXPECT_EQ(guard.feed(miscounted), Verdict::Waiting);
    EXPECT_EQ(guard.foreign(), QVector<QByteArray>{miscounted});
    EXPECT_EQ(guard.feed(GOOD), Verdict::Complete);
    EXPECT_EQ(guard.reply(), GOOD);
}

TEST(ReplyGuard, FindsTheReplyBehindAFloodOfNoise) {
    ReplyGuard guard = readGuard();
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(guard.feed(QByteArray(512, '\x55')), Verdict::Waiting);
    }
    EXPECT_EQ(guard.feed(GOOD), Verdict::Complete);
    EXPECT_EQ(guard.reply(), GOOD);
}

// A request that timed out, then READ.
class GuardWithLate : public testing::Test {
protected:
    GuardWithLate() {
        late.begin(earlier, 25, 1000, 0);
        late.end(LateReplies::Ending::Unanswered);
        late.begin(framed(hex("01 03 F4 25 00 02")), 9, 2000, 1000);
        late.end(LateReplies::Ending::Unanswered);
        late.begin(READ, 9, 3000, 2000);
    }
    const QByteArray earlier = framed(hex("01 03 F3 00 00 0A"));
    const QByteArray tenWords = framed(hex("01 03 14") + QByteArray(20, 1));
    const QByteArray other = framed(hex("01 03 04 00 11 00 12"));
    LateReplies late{100000};
    ReplyGuard guard{READ, 9, &late};
};

TEST_F(GuardWithLate, TakesTheSecondOfTwoFramesThatFit) {
    EXPECT_EQ(guard.feed(other + GOOD), Verdict::Complete);
    EXPECT_EQ(guard.reply(), GOOD);
    EXPECT_EQ(guard.late(), QVector<QByteArray>{other});
    EXPECT_TRUE(guard.foreign().isEmpty());
    EXPECT_EQ(guard.takeAside(), QVector<QByteArray>{other});
    EXPECT_TRUE(guard.takeAside().isEmpty());
}

TEST_F(GuardWithLate, WaitsForTheEndOfALongerLateReply) {
    EXPECT_EQ(guard.feed(tenWords.left(12)), Verdict::Waiting) << "more than the nine that READ awaits";
    EXPECT_EQ(guard.feed(tenWords.mid(12)), Verdict::Waiting);
    EXPECT_EQ(guard.feed(other), Verdict::Waiting);
    EXPECT_EQ(guard.feed(GOOD), Verdict::Complete);
    EXPECT_EQ(guard.late(), (QVector<QByteArray>{tenWords, other}));
    EXPECT_EQ(guard.reply(), GOOD);
}

TEST_F(GuardWithLate, TellsWhetherWhatIsThereIsItsOwnReply) {
    guard.feed(other);
    guard.feed(GOOD.left(3));
    guard.giveUp();
    EXPECT_TRUE(guard.replyBegan());
    ReplyGuard noise(READ, 9);
    noise.feed(hex("01"));
    noise.giveUp();
    EXPECT_FALSE(noise.replyBegan());
    ReplyGuard acknowledgement(framed(hex("01 06 E3 20 00 05")), 8);
    acknowledgement.feed(hex("01 06 E3"));
    acknowledgement.giveUp();
    EXPECT_TRUE(acknowledgement.replyBegan());
}

TEST_F(GuardWithLate, ARefusalOfAnEarlierRequestIsLate) {
    const QByteArray refusal = framed(hex("01 83 06"));
    EXPECT_EQ(guard.feed(refusal), Verdict::Waiting);
    EXPECT_EQ(guard.late(), QVector<QByteArray>{refusal});
}

TEST_F(GuardWithLate, AShorterLateReplyDoesNotEndTheWait) {
    LateReplies one{100000};
    one.begin(framed(hex("01 03 F3 20 00 01")), 7, 1000, 0);
    one.end(LateReplies::Ending::Unanswered);
    one.begin(READ, 9, 2000, 1000);
    ReplyGuard longer(READ, 9, &one);
    EXPECT_EQ(longer.feed(framed(hex("01 03 02 00 05"))), Verdict::Waiting);
    EXPECT_EQ(longer.late().size(), 1);
    EXPECT_EQ(longer.feed(GOOD), Verdict::Complete);
}

}  // namespace

#include "host/exchange/raw_exchange.h"

#include <gtest/gtest.h>

#include <random>

#include "exchange_rig.h"

using namespace dx7;
using namespace truth;

namespace {

LineSettings serialLine(EchoMode echo = EchoMode::Auto) {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.baud = 9600;
    settings.echo = echo;
    return settings;
}

// A request on a virtual clock.
class RawRig {
public:
    explicit RawRig(const LineSettings& settings = tcpSettings()) : exchange(settings) {}

    void begin(const QByteArray& frame) { sent = exchange.begin(frame, nowUs); }
    void feed(const QByteArray& bytes) { exchange.feed(bytes.constData(), bytes.size(), nowUs); }
    void pass(int ms) {
        const qint64 endUs = nowUs + qint64(ms) * 1000;
        for (DueUs dueUs = exchange.nextDueUs(); dueUs && *dueUs <= endUs; dueUs = exchange.nextDueUs()) {
            nowUs = std::max(nowUs, *dueUs);
            exchange.advance(nowUs);
            // Nothing is due twice.
            ASSERT_NE(dueUs, exchange.nextDueUs());
        }
        nowUs = endUs;
    }
    bool over() const { return exchange.end().has_value(); }
    RawEnd::Kind kind() const { return exchange.end() ? exchange.end()->kind : RawEnd::Broadcast; }
    QByteArray bytes() const { return exchange.end() ? exchange.end()->bytes : QByteArray(); }

    RawExchange exchange;
    qint64 nowUs = 7000000;
    QByteArray sent;
};

const QByteArray UNKNOWN = frameOf("01 2B 0E 01 00");
const QByteArray WRITE = frameOf("01 06 E3 25 01 F4");

TEST(RawExchange, AKnownReplyEndsWithItsLastByte) {
    RawRig rig;
    rig.begin(readOf(1, 5));
    EXPECT_EQ(rig.sent, readOf(1, 5));
    rig.feed(valueOf(1, 7).left(6));
    EXPECT_FALSE(rig.over());
    rig.pass(3);
    rig.feed(valueOf(1, 7).mid(6));
    ASSERT_EQ(rig.kind(), RawEnd::Reply);
    EXPECT_EQ(rig.bytes(), valueOf(1, 7));
    EXPECT_EQ(rig.exchange.end()->afterUs, 3000);
    EXPECT_FALSE(rig.exchange.nextDueUs());
}

TEST(RawExchange, AnExceptionIsAReplyOfAnyFunctionCode) {
    for (const QByteArray& request : {readOf(1, 5), UNKNOWN}) {
        RawRig rig;
        rig.begin(request);
        QByteArray refusal = request.left(2) + '\x02';
        refusal[1] = static_cast<char>(refusal[1] | 0x80);
        rig.feed(kit::withCrc(refusal));
        EXPECT_EQ(rig.kind(), RawEnd::Reply);
    }
}

// 3.5 characters at 9600 baud, 20 ms over TCP.
TEST(RawExchange, AnUnknownReplyEndsWithSilence) {
    const QByteArray reply = frameOf("01 2B 0E 01 81 00 00 03 00 05 41 43 4D 45 21");
    for (const auto& [settings, gapUs] : {std::pair<LineSettings, int>{tcpSettings(), 20000},
                                          std::pair<LineSettings, int>{serialLine(), 3645}}) {
        RawRig rig(settings);
        rig.begin(UNKNOWN);
        rig.nowUs += 30000;
        rig.feed(reply.left(9));
        rig.nowUs += gapUs / 2;
        rig.feed(reply.mid(9));
        EXPECT_FALSE(rig.over());
        ASSERT_TRUE(rig.exchange.nextDueUs());
        EXPECT_EQ(*rig.exchange.nextDueUs(), rig.nowUs + gapUs);
        rig.exchange.advance(rig.nowUs + gapUs - 1);
        EXPECT_FALSE(rig.over());
        rig.exchange.advance(rig.nowUs + gapUs);
        EXPECT_EQ(rig.kind(), RawEnd::Reply);
        EXPECT_EQ(rig.bytes(), reply);
    }
}

// An adapter hands its bytes over in pieces, further apart than the line had them.
TEST(RawExchange, ASilenceWithoutARightCrcIsWaitedThrough) {
    RawRig rig(serialLine());
    const QByteArray reply = frameOf("01 2B 0E 01 81 00 00 03 00");
    rig.begin(UNKNOWN);
    rig.feed(reply.left(5));
    rig.pass(16);
    rig.feed(reply.mid(5));
    rig.pass(4);
    EXPECT_EQ(rig.kind(), RawEnd::Reply);
    EXPECT_EQ(rig.bytes(), reply);
}

TEST(RawExchange, AKnownCodeWithAnotherLengthEndsWithSilenceToo) {
    RawRig rig;
    rig.begin(frameOf("01 08 00 00 12 34 56 78"));
    rig.feed(frameOf("01 08 00 00 12 34 56 79"));
    rig.pass(20);
    EXPECT_EQ(rig.kind(), RawEnd::Reply);
}

TEST(RawExchange, ADamagedReplyEndsAfter50Ms) {
    QByteArray damaged = valueOf(1, 7);
    damaged[4] = '\x08';
    RawRig rig;
    rig.begin(readOf(1, 5));
    rig.feed(damaged);
    rig.pass(49);
    EXPECT_FALSE(rig.over());
    rig.pass(1);
    EXPECT_EQ(rig.kind(), RawEnd::Damaged);
    EXPECT_EQ(rig.bytes(), damaged);
}

TEST(RawExchange, NoiseBeforeTheReplyIsLeftOut) {
    RawRig rig;
    rig.begin(readOf(1, 5));
    rig.feed(kit::hex("FF 00"));
    rig.pass(100);
    EXPECT_FALSE(rig.over());
    rig.feed(kit::hex("FF") + valueOf(1, 7));
    EXPECT_EQ(rig.kind(), RawEnd::Reply);
    EXPECT_EQ(rig.bytes(), valueOf(1, 7));
}

TEST(RawExchange, SilenceNoiseAndStrangersEndWithTheTimeOut) {
    struct Row {
        QByteArray bytes;
        RawEnd::Kind kind;
    };
    for (const Row& row :
         {Row{{}, RawEnd::Nothing}, Row{kit::hex("55 AA 55"), RawEnd::Damaged},
          Row{valueOf(2, 7), RawEnd::Foreign}, Row{frameOf("01 04 02 00 07"), RawEnd::Foreign}}) {
        RawRig rig;
        rig.begin(readOf(1, 5));
        if (!row.bytes.isEmpty()) {
            rig.feed(row.bytes);
        }
        rig.pass(499);
        EXPECT_FALSE(rig.over()) << row.kind;
        rig.pass(1);
        EXPECT_EQ(rig.kind(), row.kind);
        EXPECT_EQ(rig.bytes(), row.bytes);
    }
}

TEST(RawExchange, AStrangersFrameDoesNotHideTheReply) {
    RawRig rig;
    rig.begin(readOf(1, 5));
    rig.feed(valueOf(2, 9));
    rig.pass(60);
    rig.feed(valueOf(1, 7));
    EXPECT_EQ(rig.kind(), RawEnd::Reply);
    EXPECT_EQ(rig.bytes(), valueOf(1, 7));
}

TEST(RawExchange, AReplyThatIsComingIsNotCut) {
    RawRig rig;
    rig.begin(readOf(1, 5));
    rig.pass(490);
    rig.feed(valueOf(1, 7).left(3));
    rig.pass(40);
    EXPECT_FALSE(rig.over());
    rig.feed(valueOf(1, 7).mid(3));
    EXPECT_EQ(rig.kind(), RawEnd::Reply);
}

TEST(RawExchange, NoiseWithoutEndEnds) {
    RawRig rig(serialLine());
    rig.begin(readOf(1, 5));
    for (int ms = 0; ms < 10000 && !rig.over(); ++ms) {
        rig.feed(kit::hex("55 AA 55 33"));
        rig.pass(1);
    }
    EXPECT_EQ(rig.kind(), RawEnd::Damaged);
    EXPECT_LT(rig.nowUs, 7000000 + 3000000);
}

TEST(RawExchange, ABroadcastAwaitsNothing) {
    RawRig rig;
    rig.begin(frameOf("00 06 E3 25 01 F4"));
    rig.pass(100);
    EXPECT_EQ(rig.kind(), RawEnd::Broadcast);
    EXPECT_TRUE(rig.over());
}

// Echo.

TEST(RawExchange, AnEchoIsTakenOut) {
    for (const EchoMode echo : {EchoMode::Auto, EchoMode::On}) {
        RawRig rig(serialLine(echo));
        rig.begin(readOf(1, 5));
        rig.feed(readOf(1, 5));
        EXPECT_FALSE(rig.over());
        rig.pass(20);
        rig.feed(valueOf(1, 7));
        ASSERT_EQ(rig.kind(), RawEnd::Reply);
        EXPECT_EQ(rig.bytes(), valueOf(1, 7));
        EXPECT_TRUE(rig.exchange.end()->echoed);
        EXPECT_FALSE(rig.exchange.end()->perhapsEcho);
    }
}

TEST(RawExchange, AnEchoAloneIsNoReply) {
    for (const EchoMode echo : {EchoMode::Auto, EchoMode::On}) {
        RawRig rig(serialLine(echo));
        rig.begin(readOf(1, 5));
        rig.feed(readOf(1, 5));
        rig.pass(600);
        ASSERT_EQ(rig.kind(), RawEnd::Nothing);
        EXPECT_TRUE(rig.exchange.end()->echoed);
    }
    RawRig known(serialLine(EchoMode::On));
    known.begin(WRITE);
    known.feed(WRITE);
    known.pass(600);
    EXPECT_EQ(known.kind(), RawEnd::Nothing);
}

TEST(RawExchange, AReplyLikeItsRequestIsToldFromAnEchoOnlyWhereThereAreTwo) {
    RawRig one(serialLine());
    one.begin(WRITE);
    one.feed(WRITE);
    one.pass(300);
    EXPECT_FALSE(one.over()) << "the second one may come";
    one.pass(300);
    ASSERT_EQ(one.kind(), RawEnd::Reply);
    EXPECT_TRUE(one.exchange.end()->perhapsEcho);

    RawRig two(serialLine());
    two.begin(WRITE);
    two.feed(WRITE);
    two.pass(30);
    two.feed(WRITE);
    ASSERT_EQ(two.kind(), RawEnd::Reply);
    EXPECT_TRUE(two.exchange.end()->echoed);
    EXPECT_FALSE(two.exchange.end()->perhapsEcho);

    RawRig off(serialLine(EchoMode::Off));
    off.begin(WRITE);
    off.feed(WRITE);
    ASSERT_EQ(off.kind(), RawEnd::Reply);
    EXPECT_FALSE(off.exchange.end()->perhapsEcho);
}

TEST(RawExchange, AnEchoOfAnUnknownCodeIsTakenOutWhereAReplyFollows) {
    RawRig rig(serialLine());
    const QByteArray reply = frameOf("01 2B 0E 01 81 00");
    rig.begin(UNKNOWN);
    rig.feed(UNKNOWN);
    rig.pass(30);
    rig.feed(reply);
    rig.pass(10);
    ASSERT_EQ(rig.kind(), RawEnd::Reply);
    EXPECT_EQ(rig.bytes(), reply);
    EXPECT_TRUE(rig.exchange.end()->echoed);
}

// Late.

TEST(RawExchange, AfterATimeOutAReplyMayBeTheLateOne) {
    RawRig rig;
    rig.begin(readOf(1, 5));
    rig.pass(600);
    rig.begin(readOf(1, 5));
    rig.feed(valueOf(1, 7));
    ASSERT_EQ(rig.kind(), RawEnd::Reply);
    EXPECT_TRUE(rig.exchange.end()->perhapsLate);
    rig.pass(12000);
    rig.begin(readOf(1, 5));
    rig.feed(valueOf(1, 7));
    EXPECT_FALSE(rig.exchange.end()->perhapsLate);
}

TEST(RawExchange, WhatComesForNothingIsDropped) {
    RawRig rig;
    rig.feed(valueOf(1, 3));
    rig.begin(readOf(1, 5));
    EXPECT_FALSE(rig.over());
    rig.feed(valueOf(1, 7));
    EXPECT_EQ(rig.bytes(), valueOf(1, 7));
    EXPECT_EQ(rig.exchange.dropped(), 1);
}

TEST(RawExchange, OverModbusTcpTheIdTellsTheReply) {
    LineSettings settings;
    settings.carrier = Carrier::ModbusTcp;
    RawRig rig(settings);
    rig.begin(readOf(1, 5));
    const QByteArray first = rig.sent;
    rig.pass(600);
    EXPECT_EQ(rig.kind(), RawEnd::Nothing);
    rig.begin(UNKNOWN);
    rig.feed(first.left(2) + mbapFrame(0, valueOf(1, 3)).mid(2));
    EXPECT_FALSE(rig.over());
    const QByteArray reply = frameOf("01 2B 0E 01 81 00");
    rig.feed(rig.sent.left(2) + mbapFrame(0, reply).mid(2));
    ASSERT_EQ(rig.kind(), RawEnd::Reply);
    EXPECT_EQ(rig.bytes(), reply);
    EXPECT_FALSE(rig.exchange.end()->perhapsLate);
    EXPECT_EQ(rig.exchange.dropped(), 1);
}

// Whatever comes, in whatever pieces: it ends, and a reply is one.
TEST(RawExchangeAtRandom, AReplyHasItsStationItsCodeAndItsCrc) {
    std::mt19937 random(11);
    const QByteArray requests[] = {readOf(1, 5), WRITE, UNKNOWN, frameOf("01 07"),
                                   frameOf("01 08 00 00 12 34")};
    int replies = 0;
    for (int i = 0; i < 20000; ++i) {
        LineSettings settings = i % 2 == 0 ? tcpSettings() : serialLine(EchoMode(i / 2 % 3));
        RawRig rig(settings);
        const QByteArray& request = requests[random() % 5];
        rig.begin(request);
        for (int piece = int(random() % 4); piece > 0; --piece) {
            QByteArray bytes = random() % 2 == 0   ? request
                               : random() % 2 == 0 ? valueOf(1, 7)
                                                   : frameOf("01 07 11");
            for (int changes = int(random() % 2); changes > 0; --changes) {
                bytes[int(random() % unsigned(bytes.size()))] = char(random());
            }
            rig.feed(bytes.left(int(random() % unsigned(bytes.size() + 1))) +
                     (random() % 4 == 0 ? bytes : QByteArray()));
            rig.pass(int(random() % 70));
        }
        rig.pass(5000);
        ASSERT_TRUE(rig.over());
        if (rig.kind() == RawEnd::Reply) {
            ++replies;
            EXPECT_TRUE(endsWithCrc(rig.bytes(), 0, rig.bytes().size()));
            EXPECT_EQ(byteAt(rig.bytes(), 0), 1);
            EXPECT_EQ(byteAt(rig.bytes(), 1) & 0x7F, byteAt(request, 1));
        }
    }
    EXPECT_GT(replies, 1000);
}

}  // namespace

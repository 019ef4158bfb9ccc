#include "host/exchange/mbap.h"

#include <gtest/gtest.h>

#include "exchange_rig.h"

using namespace dx7;
using truth::frameOf;
using truth::readOf;
using truth::valueOf;

namespace {

void feed(MbapStream& stream, const QByteArray& bytes) {
    stream.append(bytes.constData(), bytes.size());
}

// "frame 7, late 5": the kinds and lengths of what is taken.
std::string taken(MbapStream& stream) {
    static const char* const names[] = {"frame", "late", "unasked", "noise"};
    std::string text;
    for (auto piece = stream.take(); piece; piece = stream.take()) {
        text += (text.empty() ? "" : ", ") + std::string(names[piece->kind]) + ' ' +
                std::to_string(piece->bytes.size());
    }
    return text;
}

TEST(Mbap, AFrameGoesOutBehindItsHeadWithoutACrc) {
    EXPECT_EQ(mbapFrame(0x0102, frameOf("01 03 F3 20 00 02")),
              kit::hex("01 02 00 00 00 06 01 03 F3 20 00 02"));
}

TEST(Mbap, AReplyUnderItsIdIsAnRtuFrame) {
    MbapStream stream;
    EXPECT_EQ(stream.wrap(readOf(1, 5), 0), kit::hex("00 01 00 00 00 06 01 03 00 05 00 01"));
    feed(stream, kit::hex("00 01 00 00 00 05 01 03 02 00 07"));
    const auto piece = stream.take();
    ASSERT_TRUE(piece);
    EXPECT_EQ(piece->kind, MbapStream::Piece::Frame);
    EXPECT_EQ(piece->bytes, valueOf(1, 7));
    EXPECT_FALSE(stream.take());
}

TEST(Mbap, PiecesAreJoinedAndMissingBytesAreCounted) {
    MbapStream stream;
    stream.wrap(readOf(1, 5), 0);
    const QByteArray reply = mbapFrame(1, valueOf(1, 7));
    EXPECT_EQ(stream.missing(), 8);
    for (int i = 0; i < reply.size() - 1; ++i) {
        feed(stream, reply.mid(i, 1));
        EXPECT_FALSE(stream.take());
        EXPECT_TRUE(stream.partial());
        EXPECT_GE(stream.missing(), 1);
        EXPECT_LE(stream.missing(), reply.size() - i - 1);
    }
    feed(stream, reply.right(1));
    EXPECT_EQ(taken(stream), "frame 7");
    EXPECT_FALSE(stream.partial());
}

TEST(Mbap, ALateReplyACopyAndAStrangersIdAreToldApart) {
    MbapStream stream;
    stream.wrap(readOf(1, 5), 1000);
    stream.wrap(readOf(1, 6), 2000);
    feed(stream, mbapFrame(1, valueOf(1, 7)));
    const auto late = stream.take();
    ASSERT_TRUE(late);
    EXPECT_EQ(late->kind, MbapStream::Piece::Late);
    EXPECT_EQ(late->askedUs, 1000);
    feed(stream, mbapFrame(2, valueOf(1, 7)) + mbapFrame(2, valueOf(1, 7)) + mbapFrame(99, valueOf(1, 7)) +
                     mbapFrame(1, valueOf(1, 7)));
    EXPECT_EQ(taken(stream), "frame 7, unasked 7, unasked 7, unasked 7");
}

TEST(Mbap, WhatIsGivenUpComesLate) {
    MbapStream stream;
    stream.wrap(readOf(1, 5), 0);
    stream.giveUp();
    feed(stream, mbapFrame(1, valueOf(1, 7)));
    EXPECT_EQ(taken(stream), "late 7");
}

TEST(Mbap, ABroadcastHasNoReply) {
    MbapStream stream;
    stream.wrap(frameOf("00 05 10 20 FF 00"), 0);
    feed(stream, mbapFrame(1, frameOf("00 05 10 20 FF 00")));
    EXPECT_EQ(taken(stream), "unasked 8");
}

// A late reply must never find its id in use again.
TEST(Mbap, AnIdWhoseReplyIsDueIsNotUsedAgain) {
    MbapStream stream;
    const QByteArray first = stream.wrap(readOf(1, 5), 0).left(2);
    for (int i = 0; i < 3 * 0x10000; ++i) {
        const QByteArray id = stream.wrap(readOf(1, 6), 0).left(2);
        ASSERT_NE(id, first);
        feed(stream, id + mbapFrame(0, valueOf(1, 7)).mid(2));
        ASSERT_EQ(taken(stream), "frame 7");
    }
    feed(stream, mbapFrame(1, valueOf(1, 9)));
    EXPECT_EQ(taken(stream), "late 7");
}

TEST(Mbap, WithAllIdsDueItGoesOn) {
    MbapStream stream;
    for (int i = 0; i < 0x10000 + 5; ++i) {
        stream.wrap(readOf(1, 6), 0);
    }
    SUCCEED();
}

// Other bytes in place of the protocol id, or a length that cannot be.
TEST(Mbap, AfterWhatIsNoHeadNothingIsBelievedUpToTheNextRequest) {
    for (const char* head : {"00 01 00 07 00 05", "00 01 00 00 00 01", "00 01 00 00 01 00"}) {
        MbapStream stream;
        stream.wrap(readOf(1, 5), 0);
        const QByteArray reply = mbapFrame(1, valueOf(1, 7));
        feed(stream, kit::hex(head) + reply);
        EXPECT_EQ(taken(stream), "noise 17") << head;
        feed(stream, reply);
        EXPECT_EQ(taken(stream), "") << head;
        stream.wrap(readOf(1, 5), 0);
        feed(stream, mbapFrame(2, valueOf(1, 7)));
        EXPECT_EQ(taken(stream), "frame 7") << head;
    }
}

TEST(Mbap, ANewConnectionOwesNothing) {
    MbapStream stream;
    stream.wrap(readOf(1, 5), 0);
    feed(stream, mbapFrame(1, valueOf(1, 7)).left(9));
    stream.reset();
    EXPECT_FALSE(stream.partial());
    feed(stream, mbapFrame(1, valueOf(1, 7)));
    EXPECT_EQ(taken(stream), "unasked 7");
}

TEST(Mbap, AHeadIsKnownByItsProtocolAndItsLength) {
    EXPECT_TRUE(beginsLikeMbap(kit::hex("01 03 00 00 00 03 01 83 02")));
    EXPECT_FALSE(beginsLikeMbap(kit::hex("01 03 00 00 00")));
    EXPECT_FALSE(beginsLikeMbap(kit::hex("01 03 02 00 00 05 00")));
    EXPECT_FALSE(beginsLikeMbap(QByteArray(8, '\0')));
    EXPECT_FALSE(beginsLikeMbap(QByteArray(8, '\xFF')));
}

}  // namespace

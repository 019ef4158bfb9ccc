// Requests out of bytes: whole, in pieces, joined, damaged.
#include "device/line/framing.h"

#include <gtest/gtest.h>

#include "tests/kit/crc.h"

namespace {

using namespace dx7sim;
using kit::withCrc;
using std::chrono::milliseconds;

const Bytes READ = {0x01, 0x03, 0xF3, 0x25, 0x00, 0x01, 0xA6, 0x85};
const Bytes STATUS = {0x01, 0x07, 0x41, 0xE2};
const Bytes DIAGNOSTICS = withCrc({0x01, 0x08, 0x00, 0x00, 0x12, 0x34});
const Bytes WRITE = {0x01, 0x10, 0xE0, 0x10, 0x00, 0x02, 0x04, 0x00, 0x0A, 0x01, 0x02, 0x9B, 0x34};

Bytes joined(const Bytes& a, const Bytes& b) {
    Bytes both = a;
    both.insert(both.end(), b.begin(), b.end());
    return both;
}

class FramingTest : public testing::Test {
protected:
    Framing framing{Time(), milliseconds(20)};
};

TEST_F(FramingTest, TakesEachLengthAsSoonAsItIsThere) {
    for (const Bytes& request : {READ, STATUS, DIAGNOSTICS, WRITE}) {
        const auto frames = framing.take(request, milliseconds(1));
        ASSERT_EQ(frames.size(), 1U);
        EXPECT_EQ(frames[0].bytes, request);
        EXPECT_FALSE(framing.deadline());
    }
}

TEST_F(FramingTest, JoinsPieces) {
    EXPECT_TRUE(framing.take({WRITE.begin(), WRITE.begin() + 5}, milliseconds(1)).empty());
    EXPECT_TRUE(framing.take({WRITE.begin() + 5, WRITE.end() - 1}, milliseconds(2)).empty());
    const auto frames = framing.take({WRITE.back()}, milliseconds(3));
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].bytes, WRITE);
}

TEST_F(FramingTest, PartsRequestsThatArriveTogether) {
    const auto frames = framing.take(joined(joined(STATUS, READ), {0x01, 0x03}), milliseconds(1));
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].bytes, STATUS);
    EXPECT_EQ(frames[1].bytes, READ);
    EXPECT_EQ(framing.deadline(), milliseconds(21));
}

TEST(FramingOfModbusTcp, GoesByTheLengthInTheHead) {
    Framing framing{Time(), milliseconds(20), Protocol::ModbusTcp};
    const Bytes request = {0, 1, 0, 0, 0, 6, 1, 3, 0xF3, 0x25, 0, 1};
    EXPECT_TRUE(framing.take({request.begin(), request.begin() + 7}, milliseconds(1)).empty());
    EXPECT_FALSE(framing.deadline()) << "no silence ends it";
    EXPECT_FALSE(framing.silence(milliseconds(5000)));
    const auto frames =
        framing.take(joined({request.begin() + 7, request.end()}, request), milliseconds(9000));
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].bytes, request);
    EXPECT_EQ(frames[1].bytes, request);
    EXPECT_FALSE(framing.isLost());
}

TEST(FramingOfModbusTcp, IsLostWhereThereIsNoHead) {
    for (const Bytes& wrong : {READ, Bytes{0, 1, 0, 0, 0, 1, 1}, Bytes{0, 1, 0, 0, 1, 0, 1}}) {
        Framing framing{Time(), milliseconds(20), Protocol::ModbusTcp};
        EXPECT_TRUE(framing.take(wrong, milliseconds(1)).empty());
        EXPECT_TRUE(framing.isLost());
        EXPECT_EQ(framing.droppedBytes(), wrong.size());
        framing.reset();
        EXPECT_FALSE(framing.isLost());
    }
}

// On a line that takes time, more arrives than it could carry.
TEST(FramingOfAFlood, IsNeverMoreThan1024CharactersBehind) {
    const Time character = milliseconds(1);
    Framing framing{character, milliseconds(20)};
    framing.take({0x01}, milliseconds(0));
    Time last{};
    Bytes flood{STATUS.begin() + 1, STATUS.end()};
    for (int i = 0; i < 1000; ++i) {
        flood.insert(flood.end(), STATUS.begin(), STATUS.end());
    }
    flood.push_back(0x01);
    for (int i = 0; i < 10; ++i) {
        const auto frames = framing.take(flood, milliseconds(5));
        ASSERT_EQ(frames.size(), 1001U);
        EXPECT_GE(frames.front().complete, last) << "one after the other";
        last = frames.back().complete;
        EXPECT_EQ(last, milliseconds(5) + 1024 * character);
    }
}

TEST_F(FramingTest, DropsADamagedRequestAtSilence) {
    Bytes damaged = READ;
    damaged[3] ^= 1;
    EXPECT_TRUE(framing.take(damaged, milliseconds(1)).empty());
    EXPECT_FALSE(framing.silence(milliseconds(20)));
    EXPECT_EQ(framing.droppedBytes(), 0U);
    EXPECT_FALSE(framing.silence(milliseconds(21)));
    EXPECT_EQ(framing.droppedBytes(), 8U);
    EXPECT_EQ(framing.take(READ, milliseconds(30)).size(), 1U);
}

TEST_F(FramingTest, TakesAnUnknownFunctionCodeAtSilence) {
    const Bytes unknown = withCrc({0x01, 0x2B, 0x0E, 0x01, 0x00});
    EXPECT_TRUE(framing.take(unknown, milliseconds(1)).empty());
    const auto frame = framing.silence(milliseconds(21));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->bytes, unknown);
}

TEST_F(FramingTest, NeverKeepsMoreThanTheLongestFrame) {
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(framing.take(Bytes(100, 0x55), milliseconds(i)).empty());
    }
    EXPECT_GE(framing.droppedBytes(), 100U * 100U - 256U);
}

TEST_F(FramingTest, ForgetsWhatAClientLeftBehind) {
    framing.take({0x01, 0x03}, milliseconds(1));
    framing.reset();
    EXPECT_FALSE(framing.deadline());
    EXPECT_EQ(framing.take(READ, milliseconds(2)).size(), 1U);
}

TEST(FramingAtASpeed, CountsTheRequestsOwnTimeOnTheLine) {
    Framing framing(milliseconds(1), milliseconds(20));
    const auto atOnce = framing.take(READ, milliseconds(100));
    ASSERT_EQ(atOnce.size(), 1U);
    EXPECT_EQ(atOnce[0].complete, milliseconds(108));

    framing.take({READ.begin(), READ.begin() + 4}, milliseconds(200));
    const auto slow = framing.take({READ.begin() + 4, READ.end()}, milliseconds(215));
    ASSERT_EQ(slow.size(), 1U);
    EXPECT_EQ(slow[0].complete, milliseconds(215));
}

}  // namespace

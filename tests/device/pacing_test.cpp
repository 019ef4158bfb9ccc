// Bytes at the pace of a line.
#include "pacing.h"

#include <gtest/gtest.h>

namespace {

using namespace dx7sim;
using std::chrono::microseconds;
using std::chrono::milliseconds;

TEST(LineTiming, FollowsFromTheSpeed) {
    EXPECT_EQ(LineTiming::ofBaud(10000, 10).charTime, milliseconds(1));
    EXPECT_EQ(LineTiming::ofBaud(10000, 11).charTime, microseconds(1100));
    EXPECT_EQ(LineTiming::ofBaud(10000, 10).turnaround, microseconds(3500));
    EXPECT_EQ(LineTiming::ofBaud(115200, 10).turnaround, microseconds(1750));
}

TEST(Pacing, SendsEachByteWhenItIsThrough) {
    Pacing pacing{milliseconds(1)};
    pacing.queue({1, 2, 3}, milliseconds(10), Time());
    EXPECT_TRUE(pacing.due(microseconds(10999)).empty());
    EXPECT_EQ(pacing.nextDue(milliseconds(10)), milliseconds(11));
    EXPECT_EQ(pacing.due(milliseconds(11)), Bytes{1});
    EXPECT_EQ(pacing.due(milliseconds(13)), (Bytes{2, 3}));
    EXPECT_FALSE(pacing.nextDue(milliseconds(13)));
}

TEST(Pacing, SendsAtOnceOnALineWithoutASpeed) {
    Pacing pacing{Time()};
    pacing.queue({1, 2, 3}, milliseconds(10), Time());
    EXPECT_EQ(pacing.due(milliseconds(10)), (Bytes{1, 2, 3}));
}

TEST(Pacing, PutsFramesOneAfterTheOther) {
    Pacing pacing{milliseconds(1)};
    pacing.queue({1, 2}, milliseconds(0), Time());
    pacing.queue({3}, milliseconds(0), milliseconds(5));
    EXPECT_EQ(pacing.due(milliseconds(7)), (Bytes{1, 2}));
    EXPECT_EQ(pacing.nextDue(milliseconds(7)), milliseconds(8));
    EXPECT_EQ(pacing.due(milliseconds(8)), Bytes{3});
}

TEST(Pacing, WakesNotMoreOftenThanEveryMillisecondOnAFastLine) {
    Pacing pacing{microseconds(87)};
    pacing.queue(Bytes(100, 0), Time(), Time());
    EXPECT_EQ(pacing.nextDue(Time()), milliseconds(1));
    pacing.due(microseconds(8000));
    EXPECT_EQ(pacing.nextDue(microseconds(8000)), microseconds(8700)) << "the frame's end is not put off";
}

TEST(Pacing, IsFullOfManyFramesOrOfManyBytes) {
    Pacing frames{milliseconds(1)};
    for (int i = 0; i < 32; ++i) {
        EXPECT_FALSE(frames.isFull()) << i;
        frames.queue({1}, Time(), Time());
    }
    EXPECT_TRUE(frames.isFull());
    frames.due(milliseconds(1));
    EXPECT_FALSE(frames.isFull());

    Pacing bytes{milliseconds(1)};
    for (int i = 0; i < 16; ++i) {
        EXPECT_FALSE(bytes.isFull()) << i;
        bytes.queue(Bytes(256, 0), Time(), Time());
    }
    EXPECT_TRUE(bytes.isFull());
    bytes.due(milliseconds(1));
    EXPECT_FALSE(bytes.isFull());
    bytes.queue({1}, Time(), Time());
    EXPECT_TRUE(bytes.isFull());
    bytes.clear();
    EXPECT_FALSE(bytes.isFull());
}

TEST(Pacing, ForgetsWhatAClientLeftBehind) {
    Pacing pacing{milliseconds(1)};
    pacing.queue(Bytes(100, 0), Time(), Time());
    pacing.clear();
    EXPECT_FALSE(pacing.nextDue(Time()));
    pacing.queue({1}, Time(), Time());
    EXPECT_EQ(pacing.nextDue(Time()), milliseconds(1));
}

}  // namespace

// Bytes at the pace of a line.
#include "device/line/pacing.h"

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

TEST(LineTiming, LetsTheDeviceWorkInTheTurnaround) {
    const LineTiming timing = LineTiming::ofBaud(10000, 10);
    EXPECT_EQ(timing.turnaroundAfter(Time()), timing.turnaround);
    EXPECT_EQ(timing.turnaroundAfter(milliseconds(1)), microseconds(2500));
    EXPECT_EQ(timing.turnaroundAfter(milliseconds(40)), Time());
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

TEST(Pacing, EchoesBeforeAReplyThatIsDueAtTheSameTime) {
    Pacing pacing{Time()};
    pacing.queue({4, 5}, milliseconds(10), Time());
    pacing.echo({1, 2, 3}, milliseconds(10));
    EXPECT_EQ(pacing.nextDue(milliseconds(9)), milliseconds(10));
    EXPECT_EQ(pacing.due(milliseconds(10)), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_FALSE(pacing.nextDue(milliseconds(10)));
}

TEST(Pacing, EchoesWhileALateReplyWaits) {
    Pacing pacing{milliseconds(1)};
    pacing.queue({7, 8}, milliseconds(0), milliseconds(500));
    pacing.echo({1, 2}, milliseconds(100));
    EXPECT_EQ(pacing.nextDue(milliseconds(100)), milliseconds(101));
    EXPECT_EQ(pacing.due(milliseconds(102)), (Bytes{1, 2}));
    EXPECT_EQ(pacing.nextDue(milliseconds(102)), milliseconds(501)) << "the late reply keeps its time";
    EXPECT_EQ(pacing.due(milliseconds(502)), (Bytes{7, 8}));
}

TEST(Pacing, PutsWhatArrivesInPartsIntoOneEcho) {
    Pacing pacing{milliseconds(1)};
    pacing.echo({1, 2, 3, 4}, milliseconds(0));
    pacing.echo({5, 6}, milliseconds(1));
    pacing.queue({9}, milliseconds(6), Time());
    EXPECT_EQ(pacing.due(milliseconds(4)), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(pacing.due(milliseconds(6)), (Bytes{5, 6}));
    EXPECT_EQ(pacing.due(milliseconds(7)), Bytes{9});
}

TEST(Pacing, EchoesAWholeFrameAsTheLineCarriedIt) {
    Pacing pacing{milliseconds(1)};
    pacing.echoWhole({1, 2, 3}, milliseconds(10));
    pacing.queue({4}, milliseconds(10), Time());
    EXPECT_EQ(pacing.due(milliseconds(10)), (Bytes{1, 2, 3}));
    EXPECT_EQ(pacing.due(milliseconds(11)), Bytes{4});
}

TEST(Pacing, DoesNotMixTwoFrames) {
    Pacing pacing{milliseconds(1)};
    pacing.queue({1, 2, 3, 4}, milliseconds(0), Time());
    pacing.queue({5}, milliseconds(0), milliseconds(5));
    EXPECT_EQ(pacing.due(milliseconds(2)), (Bytes{1, 2}));
    pacing.echo({7, 8, 9}, milliseconds(2));
    EXPECT_EQ(pacing.due(milliseconds(4)), (Bytes{3, 4}));
    EXPECT_EQ(pacing.due(milliseconds(7)), (Bytes{7, 8, 9}));
    EXPECT_EQ(pacing.due(milliseconds(10)), Bytes{5}) << "it was due after the echo anyway";

    pacing.queue({1, 2}, milliseconds(12), Time());
    EXPECT_EQ(pacing.due(milliseconds(13)), Bytes{1});
    pacing.echo({7}, milliseconds(11));
    EXPECT_EQ(pacing.due(milliseconds(15)), (Bytes{2, 7})) << "what has begun goes on";

    pacing.queue({1}, milliseconds(22), Time());
    pacing.queue({2}, milliseconds(22), milliseconds(5));
    pacing.echo({7, 8, 9}, milliseconds(20));
    EXPECT_EQ(pacing.due(milliseconds(23)), (Bytes{7, 8, 9}));
    EXPECT_EQ(pacing.due(milliseconds(24)), Bytes{1});
    EXPECT_TRUE(pacing.due(milliseconds(29)).empty()) << "two replies keep their distance";
    EXPECT_EQ(pacing.due(milliseconds(30)), Bytes{2});

    pacing.echo({7, 8, 9}, milliseconds(40));
    pacing.queue({1}, milliseconds(41), Time());
    EXPECT_EQ(pacing.due(milliseconds(43)), (Bytes{7, 8, 9}));
    pacing.queue({2}, milliseconds(41), milliseconds(5));
    EXPECT_EQ(pacing.due(milliseconds(49)), Bytes{1});
    EXPECT_EQ(pacing.due(milliseconds(50)), Bytes{2}) << "5 ms after the reply before it, as that was sent";
}

TEST(Pacing, SendsACopyWhateverIsAskedMeanwhile) {
    Pacing pacing{milliseconds(1)};
    pacing.queue({1, 2}, milliseconds(0), Time());
    pacing.copy({1, 2}, milliseconds(100));
    EXPECT_EQ(pacing.due(milliseconds(2)), (Bytes{1, 2}));
    pacing.queue({3}, milliseconds(50), Time());
    EXPECT_EQ(pacing.due(milliseconds(51)), Bytes{3});
    pacing.queue({4}, milliseconds(103), Time());
    EXPECT_EQ(pacing.nextDue(milliseconds(51)), milliseconds(103));
    EXPECT_EQ(pacing.due(milliseconds(104)), (Bytes{1, 2}));
    EXPECT_EQ(pacing.due(milliseconds(105)), Bytes{4}) << "it waits until the line is free";
}

TEST(Pacing, KeepsSeveralCopiesInTheOrderOfTheirTimes) {
    Pacing pacing{Time()};
    pacing.queue({1}, milliseconds(0), milliseconds(500));
    pacing.copy({1}, milliseconds(100));
    EXPECT_EQ(pacing.due(milliseconds(500)), Bytes{1});
    pacing.echo({2}, milliseconds(550));
    EXPECT_EQ(pacing.due(milliseconds(599)), Bytes{2});
    EXPECT_EQ(pacing.nextDue(milliseconds(599)), milliseconds(600));
    EXPECT_EQ(pacing.due(milliseconds(600)), Bytes{1});
}

TEST(Pacing, WorksAtOneRequestAfterTheOther) {
    Pacing pacing{milliseconds(1)};
    pacing.queue({1, 2}, milliseconds(0), milliseconds(40));
    pacing.queue({3}, milliseconds(10), milliseconds(40));
    EXPECT_EQ(pacing.due(milliseconds(42)), (Bytes{1, 2}));
    EXPECT_TRUE(pacing.due(milliseconds(82)).empty());
    EXPECT_EQ(pacing.due(milliseconds(83)), Bytes{3});
    pacing.queue({4}, milliseconds(1000), milliseconds(40));
    EXPECT_EQ(pacing.nextDue(milliseconds(1000)), milliseconds(1041)) << "a rested device starts at once";
}

TEST(Pacing, LosesWhatWouldEchoMuchTooLate) {
    Pacing pacing{milliseconds(1)};
    for (int i = 0; i < 100; ++i) {
        pacing.echo(Bytes(1000, 0), milliseconds(0));
    }
    EXPECT_EQ(pacing.due(std::chrono::seconds(1000)).size(), 5000U);
    EXPECT_FALSE(pacing.isFull());
    pacing.echo({1}, std::chrono::seconds(2000));
    EXPECT_EQ(pacing.due(std::chrono::seconds(2001)), Bytes{1});
}

TEST(Pacing, BoundsItsCopies) {
    Pacing pacing{Time()};
    for (int i = 0; i < 5000; ++i) {
        pacing.copy(Bytes(256, 0), std::chrono::seconds(1));
    }
    EXPECT_FALSE(pacing.isFull()) << "copies are not in the way of requests";
    EXPECT_EQ(pacing.due(std::chrono::seconds(1)).size(), 1024U * 1024U);
}

TEST(Pacing, ForgetsWhatAClientLeftBehind) {
    Pacing pacing{milliseconds(1)};
    pacing.queue(Bytes(100, 0), Time(), Time());
    pacing.echo({1}, Time());
    pacing.copy({1}, Time());
    pacing.clear();
    EXPECT_FALSE(pacing.nextDue(Time()));
    pacing.queue({1}, Time(), Time());
    EXPECT_EQ(pacing.nextDue(Time()), milliseconds(1));
}

}  // namespace

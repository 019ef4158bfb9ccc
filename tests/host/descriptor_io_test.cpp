// Over a socket pair and over a pipe, whose ends behave as a line's do.
#include "host/line/descriptor_io.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

using namespace dx7;

namespace {

class DescriptorIoTest : public testing::Test {
protected:
    DescriptorIoTest() {
        int both[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, both), 0);
        ours = both[0];
        theirs = both[1];
    }
    ~DescriptorIoTest() override {
        ::close(ours);
        closeTheirs();
    }
    void closeTheirs() {
        if (theirs >= 0) {
            ::close(theirs);
        }
        theirs = -1;
    }

    int ours = -1;
    int theirs = -1;
    QByteArray bytes;
};

TEST_F(DescriptorIoTest, TakesWhatIsThereAndNothingElse) {
    EXPECT_FALSE(takeArrived(ours, &bytes)) << "a read that finds no bytes does not fail";
    EXPECT_TRUE(bytes.isEmpty());
    EXPECT_EQ(handBytes(theirs, Channel::Socket, "abc", 3).count, 3);
    EXPECT_FALSE(takeArrived(ours, &bytes));
    EXPECT_FALSE(takeArrived(ours, &bytes));
    EXPECT_EQ(bytes, QByteArray("abc"));
}

TEST_F(DescriptorIoTest, TakesFourKilobytesAtATime) {
    EXPECT_EQ(handBytes(theirs, Channel::Socket, QByteArray(5000, 'x'), 5000).count, 5000);
    EXPECT_FALSE(takeArrived(ours, &bytes));
    EXPECT_EQ(bytes.size(), 4096);
    EXPECT_FALSE(takeArrived(ours, &bytes));
    EXPECT_EQ(bytes.size(), 5000);
}

TEST_F(DescriptorIoTest, NamesALossInReadingAndWriting) {
    closeTheirs();
    EXPECT_EQ(takeArrived(ours, &bytes), QStringLiteral("it was closed at the other end"));
    EXPECT_EQ(handBytes(ours, Channel::Socket, "abc", 3).loss, QStringLiteral("Broken pipe"))
        << "and no signal";
    EXPECT_EQ(takeArrived(-1, &bytes), QStringLiteral("it is closed"));
}

TEST_F(DescriptorIoTest, WhatCameBeforeTheOtherEndsClosingCounts) {
    EXPECT_EQ(handBytes(theirs, Channel::Socket, "abc", 3).count, 3);
    closeTheirs();
    EXPECT_FALSE(takeArrived(ours, &bytes));
    EXPECT_EQ(bytes, QByteArray("abc"));
    EXPECT_EQ(takeArrived(ours, &bytes), QStringLiteral("it was closed at the other end"));
}

TEST_F(DescriptorIoTest, NamesAPortThatWasUnplugged) {
    int device = -1;
    int port = -1;
    termios raw{};
    ::cfmakeraw(&raw);
    ASSERT_EQ(::openpty(&device, &port, nullptr, &raw, nullptr), 0);
    ::fcntl(port, F_SETFL, O_NONBLOCK);
    EXPECT_FALSE(takeArrived(port, &bytes));
    ::close(device);
    EXPECT_TRUE(takeArrived(port, &bytes));
    EXPECT_EQ(handBytes(port, Channel::Port, "abc", 3).loss,
              QStringLiteral("Input/output error (it was unplugged, or closed at the other end)"));
    ::close(port);
}

TEST_F(DescriptorIoTest, HandsOverWhatTheOtherEndTakesAtOnce) {
    const QByteArray many(2000000, 'x');
    const int taken = handBytes(ours, Channel::Port, many.constData(), many.size()).count;
    EXPECT_GT(taken, 0);
    EXPECT_LT(taken, many.size());
    EXPECT_EQ(handBytes(ours, Channel::Port, many.constData(), many.size()).count, 0) << "none now";
}

}  // namespace

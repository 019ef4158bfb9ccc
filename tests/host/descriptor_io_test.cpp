// Over a socket pair and over a pipe, whose ends behave as a line's do.
#include "descriptor_io.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <thread>

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
    QString failure;
};

TEST_F(DescriptorIoTest, TakesWhatIsThereAndNothingElse) {
    EXPECT_TRUE(readDescriptor(ours, &bytes, 0, &failure));
    EXPECT_TRUE(readDescriptor(ours, &bytes, -5, &failure));
    EXPECT_TRUE(bytes.isEmpty());
    EXPECT_TRUE(writeDescriptor(theirs, Channel::Socket, "abc", &failure));
    EXPECT_TRUE(readDescriptor(ours, &bytes, 1000000, &failure));
    EXPECT_EQ(bytes, QByteArray("abc"));
    EXPECT_TRUE(readDescriptor(ours, &bytes, 1000, &failure)) << "nothing in time is no failure";
    EXPECT_EQ(bytes, QByteArray("abc"));
}

TEST_F(DescriptorIoTest, NamesALossInReadingAndWriting) {
    closeTheirs();
    EXPECT_FALSE(readDescriptor(ours, &bytes, 1000000, &failure));
    EXPECT_EQ(failure, QStringLiteral("it was closed at the other end"));
    int taken = -1;
    EXPECT_FALSE(writeDescriptor(ours, Channel::Socket, "abc", &failure, &taken)) << "and no signal";
    EXPECT_EQ(taken, 0);
    EXPECT_EQ(failure, QStringLiteral("Broken pipe"));
    EXPECT_FALSE(readDescriptor(-1, &bytes, 0, &failure));
    EXPECT_EQ(failure, QStringLiteral("it is closed"));
}

// Before a request the line is looked at without waiting: what was closed by then must not seem to take it.
TEST_F(DescriptorIoTest, NoticesTheOtherEndsClosingWithoutWaiting) {
    EXPECT_TRUE(writeDescriptor(theirs, Channel::Socket, "abc", &failure));
    closeTheirs();
    EXPECT_TRUE(readDescriptor(ours, &bytes, 0, &failure));
    EXPECT_EQ(bytes, QByteArray("abc")) << "what came before counts";
    EXPECT_FALSE(readDescriptor(ours, &bytes, 0, &failure));
    EXPECT_EQ(failure, QStringLiteral("it was closed at the other end"));
    EXPECT_FALSE(readDescriptor(ours, &bytes, -5, &failure));
}

// As QSerialPort sets a port up: a read that finds nothing returns no bytes instead of an error.
TEST_F(DescriptorIoTest, APortThatReturnsAtOnceIsNotLostByIt) {
    int device = -1;
    int port = -1;
    termios raw{};
    ::cfmakeraw(&raw);
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    ASSERT_EQ(::openpty(&device, &port, nullptr, &raw, nullptr), 0);
    ::fcntl(port, F_SETFL, O_NONBLOCK);
    EXPECT_TRUE(readDescriptor(port, &bytes, 0, &failure)) << failure.toStdString();
    EXPECT_TRUE(readDescriptor(port, &bytes, 1000, &failure)) << failure.toStdString();
    EXPECT_TRUE(writeDescriptor(device, Channel::Port, "abc", &failure));
    EXPECT_TRUE(readDescriptor(port, &bytes, 1000000, &failure));
    EXPECT_EQ(bytes, QByteArray("abc"));
    ::close(device);
    EXPECT_FALSE(readDescriptor(port, &bytes, 0, &failure)) << "its end is noticed";
    EXPECT_FALSE(readDescriptor(port, &bytes, 1000000, &failure));
    EXPECT_EQ(failure, QStringLiteral("it was closed at the other end"));
    EXPECT_FALSE(writeDescriptor(port, Channel::Port, "abc", &failure));
    EXPECT_EQ(failure, QStringLiteral("Input/output error (it was unplugged, or closed at the other end)"));
    ::close(port);
}

TEST_F(DescriptorIoTest, WritesMoreThanTheOtherEndTakesAtOnce) {
    const QByteArray many(2000000, 'x');
    qint64 taken = 0;
    std::thread reader([&] {
        QByteArray some;
        QString why;
        while (taken < many.size() && readDescriptor(theirs, &some, 5000000, &why) && !some.isEmpty()) {
            taken += some.size();
            some.clear();
        }
    });
    EXPECT_TRUE(writeDescriptor(ours, Channel::Port, many, &failure));
    reader.join();
    EXPECT_EQ(taken, many.size());
}

}  // namespace

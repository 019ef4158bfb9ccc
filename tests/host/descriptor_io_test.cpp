// Over a socket pair and over a pipe, whose ends behave as a line's do.
#include "descriptor_io.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
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
    EXPECT_FALSE(writeDescriptor(ours, Channel::Socket, "abc", &failure)) << "and no signal";
    EXPECT_EQ(failure, QStringLiteral("Broken pipe"));
    EXPECT_FALSE(readDescriptor(-1, &bytes, 0, &failure));
    EXPECT_EQ(failure, QStringLiteral("Bad file descriptor"));
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

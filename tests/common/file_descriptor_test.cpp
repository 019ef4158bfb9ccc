// A descriptor is closed once, by the owner that has it last.
#include "common/file_descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

using dx7common::FileDescriptor;

bool isOpen(int number) {
    return ::fcntl(number, F_GETFD) >= 0;
}

TEST(FileDescriptor, IsClosedWithItsOwner) {
    int number = -1;
    {
        const FileDescriptor owner("/dev/null", O_RDONLY);
        number = owner.number();
        EXPECT_TRUE(owner.isOpen());
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptor, GoesToNoProgramThatIsStarted) {
    const FileDescriptor owner("/dev/null", O_RDONLY);
    EXPECT_EQ(::fcntl(owner.number(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST(FileDescriptor, SaysWhyItIsNotOpen) {
    errno = 0;
    const FileDescriptor owner("/nonexistent", O_RDONLY);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(owner.isOpen());
    EXPECT_EQ(owner.number(), -1);
}

TEST(FileDescriptor, GoesToTheNewOwner) {
    FileDescriptor first("/dev/null", O_RDONLY);
    const int number = first.number();
    FileDescriptor second(std::move(first));
    EXPECT_EQ(second.number(), number);
    FileDescriptor third;
    third = std::move(second);
    EXPECT_EQ(third.number(), number);
    EXPECT_TRUE(isOpen(number));
}

TEST(FileDescriptor, ClosesWhatWasOpenBefore) {
    FileDescriptor owner("/dev/null", O_RDONLY);
    const int number = owner.number();
    EXPECT_FALSE(owner.open("/nonexistent", O_RDONLY));
    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptor, SaysWhenClosingFailed) {
    FileDescriptor owner("/dev/null", O_RDONLY);
    ::close(owner.number());
    EXPECT_FALSE(owner.close());
    EXPECT_EQ(errno, EBADF);
    EXPECT_TRUE(owner.close()) << "it is not open any more";
}

}  // namespace

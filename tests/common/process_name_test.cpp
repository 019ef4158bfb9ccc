#include "common/process_name.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

TEST(ProcessName, IsTheOneThatTheProcessHas) {
    char before[16] = {};
    ASSERT_EQ(::prctl(PR_GET_NAME, before), 0);
    ASSERT_EQ(::prctl(PR_SET_NAME, "some name"), 0);
    EXPECT_EQ(dx7common::processName(::getpid()), "some name");
    ::prctl(PR_SET_NAME, before);
}

TEST(ProcessName, IsEmptyForNoProcess) {
    EXPECT_EQ(dx7common::processName(-1), "");
}

}  // namespace

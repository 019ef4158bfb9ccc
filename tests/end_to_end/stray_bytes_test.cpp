// A line that puts a few bytes before each answer, as a transceiver does when it turns round.
#include "fragile_device.h"
#include "rig.h"

namespace {

class StrayBytes : public testing::TestWithParam<std::string> {
protected:
    FragileDevice device{[](const FragileDevice::Frame&, int) {
        Reaction reaction;
        reaction.before = GetParam();
        return reaction;
    }};
};
INSTANTIATE_TEST_SUITE_P(Bytes, StrayBytes,
                         testing::Values(std::string(1, '\0'), std::string("\xff"),
                                         std::string("\0\xff", 2)));

TEST_P(StrayBytes, KeepNoCommandFromItsEnd) {
    const Finished read = dx7At(device.address(), {"read", "F:3.0.20"});
    EXPECT_EQ(0, read.exitCode) << read.errors;
    EXPECT_EQ("F:3.0.20@1 = 7\n", read.output);
    const Finished write = dx7At(device.address(), {"write", "F:3.0.20=9"});
    EXPECT_EQ(0, write.exitCode) << write.errors;
    EXPECT_EQ("F:3.0.20@1 = 9 written and verified\n", write.output);
    const Finished monitor = dx7At(device.address(), {"monitor", "--seconds", "1", "F:3.0.20"});
    EXPECT_EQ(0, monitor.exitCode) << monitor.output << monitor.errors;
}

}  // namespace

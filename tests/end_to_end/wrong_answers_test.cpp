// What dx7 says of requests whose answer is not theirs, or whose line goes without one.
#include <regex>

#include "fragile_device.h"
#include "rig.h"

namespace {

// Answers every request of a function code with the same bytes.
FragileDevice::Script everyTime(int function, const std::string& bytes) {
    return [=](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.noise = request[1] == function ? bytes : std::string();
        return reaction;
    };
}

class LostBroadcast : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Reset, LostBroadcast, testing::Bool());

// No byte of a broadcast is acknowledged: the line that goes takes it along, perhaps.
TEST_P(LostBroadcast, IsUnknown) {
    const FragileDevice device([](const FragileDevice::Frame&, int) {
        Reaction reaction;
        reaction.carryOut = reaction.answer = false;
        reaction.close = true;
        reaction.reset = GetParam();
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"write", "DO:1@0=1", "F:3.0.20=2", "--json"});
    EXPECT_EQ(1, run.exitCode);
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(2U, items.size()) << run.output;
    EXPECT_TRUE(items[0].at("written").is_null()) << items[0];
    EXPECT_EQ(false, items[1].at("written")) << items[1];
    EXPECT_TRUE(says(run.errors, "was lost: ")) << run.errors;
    EXPECT_EQ(1, device.requests(WRITE_BIT));
}

TEST(WrongAnswers, AnAcknowledgementOfAnotherValueIsNamedAndTheStationHeard) {
    const FragileDevice device(everyTime(WRITE, std::string("\x01\x06\xe3\x25\x00\x63\xef\xac", 8)));
    const Finished run = dx7At(device.address(), {"write", "--no-verify", "F:3.0.25=5", "F:0.0.08,2=1,2"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors,
                     "F:3.0.25@1 = 5 failed: no valid reply: the acknowledgement repeats 99 instead of 5; it "
                     "is unknown whether the station carried it out: read it back"))
        << run.errors;
    EXPECT_TRUE(says(run.output, "F:0.0.08,2@1 = 1,2 acknowledged\n")) << run.output << run.errors;
    EXPECT_FALSE(says(run.errors, "did not answer")) << run.errors;
}

TEST(WrongAnswers, AnotherByteCountIsNamed) {
    const FragileDevice device(everyTime(READ, std::string("\x01\x03\x04\x01\xf4\x58\x52", 7)));
    const Finished run = dx7At(device.address(), {"read", "F:3.0.25"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors,
                     "F:3.0.25@1 could not be read: wrong length (its byte count says 4, 2 were asked for)"))
        << run.errors;
}

TEST(WrongAnswers, ForeignFramesAreNamed) {
    const FragileDevice device(everyTime(READ, std::string("\x02\x03\x02\x01\xf4\xfc\x53", 7)));
    const Finished run = dx7At(device.address(), {"read", "F:3.0.25", "--retries", "1"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "F:3.0.25@1 could not be read: no valid reply: 1 foreign frame\n"))
        << run.errors;
}

class LostScan : public testing::Test {
protected:
    const FragileDevice device{[](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.close = request[0] == 3;
        reaction.answer = !reaction.close;
        return reaction;
    }};
};

TEST_F(LostScan, TellsTheStationThatWasAskedFromThoseThatWereNot) {
    const Finished run = dx7At(device.address(), {"scan", "--stations", "1-5"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ(3, device.requests(STATUS));
    EXPECT_TRUE(says(run.output, "2 of 3 asked stations answered (stopped)\n")) << run.output;
    EXPECT_TRUE(says(run.errors, "; station 3 was asked and not heard; those after it were not asked\n"))
        << run.errors;
}

TEST_F(LostScan, SaysItAsJson) {
    const Finished run = dx7At(device.address(), {"scan", "--json", "--stations", "1-5"});
    const Json sum = withKey(jsonLines(run.output), "asked");
    ASSERT_FALSE(sum.is_null()) << run.output;
    EXPECT_EQ(3, sum.at("asked"));
    EXPECT_EQ(2, sum.at("answered"));
    EXPECT_EQ(3, sum.at("not_heard"));
    EXPECT_EQ(true, sum.at("stopped"));
}

TEST_F(LostScan, HasNoStationsAfterTheLast) {
    const Finished run = dx7At(device.address(), {"scan", "--stations", "2-3"});
    EXPECT_TRUE(says(run.output, "1 of 2 asked stations answered (stopped)\n")) << run.output;
    EXPECT_TRUE(says(run.errors, "; station 3 was asked and not heard\n")) << run.errors;
}

TEST(Noise, IsNamedAsSuch) {
    const FragileDevice device([](const FragileDevice::Frame&, int) {
        Reaction reaction;
        reaction.noise = std::string(100000, 'U');
        return reaction;
    });
    const Finished run = dx7At(device.address(), {"read", "F:3.0.20", "--retries", "1"});
    EXPECT_EQ(1, run.exitCode);
    // On a busy computer not all of it comes before the time is over.
    EXPECT_TRUE(std::regex_search(
        run.errors, std::regex("F:3.0.20@1 could not be read: no valid reply: [1-9][0-9]* bytes of noise")))
        << run.errors;
}

}  // namespace

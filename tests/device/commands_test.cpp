// The command channel: what is understood, what it does, what it answers.
#include "device/commands.h"

#include <gtest/gtest.h>

#include "device/line/usage_error.h"

namespace {

using namespace dx7sim;

class CommandsTest : public testing::Test {
protected:
    std::string answer(const std::string& line) { return runCommand(line, device, Time(), 3).answer; }

    Device device{{1, 2}, {}, 1, Time()};
};

TEST_F(CommandsTest, SetAnItemOfOneStationOrOfAll) {
    EXPECT_EQ(answer("set AI:0@2=4711"), "AI:0@2 = 4711\n");
    EXPECT_EQ(answer("get AI:0"), "AI:0@1 = 0\nAI:0@2 = 4711\n");
    EXPECT_EQ(answer("  set\tF:3.0.25 = 0x10 \r"), "F:3.0.25@1 = 16\nF:3.0.25@2 = 16\n");
    EXPECT_EQ(answer("set F:3.0.25@1=-1"), "F:3.0.25@1 = 65535\n");
}

TEST_F(CommandsTest, SilenceAndRevive) {
    EXPECT_EQ(answer("silence 2"), "station 2 is silent\n");
    EXPECT_TRUE(device.handle({2, 7, 0x41, 0x12}, Time()).empty());
    EXPECT_EQ(answer("revive 2"), "station 2 answers\n");
    EXPECT_EQ(device.handle({2, 7, 0x41, 0x12}, Time()).size(), 1U);
}

TEST_F(CommandsTest, FaultsChangeWhileRunning) {
    const Bytes query{1, 7, 0x41, 0xE2};
    EXPECT_EQ(answer("fault drop=1"), "faults changed\n");
    EXPECT_TRUE(device.handle(query, Time()).empty());
    EXPECT_EQ(answer("fault corrupt=0.0,silent=2"), "faults changed\n");
    EXPECT_EQ(device.handle(query, Time()).size(), 1U);
    EXPECT_TRUE(device.handle({2, 7, 0x41, 0x12}, Time()).empty());
    EXPECT_EQ(answer("fault late=1"), "faults changed\n");
    EXPECT_EQ(answer("fault none"), "faults changed\n");
    EXPECT_EQ(device.handle(query, Time()).front().pause, Time());
    EXPECT_EQ(answer("fault"),
              "error: \"fault\" needs a list: write fault drop=0.01,late=0.1 or fault none\n");
    EXPECT_EQ(answer("fault silent=3"), "error: station 3 is not simulated: simulated are 1, 2\n");
    EXPECT_EQ(answer("fault drop=2").substr(0, 6), "error:");
}

TEST_F(CommandsTest, ChangeTheWaysOfTheLineWhileRunning) {
    const Bytes query{1, 7, 0x41, 0xE2};
    EXPECT_EQ(answer("fault echo=0.5,delay=40,answer-before"), "faults changed\n");
    EXPECT_FALSE(device.echoesEveryByte());
    EXPECT_EQ(device.delay(), std::chrono::milliseconds(40));
    EXPECT_EQ(answer("fault echo"), "faults changed\n");
    EXPECT_TRUE(device.echoesEveryByte());
    EXPECT_EQ(device.delay(), Time());
    EXPECT_EQ(answer("fault answer-before"), "faults changed\n");
    EXPECT_TRUE(device.handle(query, Time()).empty());
    EXPECT_EQ(answer("fault answer-before,delay=1"), "faults changed\n");
    EXPECT_EQ(device.handle(query, Time()).size(), 1U) << "the reply before is kept";
    EXPECT_EQ(answer("fault none"), "faults changed\n");
    EXPECT_FALSE(device.echoesEveryByte());
    EXPECT_EQ(answer("fault answer-before"), "faults changed\n");
    EXPECT_TRUE(device.handle(query, Time()).empty()) << "it starts anew";
    EXPECT_EQ(
        answer("fault delay=x"),
        "error: \"x\" is not a valid time for the fault delay: write a whole number of milliseconds from 0 "
        "(no delay) to 600000, as delay=40\n");
}

TEST_F(CommandsTest, TimeIsTheDevicesOwn) {
    const Time now = std::chrono::microseconds(12345678);
    EXPECT_EQ(runCommand("time", device, now, 0).answer, "time 12.345678\n");
}

TEST_F(CommandsTest, ShowTheSummary) {
    device.handle({1, 7, 0x41, 0xE2}, Time());
    EXPECT_EQ(answer("summary"),
              "station 1: 1 requests (FC 7: 1), 0 exceptions\n"
              "station 2: 0 requests, 0 exceptions\n"
              "broadcasts: 0\n"
              "not for us: 0 requests to other stations, 0 frames that are no requests, 3 stray bytes\n"
              "faults made: drop 0, exception 0, truncate 0, corrupt 0, foreign 0, late 0, duplicate 0, "
              "second-master 0, echo 0, delay 0, answer-before 0\n");
}

TEST_F(CommandsTest, EndTheDevice) {
    EXPECT_TRUE(runCommand("quit", device, Time(), 0).quit);
    EXPECT_FALSE(runCommand("", device, Time(), 0).quit);
    EXPECT_EQ(answer("   "), "");
}

TEST_F(CommandsTest, ShowThemselves) {
    const std::string lines = "\n" + answer("help");
    for (const char* const word :
         {"set", "get", "silence", "revive", "fault", "time", "summary", "help", "quit"}) {
        EXPECT_NE(lines.find(std::string("\n") + word + " "), std::string::npos) << word;
    }
    EXPECT_NE(answer("help").find(faultForms()), std::string::npos);
}

class WrongCommands : public CommandsTest, public testing::WithParamInterface<const char*> {};

TEST_P(WrongCommands, GetAClearAnswer) {
    const CommandResult result = runCommand(GetParam(), device, Time(), 0);
    EXPECT_EQ(result.answer.rfind("error: ", 0), 0U) << result.answer;
    EXPECT_EQ(result.answer.back(), '\n');
    EXPECT_FALSE(result.quit);
}

INSTANTIATE_TEST_SUITE_P(Commands, WrongCommands,
                         testing::Values("explode", "SET AI:0=1", "set", "set AI:0",
                                         "set AI:0=", "set AI:9=1", "set AI:0@3=1", "set AI:0=65536",
                                         "set DO:1=2", "get", "get AI:0@3", "silence", "silence x",
                                         "silence 3", "revive 0", "quit now", "help me"));

TEST_F(CommandsTest, NameTheUnknownCommand) {
    EXPECT_EQ(answer("explode now"), "error: \"explode\" is not a command: \"help\" shows them all\n");
}

}  // namespace

// dx7 with the driver it loads, against dx7-device on a pseudo-terminal. What dx7 says is checked against
// clients that share no code with it: libmodbus's client and mbpoll.
#include <gtest/gtest.h>

#include <csignal>
#include <regex>
#include <string>
#include <vector>

#include "programs.h"
#include "tests/kit/device_process.h"
#include "tests/kit/modbus_client.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

namespace {

typedef std::vector<std::string> Words;

Words dx7Command(const std::string& command, const std::string& line, const Words& rest) {
    Words words = {dx7Program, command, "--driver", driverLibrary, "--serial", line};
    words.insert(words.end(), rest.begin(), rest.end());
    return words;
}

class Chain : public testing::Test {
protected:
    Finished dx7(const std::string& command, const Words& rest) {
        return runToEnd(dx7Command(command, link, rest));
    }

    /// One value as mbpoll reads it: table "0" coils, "1" discrete inputs, "3" input, "4" holding registers.
    std::string mbpoll(const std::string& table, int number) {
        const Finished run =
            runToEnd({DX7_MBPOLL, "-m", "rtu", "-a", "1", "-b", "9600", "-P", "none", "-t", table, "-0", "-r",
                      std::to_string(number), "-c", "1", "-1", "-q", link});
        std::smatch value;
        return std::regex_search(run.output, value, std::regex("\\]:\\s+(-?[0-9]+)"))
                   ? value[1].str()
                   : "no value: " + run.output;
    }

    TemporaryDirectory directory;
    std::string link = directory.file("line");
    DeviceProcess device{{"--pty", link}, {"--station", "1"}};
};

TEST_F(Chain, ReadsWhatTheDeviceHolds) {
    const Finished run = dx7("read", {"F:3.0.25", "DE:5", "MOD:1", "CW:0", "DO:1,2"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("", run.errors);
    EXPECT_EQ("F:3.0.25@1 = " + mbpoll("4", 0xF325) + "\nDE:5@1 = " + mbpoll("4", 0xDE05) +
                  "\nMOD:1@1 = " + mbpoll("4", 0x1301) + "\nCW:0@1 = " + mbpoll("4", 0x1300) +
                  "\nDO:1@1 = " + mbpoll("0", 0x1020) + "\nDO:2@1 = " + mbpoll("0", 0x1021) + "\n",
              run.output);
}

TEST_F(Chain, WritesABitAWordAndARunOfParameters) {
    const Finished run = dx7("write", {"--verify", "DO:2=1", "MOD:1=1234", "F:3.0.20,3=500,10,258"});
    EXPECT_EQ(0, run.exitCode) << run.output << run.errors;
    EXPECT_EQ("1", mbpoll("0", 0x1021));
    EXPECT_EQ("0", mbpoll("0", 0x1020));
    EXPECT_EQ("1234", mbpoll("4", 0x1301));
    EXPECT_EQ("500", mbpoll("4", 0xF320));
    EXPECT_EQ("10", mbpoll("4", 0xF321));
    EXPECT_EQ("258", mbpoll("4", 0xF322));

    const Client client(link);
    EXPECT_EQ(500, client.holding(0xF320));
}

TEST_F(Chain, ReadsBackWhatAnotherClientWrote) {
    {
        const Client client(link);
        ASSERT_EQ(1, modbus_write_register(client, 0xE325, 4321));
        ASSERT_EQ(1, modbus_write_bit(client, 0x1060, 1));
    }
    const Finished run = dx7("read", {"F:3.0.25", "SDO:1"});
    EXPECT_EQ("F:3.0.25@1 = 4321\nSDO:1@1 = 1\n", run.output) << run.errors;
}

TEST_F(Chain, ShowsEveryRegisterTypeWhileMonitoring) {
    const Words types = {"CW:0",   "SW:0",  "CW_bit:0", "SW_bit:0",   "DI:1,6", "DO:1,2", "RO:1", "SDO:1,8",
                         "AI:0,3", "FIN:0", "F:3.0.20", "D:0.0.00,3", "DE:0",   "MOD:1",  "FAS:0"};
    Words rest = {"--seconds", "2"};
    rest.insert(rest.end(), types.begin(), types.end());
    const Finished run = dx7("monitor", rest);
    EXPECT_EQ(0, run.exitCode) << run.errors;
    for (const std::string& type : types) {
        const std::string name = type.substr(0, type.find(','));
        EXPECT_NE(std::string::npos, run.output.find("  " + name)) << name << " in:\n" << run.output;
    }
    const std::regex summary("s: ([0-9]+) requests, ([0-9]+) good and 0 bad replies, ([0-9]+) changes");
    std::smatch counts;
    ASSERT_TRUE(std::regex_search(run.output, counts, summary)) << run.output;
    EXPECT_EQ(counts[1].str(), counts[2].str());
    EXPECT_GT(std::stoi(counts[3].str()), 10) << "the ramp moves ten times a second";
}

TEST_F(Chain, MonitorEndsWithItsSummaryOnCtrlC) {
    Process monitor(dx7Command("monitor", link, {"AI:0"}));
    ASSERT_NE("", monitor.readLine());
    monitor.signal(SIGINT);
    const Finished run = monitor.finish();
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_NE(std::string::npos, run.output.find("good and 0 bad replies")) << run.output;
}

TEST_F(Chain, ASilentDeviceFailsTheReadWithExitCode1) {
    const Finished run = dx7("read", {"--timeout", "50", "AI:0@9"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("AI:0@9")) << run.errors;
}

// Wrong usage: one clear line, exit code 2, and nothing reaches the device.
class WrongUsage : public Chain, public testing::WithParamInterface<Words> {};

TEST_P(WrongUsage, IsRefusedBeforeAnythingIsSent) {
    const Words& words = GetParam();
    const Finished run = dx7(words.front(), Words(words.begin() + 1, words.end()));
    EXPECT_EQ(2, run.exitCode) << run.output << run.errors;
    EXPECT_EQ("", run.output);
    EXPECT_TRUE(std::regex_match(run.errors, std::regex("dx7: [^\n]+\n"))) << run.errors;
    const Finished stopped = device.stop();
    EXPECT_EQ(0, stopped.exitCode);
    EXPECT_NE(std::string::npos, stopped.output.find("0 requests")) << stopped.output;
}

INSTANTIATE_TEST_SUITE_P(Table, WrongUsage,
                         testing::Values(Words{"read", "AI:4"}, Words{"read", "AI:-1"}, Words{"read", "AI:x"},
                                         Words{"read", "NO:1"}, Words{"read", "AI"},
                                         Words{"read", "F:3.0.56"}, Words{"read", "AI:0,5"},
                                         Words{"read", "AI:0@0"}, Words{"write", "MOD:1=65536"},
                                         Words{"write", "MOD:1=-40000"}, Words{"write", "DO:1=2"},
                                         Words{"write", "DO:1"}, Words{"write", "AI:0=1"},
                                         Words{"write", "MOD:1=1x"}, Words{"read", "--block", "0", "AI:0"},
                                         Words{"monitor", "--block", "-1", "AI:0"},
                                         Words{"monitor", "--seconds", "0", "AI:0"}));

TEST(WithoutALine, AMissingLibraryIsNamed) {
    const Finished run = runToEnd({dx7Program, "types", "--driver", "/nowhere/libkorvalent_dx7.so"});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("/nowhere/libkorvalent_dx7.so")) << run.errors;
}

TEST(WithoutALine, APortThatCannotBeOpenedIsNamed) {
    const Finished run = runToEnd(dx7Command("read", "/nowhere/ttyS9", {"AI:0"}));
    EXPECT_EQ(2, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("/nowhere/ttyS9")) << run.errors;
}

TEST(WithoutALine, TheTypesAreTheDriversOwn) {
    const Finished run = runToEnd({dx7Program, "types", "--driver", driverLibrary});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    for (const char* type : {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI", "AI", "FIN", "F", "D", "DE", "CW",
                             "SW", "MOD", "FAS"}) {
        EXPECT_TRUE(std::regex_search(run.output, std::regex("(^|\n)" + std::string(type) + " ")))
            << run.output;
    }
    EXPECT_NE(std::string::npos, run.output.find(" 0.0.00 to F.0.55 "));
}

}  // namespace

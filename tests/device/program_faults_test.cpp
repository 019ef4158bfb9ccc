// Faults and initial values, seen by a client.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/kit/device_process.h"
#include "tests/kit/modbus_client.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

namespace {

class ProgramFaultsTest : public testing::Test {
protected:
    // The replies to a row of requests, each as the client found it on the line.
    std::vector<std::vector<unsigned>> conversation(const std::string& faults, const std::string& seed) {
        DeviceProcess device({"--pty", link}, {"--fault", faults, "--seed", seed});
        Client client(link);
        std::vector<std::vector<unsigned>> replies;
        for (unsigned index = 0; index < 16; ++index) {
            replies.push_back(client.raw({1, 3, 0xF0, index % 10, 0, 1}));
        }
        return replies;
    }

    TemporaryDirectory directory;
    std::string link = directory.file("line");
};

TEST_F(ProgramFaultsTest, AreTheSameForTheSameSeed) {
    const std::string faults = "truncate=0.2,corrupt=0.2,exception=0.2,foreign=0.2";
    const auto first = conversation(faults, "7");
    EXPECT_EQ(first, conversation(faults, "7"));
    EXPECT_NE(first, conversation(faults, "8"));
}

TEST_F(ProgramFaultsTest, ComeInTheSummary) {
    DeviceProcess device({"--pty", link}, {"--fault", "exception=1"});
    Client client(link);
    client.holding(0xF000);
    client.holding(0xF001);
    const std::string summary = device.stop().output;
    EXPECT_NE(summary.find("station 1: 2 requests (FC 3: 2), 0 exceptions\n"), std::string::npos) << summary;
    EXPECT_NE(summary.find("exception 2,"), std::string::npos) << summary;
}

TEST_F(ProgramFaultsTest, DelayALateReply) {
    DeviceProcess device({"--pty", link}, {"--fault", "late=1", "--late-by", "300"});
    Client client(link);
    client.setTimeout(100);
    EXPECT_EQ(client.holding(0xF325), -ETIMEDOUT);
    client.setTimeout(REPLY_TIMEOUT_MS);
    EXPECT_EQ(client.receive().size(), 5U) << "the late reply arrives after all";
}

TEST_F(ProgramFaultsTest, SilenceAStation) {
    DeviceProcess device({"--pty", link}, {"--stations", "1,2", "--fault", "silent=2"});
    Client client(link);
    EXPECT_EQ(client.holding(0xF325), 325);
    modbus_set_slave(client, 2);
    client.setTimeout(100);
    EXPECT_EQ(client.holding(0xF325), -ETIMEDOUT);
}

TEST_F(ProgramFaultsTest, StartFromGivenValues) {
    const std::string file = directory.file("start.toml");
    std::ofstream(file) << "[values]\n\"F:3.0.25\" = 500\n\"F:3.0.25@2\" = 501\n\"CW_bit:1\" = true\n";
    DeviceProcess device({"--pty", link}, {"--stations", "1,2", "--values", file});
    Client client(link);
    EXPECT_EQ(client.holding(0xF325), 500);
    EXPECT_EQ(client.holding(0x1300), 2);
    modbus_set_slave(client, 2);
    EXPECT_EQ(client.holding(0xF325), 501);
}

TEST_F(ProgramFaultsTest, WrongValuesAreNamedWithLineAndColumn) {
    const std::string file = directory.file("start.toml");
    std::ofstream(file) << "[values]\n\"AI:0\" = 1\n\"AI:1\" = 65536\n";
    const Finished end = runToEnd({deviceProgram, "--pty", link, "--values", file});
    EXPECT_EQ(end.exitCode, 2);
    EXPECT_EQ(end.errors, "dx7-device: " + file + ":3:10: 65536 does not fit into AI: use -32768 to 65535\n");
}

}  // namespace

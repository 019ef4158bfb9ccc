// dx7-device on a pseudo-terminal, talked to by libmodbus's client and by mbpoll.
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/kit/device_process.h"
#include "tests/kit/modbus_client.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

namespace {

class ProgramTest : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string link = directory.file("line");
    DeviceProcess device{{"--pty", link}, {"--stations", "1,9"}};
    Client client{link};
};

TEST_F(ProgramTest, SaysThatItIsReady) {
    EXPECT_EQ(device.ready(), "ready on " + link + ", stations 1,9");
}

TEST_F(ProgramTest, ReadsAndWritesCoils) {
    std::uint8_t bits[16] = {};
    EXPECT_EQ(modbus_write_bit(client, 0x1020, 1), 1);
    EXPECT_EQ(modbus_read_bits(client, 0x1020, 8, bits), 8);
    EXPECT_EQ(std::vector<int>(bits, bits + 8), (std::vector<int>{1, 0, 0, 0, 0, 0, 0, 0}));
    const std::uint8_t outputs[8] = {1, 0, 1, 0, 0, 1, 0, 1};
    EXPECT_EQ(modbus_write_bits(client, 0x1060, 8, outputs), 8);
    EXPECT_EQ(modbus_read_bits(client, 0x1060, 8, bits), 8);
    EXPECT_TRUE(std::equal(outputs, outputs + 8, bits));
}

TEST_F(ProgramTest, ReadsDiscreteInputs) {
    std::uint8_t bits[15] = {};
    EXPECT_EQ(modbus_read_input_bits(client, 0x1100, 15, bits), 15);
    EXPECT_EQ(std::vector<int>(bits, bits + 15),
              (std::vector<int>{1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(modbus_read_input_bits(client, 0x1120, 6, bits), 6);
}

TEST_F(ProgramTest, ReadsInputRegisters) {
    std::uint16_t words[4] = {};
    ASSERT_EQ(modbus_read_input_registers(client, 0x1200, 4, words), 4);
    for (int i = 1; i < 4; ++i) {
        EXPECT_EQ(words[i] - words[0], 250 * i) << "the ramps keep their distance in the first seconds";
    }
}

TEST_F(ProgramTest, ReadsAndWritesHoldingRegisters) {
    EXPECT_EQ(client.holding(0xF325), 325);
    EXPECT_EQ(modbus_write_register(client, 0xE325, 500), 1);
    EXPECT_EQ(client.holding(0xF325), 500);
    const std::uint16_t two[2] = {10, 0x102};
    EXPECT_EQ(modbus_write_registers(client, 0xE010, 2, two), 2);
    std::uint16_t back[2] = {};
    EXPECT_EQ(modbus_read_registers(client, 0xF010, 2, back), 2);
    EXPECT_TRUE(std::equal(two, two + 2, back));
}

TEST_F(ProgramTest, AnswersTheStatusQuery) {
    const auto reply = client.raw({1, 7});
    ASSERT_EQ(reply.size(), 3U);
    EXPECT_EQ(reply[0], 1U);
    EXPECT_EQ(reply[1], 7U);
    EXPECT_EQ(reply[2] & 0x7F, 1U) << "ready; the uppermost bit beats";
}

TEST_F(ProgramTest, RefusesWhatADeviceRefuses) {
    EXPECT_EQ(client.holding(0x0000), -EMBXILADD);
    EXPECT_EQ(client.holding(0xF00A), -EMBXILADD);
    EXPECT_EQ(client.holding(0xE000), -EMBXILADD);
    EXPECT_EQ(modbus_write_register(client, 0x1309, 1), -1);
    EXPECT_EQ(errno, EMBXILADD);
    EXPECT_EQ(client.raw({1, 3, 0xF0, 0x00, 0, 126}), (std::vector<unsigned>{1, 0x83, 3}));
    EXPECT_EQ(client.raw({1, 8, 0, 0, 0x12, 0x34}), (std::vector<unsigned>{1, 0x88, 1}));
    std::uint8_t identity[MODBUS_MAX_PDU_LENGTH];
    EXPECT_EQ(modbus_report_slave_id(client, sizeof identity, identity), -1);
    EXPECT_EQ(errno, EMBXILFUN);
}

TEST_F(ProgramTest, CarriesOutBroadcastsAndStaysSilent) {
    client.setTimeout(SILENCE_MS);
    EXPECT_TRUE(client.raw({0, 5, 0x10, 0x40, 0xFF, 0x00}).empty());
    client.setTimeout(REPLY_TIMEOUT_MS);
    for (const int station : {1, 9}) {
        std::uint8_t bit = 0;
        modbus_set_slave(client, station);
        EXPECT_EQ(modbus_read_bits(client, 0x1040, 1, &bit), 1);
        EXPECT_EQ(bit, 1);
    }
}

TEST_F(ProgramTest, LeavesOtherStationsUnanswered) {
    client.setTimeout(SILENCE_MS);
    EXPECT_TRUE(client.raw({2, 3, 0x13, 0, 0, 1}).empty());
    client.setTimeout(REPLY_TIMEOUT_MS);
    EXPECT_EQ(client.holding(0x1301), 0);
}

TEST_F(ProgramTest, KeepsStationsApart) {
    modbus_write_register(client, 0x1301, 77);
    modbus_set_slave(client, 9);
    EXPECT_EQ(client.holding(0x1301), 0);
}

TEST_F(ProgramTest, RecoversFromNoise) {
    const int line = modbus_get_socket(client);
    const std::uint8_t noise[] = {0x01, 0x03, 0xF3, 0x25, 0x00, 0x01, 0xA6, 0x00, 0xFF};
    ASSERT_EQ(write(line, noise, sizeof noise), static_cast<ssize_t>(sizeof noise));
    // A client that got no reply waits longer than this before it asks again.
    usleep(100000);
    EXPECT_EQ(client.holding(0xF325), 325);
    EXPECT_NE(device.stop().output.find("9 stray bytes"), std::string::npos);
}

TEST_F(ProgramTest, TakesCommands) {
    device.type("set AI:0@9=4711\nexplode\nsilence 1\n");
    EXPECT_EQ(device.readLine(), "AI:0@9 = 4711");
    EXPECT_EQ(device.readLine(), "error: \"explode\" is not a command: \"help\" shows them all");
    EXPECT_EQ(device.readLine(), "station 1 is silent");
    modbus_set_slave(client, 9);
    EXPECT_EQ(client.input(0x1200), 4711);
    client.setTimeout(SILENCE_MS);
    EXPECT_TRUE(client.raw({1, 7}).empty());
    client.setTimeout(REPLY_TIMEOUT_MS);
    device.type("revive 1\n");
    EXPECT_EQ(device.readLine(), "station 1 answers");
    EXPECT_EQ(client.raw({1, 7}).size(), 3U);
}

TEST_F(ProgramTest, EndsWithASummary) {
    client.holding(0xF000);
    client.holding(0x0000);
    client.input(0x1200);
    device.type("quit\n");
    const Finished end = device.finish();
    EXPECT_EQ(end.exitCode, 0);
    EXPECT_EQ(end.errors, "");
    EXPECT_EQ(end.output,
              "station 1: 3 requests (FC 3: 2, FC 4: 1), 1 exceptions (code 2: 1)\n"
              "station 9: 0 requests, 0 exceptions\n"
              "broadcasts: 0\n"
              "not for us: 0 requests to other stations, 0 frames that are no requests, 0 stray bytes\n"
              "faults made: drop 0, exception 0, truncate 0, corrupt 0, foreign 0, late 0, duplicate 0, "
              "second-master 0, echo 0, delay 0, answer-before 0\n");
}

#ifdef DX7_MBPOLL
std::string mbpoll(const std::string& link, const std::vector<std::string>& request,
                   const std::string& value = "") {
    std::vector<std::string> command{DX7_MBPOLL, "-m", "rtu",  "-a", "1",  "-b",
                                     "9600",     "-P", "none", "-0", "-1", "-q"};
    command.insert(command.end(), request.begin(), request.end());
    command.push_back(link);
    if (!value.empty()) {
        command.push_back(value);
    }
    const Finished end = runToEnd(command);
    EXPECT_EQ(end.exitCode, 0) << end.errors;
    return end.output;
}

TEST_F(ProgramTest, SatisfiesMbpoll) {
    EXPECT_NE(mbpoll(link, {"-t", "4", "-r", "62245"}).find("[62245]: \t325"), std::string::npos);
    mbpoll(link, {"-t", "4", "-r", "58149"}, "500");
    EXPECT_NE(mbpoll(link, {"-t", "4", "-r", "62245"}).find("[62245]: \t500"), std::string::npos);
    mbpoll(link, {"-t", "0", "-r", "4128"}, "1");
    EXPECT_NE(mbpoll(link, {"-t", "0", "-r", "4128"}).find("[4128]: \t1"), std::string::npos);
    EXPECT_NE(mbpoll(link, {"-t", "1", "-r", "4361"}).find("[4361]: \t1"), std::string::npos);
    device.type("set AI:2=1234\n");
    device.readLine();
    device.readLine();
    EXPECT_NE(mbpoll(link, {"-t", "3", "-r", "4610"}).find("[4610]: \t1234"), std::string::npos);
}
#endif

}  // namespace

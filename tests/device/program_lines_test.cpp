// The lines of dx7-device: clients that come and go, the pace of a slow line, what cannot be opened.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/kit/device_process.h"
#include "tests/kit/modbus_client.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

namespace {

namespace fs = std::filesystem;

Finished runDevice(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{deviceProgram};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runToEnd(command);
}

class PtyLineTest : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string link = directory.file("line");
};

TEST_F(PtyLineTest, OutlivesItsClients) {
    DeviceProcess device({"--pty", link}, {});
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Client(link).holding(0xF325), 325);
    }
}

TEST_F(PtyLineTest, LeavesNothingOfOneClientToTheNext) {
    DeviceProcess device({"--pty", link}, {});
    const std::uint8_t request[] = {0x01, 0x03, 0xF3, 0x25, 0x00, 0x01, 0xA6, 0x85};
    for (int i = 0; i < 5; ++i) {
        {
            const Client impatient(link);
            ASSERT_EQ(write(modbus_get_socket(impatient), request, sizeof request), 8);
            // Sometimes it leaves before the reply is there, sometimes with the reply unread.
            std::this_thread::sleep_for(std::chrono::milliseconds(i % 2 * 50));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(Client(link).holding(0xF055), 55) << "not the 325 that the other one asked for";
    }
}

TEST_F(PtyLineTest, IsNotClaimedByAClientThatIsGone) {
    DeviceProcess device({"--pty", link}, {});
    ioctl(modbus_get_socket(Client(link)), TIOCEXCL);
    // Long enough for the device to see that it has left.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const Client next(link);
    EXPECT_EQ(next.holding(0xF325), 325);
    int claimed = -1;
    ASSERT_EQ(ioctl(modbus_get_socket(next), TIOCGEXCL, &claimed), 0);
    EXPECT_EQ(claimed, 0);
}

TEST_F(PtyLineTest, RemovesItsLinkAtTheEnd) {
    for (const int number : {SIGINT, SIGTERM}) {
        DeviceProcess device({"--pty", link}, {});
        EXPECT_TRUE(fs::is_symlink(link));
        device.signal(number);
        EXPECT_EQ(device.finish().exitCode, 0);
        EXPECT_FALSE(fs::is_symlink(link));
    }
}

TEST_F(PtyLineTest, ReplacesTheLinkOfADeviceThatWasKilled) {
    {
        DeviceProcess device({"--pty", link}, {});
        device.signal(SIGKILL);
        device.finish();
    }
    ASSERT_TRUE(fs::is_symlink(link));
    DeviceProcess device({"--pty", link}, {});
    EXPECT_EQ(Client(link).holding(0xF325), 325);
}

TEST_F(PtyLineTest, LeavesAnotherFileAlone) {
    std::ofstream(link) << "precious";
    const Finished end = runDevice({"--pty", link});
    EXPECT_EQ(end.exitCode, 2);
    EXPECT_NE(end.errors.find("\"" + link + "\" exists and is no link to a pseudo-terminal"),
              std::string::npos);
    EXPECT_EQ(fs::file_size(link), 8U);

    const std::string elsewhere = directory.file("elsewhere");
    fs::create_symlink(link, elsewhere);
    EXPECT_EQ(runDevice({"--pty", elsewhere}).exitCode, 2);
    EXPECT_EQ(fs::read_symlink(elsewhere), link);
}

TEST_F(PtyLineTest, LeavesALinkThatAnotherDeviceTookOver) {
    DeviceProcess first({"--pty", link}, {});
    DeviceProcess second({"--pty", link}, {"--station", "2"});
    EXPECT_EQ(first.stop().exitCode, 0);
    EXPECT_EQ(Client(link, 2).holding(0xF325), 325);
}

TEST_F(PtyLineTest, CarriesOutALastCommandWithoutItsNewline) {
    DeviceProcess device({"--pty", link}, {});
    device.type("set F:3.0.25=7\nset F:3.0.25=8");
    device.closeInput();
    EXPECT_EQ(device.readLine(), "F:3.0.25@1 = 7");
    EXPECT_EQ(device.readLine(), "F:3.0.25@1 = 8");
    EXPECT_EQ(Client(link).holding(0xF325), 8);
}

TEST_F(PtyLineTest, RefusesASeedThatIsNoWholeNumber) {
    for (const char* seed : {"-1", "1.5", "x", "", "99999999999999999999"}) {
        const Finished end = runDevice({"--pty", link, "--seed", seed});
        EXPECT_EQ(end.exitCode, 2) << seed;
        EXPECT_NE(end.errors.find("not a whole number"), std::string::npos) << end.errors;
    }
}

TEST_F(PtyLineTest, RefusesEmptyTexts) {
    for (const char* option : {"--pty", "--serial"}) {
        EXPECT_EQ(runDevice({option, ""}).exitCode, 2) << option;
    }
    for (const char* option : {"--station", "--stations", "--values"}) {
        const Finished end = runDevice({"--pty", link, option, ""});
        EXPECT_EQ(end.exitCode, 2) << option;
        EXPECT_NE(end.errors.find(std::string(option) + ": is an empty text"), std::string::npos)
            << end.errors;
    }
}

TEST_F(PtyLineTest, GoesOnWithoutStandardInput) {
    DeviceProcess device({"--pty", link}, {});
    device.closeInput();
    EXPECT_EQ(Client(link).holding(0xF325), 325);

    const std::string other = directory.file("other");
    Process closed({deviceProgram, "--pty", other}, false);
    EXPECT_EQ(closed.readLine(), "ready on " + other + ", stations 1");
    EXPECT_EQ(Client(other).holding(0xF325), 325);
}

TEST(TcpLineTest, CarriesRtuFrames) {
    DeviceProcess device({"--tcp", "0"}, {"--station", "9"});
    EXPECT_EQ(device.ready(), "ready on tcp 127.0.0.1:" + std::to_string(device.tcpPort()) + ", stations 9");
    const Client client(connectTo(device.tcpPort()), 9);
    EXPECT_EQ(client.holding(0xF325), 325);
    EXPECT_EQ(client.raw({9, 7}).size(), 3U);
}

TEST(TcpLineTest, OutlivesItsClients) {
    DeviceProcess device({"--tcp", "0"}, {});
    const int port = device.tcpPort();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Client(connectTo(port)).holding(0xF325), 325);
    }
}

TEST(TcpLineTest, IsTakenOverByANewClient) {
    DeviceProcess device({"--tcp", "0"}, {});
    const Client vanished(connectTo(device.tcpPort()));
    EXPECT_EQ(vanished.holding(0xF325), 325);
    const Client fresh(connectTo(device.tcpPort()));
    EXPECT_EQ(fresh.holding(0xF325), 325);
    char byte = 0;
    EXPECT_EQ(read(modbus_get_socket(vanished), &byte, 1), 0) << "the old connection is closed";
}

TEST(TcpLineTest, LeavesNothingOfOneClientToTheNext) {
    DeviceProcess device({"--tcp", "0"}, {"--fault", "late=1", "--late-by", "200"});
    const int port = device.tcpPort();
    const std::uint8_t request[] = {0x01, 0x03, 0xF3, 0x25, 0x00, 0x01, 0xA6, 0x85};
    {
        const Client impatient(connectTo(port));
        ASSERT_EQ(write(modbus_get_socket(impatient), request, sizeof request), 8);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_EQ(Client(connectTo(port)).holding(0xF055), 55) << "not the 325 that the other one asked for";
}

TEST(TcpLineTest, CannotShareItsPort) {
    DeviceProcess device({"--tcp", "0"}, {});
    const std::string port = std::to_string(device.tcpPort());
    const Finished end = runDevice({"--tcp", port});
    EXPECT_EQ(end.exitCode, 2);
    EXPECT_EQ(end.errors, "dx7-device: cannot listen on 127.0.0.1:" + port + ": Address already in use\n");
}

TEST(TestDevice, ThatIsNotReadySaysWhy) {
    try {
        const DeviceProcess device({"--tcp", "x"}, {});
        FAIL() << device.ready();
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("\"x\" is not a plain number"), std::string::npos)
            << error.what();
    }
}

class SerialLineTest : public testing::Test {
protected:
    void SetUp() override {
        char path[64] = {};
        ASSERT_EQ(openpty(&farEnd, &nearEnd, path, nullptr, nullptr), 0);
        // The device must not hold the far end open itself.
        fcntl(farEnd, F_SETFD, FD_CLOEXEC);
        fcntl(nearEnd, F_SETFD, FD_CLOEXEC);
        port = path;
    }
    void TearDown() override {
        close(farEnd);
        close(nearEnd);
    }

    int farEnd = -1;
    int nearEnd = -1;
    std::string port;
};

TEST_F(SerialLineTest, Answers) {
    DeviceProcess device({"--serial", port}, {"--baud", "19200", "--parity", "odd", "--stop-bits", "2"});
    EXPECT_EQ(device.ready(), "ready on " + port + ", stations 1");
    const Client client(dup(farEnd));
    EXPECT_EQ(client.holding(0xF325), 325);
}

TEST_F(SerialLineTest, IsOneDevicesAloneWhateverItsName) {
    DeviceProcess device({"--serial", port}, {});
    const TemporaryDirectory directory;
    const std::string link = directory.file("port");
    fs::create_symlink(port, link);
    for (const std::string& name : {port, link}) {
        const Finished end = runDevice({"--serial", name});
        EXPECT_EQ(end.exitCode, 2);
        EXPECT_EQ(end.errors, "dx7-device: cannot open the serial port \"" + name +
                                  "\": it is in use by dx7-device (process " + std::to_string(device.id()) +
                                  ")\n");
    }
    device.signal(SIGKILL);
    device.finish();
    DeviceProcess next({"--serial", link}, {});
    EXPECT_EQ(next.ready(), "ready on " + link + ", stations 1");
}

TEST_F(SerialLineTest, IsGoneForGood) {
    DeviceProcess device({"--serial", port}, {});
    close(farEnd);
    farEnd = -1;
    const Finished end = device.finish();
    EXPECT_EQ(end.exitCode, 1);
    EXPECT_EQ(end.errors, "dx7-device: the serial port " + port + " is gone\n");
}

struct UsageRow {
    const char* name;
    std::vector<std::string> arguments;
    const char* words;
};

void PrintTo(const UsageRow& row, std::ostream* out) {
    *out << row.name;
}

const UsageRow USAGES[] = {
    {"no_line", {}, "--pty"},
    {"two_lines", {"--pty", "x", "--tcp", "0"}, "--pty"},
    {"unknown_option", {"--tcp", "0", "--colour"}, "--colour"},
    {"station_0", {"--tcp", "0", "--station", "0"}, "\"0\" is no station: use 1 to 247"},
    {"octal_port", {"--tcp", "010"}, "--tcp: \"010\" is not a plain number from 0 to 65535"},
    {"signed_port", {"--tcp", "+18900"}, "\"+18900\" is not a plain number"},
    {"hexadecimal_lateness",
     {"--tcp", "0", "--late-by", "0x10"},
     "\"0x10\" is not a plain number from 1 to 60000"},
    {"station_twice", {"--tcp", "0", "--stations", "1,1"}, "station 1 is named twice"},
    {"both_station_options", {"--tcp", "0", "--stations", "1,2", "--station", "1"}, "--station"},
    {"baud_0", {"--tcp", "0", "--baud", "0"}, "--baud"},
    {"parity", {"--tcp", "0", "--parity", "strange"}, "--parity"},
    {"fault", {"--tcp", "0", "--fault", "explode=1"}, "\"explode\" is not a known fault"},
    {"silent_stranger", {"--tcp", "0", "--fault", "silent=3"}, "station 3 is not simulated: simulated are 1"},
    {"no_values", {"--tcp", "0", "--values", "no/such.toml"}, "cannot read the values file \"no/such.toml\""},
    {"port", {"--tcp", "65536"}, "--tcp"},
    {"address", {"--tcp", "0", "--bind", "localhost"}, "\"localhost\" is not an address to listen on"},
    {"no_serial_port", {"--serial", "/no/such/port"}, "cannot open the serial port \"/no/such/port\""},
    {"no_terminal", {"--serial", "/dev/null"}, "\"/dev/null\" is not a serial port"},
    {"serial_speed", {"--serial", "/dev/null", "--baud", "12345"}, "a serial port cannot run at 12345 baud"},
    {"no_directory",
     {"--pty", "/no/such/directory/line"},
     "cannot make the link \"/no/such/directory/line\""},
};

class Usage : public testing::TestWithParam<UsageRow> {};

TEST_P(Usage, IsRefusedInOneClearLine) {
    const Finished end = runDevice(GetParam().arguments);
    EXPECT_EQ(end.exitCode, 2);
    EXPECT_EQ(end.output, "");
    EXPECT_EQ(end.errors.rfind("dx7-device: ", 0), 0U) << end.errors;
    EXPECT_NE(end.errors.find(GetParam().words), std::string::npos) << end.errors;
    EXPECT_EQ(std::count(end.errors.begin(), end.errors.end(), '\n'), 1) << end.errors;
}

INSTANTIATE_TEST_SUITE_P(Program, Usage, testing::ValuesIn(USAGES),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Program, ExplainsItself) {
    const Finished help = runDevice({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* const word :
         {"--pty", "--tcp", "--serial", "--fault", "--values", "Examples:", "Exit codes:"}) {
        EXPECT_NE(help.output.find(word), std::string::npos) << word;
    }
    const Finished version = runDevice({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.output.rfind("dx7-device ", 0), 0U);
}

}  // namespace

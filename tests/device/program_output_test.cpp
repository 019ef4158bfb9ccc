// What dx7-device prints, and that no output keeps it from ending.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "common/printable.h"
#include "tests/kit/device_process.h"
#include "tests/kit/modbus_client.h"
#include "tests/kit/patience.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

namespace {

// Long enough for a device to fill what it writes to, and for one that has been told to end to do so.
constexpr auto A_WHILE = std::chrono::milliseconds(300);
constexpr auto SOON = std::chrono::seconds(5);

std::string times(std::size_t count, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

void waitFor(const std::string& path) {
    for (const auto until = Clock::now() + SOON; !std::filesystem::exists(path) && Clock::now() < until;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

// Sends what the socket takes within 20 s.
void sendAll(int socket, const std::string& bytes) {
    const timeval patience{20, 0};
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    ASSERT_EQ(send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

const std::string STATUS_QUERY("\x01\x07\x41\xe2", 4);

void expectEndsSoon(Process& device, int signalNumber, int exitCode = 0) {
    std::this_thread::sleep_for(A_WHILE);
    const auto start = Clock::now();
    device.signal(signalNumber);
    EXPECT_EQ(device.finish().exitCode, exitCode);
    EXPECT_LT(Clock::now() - start, SOON);
}

class BlockedOutput : public testing::TestWithParam<int> {
protected:
    TemporaryDirectory directory;
    std::string link = directory.file("line");
};
INSTANTIATE_TEST_SUITE_P(Signals, BlockedOutput, testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& row) { return "Signal" + std::to_string(row.param); });

TEST_P(BlockedOutput, OfCommandsIsLeft) {
    DeviceProcess device({"--pty", link}, {});
    device.type(times(1000, "help\n"));
    expectEndsSoon(device, GetParam());
    EXPECT_FALSE(std::filesystem::is_symlink(link)) << "it cleans up all the same";
}

TEST_P(BlockedOutput, OfTheTraceIsLeft) {
    DeviceProcess device({"--tcp", "0"}, {"--trace"});
    const int client = connectTo(device.tcpPort());
    sendAll(client, times(4000, STATUS_QUERY));
    expectEndsSoon(device, GetParam());
    close(client);
}

TEST_P(BlockedOutput, OfTheFirstLineIsLeft) {
    Process device({"/bin/sh", "-c", "yes | head -c 65536; exec \"$0\" --pty \"$1\"", deviceProgram, link});
    waitFor(link);
    expectEndsSoon(device, GetParam());
    EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST_P(BlockedOutput, OfAClientThatDoesNotReadIsLeft) {
    DeviceProcess device({"--tcp", "0"}, {});
    const int client = connectTo(device.tcpPort());
    sendAll(client, times(1000000, STATUS_QUERY));
    expectEndsSoon(device, GetParam());
    close(client);
}

// A device whose output is a terminal.
class BlockedTerminal : public BlockedOutput {
protected:
    void SetUp() override {
        char path[64] = {};
        ASSERT_EQ(openpty(&screen, &terminal, path, nullptr, nullptr), 0);
        fcntl(screen, F_SETFD, FD_CLOEXEC);
        fcntl(terminal, F_SETFD, FD_CLOEXEC);
        const std::vector<std::string> command{"/bin/sh",     "-c", "exec \"$0\" --pty \"$1\" >\"$2\" 2>&1",
                                               deviceProgram, link, path};
        device = std::make_unique<Process>(command);
        waitFor(link);
    }
    void TearDown() override {
        device.reset();
        close(screen);
        close(terminal);
    }

    int screen = -1;
    int terminal = -1;
    std::unique_ptr<Process> device;
};
INSTANTIATE_TEST_SUITE_P(Signals, BlockedTerminal, testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& row) { return "Signal" + std::to_string(row.param); });

TEST_P(BlockedTerminal, ThatIsNotReadIsLeft) {
    device->type(times(1000, "help\n"));
    expectEndsSoon(*device, GetParam());
}

TEST_P(BlockedTerminal, ThatIsStoppedIsLeft) {
    ASSERT_EQ(tcflow(terminal, TCOOFF), 0);
    device->type("help\n");
    expectEndsSoon(*device, GetParam());
    tcflow(terminal, TCOON);
}

TEST(LateReader, GetsAllThatIsPrinted) {
    DeviceProcess device({"--tcp", "0"}, {});
    device.type(times(1000, "help\n"));
    std::this_thread::sleep_for(A_WHILE);
    device.signal(SIGTERM);
    std::string last;
    for (std::string line = device.readLine(); !line.empty(); line = device.readLine()) {
        last = line;
    }
    EXPECT_EQ(last.rfind("faults made:", 0), 0U) << last;
    EXPECT_EQ(device.finish().exitCode, 0);
}

TEST(ValuesFile, ThatNeverComesIsLeft) {
    const TemporaryDirectory directory;
    const std::string fifo = directory.file("values");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    Process device({deviceProgram, "--tcp", "0", "--values", fifo});
    expectEndsSoon(device, SIGTERM, -1);
}

// Nothing but text, and line ends.
void expectPrintable(const std::string& text) {
    std::string without = text;
    without.erase(std::remove(without.begin(), without.end(), '\n'), without.end());
    EXPECT_EQ(without, dx7common::printable(without));
    EXPECT_NE(without, "");
}

const std::string NASTY[] = {"\x1b[2J",   "\x07\x08\r", "\x7f", "\xc2\x9b\x32J",
                             "\x9b\x32J", "\xe2\x82",   "\xff"};

TEST(Echo, OfArgumentsIsPrintable) {
    const TemporaryDirectory directory;
    for (const std::string& nasty : NASTY) {
        const std::string text = "a" + nasty + "b";
        const std::vector<std::vector<std::string>> rows = {
            {"--tcp", text},
            {"--tcp", "0", "--station", text},
            {"--tcp", "0", "--stations", "1," + text},
            {"--tcp", "0", "--values", text},
            {"--tcp", "0", "--fault", text + "=1"},
            {"--tcp", "0", "--fault", "drop=" + text},
            {"--tcp", "0", "--seed", text},
            {"--tcp", "0", "--parity", text},
            {"--tcp", "0", "--baud", text},
            {"--tcp", "0", "--bind", text},
            {"--tcp", "0", "--" + text},
            {"--tcp", "0", text},
            {"--serial", directory.file(text)},
            {"--pty", directory.file(text) + "/line"},
        };
        for (std::vector<std::string> row : rows) {
            row.insert(row.begin(), deviceProgram);
            const Finished end = runToEnd(row);
            EXPECT_EQ(end.exitCode, 2) << row.back();
            expectPrintable(end.errors);
            EXPECT_EQ(std::count(end.errors.begin(), end.errors.end(), '\n'), 1) << end.errors;
        }
    }
}

TEST(Echo, OfAValuesFileIsPrintable) {
    const TemporaryDirectory directory;
    const std::string file = directory.file("values.toml");
    std::vector<std::string> contents = {"[values]\n\"a\\u001b[2J\\n\\u009b\\u0000b\" = 1\n",
                                         "[\"\\u001b[2J\"]\n", "[values]\n\"AI:\\u0007\" = 1\n"};
    for (const std::string& nasty : NASTY) {
        contents.push_back("[values]\n\"" + nasty + "\" = 1\n");
        contents.push_back("[values" + nasty + "]\n");
        contents.push_back("[values]\n\"AI:0\" = " + nasty + "\n");
    }
    for (const std::string& content : contents) {
        std::ofstream(file) << content;
        const Finished end = runToEnd({deviceProgram, "--tcp", "0", "--values", file});
        EXPECT_EQ(end.exitCode, 2) << content;
        expectPrintable(end.errors);
        EXPECT_EQ(std::count(end.errors.begin(), end.errors.end(), '\n'), 1) << end.errors;
    }
}

TEST(Echo, OfCommandsAndPathsIsPrintable) {
    const TemporaryDirectory directory;
    Process device({deviceProgram, "--pty", directory.file("a\x1b[2J\nb")});
    std::string expected = "ready on " + directory.file("a\\x1b[2J\\x0ab") + ", stations 1";
    EXPECT_EQ(device.readLine(), expected);
    for (const std::string& nasty : NASTY) {
        for (const char* const before :
             {"", "x", "set ", "set AI:0=1", "set AI:0@1", "set AI:", "get ", "get AI:0@", "silence ",
              "revive 1", "fault ", "fault drop=", "time ", "quit "}) {
            device.type(before + nasty + "b\n");
            const std::string answer = device.readLine();
            EXPECT_EQ(answer.rfind("error: ", 0), 0U) << before << ": " << answer;
            expectPrintable(answer);
        }
    }
    device.type(std::string("zero\0after\n", 11));
    expected = "error: \"zero\\x00after\" is not a command: \"help\" shows them all";
    EXPECT_EQ(device.readLine(), expected);
}

TEST(Commands, ThatAreTooLongAreDroppedToTheirEnd) {
    DeviceProcess device({"--tcp", "0"}, {});
    // The device reads 512 characters at a time, and 4608 are too many.
    device.type(std::string(4608, 'a') + "set F:3.0.25=9\nget F:3.0.25\n");
    EXPECT_EQ(device.readLine(), "error: a command of more than 4096 characters was dropped");
    EXPECT_EQ(device.readLine(), "F:3.0.25@1 = 325");
    device.type(std::string(60000, 'a') + "\nget F:3.0.25\n");
    EXPECT_EQ(device.readLine(), "error: a command of more than 4096 characters was dropped");
    EXPECT_EQ(device.readLine(), "F:3.0.25@1 = 325");
}

class Flood : public testing::Test {
protected:
    void start(const std::vector<std::string>& options) {
        device = std::make_unique<DeviceProcess>(std::vector<std::string>{"--tcp", "0"}, options);
        port = device->tcpPort();
    }
    // Whether the device has seen so many status queries, or lost them.
    bool hasSeen(long queries) {
        for (const auto until = Clock::now() + std::chrono::seconds(30); Clock::now() < until;) {
            const std::string answered = summaryLine("station 1: ");
            const std::string lost = summaryLine("overrun: ");
            if (std::atol(answered.c_str() + 11) + (lost.empty() ? 0 : std::atol(lost.c_str() + 9)) ==
                queries) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }
    // The line of the summary that begins so; empty when there is none.
    std::string summaryLine(const std::string& beginning) {
        device->type("summary\n");
        std::string found;
        for (std::string line = device->readLine(); !line.empty(); line = device->readLine()) {
            found = line.rfind(beginning, 0) == 0 ? line : found;
            if (line.rfind("faults made:", 0) == 0) {
                break;
            }
        }
        return found;
    }
    void expectBoundedMemory() {
        const int client = connectTo(port);
        const long before = device->residentKb();
        sendAll(client, times(1000000, STATUS_QUERY));
        EXPECT_TRUE(hasSeen(1000000));
        EXPECT_NE(summaryLine("overrun: "), "");
#ifndef __SANITIZE_ADDRESS__  // It keeps what was freed.
        EXPECT_LT(device->residentKb() - before, 20000) << "kB";
#else
        EXPECT_GT(before, 0);
#endif
        close(client);
        EXPECT_EQ(Client(connectTo(port)).raw({1, 7}).size(), 3U) << "the next client is not held up";
    }

    std::unique_ptr<DeviceProcess> device;
    int port = 0;
};

TEST_F(Flood, OfASlowLineTakesNoMemory) {
    start({"--baud", "2400"});
    expectBoundedMemory();
}

TEST_F(Flood, OfALineWithLateRepliesTakesNoMemory) {
    start({"--fault", "late=1", "--late-by", "200"});
    expectBoundedMemory();
}

TEST_F(Flood, OfASlowLineIsOverSoon) {
    start({"--baud", "115200"});
    const Client client(connectTo(port));
    sendAll(modbus_get_socket(client), times(1000000, STATUS_QUERY));
    EXPECT_TRUE(hasSeen(1000000));
    // What the line had taken in, 1024 characters, and the replies that waited take less than a second.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    char replies[4096];
    while (recv(modbus_get_socket(client), replies, sizeof replies, MSG_DONTWAIT) > 0) {
    }
    EXPECT_EQ(client.raw({1, 7}).size(), 3U);
}

TEST_F(Flood, OfOneClientLeavesNothingToTheNext) {
    start({});
    const std::string request("\x01\x03\xf3\x25\x00\x01\xa6\x85", 8);
    for (int i = 0; i < 20; ++i) {
        const int flooding = connectTo(port);
        sendAll(flooding, times(10000, request));
        EXPECT_EQ(Client(connectTo(port)).holding(0xF055), 55) << "not the 325 that the other one asked for";
        close(flooding);
    }
}

TEST_F(Flood, OfALineThatTakesNoTimeLosesNothing) {
    start({});
    const int client = connectTo(port);
    sendAll(client, times(3000, STATUS_QUERY));
    std::size_t received = 0;
    char replies[4096];
    const timeval patience{10, 0};
    setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    while (received < 3000 * 5) {
        const ssize_t count = recv(client, replies, sizeof replies, 0);
        ASSERT_GT(count, 0) << received;
        received += static_cast<std::size_t>(count);
    }
    EXPECT_EQ(summaryLine("overrun: "), "");
    close(client);
}

}  // namespace

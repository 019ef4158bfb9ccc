// dx7 scan --find: the settings of a line that nobody knows.
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

#include "fragile_device.h"
#include "rig.h"
#include "tests/kit/crc.h"
#include "tests/kit/pseudo_terminal.h"

namespace {

// Stations 2 and 3 at a speed of their own.
class Find : public testing::Test {
protected:
    Finished find(Words more = {}) const {
        Words words{"scan", "--find", "--stations", "1-3", "--timeout", "60"};
        words.insert(words.end(), more.begin(), more.end());
        return rig.dx7(words);
    }

    Rig rig{Carrier::PseudoTerminal, {"--stations", "2,3", "--strict", "--baud", "38400"}};
};

TEST_F(Find, NamesTheSettingsAsOptionsAndTheStations) {
    const Finished run = find({"--parity", "none"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(run.output, "8 combinations of baud rate and parity, 3 stations each: ")) << run.output;
    EXPECT_TRUE(says(run.output, "9600 8N1")) << run.output;
    EXPECT_TRUE(says(run.output, "stations 2, 3 answer  (")) << run.output;
    EXPECT_TRUE(says(run.output, "s left at most)")) << run.output;
    EXPECT_TRUE(says(run.output, "found: " + rig.line()[0] + " " + rig.line()[1] +
                                     " --baud 38400 --parity none --data-bits 8 --stop-bits 1\n"))
        << run.output;
    const std::string seen = rig.stopDevice();
    EXPECT_TRUE(says(seen, "station 2: 1 requests (FC 7: 1)")) << seen;
}

TEST_F(Find, EndsAtTheFirstFind) {
    const Finished run = find({"--first", "--json"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> lines = jsonLines(run.output);
    const Json& last = lines.at(lines.size() - 2);
    EXPECT_EQ("settings", last.at("event"));
    EXPECT_EQ(38400, last.at("baud"));
    EXPECT_EQ(Json::parse("[2]"), last.at("stations"));
    EXPECT_EQ(1, lines.back().at("found"));
    EXPECT_EQ(lines.size() - 1, lines.back().at("tried").get<std::size_t>());
    EXPECT_LT(lines.size(), 12U) << "a likely one";
}

TEST_F(Find, SavesALineFileThatCanBeUsed) {
    const std::string file = rig.file("line.toml");
    const Finished run = find({"--first", "--parity", "none", "--save", file});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(readFile(file), "baud = 38400\n")) << readFile(file);
    EXPECT_TRUE(says(readFile(file), "station 2 answers")) << readFile(file);
    EXPECT_EQ(0, runToEnd(dx7Words({"read", "-c", file, "AI:0@3"})).exitCode);

    const Finished again = find({"--first", "--save", file});
    EXPECT_EQ(2, again.exitCode) << "before anything is sent";
    EXPECT_EQ("", again.output);
    const Finished forced = find({"--first", "--parity", "none", "--save", file, "--force"});
    EXPECT_EQ(0, forced.exitCode);
    EXPECT_TRUE(says(forced.output, "the one before is ")) << forced.output;
}

TEST_F(Find, NothingIsSavedWhereNothingIsFound) {
    const std::string file = rig.file("line.toml");
    const Finished run = find({"--baud", "9600", "--save", file});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.output, "3 combinations ")) << run.output;
    EXPECT_TRUE(says(run.output, "nothing found\n")) << run.output;
    EXPECT_NE(0, ::access(file.c_str(), F_OK));
}

TEST_F(Find, IsStoppedByCtrlC) {
    Process search(rig.command({"scan", "--find", "--json", "--stations", "10-40"}));
    ASSERT_FALSE(nextJson(search, [](const Json& line) { return has(line, "event", "settings"); }).is_null());
    search.signal(SIGINT);
    const Finished run = search.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ(true, jsonLines(run.output).back().at("stopped")) << run.output;
}

TEST(FindDamage, IsAHintAndNoFind) {
    const Rig rig(Carrier::PseudoTerminal, {"--fault", "corrupt=1"});
    const Finished run = rig.dx7(
        {"scan", "--find", "--stations", "1", "--timeout", "120", "--baud", "9600", "--parity", "none"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.output, "a hint, no find")) << run.output;
    EXPECT_TRUE(says(run.output, "nothing found")) << run.output;
}

TEST(FindUsage, IsOfSerialLines) {
    struct Row {
        Words words;
        const char* says;
    };
    for (const Row& row : {Row{{"--find", "--tcp", "127.0.0.1:1"}, "a TCP connection has none"},
                           Row{{"--first", "--serial", "x"}, "use it with --find"},
                           Row{{"--save", "f", "--serial", "x"}, "use it with --find"},
                           Row{{"--find", "--force", "--serial", "x"}, "use it with --save"}}) {
        Words words = dx7Words({"scan"});
        words.insert(words.end(), row.words.begin(), row.words.end());
        const Finished run = runToEnd(words);
        EXPECT_EQ(2, run.exitCode) << run.errors;
        EXPECT_TRUE(says(run.errors, row.says)) << run.errors;
    }
}

// A pseudo-terminal at whose other end a master polls at its own speed; at any other one its bytes are
// nonsense. What is sent to it is counted.
class PollingMaster {
public:
    explicit PollingMaster(unsigned baud) : baud_(baud), thread_([this] { poll(); }) {}
    ~PollingMaster() {
        over_ = true;
        thread_.join();
    }
    PollingMaster(const PollingMaster&) = delete;
    PollingMaster& operator=(const PollingMaster&) = delete;

    Words line() const { return {"--serial", terminal_.name()}; }
    int received() const { return received_; }

private:
    void poll() {
        static constexpr char REQUEST[] = "\x01\x03\xF3\x25\x00\x01\xA6\x85";
        static constexpr char NONSENSE[] = "\xE0\x1C\x80";
        while (!over_) {
            char buffer[256];
            const ssize_t count = ::read(terminal_.end(), buffer, sizeof buffer);
            received_ += count > 0 ? static_cast<int>(count) : 0;
            termios2 now{};
            ::ioctl(terminal_.end(), TCGETS2, &now);
            const bool right = now.c_ospeed == baud_;
            const ssize_t sent =
                right ? ::write(terminal_.end(), REQUEST, 8) : ::write(terminal_.end(), NONSENSE, 3);
            static_cast<void>(sent);
            std::this_thread::sleep_for(std::chrono::milliseconds(70));
        }
    }

    unsigned baud_;
    kit::PseudoTerminal terminal_;
    std::atomic<bool> over_{false};
    std::atomic<int> received_{0};
    std::thread thread_;
};

Finished findAt(const Words& line, const Words& more) {
    Words words = dx7Words({"scan", "--find", "--timeout", "50"});
    for (const Words& part : {line, more}) {
        words.insert(words.end(), part.begin(), part.end());
    }
    return runToEnd(words);
}

TEST(FindMaster, APanelThatPollsIsFoundWithoutSending) {
    const PollingMaster master(19200);
    const Finished run = findAt(master.line(), {"--stations", "1-2"});
    EXPECT_EQ(0, run.exitCode) << run.output << run.errors;
    EXPECT_TRUE(says(run.output, "without a valid CRC heard; nothing sent")) << run.output;
    EXPECT_TRUE(says(run.output, "19200 8N1")) << run.output;
    EXPECT_TRUE(says(run.output, "it asks \"station 1 read holding registers: 0xF325, quantity 1\""))
        << run.output;
    EXPECT_TRUE(says(run.output, "--baud 19200 ")) << run.output;
    EXPECT_EQ(0, master.received());
}

TEST(FindMaster, WhereNoSettingsFitNothingIsSentEither) {
    const PollingMaster master(31250);
    const Finished run = findAt(master.line(), {"--stations", "1-2", "--parity", "none"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.output, "nothing found, but something speaks on this line")) << run.output;
    EXPECT_EQ(0, master.received());
    const Finished anyway =
        findAt(master.line(), {"--stations", "1-2", "--baud", "9600", "--parity", "none", "--anyway"});
    EXPECT_EQ(1, anyway.exitCode);
    EXPECT_LT(0, master.received());
}

// Station 3 speaks when station 1 is asked, and does not answer itself.
TEST(FindStranger, AStationThatWasNotAskedIsNoFind) {
    const kit::PseudoTerminal terminal;
    std::atomic<bool> over{false};
    std::thread stranger([&] {
        while (!over) {
            char query[64];
            if (::read(terminal.end(), query, sizeof query) > 0 && query[0] == 1) {
                const std::vector<std::uint8_t> answer = withCrc({3, 7, 0x11});
                EXPECT_EQ(5, ::write(terminal.end(), answer.data(), answer.size()));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const Finished run =
        findAt({"--serial", terminal.name()}, {"--stations", "1,3", "--baud", "9600", "--parity", "none"});
    over = true;
    stranger.join();
    EXPECT_EQ(1, run.exitCode) << run.output;
    EXPECT_TRUE(says(run.output, "nothing found, but something speaks on this line")) << run.output;
}

}  // namespace

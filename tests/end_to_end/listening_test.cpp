// What scan and write do on a line where something is said before they have said anything.
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>

#include "fragile_device.h"
#include "rig.h"
#include "tests/kit/crc.h"
#include "tests/kit/pseudo_terminal.h"

namespace {

/// A pseudo-terminal at whose other end the same bytes come every 60 ms; what is sent to it is counted.
class BusyLine {
public:
    explicit BusyLine(const std::string& bytes) : thread_([this, bytes] { run(bytes); }) {}
    ~BusyLine() {
        stop_ = true;
        thread_.join();
    }
    BusyLine(const BusyLine&) = delete;
    BusyLine& operator=(const BusyLine&) = delete;

    Words line() const { return {"--serial", terminal_.name()}; }
    int received() const { return received_; }

private:
    void run(const std::string& bytes) {
        while (!stop_) {
            char buffer[512];
            const ssize_t count = ::read(terminal_.end(), buffer, sizeof buffer);
            received_ += count > 0 ? static_cast<int>(count) : 0;
            const ssize_t written = ::write(terminal_.end(), bytes.data(), bytes.size());
            static_cast<void>(written);
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
        }
    }

    kit::PseudoTerminal terminal_;
    std::atomic<bool> stop_{false};
    std::atomic<int> received_{0};
    std::thread thread_;
};

const std::string question = frameText({2, READ, 0xF3, 0x19, 0, 2});

Finished on(const BusyLine& line, Words words) {
    const Words place = line.line();
    words.insert(words.end(), place.begin(), place.end());
    return runToEnd(dx7Words(words));
}

TEST(Listening, AWriteNamesAnotherMasterAndSendsNothing) {
    const BusyLine line(question);
    const Finished run = on(line, {"write", "F:3.0.25=5", "DO:1@0=1", "--json"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(
        says(run.errors,
             "dx7: another master is on this line: it asks \"station 2 read holding registers: 0xF319, "
             "quantity 2\"; "))
        << run.errors;
    EXPECT_TRUE(says(run.errors, "--anyway")) << run.errors;
    EXPECT_EQ(0, line.received());
    const std::vector<Json> items = jsonLines(run.output);
    ASSERT_EQ(2U, items.size());
    EXPECT_EQ(false, items[0].at("written"));
    EXPECT_EQ("not sent: another master was heard before that", items[1].at("fault"));
}

TEST(Listening, AScanNamesItAndAsksNobody) {
    const BusyLine line(frameText({2, READ, 2, 1, 0x40}));
    EXPECT_EQ(1, on(line, {"raw", "03F3250001"}).exitCode);
    EXPECT_EQ(0, line.received());
    const Finished run = on(line, {"scan", "--stations", "1-3"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("0 of 0 asked stations answered (stopped)\n", run.output);
    EXPECT_TRUE(says(run.errors, "it says \"station 2 read holding registers: 320\"")) << run.errors;
    EXPECT_EQ(0, line.received());
}

TEST(Listening, WhatIsSentAnywayDoesNotWaitForSilence) {
    const BusyLine line(question);
    const Finished run = on(line, {"scan", "--stations", "1", "--anyway", "--timeout", "50"});
    EXPECT_LT(0, line.received());
    EXPECT_FALSE(says(run.errors, "--anyway")) << run.errors;
}

TEST(Listening, AReadDoesNotListen) {
    const BusyLine line(question);
    on(line, {"read", "F:3.0.25", "--timeout", "50", "--retries", "1"});
    EXPECT_LT(0, line.received());
}

TEST(Listening, BytesWithoutAValidCrcAreSaidAndStopNothing) {
    const BusyLine line("\x55");
    const Finished run = on(line, {"scan", "--stations", "1", "--timeout", "50"});
    EXPECT_TRUE(says(run.errors, " without a valid CRC came while nothing was asked")) << run.errors;
    EXPECT_LT(0, line.received());
}

TEST(Listening, WhatIsHeardIsRecorded) {
    const BusyLine line(question);
    const TemporaryDirectory directory;
    const std::string file = directory.file("line.pcap");
    EXPECT_EQ(1, on(line, {"write", "F:3.0.25=5", "--record", file}).exitCode);
    const Finished replay = runToEnd(dx7Words({"replay", file}));
    EXPECT_TRUE(says(replay.output, "-> ")) << replay.output;
    EXPECT_TRUE(says(replay.output, "station 2 read holding registers: 0xF319, quantity 2")) << replay.output;
}

// Whether a process has the port open.
bool holds(pid_t process, const std::string& port) {
    const std::string folder = "/proc/" + std::to_string(process) + "/fd";
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator(folder, gone)) {
        if (std::filesystem::read_symlink(entry.path(), gone) == port) {
            return true;
        }
    }
    return false;
}

TEST(Listening, ASignalEndsIt) {
    const BusyLine line("");
    Words words = dx7Words({"write", "F:3.0.25=5"});
    const Words place = line.line();
    words.insert(words.end(), place.begin(), place.end());
    Process write(words);
    // Where it only opens the port, it ends with that.
    ASSERT_TRUE(eventually([&] { return catches(write.id(), SIGINT) && holds(write.id(), place[1]); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    write.signal(SIGINT);
    const Finished run = write.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "F:3.0.25@1 = 5: not sent: ")) << run.errors;
    EXPECT_EQ(0, line.received());
}

TEST(Listening, IsNotDoneOverTcp) {
    const FragileDevice device([](const FragileDevice::Frame&, int) { return Reaction(); });
    EXPECT_EQ(0, dx7At(device.address(), {"write", "F:3.0.25=5"}).exitCode);
    EXPECT_EQ(0, dx7At(device.address(), {"write", "F:3.0.25=5", "--anyway"}).exitCode);
}

}  // namespace

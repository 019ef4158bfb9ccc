// dx7 replay of recordings made here, byte by byte: long ones, cut ones, and of the years after 2038.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <regex>

#include "rig.h"

namespace {

enum class Order { Little, Big };
enum class Precision { Micro, Nano };

/// A capture file, put together as the format's description says.
class Capture {
public:
    explicit Capture(Order order = Order::Little, Precision precision = Precision::Micro) : order_(order) {
        add32(precision == Precision::Nano ? 0xA1B23C4D : 0xA1B2C3D4);
        add16(2);
        add16(4);
        add32(0);
        add32(0);
        add32(65535);
        add32(252);
    }

    /// `fraction` in microseconds or nanoseconds.
    void add(std::uint32_t seconds, std::uint32_t fraction, bool request) {
        std::string packet("\0\x0C\0\x08mbrtu\0\0\0\0\x19\0\x04\0\0", 18);
        packet += request ? std::string("\xC3\x50", 2) : std::string("\x01\xF6", 2);
        packet += std::string("\0\x1A\0\x04\0\0", 6);
        packet += request ? std::string("\x01\xF6", 2) : std::string("\xC3\x50", 2);
        packet += std::string("\0\0\0\0", 4);
        packet += request ? std::string("\x01\x03\xF3\x25\0\x01\xA6\x85", 8)
                          : std::string("\x01\x03\x02\x01\xF4\xB8\x53", 7);
        add32(seconds);
        add32(fraction);
        add32(static_cast<std::uint32_t>(packet.size()));
        add32(static_cast<std::uint32_t>(packet.size()));
        bytes_ += packet;
    }

    const std::string& bytes() const { return bytes_; }
    /// What was added since the last call.
    std::string take() { return std::exchange(bytes_, std::string()); }

private:
    void add16(std::uint32_t value) { addBytes(value, 2); }
    void add32(std::uint32_t value) { addBytes(value, 4); }
    void addBytes(std::uint32_t value, unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            const unsigned shift = 8 * (order_ == Order::Little ? i : count - 1 - i);
            bytes_ += static_cast<char>(value >> shift & 0xFFU);
        }
    }

    Order order_;
    std::string bytes_;
};

class ReplayOf : public testing::Test {
protected:
    std::string fileOf(const std::string& bytes) const {
        writeFile(directory.file("line.pcap"), bytes);
        return directory.file("line.pcap");
    }
    static Finished replay(const Words& words, const std::string& zone = "UTC0") {
        Words command{"/usr/bin/env", "TZ=" + zone, dx7Program, "replay"};
        command.insert(command.end(), words.begin(), words.end());
        return runToEnd(command);
    }

    TemporaryDirectory directory;
};

/// A recording that grows in a pipe while it is replayed.
class ReplayOfAPipe : public ReplayOf {
protected:
    void SetUp() override { ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0); }
    void TearDown() override { close(input); }
    void feed(const std::string& bytes) const {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const ssize_t count = write(input, bytes.data() + sent, bytes.size() - sent);
            ASSERT_GT(count, 0);
            sent += static_cast<std::size_t>(count);
        }
    }

    std::string pipe = directory.file("pipe");
    int input = -1;
};

TEST_F(ReplayOfAPipe, ShowsEachFrameAtOnce) {
    Process program({dx7Program, "replay", "--json", pipe});
    input = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);
    Capture capture;
    for (std::uint32_t i = 0; i < 5; ++i) {
        capture.add(1000000000 + i, 0, true);
        feed(capture.take());
        const std::string line = program.readLine();
        ASSERT_NE(line, "") << "frame " << i << " is not shown before the next one is there";
        EXPECT_EQ(Json::parse(line).at("time"), "2001-09-09T01:46:4" + std::to_string(i) + ".000Z");
    }
    close(input);
    input = -1;
    EXPECT_EQ(program.finish().exitCode, 0);
}

TEST_F(ReplayOfAPipe, TakesNoMoreMemoryForALongRecording) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer keeps what was freed";
#endif
    Process program(
        {"/bin/sh", "-c", "exec \"$0\" replay \"$1\" >\"$2\"", dx7Program, pipe, directory.file("out")});
    input = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);
    Capture capture;
    const auto feedFrames = [&](std::uint32_t count) {
        for (std::uint32_t i = 0; i < count; ++i) {
            capture.add(1000000000, i, i % 2 == 0);
        }
        feed(capture.take());
    };
    feedFrames(1000);
    ASSERT_TRUE(eventually([&] { return !readFile(directory.file("out")).empty(); }));
    const long before = program.residentKb();
    for (int i = 0; i < 20; ++i) {
        feedFrames(10000);
    }
    EXPECT_LT(program.residentKb() - before, 4000) << "kB for 11 MB";
    close(input);
    input = -1;
    EXPECT_EQ(program.finish().exitCode, 0);
    const std::string shown = readFile(directory.file("out"));
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 201000);
}

TEST_F(ReplayOf, StandardInputIsARecording) {
    Capture capture;
    capture.add(1000000000, 0, true);
    const std::string file = fileOf(capture.bytes());
    const Finished run = runToEnd({"/bin/sh", "-c", "exec \"$0\" replay - <\"$1\"", dx7Program, file});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_NE(run.output.find("[01 03 F3 25 00 01 A6 85]"), std::string::npos) << run.output;
}

TEST_F(ReplayOf, EveryCutShowsWhatIsThere) {
    Capture capture;
    const std::size_t head = capture.bytes().size();
    capture.add(1000000000, 0, true);
    const std::size_t first = capture.bytes().size();
    capture.add(1000000000, 5000, false);
    const std::string whole = capture.bytes();
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const Finished run = replay({fileOf(whole.substr(0, length))});
        const bool atAnEnd = length == head || length == first || length == whole.size();
        EXPECT_EQ(run.exitCode, length < head ? 2 : atAnEnd ? 0 : 1) << length;
        const int frames = length == whole.size() ? 2 : length >= first ? 1 : 0;
        EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\n'), frames) << length;
        EXPECT_EQ(run.errors.find(frames == 1 ? "breaks off after 1 frame:" : "breaks off after 0 frames:") !=
                      std::string::npos,
                  length > head && !atAnEnd)
            << length << run.errors;
    }
}

struct Year {
    const char* name;
    std::uint32_t seconds;
    const char* utc;
};

void PrintTo(const Year& year, std::ostream* out) {
    *out << year.utc;
}

const Year YEARS[] = {
    {"Past", 1000000000, "2001-09-09T01:46:40"},
    {"LastSecondWithASign", 2147483647, "2038-01-19T03:14:07"},
    {"FirstSecondWithoutASign", 2147483648U, "2038-01-19T03:14:08"},
    {"LeapDayOf2040", 2214137471U, "2040-02-29T14:11:11"},
    {"SummerOf2040", 2216376000U, "2040-03-26T12:00:00"},
    // 2100 has no leap day. A program that starts then takes a second, and must not take it past midnight.
    {"SummerOf2100", 4118165999U, "2100-07-01T22:59:59"},
    {"LastSecondOfAll", 4294967294U, "2106-02-07T06:28:14"},
};

class ReplayOfAYear : public ReplayOf, public testing::WithParamInterface<Year> {};
INSTANTIATE_TEST_SUITE_P(Years, ReplayOfAYear, testing::ValuesIn(YEARS),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(ReplayOfAYear, HasTheRightTimes) {
    const Year& year = GetParam();
    for (const Order order : {Order::Little, Order::Big}) {
        for (const Precision precision : {Precision::Micro, Precision::Nano}) {
            const std::uint32_t us = precision == Precision::Nano ? 1000 : 1;
            Capture capture(order, precision);
            capture.add(year.seconds, 995000 * us, true);
            capture.add(year.seconds + 1, 7500 * us, false);
            const std::string file = fileOf(capture.bytes());
            const Finished run = replay({"--json", file});
            EXPECT_EQ(run.exitCode, 0) << run.errors;
            const std::vector<Json> frames = jsonLines(run.output);
            ASSERT_EQ(frames.size(), 2U);
            EXPECT_EQ(frames[0].at("time"), year.utc + std::string(".995Z"));
            EXPECT_DOUBLE_EQ(frames[1].at("response_ms").get<double>(), 12.5);
            const std::string text = replay({file}).output;
            EXPECT_EQ(text.rfind(std::string(year.utc).substr(11) + ".995 ->", 0), 0U) << text;
            EXPECT_NE(text.find(" +12.5 ms "), std::string::npos) << text;
        }
    }
}

// The rules of summer time go by the year's own calendar: in 2037 it begins three days later.
TEST_F(ReplayOf, LocalTimeIsThatOfTheYear) {
    Capture capture;
    capture.add(2216376000U, 0, true);
    const std::string file = fileOf(capture.bytes());
    EXPECT_EQ(replay({file}, "CET-1CEST,M3.5.0,M10.5.0/3").output.substr(0, 12), "14:00:00.000");
    EXPECT_EQ(replay({file}, "EST5EDT,M3.2.0,M11.1.0").output.substr(0, 12), "08:00:00.000");
    EXPECT_EQ(jsonLines(replay({"--json", file}, "CET-1CEST,M3.5.0,M10.5.0/3").output).at(0).at("time"),
              "2040-03-26T12:00:00.000Z");
}

class InTheFuture : public testing::TestWithParam<Carrier> {
protected:
    /// dx7 under a clock that shows this time at its start, in this zone.
    Finished runAt(std::uint32_t seconds, const std::string& zone, const Words& words) const {
        Words command{"/usr/bin/env", "LD_PRELOAD=" DX7_FUTURE_CLOCK, "DX7_TIME=" + std::to_string(seconds),
                      "TZ=" + zone, "ASAN_OPTIONS=verify_asan_link_order=0"};
        const Words dx7 = rig.command(words);
        command.insert(command.end(), dx7.begin(), dx7.end());
        return runToEnd(command);
    }

    Rig rig{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(Lines, InTheFuture, testing::Values(Carrier::PseudoTerminal, Carrier::Tcp),
                         carrierName);

TEST_P(InTheFuture, RecordingsHaveTheirTime) {
    const std::string file = rig.file("line.pcap");
    for (const Year& year : YEARS) {
        ASSERT_EQ(runAt(year.seconds, "UTC0", {"read", "F:3.0.25", "--record", file}).exitCode, 0);
        const std::vector<Json> frames = jsonLines(runToEnd(dx7Words({"replay", "--json", file})).output);
        ASSERT_EQ(frames.size(), 8U) << "a read and three status queries";
        EXPECT_EQ(frames[0].at("time").get<std::string>().substr(0, 10), std::string(year.utc).substr(0, 10));
        EXPECT_LT(frames[1].at("response_ms").get<double>(), 5000);
    }
}

TEST_P(InTheFuture, TheMonitorShowsItsTime) {
    const Words monitor{"monitor", "--json", "--count", "1", "F:3.0.25"};
    for (const Year& year : YEARS) {
        const Finished run = runAt(year.seconds, "UTC0", monitor);
        ASSERT_EQ(run.exitCode, 0) << run.errors;
        const std::string shown = jsonLines(run.output).at(0).at("time");
        EXPECT_EQ(shown.substr(0, 10), std::string(year.utc).substr(0, 10));
        EXPECT_TRUE(std::regex_match(shown, std::regex("[0-9-]{10}T[0-9:]{8}\\.[0-9]{3}Z"))) << shown;
    }
    const std::string summer =
        jsonLines(runAt(2216376000U, "CET-1CEST,M3.5.0,M10.5.0/3", monitor).output).at(0).at("time");
    EXPECT_EQ(summer.substr(0, 14) + summer.substr(summer.size() - 6), "2040-03-26T14:+02:00");
    const std::string newfoundland =
        jsonLines(runAt(1000000000U, "NST3:30", monitor).output).at(0).at("time");
    EXPECT_EQ(newfoundland.substr(newfoundland.size() - 6), "-03:30");
    const std::string lines =
        runAt(2216376000U, "CET-1CEST,M3.5.0,M10.5.0/3", {"monitor", "--lines", "--count", "1", "F:3.0.25"})
            .output;
    EXPECT_EQ(lines.substr(0, 6), "14:00:");
}

}  // namespace

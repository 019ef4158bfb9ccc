// A line and its stations without the program around them.
#include "device/server.h"

#include <gtest/gtest.h>

#include <deque>
#include <thread>

#include "tests/kit/crc.h"

namespace {

using namespace dx7sim;
using kit::withCrc;
using std::chrono::milliseconds;

const Bytes QUERY = withCrc({1, 7});
const Bytes READ_MODE = withCrc({1, 3, 0x13, 0x01, 0, 1});
const Bytes MODE = withCrc({1, 3, 2, 0, 0});

// A line whose other end is the test.
class TestLine : public Line {
public:
    std::vector<int> descriptors() const override { return {}; }
    LineInput receive() override {
        if (arriving.empty()) {
            throw LineError("the line is gone");
        }
        LineInput input = arriving.front();
        arriving.pop_front();
        return input;
    }
    void send(const Bytes& bytes) override { sent.insert(sent.end(), bytes.begin(), bytes.end()); }
    std::string name() const override { return "test"; }

    std::deque<LineInput> arriving;
    Bytes sent;
};

class ServerTest : public testing::Test {
protected:
    void arrive(Server& server, const Bytes& bytes, bool clientGone = false) {
        line.arriving.push_back({false, bytes, clientGone});
        server.advance(true);
    }

    // Advances whenever something is due until nothing is. False when that takes 10 s.
    static bool finish(Server& server) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (auto due = server.deadline(); due && std::chrono::steady_clock::now() < until;
             due = server.deadline()) {
            std::this_thread::sleep_for(*due - server.now());
            server.advance(false);
        }
        return !server.deadline();
    }

    Device device{{1}, {}, 1, Time()};
    TestLine line;
};

TEST_F(ServerTest, AnswersWhatArrives) {
    Server server(device, line, LineTiming());
    EXPECT_FALSE(server.deadline()) << "nothing is under way";
    arrive(server, READ_MODE);
    EXPECT_EQ(line.sent, MODE);
    EXPECT_FALSE(server.deadline());
}

TEST_F(ServerTest, SendsAReplyWhenItIsDue) {
    Server server(device, line, LineTiming::ofBaud(9600, 10));
    arrive(server, READ_MODE);
    EXPECT_TRUE(line.sent.empty());
    ASSERT_TRUE(server.deadline());
    ASSERT_TRUE(finish(server));
    EXPECT_EQ(line.sent, MODE);
    EXPECT_GE(server.now(), milliseconds(15 * 1000 / 960)) << "15 characters of 10 bits at 9600 baud";
}

TEST_F(ServerTest, DropsNoiseAfterSilence) {
    Server server(device, line, LineTiming());
    arrive(server, {1, 2, 3});
    ASSERT_TRUE(server.deadline());
    ASSERT_TRUE(finish(server));
    EXPECT_TRUE(line.sent.empty());
    EXPECT_NE(server.summary().find("3 stray bytes"), std::string::npos) << server.summary();
}

TEST_F(ServerTest, ForgetsTheClientThatLeft) {
    Server server(device, line, LineTiming::ofBaud(9600, 10));
    arrive(server, READ_MODE, true);
    EXPECT_FALSE(server.deadline());
    EXPECT_TRUE(line.sent.empty());
}

TEST_F(ServerTest, TracesFramesToItsProgram) {
    std::vector<std::string> lines;
    Server server(device, line, LineTiming(), [&lines](const std::string& text) { lines.push_back(text); });
    arrive(server, QUERY);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].find(" request 01 07 41 E2"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find(" reply   01 07 "), std::string::npos) << lines[1];
}

TEST_F(ServerTest, CarriesOutCommands) {
    Server server(device, line, LineTiming());
    EXPECT_EQ(server.command("set MOD:1=5").answer, "MOD:1@1 = 5\n");
    EXPECT_TRUE(server.command("quit").quit);
    arrive(server, READ_MODE);
    EXPECT_EQ(line.sent, withCrc({1, 3, 2, 0, 5}));
}

TEST_F(ServerTest, TellsItsProgramThatTheLineFailed) {
    Server server(device, line, LineTiming());
    EXPECT_THROW(server.advance(true), LineError);
}

}  // namespace

// dx7 listen: what another master polls, from a third place on the line.
#include <algorithm>
#include <csignal>

#include "fragile_device.h"
#include "rig.h"
#include "terminal.h"
#include "tests/kit/bus.h"
#include "tests/kit/crc.h"

namespace {

constexpr int BAUD = 115200;

int heardFrom(const Bus& bus, Bus::End end) {
    int count = 0;
    for (const Bus::Message& message : bus.messages()) {
        count += message.from == end ? 1 : 0;
    }
    return count;
}

// What the events say of the station, and of the request with this text.
Json polled(const std::vector<Json>& lines, const std::string& text) {
    for (const Json& line : lines) {
        if (has(line, "event", "polled") && has(line, "text", text)) {
            return line;
        }
    }
    return {};
}

// A device on a bus, with a place for a master and one to listen from.
class Listen : public testing::Test {
protected:
    explicit Listen(const Words& deviceOptions = {})
        : device({"--serial", bus.port(Bus::Station)},
                 with(deviceOptions, {"--baud", std::to_string(BAUD)})) {}

    static Words with(Words words, const Words& more) {
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    Words at(Bus::End end, const Words& words) const {
        return dx7Words(with(words, {"--serial", bus.port(end), "--baud", std::to_string(BAUD)}));
    }
    // Listens for a while to a master that polls.
    Finished listenTo(const Words& monitored, const Words& options, const char* seconds = "1.5") const {
        Process master(at(Bus::Master, with({"monitor", "--json"}, monitored)));
        EXPECT_NE("", master.readLine());
        const Finished run = runToEnd(at(Bus::Listener, with({"listen", "--seconds", seconds}, options)));
        master.signal(SIGINT);
        master.finish();
        return run;
    }

    Bus bus{BAUD};
    TemporaryDirectory directory;
    DeviceProcess device;
};

TEST_F(Listen, NamesWhatIsPolledAndSendsNothing) {
    const Finished run = listenTo({"AI:0,4", "F:3.0.25"}, {});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("", run.errors) << "a pseudo-terminal has no RTS";
    EXPECT_TRUE(says(run.output, "STATION  REQUEST")) << run.output;
    EXPECT_TRUE(says(run.output, "      1  FC 4 1200-1203")) << run.output;
    EXPECT_TRUE(says(run.output, "AI:0,4")) << run.output;
    EXPECT_TRUE(says(run.output, "      1  FC 3 F325")) << run.output;
    EXPECT_TRUE(says(run.output, "\nstation 1: ")) << run.output;
    EXPECT_TRUE(says(run.output, "1.5 s: ")) << run.output;
    EXPECT_FALSE(says(run.output, "two ")) << run.output;
    EXPECT_EQ(0, heardFrom(bus, Bus::Listener)) << "no byte leaves";
}

TEST_F(Listen, SaysEveryTransactionAsJson) {
    const Finished run =
        listenTo({"AI:0,2", "DI:1,6@3", "--timeout", "60", "--retries", "1"}, {"--json"}, "4");
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> lines = jsonLines(run.output);
    const Json first = lines.front();
    EXPECT_EQ("heard", first.at("event"));
    const Json good = polled(lines, "station 1 read input registers: 0x1200, quantity 2");
    ASSERT_FALSE(good.is_null()) << run.output;
    EXPECT_EQ(Json::parse(R"(["AI:0,2"])"), good.at("items"));
    EXPECT_LT(5, good.at("answered"));
    EXPECT_EQ(0, good.at("unanswered"));
    EXPECT_LT(0, good.at("interval_ms").at("median"));
    EXPECT_LT(0, good.at("response_ms").at("max"));
    // One that does not answer is asked now and then.
    const auto mute = std::find_if(lines.begin(), lines.end(), [](const Json& line) {
        return has(line, "event", "polled_station") && has(line, "station", 3);
    });
    ASSERT_NE(lines.end(), mute) << run.output;
    EXPECT_EQ(0, mute->at("answered"));
    EXPECT_LT(0, mute->at("requests"));
    EXPECT_TRUE(mute->at("response_ms").at("max").is_null());
    const Json& sum = lines.back();
    EXPECT_EQ("listen", sum.at("command"));
    EXPECT_EQ(2, sum.at("stations"));
    EXPECT_EQ(0, sum.at("stray_bytes"));
    EXPECT_EQ(Json::array(), sum.at("signs"));
    EXPECT_EQ(0, heardFrom(bus, Bus::Listener));
}

TEST_F(Listen, SavesWhatIsPolledAsALineFile) {
    const std::string file = directory.file("panel.toml");
    const Finished run = listenTo({"AI:0,4", "F:3.0.08,4", "DO:1,2", "FAS:0"}, {"--save", file});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::string saved = readFile(file);
    EXPECT_TRUE(
        says(saved, "name = \"station 1 AI:0,4\"\ntype = \"AI\"\naddress = \"0\"\nstation = 1\ncount = 4\n"))
        << saved;
    EXPECT_TRUE(says(saved, "# FIN:0 is in the same register 1203\n")) << saved;
    EXPECT_TRUE(says(saved, "name = \"station 1 F:3.0.08,2\"")) << saved;
    EXPECT_TRUE(says(saved, "name = \"station 1 F:3.0.10,2\"")) << saved;
    EXPECT_TRUE(says(saved, "name = \"station 1 DO:1,2\"")) << saved;
    EXPECT_TRUE(says(saved, "type = \"FAS\"")) << saved;
    EXPECT_TRUE(says(run.output, "11 items saved in " + file)) << run.output;
    const Finished check = runToEnd(dx7Words({"plan", "-c", file}));
    EXPECT_EQ(0, check.exitCode) << check.errors;
    EXPECT_TRUE(says(check.output, "AI:0,4@1")) << check.output;

    EXPECT_EQ(2, runToEnd(at(Bus::Listener, {"listen", "--seconds", "0.1", "--save", file})).exitCode);
    const Finished again = listenTo({"AI:0"}, {"--save", file, "--force"}, "0.5");
    EXPECT_TRUE(says(again.output, "; the one before is " + file + ".~1~")) << again.output;
}

TEST_F(Listen, WhatIsNoItemAndWhatIsWrittenStaysAComment) {
    const std::string file = directory.file("panel.toml");
    Process listener(at(Bus::Listener, {"listen", "--json", "--save", file}));
    ASSERT_TRUE(eventually([&] { return catches(listener.id(), SIGINT); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    for (const std::string& request :
         {frameText({5, 3, 0, 0x10, 0, 4}), frameText({5, 0x2B, 0x0E, 1, 0}),
          frameText({1, 6, 0xE3, 0x25, 0, 7}), frameText({0, 5, 0x10, 0x20, 0xFF, 0})}) {
        bus.say(Bus::Master, request);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    // The last one is told when silence has followed it.
    ASSERT_FALSE(
        nextJson(listener, [](const Json& line) { return has(line, "kind", "broadcast"); }).is_null());
    listener.signal(SIGINT);
    const Finished run = listener.finish();
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::string saved = readFile(file);
    EXPECT_TRUE(
        says(saved, "# station 5 FC 3 0010-0013, once\n# registers 0010-0013: no item of the driver's\n"))
        << saved;
    EXPECT_TRUE(says(saved, "# station 5 FC 43, once\n# no item of the driver's\n")) << saved;
    EXPECT_TRUE(says(saved, "# station 1 FC 6 E325, once\n# written: F:3.0.25\n")) << saved;
    EXPECT_TRUE(says(saved, "# written: DO:1\n")) << saved;
    EXPECT_FALSE(says(saved, "[[tag]]")) << saved;
    const Finished plan = runToEnd(dx7Words({"plan", "-c", file, "AI:0"}));
    EXPECT_EQ(0, plan.exitCode) << plan.errors;
}

TEST_F(Listen, RecordsWhatItHears) {
    const std::string file = directory.file("line.pcap");
    const Finished run = listenTo({"AI:0,2"}, {"--record", file});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const Finished replay = runToEnd(dx7Words({"replay", file}));
    EXPECT_EQ(0, replay.exitCode) << replay.errors;
    EXPECT_TRUE(says(replay.output, "station 1 read input registers: 0x1200, quantity 2")) << replay.output;
    EXPECT_FALSE(says(replay.output, "wrong")) << replay.output;
}

TEST_F(Listen, EndsOnCtrlCWithItsSummary) {
    Process listener(at(Bus::Listener, {"listen"}));
    ASSERT_TRUE(eventually([&] { return catches(listener.id(), SIGINT); }));
    Process master(at(Bus::Master, {"monitor", "--json", "AI:0"}));
    EXPECT_NE("", master.readLine());
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    listener.signal(SIGINT);
    const Finished run = listener.finish();
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(run.output, "station 1: ")) << run.output;
}

TEST_F(Listen, ASilentLineIsSaidToBeSilent) {
    const std::string file = directory.file("panel.toml");
    const Finished run = runToEnd(at(Bus::Listener, {"listen", "--seconds", "0.2"}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(run.output, "0.2 s: 0 requests to 0 stations")) << run.output;
    EXPECT_TRUE(says(run.output, "not a byte came")) << run.output;
    const Finished save = runToEnd(at(Bus::Listener, {"listen", "--seconds", "0.2", "--save", file}));
    EXPECT_EQ(1, save.exitCode);
    EXPECT_TRUE(says(save.errors, "is not written: no request was heard")) << save.errors;
}

TEST_F(Listen, NonsenseIsSaidToBeAnotherBaudRate) {
    Process listener(at(Bus::Listener, {"listen", "--json", "--seconds", "1"}));
    ASSERT_TRUE(eventually([&] { return catches(listener.id(), SIGINT); }));
    // The first ones may be the end of something.
    for (int i = 0; i < 2; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        bus.say(Bus::Master, "\xE0\x1C\x80");
    }
    const std::vector<Json> lines = jsonLines(listener.finish().output);
    ASSERT_LE(2U, lines.size());
    EXPECT_EQ("damage", lines.front().at("kind"));
    EXPECT_EQ(3, lines.back().at("stray_bytes"));
}

// A reader that takes nothing for a while makes it deaf, and it says so.
TEST_F(Listen, OutputThatIsNotTakenIsSaid) {
    Process master(at(Bus::Master, {"monitor", "--json", "AI:0"}));
    EXPECT_NE("", master.readLine());
    Process listener(at(Bus::Listener, {"listen", "--json"}));
    EXPECT_NE("", listener.readLine());
    std::this_thread::sleep_for(std::chrono::seconds(3));
    for (int i = 0; i < 600; ++i) {
        ASSERT_NE("", listener.readLine());
    }
    listener.signal(SIGINT);
    const Finished run = listener.finish();
    EXPECT_EQ(0, run.exitCode);
    EXPECT_TRUE(says(run.errors, "the output was not taken for long")) << run.errors;
}

TEST_F(Listen, ShowsALiveViewOnATerminal) {
    Process master(at(Bus::Master, {"monitor", "--json", "AI:0,4", "DI:1,6"}));
    EXPECT_NE("", master.readLine());
    const Terminal terminal(directory.file("tmux"), at(Bus::Listener, {"listen"}), 110, 14);
    EXPECT_TRUE(terminal.shows("listening to serial port ")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("FC 4 1200-1203 +[0-9]{2,}")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("FC 2 1120-1125 .*DI:1,6")) << terminal.screen();
    terminal.resize(60, 5);
    EXPECT_TRUE(terminal.shows("q quit  Up/Down more lines")) << terminal.screen();
    terminal.type({"Down", "Down"});
    terminal.resize(110, 14);
    terminal.type({"q"});
    EXPECT_TRUE(terminal.shows("exit code 0")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("station 1: [0-9]+ requests")) << terminal.screen();
    EXPECT_EQ(0, heardFrom(bus, Bus::Listener));
}

// A station that answers everything twice.
class ListenToFaults : public Listen {
protected:
    ListenToFaults() : Listen({"--fault", "duplicate=1", "--copy-after", "10"}) {}
};

TEST_F(ListenToFaults, TwoStationsWithOneNumberAreASign) {
    const Finished run = listenTo({"AI:0"}, {});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(run.output, "two stations with the number 1?")) << run.output;
}

// What a pseudo-terminal kept of the time before has no time of its own.
TEST_F(Listen, WhatCameBeforeIsNotHeard) {
    for (int i = 0; i < 100; ++i) {
        bus.say(Bus::Master, frameText({2, 3, 0xF3, 0x25, 0, 1}));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const Finished run = runToEnd(at(Bus::Listener, {"listen", "--seconds", "0.3"}));
    EXPECT_TRUE(says(run.output, "0.3 s: 0 requests to 0 stations")) << run.output;
}

TEST_F(Listen, TwoMastersAreASign) {
    Process master(at(Bus::Master, {"monitor", "--json", "AI:0,4"}));
    EXPECT_NE("", master.readLine());
    Process listener(at(Bus::Listener, {"listen", "--seconds", "2"}));
    ASSERT_TRUE(eventually([&] { return catches(listener.id(), SIGINT); }));
    for (int i = 0; i < 60; ++i) {
        bus.say(Bus::Master, frameText({2, 3, 0xF3, 0x25, 0, 1}));
        std::this_thread::sleep_for(std::chrono::milliseconds(23));
    }
    const Finished run = listener.finish();
    EXPECT_TRUE(says(run.output, "two masters on this line?")) << run.output;
}

}  // namespace

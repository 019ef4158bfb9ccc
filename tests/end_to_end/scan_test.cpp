// dx7 scan over both lines.
#include <csignal>

#include "rig.h"

namespace {

class Scan : public testing::TestWithParam<Carrier> {
protected:
    Rig rig{GetParam(), {"--stations", "2,5"}};
};
INSTANTIATE_TEST_SUITE_P(Lines, Scan,
                         testing::Values(Carrier::PseudoTerminal, Carrier::Tcp, Carrier::ModbusTcp),
                         carrierName);

TEST_P(Scan, FindsTheStationsThatAnswer) {
    rig.tell("set FAS:0@2=0x41");
    const Finished run = rig.dx7({"scan", "--stations", "1-3,5,8", "--timeout", "100"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_NE(std::string::npos, run.output.find("station   2  status 0x41")) << run.output;
    EXPECT_NE(std::string::npos, run.output.find("station   5")) << run.output;
    EXPECT_NE(std::string::npos, run.output.find("2 of 5 asked stations answered")) << run.output;
    EXPECT_EQ("", run.errors) << "the progress bar is for terminals";
}

TEST_P(Scan, FindsThemAsJson) {
    const Finished run = rig.dx7({"scan", "--json", "--stations", "1-6", "--timeout", "100"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> found = jsonLines(run.output);
    ASSERT_EQ(3U, found.size()) << run.output;
    EXPECT_EQ(Json({{"event", "summary"},
                    {"command", "scan"},
                    {"asked", 6},
                    {"answered", 2},
                    {"damaged", 0},
                    {"stopped", false}}),
              found[2]);
    EXPECT_EQ(2, found[0].at("station"));
    EXPECT_EQ(5, found[1].at("station"));
    EXPECT_TRUE(found[1].at("status").is_number()) << run.output;
    // A pseudo-terminal is faster than the line that its settings describe.
    EXPECT_GE(found[1].at("response_ms"), 0);
    const std::string seen = rig.stopDevice();
    EXPECT_EQ(4, numberBehind(seen, "not for us: ")) << "one request each:\n" << seen;
}

TEST_P(Scan, EndsWithExitCode1WhenNobodyAnswers) {
    const Finished run = rig.dx7({"scan", "--stations", "7-8", "--timeout", "50"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_NE(std::string::npos, run.output.find("0 of 2")) << run.output;
}

TEST_P(Scan, EndsWithWhatItFoundOnCtrlC) {
    Process scan(rig.command({"scan", "--json", "--timeout", "500"}));
    const Json found = nextJson(scan, [](const Json& object) { return has(object, "station", 2); });
    ASSERT_FALSE(found.is_null());
    scan.signal(SIGINT);
    const Finished run = scan.finish();
    EXPECT_EQ(0, run.exitCode) << "a station was found";
    EXPECT_EQ(true, jsonLines(run.output).back().at("stopped")) << run.output;
}

TEST_P(Scan, TakesTimeoutAndRetriesOfAFile) {
    writeFile(rig.file("scan.toml"), "[line]\ntimeout = 20\nretries = 2\n");
    EXPECT_EQ(0, rig.dx7({"scan", "--stations", "2-3", "-c", rig.file("scan.toml")}).exitCode);
    EXPECT_EQ(1, numberBehind(rig.stopDevice(), "not for us: ")) << "station 3 was asked once";
}

}  // namespace

// What tags of a file say of their values: names, limits, what is never written.
#include "rig.h"
#include "terminal.h"

namespace {

const char* const TAGS = R"(
[[tag]]
name = "ramp"
type = "F"
address = "3.0.20"
scale = 0.1
unit = "s"
min = 1
max = 50
step = 0.5

[[tag]]
name = "mode"
type = "MOD"
address = 1
enum = { 0 = "off", 1 = "on", 7 = "auto", 8 = "für alle" }

[[tag]]
name = "doors"
type = "DO"
address = 1
count = 2
enum = { 0 = "open", 1 = "closed" }

[[tag]]
name = "control"
type = "CW"
address = 0
bits = ["enable", "", "reset"]

[[tag]]
name = "locked"
type = "F"
address = "3.0.40"
readonly = true
)";

class TagRules : public testing::TestWithParam<Carrier> {
protected:
    void SetUp() override { writeFile(file, TAGS); }

    Finished run(Words words) const {
        words.insert(words.begin() + 1, {"-c", file});
        return rig.dx7(words);
    }

    Rig rig{GetParam()};
    std::string file = rig.file("line.toml");
};
INSTANTIATE_TEST_SUITE_P(Lines, TagRules,
                         testing::Values(Carrier::PseudoTerminal, Carrier::Tcp, Carrier::ModbusTcp),
                         carrierName);

TEST_P(TagRules, NamesAreShownAndTaken) {
    const Finished write =
        run({"write", "--verify", "mode=auto", "doors=closed,0", "control=reset+enable", "ramp=2"});
    EXPECT_EQ(0, write.exitCode) << write.errors;
    EXPECT_EQ(
        "mode = auto written and verified\ndoors = closed,open written and verified\n"
        "control = enable+reset written and verified\nramp = 2.0 s written and verified\n",
        write.output);
    EXPECT_EQ(7, rig.client()->holding(0x1301));
    const Finished read = run({"read", "mode", "doors", "control", "ramp", "MOD:1"});
    EXPECT_EQ(
        "mode = auto\ndoors[0] = closed\ndoors[1] = open\ncontrol = enable+reset\nramp = 2.0 s\nMOD:1@1 = "
        "7\n",
        read.output)
        << read.errors;
}

TEST_P(TagRules, JsonHasTheNumberAndTheName) {
    const std::vector<Json> written = jsonLines(run({"write", "--json", "mode=on", "control=5"}).output);
    ASSERT_EQ(2U, written.size());
    EXPECT_EQ(1, written[0].at("value"));
    EXPECT_EQ("on", written[0].at("text"));
    EXPECT_EQ(5, written[1].at("value"));
    EXPECT_EQ("enable+reset", written[1].at("text"));
    const Json read = jsonLines(run({"read", "--json", "mode"}).output).at(0);
    EXPECT_EQ(1, read.at("value"));
    EXPECT_EQ("on", read.at("text"));
    EXPECT_FALSE(read.contains("format"));
}

TEST_P(TagRules, NamesAreInTheLinesOfMonitor) {
    const Finished monitor = run({"monitor", "--count", "2", "mode", "control"});
    EXPECT_NE(std::string::npos, monitor.output.find("mode            off\n"))
        << monitor.output << monitor.errors;
    EXPECT_NE(std::string::npos, monitor.output.find("control         none\n")) << monitor.output;
}

TEST_P(TagRules, WhatATagDoesNotAllowIsNotSent) {
    const std::vector<std::pair<Words, std::string>> cases{
        {{"write", "control=enable", "ramp=50.5"}, "out of range, it must be 1.0 to 50.0 s in steps of 0.5"},
        {{"write", "ramp=1.7"}, "the nearest are 1.5 and 2.0 s"},
        {{"write", "mode=of"}, "its names are off, on, auto, für alle; the nearest is \"off\""},
        {{"write", "control=enabel"}, "its bits are enable, reset"},
        {{"write", "doors=on,off"}, "\"on\" for DO is unknown"},
        {{"write", "locked=1"}, "tag \"locked\" is read-only by " + file},
        {{"write", "F:3.0.38,3=1,2,3"}, "F:3.0.40@1 is tag \"locked\", which is read-only by " + file},
        {{"write", "F:3.0.20=501"}, "F:3.0.20@1 is tag \"ramp\": value 50.1"},
        {{"read", "rmap"}, "the nearest tag is \"ramp\""},
        {{"write", "mod=1"}, "the nearest tag is \"mode\""}};
    for (const auto& [words, named] : cases) {
        const Finished refused = run(words);
        EXPECT_EQ(2, refused.exitCode) << refused.output << refused.errors;
        EXPECT_NE(std::string::npos, refused.errors.find(named)) << refused.errors;
    }
    EXPECT_EQ(0, numberBehind(rig.stopDevice(), "station 1: "));
}

TEST_P(TagRules, TheLiveTableHasNamesAndRules) {
    const Terminal terminal(
        rig.file("tmux"),
        rig.command({"monitor", "-c", file, "--seconds", "50", "mode", "locked", "F:3.0.40/hex", "ramp"}),
        110, 20);
    ASSERT_TRUE(terminal.shows("mode +MOD:1@1 +off +good")) << terminal.screen();
    terminal.type({"w"});
    EXPECT_TRUE(terminal.shows("mode = _")) << terminal.screen();
    terminal.type({"-l", "auto"});
    terminal.type({"Enter"});
    EXPECT_TRUE(terminal.shows("mode +MOD:1@1 +auto +good")) << terminal.screen();
    terminal.type({"w"});
    terminal.type({"-l", "fürü"});
    terminal.type({"BSpace"});
    terminal.type({"-l", " alle"});
    terminal.type({"Enter"});
    EXPECT_TRUE(terminal.shows("mode +MOD:1@1 +für alle +good")) << terminal.screen();
    terminal.type({"w", "o", "f", "Enter"});
    EXPECT_TRUE(terminal.shows("its names are off, on, auto, für alle; the nearest is \"off\""))
        << terminal.screen();
    terminal.type({"Down", "w"});
    EXPECT_TRUE(terminal.shows("tag \"locked\" is read-only by")) << terminal.screen();
    terminal.type({"Down", "w"});
    EXPECT_TRUE(terminal.shows("F:3\\.0\\.40@1 is tag \"locked\", which is read-only by"))
        << terminal.screen();
    terminal.type({"Down", "w", "9", "9", "Enter"});
    EXPECT_TRUE(terminal.shows("value 99 for F is out of range, it must be 1\\.0 to 50\\.0 s in steps of"))
        << terminal.screen();
    terminal.type({"q"});
    EXPECT_TRUE(terminal.shows("exit code 0")) << terminal.screen();
    EXPECT_EQ("F:3.0.40@1 = 340", rig.tell("get F:3.0.40@1"));
}

TEST_P(TagRules, ASingleIsReadAndWrittenInBothWordOrders) {
    const Finished write =
        rig.dx7({"write", "--verify", "F:3.0.30/f32/unit=V=3.14", "F:3.0.32/f32/low-first=-0.1"});
    EXPECT_EQ("F:3.0.30@1 = 3.14 V written and verified\nF:3.0.32@1 = -0.1 written and verified\n",
              write.output)
        << write.errors;
    EXPECT_EQ(0x4048, rig.client()->holding(0xF330));
    EXPECT_EQ(0xCCCD, rig.client()->holding(0xF332));
    rig.tell("set F:3.0.30@1=32704");  // 0x7FC0, of a NaN
    const Json nan = jsonLines(rig.dx7({"read", "--json", "F:3.0.30/f32"}).output).at(0);
    EXPECT_TRUE(nan.at("value").is_null());
    EXPECT_EQ("nan", nan.at("text"));
    EXPECT_EQ("good", nan.at("quality"));
}

}  // namespace

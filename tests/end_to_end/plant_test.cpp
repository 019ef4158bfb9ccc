// A file with several lines, devices and templates: dx7 -c plant.toml.
#include "rig.h"

namespace {

class Plant : public testing::Test {
protected:
    void SetUp() override {
        writeFile(north.file("drive.toml"), R"(
[[tag]]
name = "speed"
type = "AI"
address = 0
interval = "500ms"
[[tag]]
name = "ramp"
type = "F"
address = "3.0.25"
)");
        writeFile(file, "[[line]]\nname = \"north\"\nserial = \"" + north.line()[1] +
                            "\"\n[[line]]\nname = \"south\"\ntcp = \"" + south.line()[1] + R"("
[[device]]
name = "conveyor"
line = "north"
stations = [1, 2]
include = ["drive.toml"]
[[device]]
name = "pump"
line = "south"
station = 2
include = ["drive.toml"]
)");
    }
    Finished dx7(Words words) const {
        words.insert(words.begin() + 1, {"-c", file});
        return runToEnd(dx7Words(words));
    }

    Rig north{Carrier::PseudoTerminal, {"--stations", "1,2"}};
    Rig south{Carrier::Tcp, {"--stations", "1,2"}};
    std::string file = north.file("plant.toml");
};

TEST_F(Plant, TheLineIsThatOfTheTags) {
    north.tell("set AI:0@2=12");
    south.tell("set AI:0@2=34");
    const Finished onNorth = dx7({"read", "conveyor 2/speed", "conveyor 1/ramp"});
    EXPECT_EQ("conveyor 2/speed = 12\nconveyor 1/ramp = 325\n", onNorth.output) << onNorth.errors;
    EXPECT_EQ("pump/speed = 34\n", dx7({"read", "pump/speed"}).output);
    // An item beside a tag is on its line, too.
    south.tell("set AI:3@1=56");
    EXPECT_EQ("pump/speed = 34\nAI:3@1 = 56\n", dx7({"read", "pump/speed", "AI:3"}).output);
}

TEST_F(Plant, WhereThatIsNotPlainItIsAsked) {
    for (const Words& words : {Words{"read"}, Words{"monitor", "--seconds", "1"}, Words{"plan"},
                               Words{"read", "pump/speed", "conveyor 1/speed"}}) {
        const Finished run = dx7(words);
        EXPECT_EQ(2, run.exitCode);
        EXPECT_EQ("dx7: the tags are of several lines, name one with --line: north, south\n", run.errors);
    }
    EXPECT_EQ(
        "dx7: \"pump/sped\" is neither an item (TYPE:ADDRESS[,COUNT][@STATION[-LAST]]) nor a tag of the "
        "file; "
        "the nearest tag is \"pump/speed\"\n",
        dx7({"write", "pump/sped=3"}).errors);
    for (const Words& words : {Words{"read", "AI:0"}, Words{"scan"}, Words{"raw", "07"}}) {
        const Finished run = dx7(words);
        EXPECT_EQ(2, run.exitCode);
        EXPECT_NE(std::string::npos, run.errors.find("has several lines, name one with --line: north, south"))
            << run.errors;
    }
}

TEST_F(Plant, TheLineIsNamed) {
    south.tell("set AI:0@1=56");
    EXPECT_EQ("AI:0@1 = 56\n", dx7({"read", "--line", "south", "AI:0"}).output);
    const Finished all = dx7({"read", "--line", "south"});
    EXPECT_EQ(2, std::count(all.output.begin(), all.output.end(), '\n')) << all.output << all.errors;
    for (const Words& words : {Words{"scan", "--stations", "1"}, Words{"raw", "04", "12", "00", "00", "01"},
                               Words{"plan", "AI:0"}, Words{"monitor", "--seconds", "0.3", "AI:0"}}) {
        Words onSouth = words;
        onSouth.insert(onSouth.begin() + 1, {"--line", "south"});
        const Finished run = dx7(onSouth);
        EXPECT_EQ(0, run.exitCode) << words[0] << ": " << run.errors;
    }
    const Finished unknown = dx7({"read", "--line", "sout", "AI:0"});
    EXPECT_EQ(2, unknown.exitCode);
    EXPECT_EQ("dx7: there is no line \"sout\", the lines are north, south; the nearest is \"south\"\n",
              unknown.errors);
    const Finished other = dx7({"read", "--line", "south", "conveyor 1/speed"});
    EXPECT_EQ(2, other.exitCode);
    EXPECT_EQ("dx7: --line is south, and tags of north are named\n", other.errors);
    const Finished without = runToEnd(dx7Words({"read", "--line", "x", "AI:0"}));
    EXPECT_EQ("dx7: --line names a line of a file, name the file with -c\n", without.errors);
}

TEST_F(Plant, ATagOfADeviceIsWritten) {
    const Finished write = dx7({"write", "conveyor 2/ramp=512"});
    EXPECT_EQ(0, write.exitCode) << write.errors;
    EXPECT_EQ(512, north.client(2)->holding(0xF325));
}

TEST_F(Plant, TagsOfOneLineAreMonitoredWithItsName) {
    const Finished run = dx7({"monitor", "--json", "--count", "2", "conveyor 1/speed", "conveyor 2/speed"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    for (const Json& object : jsonLines(run.output)) {
        if (object.at("event") == "value") {
            EXPECT_EQ("north", object.at("line"));
        }
    }
}

TEST_F(Plant, IsCheckedWithoutItsLines) {
    const Finished run = dx7({"check"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_NE(std::string::npos, run.output.find(file + ": 2 lines, 6 tags, 6 items, no fault\n"))
        << run.output;
    const std::vector<Json> objects = jsonLines(dx7({"check", "--json"}).output);
    const Json cost = ofEvent(objects, "cost");
    EXPECT_EQ("north", cost.at("line"));
    EXPECT_EQ(500, cost.at("interval_ms"));
    EXPECT_EQ(2, cost.at("requests"));
    EXPECT_GT(cost.at("share"), 0.05);
    EXPECT_LT(cost.at("share"), 0.5);
    const Json cycle = ofEvent(objects, "cycle");
    EXPECT_EQ("north", cycle.at("line"));
    EXPECT_EQ(4, cycle.at("requests"));
    EXPECT_EQ(4, cycle.at("values"));
    EXPECT_EQ(cost.at("share"), cycle.at("share"));
    EXPECT_GT(cycle.at("line_ms"), cost.at("line_ms"));
    // Over TCP the time is not known.
    EXPECT_TRUE(has(withKey(jsonLines(dx7({"check", "--line", "south", "--json"}).output), "line_ms"),
                    "line_ms", nullptr));
    const Json summary = ofEvent(objects, "summary");
    EXPECT_EQ("check", summary.at("command"));
    EXPECT_EQ(true, summary.at("kept"));
}

TEST_F(Plant, ACheckFindsWhatCannotWork) {
    writeFile(file, readFile(file) +
                        "[[tag]]\nname = \"a\"\nline = \"north\"\ntype = \"AI\"\naddress = 3\n"
                        "interval = \"5ms\"\n[[tag]]\nname = \"b\"\nline = \"north\"\n"
                        "type = \"FIN\"\naddress = 0\n");
    const Finished slow = dx7({"check"});
    EXPECT_EQ(1, slow.exitCode) << slow.errors;
    EXPECT_NE(
        std::string::npos,
        slow.output.find("north: the same register 1203 of station 1: \"a\" (AI:3@1), \"b\" (FIN:0@1)\n"))
        << slow.output;
    EXPECT_NE(std::string::npos, slow.output.find(" times as long, or poll less\n")) << slow.output;
    writeFile(file, readFile(file) +
                        "[[tag]]\nname = \"c\"\nline = \"north\"\ntype = \"XX\"\naddress = 3\n"
                        "[[tag]]\nname = \"d\"\nline = \"north\"\ntype = \"AI\"\naddress = 9\n");
    const Finished wrong = dx7({"check"});
    EXPECT_EQ(2, wrong.exitCode);
    EXPECT_EQ(2, std::count(wrong.errors.begin(), wrong.errors.end(), '\n')) << wrong.errors;
    EXPECT_NE(std::string::npos, wrong.errors.find("plant.toml:")) << wrong.errors;
}

TEST_F(Plant, TwoLinesOnOnePortAreAFault) {
    writeFile(file,
              "[[line]]\nname = \"a\"\nserial = \"/dev/x\"\n[[line]]\nname = \"b\"\nserial = \"/dev/x\"\n");
    const Finished run = dx7({"check"});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_EQ("dx7: line \"b\" has the serial port of line \"a\": /dev/x\n", run.errors);
}

TEST_F(Plant, OfALineWithAFaultNoCostIsShown) {
    writeFile(file,
              "[[line]]\nname = \"a\"\nbaud = 1\n[[line]]\nname = \"b\"\nserial = \"/dev/x\"\n[[tag]]\n"
              "line = \"a\"\nname = \"one\"\ntype = \"AI\"\naddress = 0\n");
    const Finished run = dx7({"check", "--json"});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_EQ(1, std::count(run.errors.begin(), run.errors.end(), '\n')) << run.errors;
    EXPECT_NE(std::string::npos, run.errors.find("plant.toml:3:8: ")) << run.errors;
    EXPECT_EQ(1, std::count(run.output.begin(), run.output.end(), '\n')) << run.output;
    writeFile(file, "");
    EXPECT_EQ(file + ": 1 line, 0 tags, 0 items, no fault\n", dx7({"check"}).output);
    writeFile(file, "[line]\nname = \"a\"\nserial = \"/dev/x\"\n");
    EXPECT_NE(std::string::npos, dx7({"read"}).errors.find("no items are given, and line \"a\" of " + file +
                                                           " has no tags, write"));
}

}  // namespace

// dx7 raw: requests of any kind, over each line.
#include <csignal>

#include "fragile_device.h"
#include "rig.h"

namespace {

class Raw : public testing::TestWithParam<Carrier> {
protected:
    Rig rig{GetParam(), {"--stations", "1,2"}};
};
INSTANTIATE_TEST_SUITE_P(Lines, Raw,
                         testing::Values(Carrier::PseudoTerminal, Carrier::Tcp, Carrier::ModbusTcp),
                         carrierName);

TEST_P(Raw, ShowsTheReplyInHexadecimalAndInWords) {
    rig.tell("set F:3.0.25@2=500");
    const Finished run = rig.dx7({"raw", "--station", "2", "03", "F3", "25", "00", "01"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(run.output, "-> 02 03 F3 25 00 01 ")) << run.output;
    EXPECT_TRUE(says(run.output, "<- 02 03 02 01 F4 ")) << run.output;
    EXPECT_TRUE(says(run.output, "station 2 read holding registers: 500\n")) << run.output;
    EXPECT_EQ("", run.errors);
}

TEST_P(Raw, TakesTheBytesInEveryForm) {
    for (const Words& bytes : {Words{"03F3250001"}, Words{"0x03", "0xF325", "0001"}, Words{"03 F3 25 00 01"},
                               Words{"--frame", "0103F3250001"}}) {
        Words words{"raw"};
        words.insert(words.end(), bytes.begin(), bytes.end());
        const Finished run = rig.dx7(words);
        EXPECT_EQ(0, run.exitCode) << run.errors;
        EXPECT_TRUE(says(run.output, "-> 01 03 F3 25 00 01 A6 85")) << run.output;
    }
    const Finished whole = rig.dx7({"raw", "--frame", "01 03 F3 25 00 01 A6 85"});
    EXPECT_EQ(0, whole.exitCode);
    EXPECT_TRUE(says(whole.errors, "which is not added again")) << whole.errors;
}

TEST_P(Raw, AnExceptionIsNamedAndGood) {
    const Finished refused = rig.dx7({"raw", "03", "0000", "0001"});
    EXPECT_EQ(0, refused.exitCode);
    EXPECT_TRUE(says(refused.output, "exception 2 (illegal data address)")) << refused.output;
    const Finished unknown = rig.dx7({"raw", "2B", "0E", "01", "00"});
    EXPECT_EQ(0, unknown.exitCode) << unknown.errors;
    EXPECT_TRUE(says(unknown.output, "function code 43: exception 1 (illegal function)")) << unknown.output;
}

TEST_P(Raw, WritesOnceAndKnowsTheReplyFromAnEcho) {
    const Finished run = rig.dx7({"raw", "06", "E325", "01F4", "--timeout", "150"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("", run.errors);
    EXPECT_EQ("F:3.0.25@1 = 500", rig.tell("get F:3.0.25@1"));
    const std::string seen = rig.stopDevice();
    EXPECT_TRUE(says(seen, "FC 6: 1")) << seen;
}

TEST_P(Raw, SilenceIsAFailure) {
    const Finished run = rig.dx7({"raw", "--station", "9", "03", "F325", "0001", "--timeout", "80"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "no reply within 80 ms")) << run.errors;
}

TEST_P(Raw, ABroadcastIsSentAndNotAwaited) {
    const Finished run = rig.dx7({"raw", "--station", "0", "06", "E325", "0007"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(run.output, "which do not answer")) << run.output;
    EXPECT_EQ("F:3.0.25@2 = 7", rig.tell("get F:3.0.25@2"));
}

TEST_P(Raw, ShowsRegistersAsValues) {
    rig.tell("set F:3.0.24=0x3FC0");
    rig.tell("set F:3.0.25=0");
    const Finished run = rig.dx7({"raw", "03", "F324", "0002", "--as", "f32"});
    EXPECT_TRUE(says(run.output, "   0xF324 = 1.5\n")) << run.output << run.errors;
    const Json json = jsonLines(rig.dx7({"raw", "--json", "03", "F324", "0002", "--as", "f32"}).output).at(0);
    EXPECT_EQ(Json::parse(R"([{"register":62244,"value":1.5,"text":"1.5"}])"), json.at("values")) << json;
    EXPECT_TRUE(json.at("fault").is_null()) << json;
}

TEST_P(Raw, RepeatsUntilItsCountOrCtrlC) {
    const Finished run = rig.dx7({"raw", "--json", "03", "F324", "0002", "--repeat", "50ms", "--count", "4"});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ(4U, jsonLines(run.output).size()) << run.output;
    Process raw(rig.command({"raw", "--json", "03", "F324", "0002", "--repeat", "20ms"}));
    for (int i = 0; i < 3; ++i) {
        ASSERT_FALSE(nextJson(raw, [](const Json& line) { return has(line, "event", "raw"); }).is_null());
    }
    raw.signal(SIGINT);
    EXPECT_EQ(0, raw.finish().exitCode);
}

TEST_P(Raw, IsRecorded) {
    EXPECT_EQ(0, rig.dx7({"raw", "2B0E0100", "--record", rig.file("raw.pcap")}).exitCode);
    const Finished replay = runToEnd(dx7Words({"replay", rig.file("raw.pcap")}));
    EXPECT_TRUE(says(replay.output, "01 2B 0E 01 00") || says(replay.output, "function code 43"))
        << replay.output;
}

TEST_P(Raw, ALostLineIsAFailure) {
    Process raw(rig.command({"raw", "--json", "03", "F324", "0002", "--repeat", "20ms"}));
    ASSERT_FALSE(nextJson(raw, [](const Json& line) { return has(line, "event", "raw"); }).is_null());
    rig.stopDevice();
    const Finished run = raw.finish();
    EXPECT_EQ(1, run.exitCode) << "though there were replies";
    EXPECT_TRUE(says(run.errors, "was lost: ")) << run.errors;
}

TEST(RawUsage, IsCheckedBeforeAnythingIsSent) {
    struct Row {
        Words words;
        const char* says;
    };
    const Row rows[] = {
        {{"3"}, "odd number of hexadecimal digits"},
        {{"03", "GG"}, "is not a byte"},
        {{"03", "--station", "248"}, "--station"},
        {{"--frame", "01"}, "at least, 1 byte was given"},
        {{"--frame", "01", "03", "--station", "2"}, "is of no use with --frame"},
        {{"03", "--count", "2"}, "use it with --repeat"},
        {{"03", "--repeat", "1"}, "write a number and its unit"},
        {{"01", "--as", "u16"}, "reads none"},
        {{"03", "--as", "u17"}, "u17"},
        {{std::string(2 * 254, '0')}, "at most 256"},
    };
    for (const Row& row : rows) {
        Words words = dx7Words({"raw", "--tcp", "127.0.0.1:1"});
        words.insert(words.end(), row.words.begin(), row.words.end());
        const Finished run = runToEnd(words);
        EXPECT_EQ(2, run.exitCode) << run.errors;
        EXPECT_TRUE(says(run.errors, row.says)) << run.errors;
    }
}

TEST(RawEcho, AnEchoAloneIsNoReply) {
    const Rig rig(Carrier::PseudoTerminal, {"--fault", "echo,silent=1"});
    for (const char* request : {"06E32501F4", "03F3250001", "2B0E0100"}) {
        const Finished run = rig.dx7({"raw", request, "--timeout", "80"});
        EXPECT_EQ(1, run.exitCode) << run.output;
        EXPECT_TRUE(says(run.errors, "no reply within 80 ms; the adapter's echo came")) << run.errors;
    }
}

TEST(RawEcho, ItIsTakenOut) {
    const Rig rig(Carrier::PseudoTerminal, {"--fault", "echo"});
    for (const char* request : {"06E32501F4", "03F3250001", "2B0E0100"}) {
        const Finished run = rig.dx7({"raw", "--json", request, "--timeout", "150"});
        EXPECT_EQ(0, run.exitCode) << run.output << run.errors;
        EXPECT_EQ(true, jsonLines(run.output).at(0).at("echoed")) << run.output;
    }
}

TEST(RawDamage, IsNamed) {
    const Rig rig(Carrier::PseudoTerminal, {"--fault", "corrupt=1"});
    const Finished run = rig.dx7({"raw", "03F3250001", "--timeout", "150", "--echo", "off"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.errors, "wrong CRC") || says(run.errors, "wrong length") ||
                says(run.errors, "noise"))
        << run.errors;
}

}  // namespace

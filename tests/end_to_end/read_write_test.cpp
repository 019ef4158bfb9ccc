// dx7 read and dx7 write over both lines. What was written is checked with libmodbus's client, what is read
// was given to the device by its own command channel.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <regex>

#include "rig.h"
#include "stubborn_device.h"

namespace {

class ReadWrite : public testing::TestWithParam<Carrier> {
protected:
    Rig rig{GetParam(), {"--stations", "1,2"}};
};
INSTANTIATE_TEST_SUITE_P(Lines, ReadWrite,
                         testing::Values(Carrier::PseudoTerminal, Carrier::Tcp, Carrier::ModbusTcp),
                         carrierName);

TEST_P(ReadWrite, ReadsInTheOrderGivenFromTheStationNamed) {
    rig.tell("set F:3.0.25@1=500");
    rig.tell("set F:3.0.25@2=501");
    const Finished run = rig.dx7({"read", "F:3.0.25@2", "F:3.0.25", "DE:5", "F:3.0.25@1"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("", run.errors);
    EXPECT_EQ("F:3.0.25@2 = 501\nF:3.0.25@1 = 500\nDE:5@1 = 7005\n", run.output)
        << "an item named twice is read and shown once";
}

TEST_P(ReadWrite, ShowsEachItemInItsFormat) {
    rig.tell("set AI:0=-12");
    rig.tell("set SW:0=0x8201");
    rig.tell("set FAS:0=0x81");
    rig.tell("set F:0.0.00=0x0001");
    rig.tell("set F:0.0.01=0x86A0");
    rig.tell("set F:0.0.02=0xFFFF");
    rig.tell("set F:0.0.03=0xFFFE");
    const std::pair<const char*, const char*> shown[] = {
        {"AI:0", "65524"},
        {"AI:0/unsigned", "65524"},
        {"AI:0/signed", "-12"},
        {"AI:0/hex", "0xfff4"},
        {"AI:0/signed/scale=0.1/unit=Hz", "-1.2 Hz"},
        {"SW:0/binary", "0b1000001000000001"},
        {"FAS:0/hex", "0x81"},
        {"F:0.0.00/u32", "100000"},
        {"F:0.0.00/u32/low-first", "2258632705"},
        {"F:0.0.02/s32", "-2"},
        {"F:0.0.02/s32/low-first", "-65537"},
        {"F:0.0.00/hex32/unit=h", "0x000186a0 h"},
    };
    for (const auto& [item, value] : shown) {
        const Finished run = rig.dx7({"read", item});
        EXPECT_EQ(0, run.exitCode) << run.errors;
        EXPECT_EQ(std::string(" = ") + value + "\n", run.output.substr(run.output.find(" = "))) << item;
    }
}

TEST_P(ReadWrite, ReadsAsJson) {
    rig.tell("set AI:1@2=-5");
    const Finished run = rig.dx7({"read", "--json", "AI:1@2/signed/scale=0.5/unit=V", "DO:1,2"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> objects = jsonLines(run.output);
    ASSERT_EQ(3U, objects.size());
    EXPECT_EQ("AI:1@2", objects[0].at("item"));
    EXPECT_EQ(2, objects[0].at("station"));
    EXPECT_EQ("AI", objects[0].at("type"));
    EXPECT_EQ("1", objects[0].at("address"));
    EXPECT_DOUBLE_EQ(-2.5, objects[0].at("value"));
    EXPECT_EQ("-2.5", objects[0].at("text"));
    EXPECT_EQ("V", objects[0].at("unit"));
    EXPECT_EQ("good", objects[0].at("quality"));
    EXPECT_EQ("2", objects[2].at("address"));
    EXPECT_EQ(0, objects[2].at("value"));
}

TEST_P(ReadWrite, SendsEveryBroadcast) {
    const Finished run = rig.dx7({"write", "DO:1,2@0=1,1", "RO:1@0=1", "F:3.0.25=5"});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ("", run.errors);
    EXPECT_EQ(
        "DO:1,2@0 = 1,1 sent to all stations, not confirmed\n"
        "RO:1@0 = 1 sent to all stations, not confirmed\n"
        "F:3.0.25@1 = 5 written and verified\n",
        run.output);
    EXPECT_EQ("DO:2@2 = 1", rig.tell("get DO:2@2"));
    EXPECT_EQ("RO:1@2 = 1", rig.tell("get RO:1@2"));
}

TEST_P(ReadWrite, TakesAnItemAtSeveralStations) {
    const Finished write = rig.dx7({"write", "F:3.0.25@1-2=77"});
    EXPECT_EQ(0, write.exitCode) << write.errors;
    EXPECT_EQ("F:3.0.25@1 = 77 written and verified\nF:3.0.25@2 = 77 written and verified\n", write.output);
    EXPECT_EQ("F:3.0.25@1 = 77\nF:3.0.25@2 = 77\n", rig.dx7({"read", "F:3.0.25@1-2"}).output);
    const std::string plan = runToEnd(dx7Words({"plan", "F:3.0.25@1-2"})).output;
    EXPECT_TRUE(says(plan, "cycle: 2 requests")) << plan;
    const std::string check = runToEnd(dx7Words({"check", "F:3.0.25@1-2"})).output;
    EXPECT_TRUE(says(check, "F:3.0.25@1 is valid") && says(check, "F:3.0.25@2 is valid")) << check;
    EXPECT_EQ(2, rig.dx7({"read", "F:3.0.25@0-2"}).exitCode);
}

TEST_P(ReadWrite, NamesTheExceptionThatRefusesARead) {
    // The driver takes this address, one behind the last; the device has no such register.
    const Finished run = rig.dx7({"read", "F:10.0.00", "DE:1"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("DE:1@1 = 7001\n", run.output);
    EXPECT_TRUE(
        std::regex_match(run.errors, std::regex("dx7: warning: F:10.0.00@1 is beyond the end of F[^\n]*\n"
                                                "dx7: F:10.0.0[^\n]*illegal data address[^\n]*\n")))
        << run.errors;
    const Finished json = rig.dx7({"read", "--json", "F:10.0.00"});
    EXPECT_EQ(1, json.exitCode);
    const std::vector<Json> objects = jsonLines(json.output);
    ASSERT_EQ(1U, objects.size());
    EXPECT_TRUE(objects[0].at("value").is_null());
    EXPECT_NE(std::string::npos, objects[0].at("fault").get<std::string>().find("illegal data address"));
}

TEST_P(ReadWrite, WritesSeveralItemsAndVerifiesThem) {
    const Finished run =
        rig.dx7({"write", "--verify", "DO:2=on", "MOD:1=-2", "CW:0=0x047F", "F:3.0.08,4=1,2,3,4",
                 "F:0.0.10/s32=-100000", "F:0.0.12/u32/low-first=100000", "F:0.0.14/scale=0.1=12.5",
                 "SDO:7,2=1,0", "F:3.0.25@2=77"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(9, std::count(run.output.begin(), run.output.end(), '\n')) << run.output;
    EXPECT_NE(std::string::npos, run.output.find("written and verified")) << run.output;
    {
        const std::unique_ptr<Client> client = rig.client();
        std::uint8_t coils[8] = {};
        ASSERT_EQ(2, modbus_read_bits(*client, 0x1020, 2, coils));
        EXPECT_EQ(0, coils[0]);
        EXPECT_EQ(1, coils[1]);
        ASSERT_EQ(8, modbus_read_bits(*client, 0x1060, 8, coils));
        EXPECT_EQ(1, coils[6]);
        EXPECT_EQ(0, coils[7]);
        EXPECT_EQ(0xFFFE, client->holding(0x1301));
        EXPECT_EQ(0x047F, client->holding(0x1300));
        const int parameters[] = {1, 2, 3, 4};
        const int registers[] = {0xF308, 0xF309, 0xF310, 0xF311};
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(parameters[i], client->holding(registers[i]));
        }
        EXPECT_EQ(0xFFFE, client->holding(0xF010)) << "-100000 is 0xFFFE7960";
        EXPECT_EQ(0x7960, client->holding(0xF011));
        EXPECT_EQ(0x86A0, client->holding(0xF012)) << "100000 is 0x000186A0";
        EXPECT_EQ(0x0001, client->holding(0xF013));
        EXPECT_EQ(125, client->holding(0xF014));
        EXPECT_EQ(325, client->holding(0xF325)) << "station 2 was written, not 1";
    }
    EXPECT_EQ(77, rig.client(2)->holding(0xF325));
}

TEST_P(ReadWrite, WritesAsJson) {
    const Finished run = rig.dx7({"write", "--json", "--verify", "F:0.0.10,2=5,6",
                                  "F:3.0.20@2/signed/scale=0.1/unit=Hz=-12.3", "DO:1=on"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> objects = jsonLines(run.output);
    ASSERT_EQ(4U, objects.size());
    EXPECT_EQ("F:0.0.10@1", objects[0].at("item"));
    EXPECT_EQ("F:0.0.11@1", objects[1].at("item"));
    EXPECT_EQ(5, objects[0].at("value"));
    EXPECT_EQ("6", objects[1].at("text"));
    EXPECT_EQ(true, objects[1].at("written"));
    EXPECT_EQ(1, objects[3].at("value"));
    // The same keys with the same content as where it is read.
    const std::vector<Json> reads =
        jsonLines(rig.dx7({"read", "--json", "F:3.0.20@2/signed/scale=0.1/unit=Hz"}).output);
    ASSERT_EQ(1U, reads.size());
    for (const char* key :
         {"name", "item", "station", "type", "address", "value", "text", "unit", "format", "quality"}) {
        EXPECT_EQ(reads[0].at(key), objects[2].at(key)) << key;
    }
    EXPECT_EQ(true, objects[0].at("verified"));
}

TEST_P(ReadWrite, ABroadcastReachesEveryStation) {
    const Finished run = rig.dx7({"write", "DO:1@0=1"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ("DO:1@0 = 1 sent to all stations, not confirmed\n", run.output);
    EXPECT_TRUE(eventually([this] { return rig.tell("get DO:1@1") == "DO:1@1 = 1"; }));
    EXPECT_EQ("DO:1@2 = 1", rig.tell("get DO:1@2"));
}

TEST(Write, ARefusedOneIsNamedAndTheOthersAreDone) {
    const StubbornDevice device(0xF320);
    const Finished run = runToEnd(dx7Words({"write", "F:3.0.20=1", "MOD:1=7", "--tcp", device.address()}));
    EXPECT_EQ(1, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("F:3.0.20@1 = 1 failed: exception 2 (illegal data address)"))
        << run.errors;
    EXPECT_EQ("MOD:1@1 = 7 written and verified\n", run.output);
}

// What is printed of a run is what would write it again.
TEST_P(ReadWrite, ARunIsNamedAsItIsTyped) {
    const Finished run = rig.dx7({"write", "F:3.0.20,3=500,10,258", "DO:1,2@2=1,0"});
    EXPECT_EQ("F:3.0.20,3@1 = 500,10,258 written and verified\nDO:1,2@2 = 1,0 acknowledged, reads back 1,0\n",
              run.output)
        << run.errors;
    const Finished again = rig.dx7({"write", "F:3.0.20,3@1=500,10,258", "DO:1,2@2=1,0"});
    EXPECT_EQ(run.output, again.output) << again.errors;
}

// Stopped while a silent station is waited for.
TEST_P(ReadWrite, CtrlCEndsAnyCommandWithExitCode1) {
    rig.tell("silence 2");
    const std::string file = rig.file("parameters.toml");
    writeFile(file, "station = 2\n[F]\n\"3.0.25\" = 9\n");
    const std::vector<Words> commands = {{"read", "AI:0@2", "DO:1@2"},
                                         {"write", "F:3.0.25@2=1", "DO:1@2=1", "--verify"},
                                         {"params", "diff", file, "--accept-altered"},
                                         {"params", "load", file, "--accept-altered"},
                                         {"params", "save", "--force", file, "--station", "2"}};
    for (Words words : commands) {
        const std::string recording = rig.file("line.pcap");
        words.insert(words.end(), {"--timeout", "20000", "--record", recording});
        Process process(rig.command(words));
        // The request is out when it has been recorded.
        ASSERT_TRUE(eventually([&] { return readFile(recording).size() > 60; })) << words[0];
        process.signal(SIGINT);
        const Finished run = process.finish();
        EXPECT_EQ(1, run.exitCode) << words[0] << run.output;
        EXPECT_NE(std::string::npos, run.errors.find("stopped")) << words[0] << ": " << run.errors;
        EXPECT_EQ("", run.output) << words[0];
        std::remove(recording.c_str());
    }
}

}  // namespace

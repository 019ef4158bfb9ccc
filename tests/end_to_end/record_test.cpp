// Recordings: what tshark, and dx7 replay, make of them.
#include <algorithm>
#include <regex>
#include <sstream>

#include "rig.h"

namespace {

/// A read as it was asked for.
struct Read {
    int function;
    int station;
    int address;
    int quantity;
};

/// Two byte CRC behind each frame, checked by tshark: 1 is good, 0 is bad.
enum CrcStatus { CRC_BAD = 0, CRC_GOOD = 1 };

/// A frame in tshark's words. Numbers that a frame does not have are -1.
struct Packet {
    bool request = false;
    int station = -1;
    int function = -1;
    int address = -1;       ///< Reference number of a request or acknowledgement.
    int quantity = -1;      ///< Word or bit count.
    std::string bits;       ///< "4385=1" and so on.
    std::string registers;  ///< "62245=325" and so on.
    std::string data;       ///< Undecoded, in hexadecimal.
    int exception = -1;
    int crc = -1;
    double responseMs = -1;  ///< Time since the frame before.
};

Words split(const std::string& text, char mark) {
    Words parts;
    std::string part;
    for (std::istringstream stream(text); std::getline(stream, part, mark);) {
        parts.push_back(part);
    }
    return parts;
}

int numberOr(const Words& fields, std::size_t index) {
    return index < fields.size() && !fields[index].empty() ? std::stoi(fields[index]) : -1;
}

std::string pairs(const std::string& numbers, const std::string& values) {
    const Words first = split(numbers, ',');
    const Words second = split(values, ',');
    std::string text;
    for (std::size_t i = 0; i < first.size() && i < second.size(); ++i) {
        text += (i == 0 ? "" : " ") + first[i] + "=" + second[i];
    }
    return text;
}

std::vector<Packet> decode(const std::string& file) {
    Words command{
        DX7_TSHARK, "-r",     file, "-o",         "mbrtu.tcp.port:502", "-o", "mbrtu.crc_verification:TRUE",
        "-T",       "fields", "-E", "separator=;"};
    for (const char* field : {"exported_pdu.dst_port", "mbrtu.unit_id", "modbus.func_code",
                              "modbus.reference_num", "modbus.word_cnt", "modbus.bit_cnt", "modbus.bitnum",
                              "modbus.bitval", "modbus.regnum16", "modbus.regval_uint16", "modbus.data",
                              "modbus.exception_code", "mbrtu.crc16.status", "frame.time_delta"}) {
        command.insert(command.end(), {"-e", field});
    }
    const Finished run = runToEnd(command);
    EXPECT_EQ(0, run.exitCode) << run.errors;
    std::vector<Packet> packets;
    for (const std::string& line : split(run.output, '\n')) {
        Words fields = split(line, ';');
        fields.resize(14);
        Packet packet;
        packet.request = numberOr(fields, 0) == 502;
        packet.station = numberOr(fields, 1);
        packet.function = numberOr(fields, 2);
        packet.address = numberOr(fields, 3);
        packet.quantity = std::max(numberOr(fields, 4), numberOr(fields, 5));
        packet.bits = pairs(fields[6], fields[7]);
        packet.registers = pairs(fields[8], fields[9]);
        packet.data = fields[10];
        packet.exception = numberOr(fields, 11);
        packet.crc = numberOr(fields, 12);
        packet.responseMs = 1000 * std::stod(fields[13]);
        packets.push_back(packet);
    }
    return packets;
}

/// The request and reply of a function code, one behind the other.
void expectRead(const std::vector<Packet>& packets, const Read& read, const std::string& values) {
    for (std::size_t i = 0; i + 1 < packets.size(); i += 2) {
        const Packet& request = packets[i];
        const Packet& reply = packets[i + 1];
        if (request.function != read.function) {
            continue;
        }
        EXPECT_EQ(read.station, request.station);
        EXPECT_EQ(read.station, reply.station);
        EXPECT_EQ(read.address, request.address);
        EXPECT_EQ(read.quantity, request.quantity);
        EXPECT_EQ(read.function, reply.function);
        EXPECT_EQ(values, reply.bits + reply.registers);
        EXPECT_EQ(int(CRC_GOOD), request.crc);
        EXPECT_EQ(int(CRC_GOOD), reply.crc);
        return;
    }
    ADD_FAILURE() << "no request with function code " << read.function;
}

class Tshark : public testing::TestWithParam<Carrier> {
protected:
    enum { ANY = -2 };  ///< Whatever the exit code is.

    void SetUp() override {
        if (std::string(DX7_TSHARK).empty()) {
            GTEST_SKIP() << "tshark was not found when this was configured: install the package tshark";
        }
    }

    std::vector<Packet> record(const Rig& rig, Words words, int exitCode) {
        words.insert(words.end(), {"--record", rig.file("line.pcap")});
        const Finished run = rig.dx7(words);
        EXPECT_TRUE(exitCode == ANY || exitCode == run.exitCode) << run.output << run.errors;
        replayed = jsonLines(runToEnd(dx7Words({"replay", "--json", rig.file("line.pcap")})).output);
        const std::vector<Packet> packets = decode(rig.file("line.pcap"));
        EXPECT_EQ(replayed.size(), packets.size());
        return packets;
    }

    /// tshark and dx7 replay agree on the response times, and they are those of the paced line, neither
    /// shorter nor longer. A request's time is taken when it has been handed over; on a busy computer that
    /// may be a while later, and a reply's be, too, so most must do.
    void checkTimes(const std::vector<Packet>& packets) {
        const double early = 1.5;
        const double late = 20;
        int replies = 0;
        int asPaced = 0;
        for (std::size_t i = 1; i < packets.size() && i < replayed.size(); ++i) {
            if (packets[i].request) {
                continue;
            }
            const double pacedMs = (static_cast<double>(bytesOf(i - 1) + bytesOf(i)) + 3.5) * 10 / 9.6;
            const double tookMs = packets[i].responseMs;
            ++replies;
            asPaced += tookMs >= pacedMs - early && tookMs <= pacedMs + late ? 1 : 0;
            EXPECT_NEAR(tookMs, replayed[i].at("response_ms").get<double>(), 0.1);
        }
        EXPECT_GT(2 * asPaced, replies);
    }
    /// Without the status queries that prove the replies, and without their answers.
    std::vector<Packet> withoutQueries(const std::vector<Packet>& packets) const {
        std::vector<Packet> left;
        for (std::size_t i = 0; i < packets.size() && i < replayed.size(); ++i) {
            const std::string function = replayed[i].at("bytes").get<std::string>().substr(3, 2);
            if (function != "07" && function != "08" && function != "88") {
                left.push_back(packets[i]);
            }
        }
        return left;
    }
    std::size_t bytesOf(std::size_t index) const {
        return (replayed[index].at("bytes").get<std::string>().size() + 1) / 3;
    }

    std::vector<Json> replayed;
};
INSTANTIATE_TEST_SUITE_P(Lines, Tshark, testing::Values(Carrier::PseudoTerminal, Carrier::Tcp), carrierName);

TEST_P(Tshark, DecodesEveryRead) {
    Rig rig(GetParam(), {"--stations", "1,9", "--baud", "9600"});
    rig.tell("set AI:1@9=4321");
    rig.tell("set DI:2@1=1");
    rig.tell("set DO:1@1=1");
    rig.tell("set FAS:0@1=0x41");
    const std::vector<Packet> packets =
        record(rig, {"read", "AI:1@9", "DI:1,2", "DO:1,2", "F:3.0.25,2", "FAS:0"}, 0);
    ASSERT_LE(10U, packets.size());
    ASSERT_EQ(8U, withoutQueries(packets).size());
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(i % 2 == 0, packets[i].request);
    }
    expectRead(packets, {4, 9, 0x1201, 1}, "4609=4321");
    expectRead(packets, {2, 1, 0x1120, 2}, "4384=0 4385=1");
    expectRead(packets, {1, 1, 0x1020, 2}, "4128=1 4129=0");
    expectRead(packets, {3, 1, 0xF325, 2}, "62245=325 62246=326");
    // The request of a status query has 4 bytes, too few for this dissector; it is recorded all the same.
    const auto status = std::find_if(packets.begin(), packets.end(),
                                     [](const Packet& packet) { return packet.function == 7; });
    ASSERT_NE(packets.end(), status);
    EXPECT_FALSE(status->request);
    EXPECT_EQ("41", status->data);
    EXPECT_EQ("01 07 41 E2", replayed[static_cast<std::size_t>(status - packets.begin()) - 1].at("bytes"));
    checkTimes(packets);
}

TEST_P(Tshark, DecodesEveryWrite) {
    const Rig rig(GetParam(), {"--baud", "9600"});
    const std::vector<Packet> all =
        record(rig, {"write", "--no-verify", "DO:2=1", "MOD:1=1234", "F:0.0.10,2=1,2"}, 0);
    const std::vector<Packet> packets = withoutQueries(all);
    ASSERT_EQ(6U, packets.size());
    EXPECT_EQ("01 07 41 E2", replayed[0].at("bytes")) << "it tells whether the adapter echoes";
    EXPECT_EQ(22U, all.size()) << "and queries of both kinds after each write, one more after the first";
    const int functions[] = {5, 5, 6, 6, 16, 16};
    const int addresses[] = {0x1021, 0x1021, 0x1301, 0x1301, 0xE010, 0xE010};
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(i % 2 == 0, packets[i].request);
        EXPECT_EQ(functions[i], packets[i].function);
        EXPECT_EQ(addresses[i], packets[i].address);
        EXPECT_EQ(int(CRC_GOOD), packets[i].crc);
    }
    EXPECT_EQ("ff00", packets[0].data);
    EXPECT_EQ("04d2", packets[2].data);
    EXPECT_EQ("57360=1 57361=2", packets[4].registers);
    EXPECT_EQ(2, packets[5].quantity);
    checkTimes(all);
}

TEST_P(Tshark, DecodesExceptions) {
    const Rig rig(GetParam(), {"--baud", "9600"});
    const std::vector<Packet> all = record(rig, {"read", "F:10.0.00"}, 1);
    const std::vector<Packet> packets = withoutQueries(all);
    ASSERT_EQ(2U, packets.size()) << "a refusal is not repeated at once";
    for (std::size_t i = 1; i < packets.size(); i += 2) {
        EXPECT_EQ(3, packets[i].function);
        EXPECT_EQ(2, packets[i].exception);
        EXPECT_EQ(int(CRC_GOOD), packets[i].crc);
    }
    EXPECT_NE(std::string::npos, replayed[1].at("text").get<std::string>().find("illegal data address"));
    checkTimes(all);
}

TEST_P(Tshark, FindsTheBadCrcs) {
    Rig rig(GetParam(), {"--fault", "corrupt=0.3", "--seed", "3"});
    const std::vector<Packet> packets = record(
        rig, {"read", "F:0.0.00,10", "F:0.0.10,10", "F:0.0.20,10", "F:0.0.30,10", "--timeout", "150"}, ANY);
    int bad = 0;
    int named = 0;
    for (std::size_t i = 0; i < packets.size() && i < replayed.size(); ++i) {
        // The dissector looks at no CRC of the 4 bytes of a status query.
        EXPECT_TRUE(!packets[i].request || packets[i].crc != CRC_BAD) << "packet " << i + 1;
        bad += packets[i].crc == CRC_BAD ? 1 : 0;
        const std::string text = replayed[i].at("text");
        named += text == "wrong CRC" || numberBehind(text, "wrong length (") > 0 ||
                         text.find(" of noise") != std::string::npos
                     ? 1
                     : 0;
    }
    EXPECT_GE(bad, 3);
    EXPECT_EQ(bad, named);
    EXPECT_LE(bad, numberBehind(rig.stopDevice(), "corrupt "));
}

class Replay : public testing::TestWithParam<Carrier> {};
INSTANTIATE_TEST_SUITE_P(Lines, Replay, testing::Values(Carrier::PseudoTerminal, Carrier::Tcp), carrierName);

TEST_P(Replay, PrintsARecordingLegibly) {
    const Rig rig(GetParam(), {"--baud", "9600"});
    const std::string file = rig.file("line.pcap");
    ASSERT_EQ(1, rig.dx7({"read", "F:3.0.25", "F:10.0.00", "--retries", "1", "--record", file}).exitCode);
    const Finished run = runToEnd(dx7Words({"replay", file}));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(std::regex_search(
        run.output,
        std::regex("-> +station 1 read holding registers: 0xF325, quantity 1  \\[01 03 F3 25 00 01 A6 85\\]\n"
                   "[0-9:.]+ <- +\\+[0-9.]+ ms station 1 read holding registers: 325 ")))
        << run.output;
    EXPECT_TRUE(std::regex_search(run.output, std::regex("<- [^\n]*exception 2 \\(illegal data address\\)")))
        << run.output;
    EXPECT_EQ(14, std::count(run.output.begin(), run.output.end(), '\n'))
        << "two reads, and queries of both kinds after each, one more after the first:\n"
        << run.output;
}

TEST_P(Replay, PrintsARecordingThatBreaksOffAsFarAsItGoes) {
    const Rig rig(GetParam());
    const std::string file = rig.file("line.pcap");
    ASSERT_EQ(0, rig.dx7({"read", "F:3.0.25", "--record", file}).exitCode);
    const std::string whole = readFile(file);
    writeFile(file, whole.substr(0, whole.size() - 5));
    const Finished run = runToEnd(dx7Words({"replay", file}));
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ(7, std::count(run.output.begin(), run.output.end(), '\n')) << run.output;
    EXPECT_TRUE(std::regex_match(run.errors,
                                 std::regex("dx7: [^\n]*line\\.pcap breaks off after 7 frames: [^\n]+\n")))
        << run.errors;
    EXPECT_EQ(7U, jsonLines(runToEnd(dx7Words({"replay", "--json", file})).output).size());
}

/// The command in a shell that takes a setting first.
Words inAShell(const std::string& setting, const Words& command) {
    Words words{"/bin/bash", "-c", setting + "; exec \"$@\"", "bash"};
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

// Stands for a disk that fills up: a file cannot grow beyond 1 KiB.
TEST_P(Replay, ARecordingThatCannotGoOnEndsTheCommand) {
    const Rig rig(GetParam());
    const std::string file = rig.file("line.pcap");
    const Words monitor = rig.command({"monitor", "--lines", "--seconds", "20", "AI:0", "--record", file});
    const Finished run = runToEnd(inAShell("trap '' XFSZ; ulimit -f 1", monitor));
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(std::regex_match(
        run.errors, std::regex("dx7: the recording [^\n]*line\\.pcap cannot be written any more: [^\n]+\n")))
        << run.errors;
    EXPECT_LT(5U, jsonLines(runToEnd(dx7Words({"replay", "--json", file})).output).size())
        << "what was recorded can be read";
}

TEST(Output, ThatCannotBeWrittenEndsTheCommand) {
    const Finished run = runToEnd(inAShell("exec >/dev/full", dx7Words({"types"})));
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(std::regex_match(run.errors, std::regex("dx7: standard output cannot be written: [^\n]+\n")))
        << run.errors;
}

TEST_P(Replay, AScanAndAMonitorAreRecordedToo) {
    const Rig rig(GetParam());
    const std::string file = rig.file("line.pcap");
    ASSERT_EQ(0, rig.dx7({"scan", "--stations", "1-2", "--timeout", "50", "--record", file}).exitCode);
    const std::vector<Json> scan = jsonLines(runToEnd(dx7Words({"replay", "--json", file})).output);
    ASSERT_EQ(3U, scan.size());
    EXPECT_EQ("reply", scan[1].at("direction"));
    EXPECT_EQ("request", scan[2].at("direction")) << "station 2 does not answer";
    ASSERT_EQ(0, rig.dx7({"monitor", "--count", "1", "DE:0", "--record", file}).exitCode);
    EXPECT_LE(2U, jsonLines(runToEnd(dx7Words({"replay", "--json", file})).output).size());
}

// The recorder and the statistics take their times by clocks of their own.
TEST_P(Replay, ShowsTheResponseTimesThatTheStatisticsCount) {
    const Rig rig(GetParam(), {"--baud", "19200"});
    const std::string file = rig.file("line.pcap");
    const Finished run = rig.dx7({"monitor", "--json", "--stats", "--seconds", "1", "--baud", "19200",
                                  "F:3.0.20,10", "--record", file});
    ASSERT_EQ(0, run.exitCode) << run.errors;
    std::vector<double> recorded;
    for (const Json& frame : jsonLines(runToEnd(dx7Words({"replay", "--json", file})).output)) {
        // The answers to status queries are counted apart.
        if (frame.contains("response_ms") && frame.at("bytes").get<std::string>().substr(3, 2) == "03") {
            recorded.push_back(frame.at("response_ms"));
        }
    }
    const Json counted = ofEvent(jsonLines(run.output), "statistics").at("all");
    ASSERT_EQ(counted.at("good"), recorded.size());
    ASSERT_LE(10U, recorded.size());
    std::sort(recorded.begin(), recorded.end());
    const Json& statistics = counted.at("response_ms");
    EXPECT_NEAR(statistics.at("min").get<double>(), recorded.front(), 5);
    EXPECT_NEAR(statistics.at("median").get<double>(), recorded[recorded.size() / 2], 5);
    EXPECT_NEAR((8 + 25 + 3.5) * 10 / 19.2, recorded[recorded.size() / 2], 10) << "as paced";
}

}  // namespace

// The same bytes in place of a reply are the same for read, scan, statistics and replay.
#include "fragile_device.h"
#include "rig.h"
#include "tests/kit/crc.h"

namespace {

std::string text(const FragileDevice::Frame& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

std::string damaged(const FragileDevice::Frame& content) {
    std::string bytes = text(kit::withCrc(content));
    bytes.back() = static_cast<char>(bytes.back() ^ 0x55);
    return bytes;
}

std::string whole(const FragileDevice::Frame& content) {
    return text(kit::withCrc(content));
}

FragileDevice::Script answering(int function, const std::string& bytes) {
    return [=](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.noise = request[1] == function ? bytes : std::string();
        return reaction;
    };
}

// The words, where the replay has a frame of which it says that; else all that it says.
std::string replayed(const std::string& file, const std::string& words) {
    const std::string output = runToEnd(dx7Words({"replay", file})).output;
    return says(output, words + "  [") ? words : output;
}

TEST(OneVerdict, ForWhatComesInPlaceOfAReading) {
    const struct {
        const char* name;
        std::string bytes;
        const char* words;
        const char* read;
        const char* counter;
    } rows[] = {
        {"wrong CRC", damaged({1, 3, 2, 0, 5}), "wrong CRC", "wrong CRC", "wrong_crc"},
        {"cut", whole({1, 3, 2, 0, 5}).substr(0, 3), "wrong length (3 of 7 bytes)",
         "wrong length (3 of 7 bytes)", "wrong_length"},
        {"one byte short", whole({1, 3, 2, 0, 5}).substr(0, 6), "wrong length (6 of 7 bytes)",
         "wrong length (6 of 7 bytes)", "wrong_length"},
        {"a damaged refusal", damaged({1, 0x83, 2}), "wrong CRC", "wrong CRC", "wrong_crc"},
        {"a cut refusal", text({1, 0x83}), "wrong length (2 of 7 bytes)", "wrong length (2 of 7 bytes)",
         "wrong_length"},
        {"as many bytes", text({165, 165, 165, 165, 165, 165, 165}), "wrong CRC", "wrong CRC", "wrong_crc"},
        {"a few bytes", text({165, 165, 165}), "3 bytes of noise", "no valid reply: 3 bytes of noise",
         "noise"},
        {"one byte", text({255}), "1 byte of noise", "no valid reply: 1 byte of noise", "noise"},
        {"many bytes", std::string(20, '\xA7'), "20 bytes of noise", "no valid reply: 20 bytes of noise",
         "noise"},
        {"another byte count, damaged", damaged({1, 3, 4, 0, 5, 0}), "wrong CRC", "wrong CRC", "wrong_crc"},
    };
    for (const auto& row : rows) {
        const FragileDevice device(answering(READ, row.bytes));
        const TemporaryDirectory directory;
        const std::string file = directory.file("line.pcap");
        const Finished read =
            dx7At(device.address(), {"read", "F:3.0.25", "--retries", "1", "--record", file});
        EXPECT_EQ(1, read.exitCode) << row.name;
        EXPECT_EQ(std::string("dx7: F:3.0.25@1 could not be read: ") + row.read + "\n", read.errors)
            << row.name;
        EXPECT_EQ(row.words, replayed(file, row.words)) << row.name;
        const Finished monitor = dx7At(
            device.address(), {"monitor", "F:3.0.25", "--retries", "1", "--count", "1", "--stats", "--json"});
        const Json all = ofEvent(jsonLines(monitor.output), "statistics").at("all");
        for (const char* counter : {"wrong_crc", "wrong_length", "noise", "foreign", "surplus"}) {
            EXPECT_EQ(std::string(row.counter) == counter, all.at(counter) > 0) << row.name << ": " << all;
        }
    }
}

// In place of the answer to a query that proves a reading.
TEST(OneVerdict, ForWhatComesInPlaceOfAProof) {
    const struct {
        const char* name;
        std::string bytes;
        const char* words;
        const char* counter;
    } rows[] = {
        {"wrong CRC", damaged({1, STATUS, 1}), "wrong CRC", "damaged_answers"},
        {"cut", text({1, STATUS}), "wrong length (2 of 5 bytes)", "damaged_answers"},
        {"many bytes", std::string(9, '\xA7'), "9 bytes of noise", "noise"},
    };
    for (const auto& row : rows) {
        const FragileDevice device(answering(STATUS, row.bytes));
        const TemporaryDirectory directory;
        const std::string file = directory.file("line.pcap");
        const Finished monitor = dx7At(device.address(), {"monitor", "F:3.0.25", "--seconds", "1", "--stats",
                                                          "--json", "--record", file});
        EXPECT_EQ(row.words, replayed(file, row.words)) << row.name;
        const Json all = ofEvent(jsonLines(monitor.output), "statistics").at("all");
        for (const char* counter :
             {"wrong_crc", "wrong_length", "noise", "foreign", "surplus", "damaged_answers"}) {
            EXPECT_EQ(std::string(row.counter) == counter, all.at(counter) > 0) << row.name << ": " << all;
        }
    }
}

TEST(OneVerdict, ForWhatComesInPlaceOfAnAnswerToAScan) {
    const std::string answers = "station   1  answers, damaged (";
    const std::string end = "): baud rate? parity? two stations with this number?\n";
    const struct {
        const char* name;
        std::string bytes;
        const char* words;
        bool noise;
    } rows[] = {
        {"wrong CRC", damaged({1, STATUS, 1}), "wrong CRC", false},
        {"cut", text({1, STATUS}), "wrong length (2 of 5 bytes)", false},
        {"a damaged refusal", damaged({1, 0x87, 1}), "wrong CRC", false},
        {"as many bytes", text({165, 165, 165, 165, 165}), "wrong CRC", false},
        {"many bytes", text({165, 165, 165, 165, 165, 165, 165}), "7 bytes of noise", true},
        {"one byte", text({255}), "1 byte of noise", true},
    };
    for (const auto& row : rows) {
        const FragileDevice device(answering(STATUS, row.bytes));
        const TemporaryDirectory directory;
        const std::string file = directory.file("line.pcap");
        const Finished scan = dx7At(device.address(), {"scan", "--stations", "1", "--record", file});
        EXPECT_EQ(1, scan.exitCode) << "no find: " << row.name;
        const std::string hint = row.noise ? std::string("station   1  no answer but ") + row.words +
                                                 ": baud rate? parity? termination?\n"
                                           : answers + row.words + end;
        EXPECT_EQ(hint + "0 of 1 asked stations answered, 1 damaged\n", scan.output) << row.name;
        EXPECT_EQ(row.words, replayed(file, row.words)) << row.name;
        const std::vector<Json> objects =
            jsonLines(dx7At(device.address(), {"scan", "--json", "--stations", "1"}).output);
        ASSERT_EQ(2U, objects.size()) << row.name;
        EXPECT_EQ("damaged", objects[0].at("event"));
        EXPECT_EQ(1, objects[0].at("station"));
        EXPECT_EQ(row.bytes.size(), objects[0].at("bytes"));
        EXPECT_EQ(row.words, objects[0].at("fault"));
        EXPECT_EQ(1, objects[1].at("damaged"));
        EXPECT_EQ(0, objects[1].at("answered"));
    }
}

TEST(OneVerdict, AStationThatAnswersBesidesADamagedOneIsAFind) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.noise = request[0] == 3 ? text({3, STATUS}) : std::string();
        return reaction;
    });
    const Finished scan = dx7At(device.address(), {"scan", "--stations", "2-4"});
    EXPECT_EQ(0, scan.exitCode) << scan.errors;
    EXPECT_TRUE(says(scan.output, "2 of 3 asked stations answered, 1 damaged\n")) << scan.output;
}

}  // namespace

// The commands that need the driver but no line: types, check, copies, plan.
#include <algorithm>
#include <regex>
#include <set>

#include "rig.h"

namespace {

Finished dx7(const Words& words) {
    return runToEnd(dx7Words(words));
}

TEST(Types, AreListedAsJson) {
    const Finished run = dx7({"types", "--json"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> types = jsonLines(run.output);
    ASSERT_EQ(15U, types.size());
    int bits = 0;
    std::string writable;
    for (const Json& type : types) {
        bits += type.at("kind") == "bit" ? 1 : 0;
        writable += type.at("writable") == true ? type.at("type").get<std::string>() + " " : "";
        if (type.at("type") == "F") {
            EXPECT_EQ("F.0.55", type.at("highest"));
        }
    }
    EXPECT_EQ(6, bits);
    for (const char* name : {"CW_bit ", "DO ", "RO ", "SDO ", "F ", "CW ", "MOD "}) {
        EXPECT_NE(std::string::npos, writable.find(name)) << writable;
    }
    EXPECT_EQ(std::string::npos, writable.find("AI ")) << writable;
}

TEST(Types, AreToldInWordsAndAsTheyAreOnTheWire) {
    const std::vector<Json> types = jsonLines(dx7({"types", "--json"}).output);
    const auto named = [&types](const char* name) {
        return *std::find_if(types.begin(), types.end(),
                             [&](const Json& type) { return has(type, "type", name); });
    };
    const Json parameters = named("F");
    EXPECT_EQ("parameters, 16 groups of 56", parameters.at("meaning"));
    EXPECT_EQ("holding registers", parameters.at("table"));
    EXPECT_EQ((Json{{"function", 3}, {"lowest", "F000"}, {"highest", "FF55"}}), parameters.at("read"));
    EXPECT_EQ((Json{{"function", 6}, {"run_function", 16}, {"lowest", "E000"}, {"highest", "EF55"}}),
              parameters.at("write"));
    EXPECT_EQ("discrete inputs", named("DI").at("table"));
    EXPECT_TRUE(named("DI").at("write").is_null());
    EXPECT_EQ((Json{{"function", 7}, {"lowest", nullptr}, {"highest", nullptr}}), named("FAS").at("read"));
    const std::string text = dx7({"types"}).output;
    EXPECT_NE(
        std::string::npos,
        text.find("holding registers  FC 3 F000-FF55  FC 6, 16 E000-EF55  parameters, 16 groups of 56\n"))
        << text;
}

TEST(Check, SaysWhereItemsAreOnTheWire) {
    const Finished run = dx7({"check", "F:3.0.25", "F:3.0.20,3", "DO:1", "AI:0", "FAS:0"});
    for (const char* wire :
         {"F:3.0.25@1 is valid: 3.0.25 of F, word 193, read and write; function code 3, register "
          "F325, written with 6 at E325\n",
          "function code 3, register F320, written with 16 at E320\n",
          "function code 1, register 1020, written with 5\n", "function code 4, register 1200\n",
          "read only; function code 7\n"}) {
        EXPECT_NE(std::string::npos, run.output.find(wire)) << run.output;
    }
    const std::vector<Json> checked = jsonLines(dx7({"check", "--json", "F:3.0.25", "FAS:0"}).output);
    EXPECT_EQ((Json{{"function", 3}, {"register", "F325"}}), checked.at(0).at("read"));
    EXPECT_EQ((Json{{"function", 6}, {"register", "E325"}}), checked.at(0).at("write"));
    EXPECT_EQ((Json{{"function", 7}, {"register", nullptr}}), checked.at(1).at("read"));
    EXPECT_TRUE(checked.at(1).at("write").is_null());
}

TEST(Check, SaysWhatAnAddressIs) {
    const Finished run = dx7({"check", "F:3.0.25", "DO:1,2", "CW:0"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(std::regex_search(run.output, std::regex("F:3\\.0\\.25[^\n]*193"))) << run.output;
    EXPECT_TRUE(std::regex_search(run.output, std::regex("DO:1[^\n]*bit 1 to 2"))) << run.output;
    EXPECT_EQ(3, std::count(run.output.begin(), run.output.end(), '\n'));
}

TEST(Check, SaysEverythingAboutEachAsJson) {
    const Finished run = dx7({"check", "--json", "F:3.0.25,2", "AI:0"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> checked = jsonLines(run.output);
    ASSERT_EQ(2U, checked.size());
    EXPECT_EQ("F", checked[0].at("type"));
    EXPECT_EQ(193, checked[0].at("number"));
    EXPECT_EQ(2, checked[0].at("count"));
    EXPECT_EQ("word", checked[0].at("kind"));
    EXPECT_EQ(true, checked[0].at("writable"));
    EXPECT_EQ(false, checked[1].at("writable"));
}

TEST(Check, NamesEachWrongAddressAndStillShowsTheOthers) {
    const Finished run = dx7({"check", "AI:4", "DO:1", "XX:1", "F:3.0.56"});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_EQ(1, std::count(run.output.begin(), run.output.end(), '\n')) << run.output;
    EXPECT_EQ(3, std::count(run.errors.begin(), run.errors.end(), '\n')) << run.errors;
    EXPECT_NE(std::string::npos, run.errors.find("XX")) << run.errors;
    EXPECT_NE(std::string::npos, run.errors.find("3.0.56")) << run.errors;
}

TEST(Check, SaysWhatTheDriverMakesOfWhatDx7Refuses) {
    const Finished run = dx7({"check", "F:3O.0.24"});
    EXPECT_EQ(2, run.exitCode);
    EXPECT_EQ("", run.output);
    EXPECT_EQ(
        "dx7: \"F:3O.0.24\" is not a valid address, the nearest is \"F:3.0.24\" (F has 0.0.00 to F.0.55); "
        "the "
        "driver alone takes it as F:0.0.24\n",
        run.errors);
}

TEST(Check, TheItemBeyondTheEndIsNotWritable) {
    const Finished run = dx7({"check", "--json", "F:F.0.55", "F:10.0.00", "F:F.0.55,2", "D:2.0.00"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> checked = jsonLines(run.output);
    ASSERT_EQ(4U, checked.size());
    EXPECT_EQ(true, checked[0].at("writable"));
    EXPECT_EQ(false, checked[1].at("writable"));
    EXPECT_EQ(false, checked[2].at("writable"));
}

// Whatever dx7 prints as an address it takes.
TEST(Addresses, ThatArePrintedAreTaken) {
    std::set<std::string> printed;
    for (const Json& type : jsonLines(dx7({"types", "--json"}).output)) {
        const std::string name = type.at("type");
        const std::string lowest = name + ":" + type.at("lowest").get<std::string>();
        printed.insert({lowest, name + ":" + type.at("highest").get<std::string>()});
        for (const Json& copy : jsonLines(dx7({"copies", lowest, "900", "--json"}).output)) {
            if (copy.contains("address") && !copy.at("address").is_null()) {
                printed.insert(name + ":" + copy.at("address").get<std::string>());
            }
        }
    }
    EXPECT_EQ(1123U, printed.size()) << "the items of all types";
    for (const Json& block :
         jsonLines(dx7({"plan", "--json", "F:0.0.00,896", "D:0.0.00,112@247", "SDO:1,8"}).output)) {
        if (block.contains("items")) {
            printed.insert(block.at("items").get<std::string>());
        }
    }
    // As many at once as a pipe holds the answers of.
    const Words items(printed.begin(), printed.end());
    for (std::size_t at = 0; at < items.size(); at += 500) {
        const std::size_t end = std::min(at + 500, items.size());
        Words check{"check"};
        check.insert(check.end(), items.begin() + static_cast<std::ptrdiff_t>(at),
                     items.begin() + static_cast<std::ptrdiff_t>(end));
        const Finished run = dx7(check);
        EXPECT_EQ(0, run.exitCode) << run.errors;
    }
}

TEST(Copies, BeyondTheEndHaveNoAddress) {
    const std::vector<Json> copies = jsonLines(dx7({"copies", "DE:54", "3", "--json"}).output);
    ASSERT_EQ(3U, copies.size());
    EXPECT_EQ("55", copies[1].at("address"));
    EXPECT_TRUE(copies[2].at("address").is_null());
    EXPECT_EQ(56, copies[2].at("number"));
}

TEST(Copies, GoOnBehindAGroup) {
    const Finished run = dx7({"copies", "F:0.0.54", "3", "--json"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> copies = jsonLines(run.output);
    ASSERT_EQ(3U, copies.size());
    EXPECT_EQ(54, copies[0].at("number"));
    EXPECT_EQ("0.0.55", copies[1].at("address"));
    EXPECT_EQ(56, copies[2].at("number"));
    EXPECT_EQ(3, copies[2].at("copy"));
}

TEST(Copies, AreHeldAtTheHighestAddress) {
    const Finished run = dx7({"copies", "CW_bit:14", "3"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(std::regex_search(run.output, std::regex("CW_bit:14[^\n]*\n[^\n]*CW_bit:15[^\n]*\n"
                                                         "[^\n]*CW_bit:15[^\n]*\n[^\n]*held")))
        << run.output;
}

struct Apart {
    const char* reason;
    Words items;
};
class PlanApart : public testing::TestWithParam<Apart> {};

TEST_P(PlanApart, NamesWhyTwoNeighboursStayedApart) {
    Words words{"plan", "--json"};
    words.insert(words.end(), GetParam().items.begin(), GetParam().items.end());
    const Finished run = dx7(words);
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> plan = jsonLines(run.output);
    ASSERT_EQ(3U, plan.size()) << run.output;
    EXPECT_NE(std::string::npos, plan[1].at("apart").get<std::string>().find(GetParam().reason))
        << run.output;
    EXPECT_EQ(2, plan[2].at("blocks"));
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, PlanApart,
    testing::Values(Apart{"other type", {"AI:0", "DE:0"}}, Apart{"gap", {"F:0.0.00", "F:0.0.02"}},
                    Apart{"group of 56", {"F:0.0.55", "F:1.0.00"}},
                    Apart{"sub-group of 10", {"F:0.0.09", "F:0.0.10"}},
                    Apart{"block limit of 2", {"--block", "2", "F:0.0.00", "F:0.0.01", "F:0.0.02"}},
                    Apart{"other station", {"DE:0@1", "DE:0@2"}}));

TEST(Plan, ShowsRequestReplyAndLineTimeOfEachBlock) {
    const Finished run = dx7({"plan", "--json", "--baud", "9600", "AI:0,4", "F:0.0.08,4"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> plan = jsonLines(run.output);
    ASSERT_EQ(4U, plan.size());
    EXPECT_EQ("AI:0,4@1", plan[0].at("items"));
    EXPECT_EQ("01 04 12 00 00 04 F4 B1", plan[0].at("request"));
    EXPECT_EQ(13, plan[0].at("reply_bytes"));
    // 8 + 13 characters of 10 bits and the silence of 3.5 characters before them.
    const double milliseconds = (8 + 13 + 3.5) * 10 * 1000 / 9600;
    EXPECT_NEAR(milliseconds, plan[0].at("line_ms"), 0.02);
    double sum = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        sum += plan[i].at("line_ms").get<double>();
    }
    EXPECT_NEAR(sum, plan[3].at("cycle_ms"), 0.05);
}

TEST(Plan, KnowsNoLineTimeOverTcpWhateverTheGap) {
    for (const Words& gap : {Words{}, Words{"--gap", "5"}}) {
        Words words{"plan", "--json", "--tcp", "127.0.0.1:1502", "AI:0"};
        words.insert(words.end(), gap.begin(), gap.end());
        const std::vector<Json> plan = jsonLines(dx7(words).output);
        ASSERT_EQ(2U, plan.size());
        EXPECT_TRUE(plan[0].at("line_ms").is_null());
        EXPECT_TRUE(plan[1].at("cycle_ms").is_null());
        words.erase(words.begin() + 1);
        const std::string text = dx7(words).output;
        EXPECT_NE(std::string::npos, text.find("over TCP no line time is known")) << text;
        EXPECT_EQ(std::string::npos, text.find("5.00")) << text;
    }
}

TEST(Plan, IsLegibleAsText) {
    const Finished run = dx7({"plan", "--baud", "19200", "--parity", "even", "DE:0", "AI:0"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_NE(std::string::npos, run.output.find("01 04 12 00 00 01 34 B2")) << run.output;
    // 11 bits a character with parity: (8 + 7 + 3.5) * 11 / 19.2 = 10.60 ms, twice.
    EXPECT_TRUE(std::regex_search(run.output, std::regex("10\\.(59|60)[^\n]*other type"))) << run.output;
    EXPECT_TRUE(std::regex_search(run.output, std::regex("21\\.(18|19|20) ms"))) << run.output;
}

TEST(Plan, OpensNoLine) {
    const Finished run = dx7({"plan", "--serial", "/nowhere/ttyS9", "AI:0"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
}

TEST(Help, HasAnExampleForEachCommand) {
    for (const char* command :
         {"types", "check", "copies", "plan", "read", "write", "monitor", "scan", "params", "replay"}) {
        const Finished run = runToEnd({dx7Program, command, "--help"});
        EXPECT_EQ(0, run.exitCode) << command;
        EXPECT_NE(std::string::npos, run.output.find("Examples:\n  dx7 " + std::string(command)))
            << run.output;
    }
}

struct Neighbours {
    Words words;
    std::string apart;  ///< Why the second request is not part of the first.
};
void PrintTo(const Neighbours& neighbours, std::ostream* out) {
    *out << neighbours.apart;
}

class PlanReason : public testing::TestWithParam<Neighbours> {};

TEST_P(PlanReason, IsNamed) {
    Words words{"plan", "--json"};
    words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
    const std::vector<Json> blocks = jsonLines(dx7(words).output);
    ASSERT_EQ(3U, blocks.size()) << "two requests and the sum";
    EXPECT_FALSE(blocks[0].contains("apart"));
    EXPECT_EQ(GetParam().apart, blocks[1].at("apart"));
}

INSTANTIATE_TEST_SUITE_P(Table, PlanReason,
                         testing::Values(Neighbours{{"AI:0", "DE:0"}, "other type"},
                                         Neighbours{{"AI:0@1", "AI:0@2"}, "other station"},
                                         Neighbours{{"F:3.0.05", "F:3.0.08"}, "gap of 2"},
                                         Neighbours{{"F:2.0.55", "F:3.0.00"}, "group of 56"},
                                         Neighbours{{"F:3.0.09,2"}, "sub-group of 10"},
                                         Neighbours{{"F:3.0.00,6", "--block", "4"}, "block limit of 4"},
                                         Neighbours{{"SDO:1,6", "--block", "4"}, "block limit of 4"}));

}  // namespace

// Initial values from TOML: what is read, and where an error is.
#include "device/values_file.h"

#include <gtest/gtest.h>

#include "device/line/usage_error.h"

namespace {

using namespace dx7sim;

std::vector<InitialValue> parse(const std::string& text) {
    return parseValues(text, "start.toml", {1, 2});
}

std::string errorOf(const std::string& text) {
    try {
        parse(text);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "no error";
}

TEST(ValuesFile, GivesValuesToItems) {
    const auto values =
        parse("[values]\n\"F:3.0.25\" = 500\n\"DI:1\" = true\n\"DO:1\" = 1\n\"AI:0\" = -12\n");
    ASSERT_EQ(values.size(), 4U);
    std::map<std::string, int> found;
    for (const InitialValue& value : values) {
        found[itemText(value.target.item)] = value.value;
    }
    const std::map<std::string, int> expected{{"F:3.0.25", 500}, {"DI:1", 1}, {"DO:1", 1}, {"AI:0", 65524}};
    EXPECT_EQ(found, expected);
}

TEST(ValuesFile, SetsWhatIsForOneStationAfterWhatIsForAll) {
    const auto values = parse("[values]\n\"AI:0@2\" = 2\n\"AI:0\" = 1\n\"AI:1\" = 3\n");
    ASSERT_EQ(values.size(), 3U);
    EXPECT_FALSE(values[0].target.station);
    EXPECT_FALSE(values[1].target.station);
    EXPECT_EQ(values[2].target.station, 2);
}

TEST(ValuesFile, MayBeEmpty) {
    EXPECT_TRUE(parse("").empty());
    EXPECT_TRUE(parse("# nothing\n[values]\n").empty());
}

struct ErrorRow {
    const char* name;
    const char* text;
    const char* place;
    const char* words;
};

void PrintTo(const ErrorRow& row, std::ostream* out) {
    *out << row.name;
}

constexpr ErrorRow ERRORS[] = {
    {"syntax", "[values]\n\"AI:0\" = \n", "start.toml:2:10: ", ""},
    {"other_table", "[values]\n[valuse]\n", "start.toml:2:2: ", "\"valuse\" is not expected"},
    {"key_without_table", "speed = 3\n", "start.toml:1:1: ", "\"speed\" is not expected"},
    {"values_is_no_table", "values = 3\n", "start.toml:1:1: ", "[values]"},
    {"unknown_type", "[values]\n\"XY:0\" = 1\n", "start.toml:2:1: ", "\"XY\" is no register type"},
    {"wrong_address", "[values]\n\"AI:0\" = 1\n  \"AI:4\" = 1\n",
     "start.toml:3:3: ", "\"4\" is no address of AI"},
    {"station_not_simulated", "[values]\n\"AI:0@3\" = 1\n", "start.toml:2:1: ", "station 3 is not simulated"},
    {"value_too_large", "[values]\n\"AI:0\" = 65536\n", "start.toml:2:10: ", "65536 does not fit into AI"},
    {"two_for_a_bit", "[values]\n\"DO:1\" = 2\n", "start.toml:2:10: ", "2 does not fit into DO"},
    {"text_for_a_word", "[values]\n\"AI:0\" = \"1\"\n", "start.toml:2:10: ", "not a value for AI"},
    {"fraction_for_a_word", "[values]\n\"AI:0\" = 1.5\n", "start.toml:2:10: ", "not a value for AI"},
    {"boolean_for_a_word", "[values]\n\"AI:0\" = true\n", "start.toml:2:10: ", "not a value for AI"},
    {"unquoted_key", "[values]\nAI.0 = 1\n", "start.toml:2:1: ", "\"AI\" is no item"},
};

class ValuesFileErrors : public testing::TestWithParam<ErrorRow> {};

TEST_P(ValuesFileErrors, HaveALineAndAColumn) {
    const std::string error = errorOf(GetParam().text);
    EXPECT_EQ(error.rfind(GetParam().place, 0), 0U) << error;
    EXPECT_NE(error.find(GetParam().words), std::string::npos) << error;
}

INSTANTIATE_TEST_SUITE_P(ValuesFile, ValuesFileErrors, testing::ValuesIn(ERRORS),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ValuesFile, ThatIsMissingIsNamed) {
    try {
        readValuesFile("no/such/file.toml", {1});
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_NE(std::string(error.what()).find("\"no/such/file.toml\": No such file"), std::string::npos)
            << error.what();
    }
}

}  // namespace

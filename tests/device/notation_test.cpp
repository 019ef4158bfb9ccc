// How users write items, values and stations.
#include "device/station/notation.h"

#include <gtest/gtest.h>

#include "device/line/usage_error.h"

namespace {

using namespace dx7sim;

struct TargetRow {
    const char* text;
    Item item;
    std::optional<int> station;
    const char* shown;
};

constexpr TargetRow TARGETS[] = {
    {"AI:0", {RegisterType::AI, 0}, {}, "AI:0"},
    {"DO:2@9", {RegisterType::DO, 2}, 9, "DO:2"},
    {"F:3.0.25", {RegisterType::F, 193}, {}, "F:3.0.25"},
    {"F:f.#.05@247", {RegisterType::F, 845}, 247, "F:F.0.05"},
    {"D:1.0.55", {RegisterType::D, 111}, {}, "D:1.0.55"},
    {"DE:12", {RegisterType::DE, 12}, {}, "DE:12"},
    {"CW_bit:15", {RegisterType::CW_bit, 15}, {}, "CW_bit:15"},
    {"FAS:0", {RegisterType::FAS, 0}, {}, "FAS:0"},
};

TEST(Notation, ReadsItems) {
    for (const TargetRow& row : TARGETS) {
        const Target target = parseTarget(row.text);
        EXPECT_TRUE(target.item == row.item) << row.text;
        EXPECT_EQ(target.station, row.station) << row.text;
        EXPECT_EQ(itemText(target.item), row.shown);
    }
}

class WrongTargets : public testing::TestWithParam<const char*> {};

TEST_P(WrongTargets, AreRefused) {
    EXPECT_THROW(parseTarget(GetParam()), UsageError);
}

INSTANTIATE_TEST_SUITE_P(Notation, WrongTargets,
                         testing::Values("", "AI", "AI:", "AI:4", "AI:-1", "AI:0x1", "AI:0 ", "ai:0", "XY:0",
                                         "DO:0", "F:3.25", "F:10.0.00", "F:0.0.56", "F:g.0.00", "F:.0.00",
                                         "D:2.0.00", "F:5", "DE:0.0.12", "AI:0@", "AI:0@0", "AI:0@248",
                                         "AI:0@x"));

struct ValueRow {
    RegisterType type;
    const char* text;
    int value;
};

constexpr ValueRow VALUES[] = {
    {RegisterType::AI, "0", 0},          {RegisterType::AI, "65535", 65535},  {RegisterType::F, "-1", 65535},
    {RegisterType::F, "-32768", 0x8000}, {RegisterType::CW, "0x047F", 0x47F}, {RegisterType::DO, "1", 1},
    {RegisterType::FAS, "255", 255},
};

TEST(Notation, ReadsValues) {
    for (const ValueRow& row : VALUES) {
        EXPECT_EQ(parseValue(row.type, row.text), row.value) << row.text;
    }
}

constexpr ValueRow WRONG_VALUES[] = {
    {RegisterType::AI, "65536", 0},
    {RegisterType::AI, "-40000", 0},
    {RegisterType::DO, "2", 0},
    {RegisterType::DO, "-1", 0},
    {RegisterType::FAS, "256", 0},
    {RegisterType::AI, "", 0},
    {RegisterType::AI, "1.5", 0},
    {RegisterType::AI, "0x", 0},
    {RegisterType::AI, "99999999999999999999", 0},
};

TEST(Notation, RefusesWrongValues) {
    for (const ValueRow& row : WRONG_VALUES) {
        EXPECT_THROW(parseValue(row.type, row.text), UsageError) << row.text;
    }
}

TEST(Notation, ReadsStations) {
    EXPECT_EQ(parseStations("1,2, 9"), (std::vector<int>{1, 2, 9}));
    for (const char* const wrong : {"", "1,", "0", "248", "1,1", "1;2"}) {
        EXPECT_THROW(parseStations(wrong), UsageError) << wrong;
    }
}

TEST(Notation, NamesWhatMayBeUsedInstead) {
    try {
        parseTarget("F:0.0.56");
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_STREQ(error.what(), "\"0.0.56\" is no address of F: use F:0.0.00 to F:F.0.55");
    }
}

}  // namespace

// Values that hold, values that move, and two views of one value.
#include "device/station/model.h"

#include <gtest/gtest.h>

#include <set>

#include "device/station/notation.h"

namespace {

using namespace dx7sim;
using std::chrono::milliseconds;
using std::chrono::seconds;

struct MotionRow {
    const char* name;
    Item item;
    Time now;
    int value;
};

void PrintTo(const MotionRow& row, std::ostream* out) {
    *out << row.name;
}

constexpr MotionRow MOTION[] = {
    {"AI_starts_at_0", {RegisterType::AI, 0}, milliseconds(99), 0},
    {"AI_steps_every_100_ms", {RegisterType::AI, 0}, milliseconds(100), 1},
    {"AI_begins_anew", {RegisterType::AI, 0}, seconds(100), 0},
    {"AI_2_is_ahead", {RegisterType::AI, 2}, milliseconds(700), 507},
    {"FIN_is_AI_3", {RegisterType::FIN, 0}, milliseconds(700), 757},
    {"DI_1_starts_off", {RegisterType::DI, 1}, milliseconds(999), 0},
    {"DI_1_toggles", {RegisterType::DI, 1}, seconds(1), 1},
    {"DI_1_toggles_back", {RegisterType::DI, 1}, seconds(2), 0},
    {"DI_3_is_slower", {RegisterType::DI, 3}, seconds(3), 1},
    {"D_0_0", {RegisterType::D, 0}, seconds(0), 1000},
    {"D_0_0_counts_seconds", {RegisterType::D, 0}, seconds(7), 1007},
    {"D_0_4_counts_every_fifth", {RegisterType::D, 4}, seconds(14), 1042},
    {"D_1_55", {RegisterType::D, 111}, seconds(0), 2550},
    {"DE_stands_still", {RegisterType::DE, 12}, seconds(1000), 7012},
    {"F_0_0", {RegisterType::F, 0}, seconds(5), 0},
    {"F_3_25", {RegisterType::F, 193}, seconds(5), 325},
    {"F_15_55", {RegisterType::F, 895}, seconds(5), 1555},
    {"SW_ready_and_remote", {RegisterType::SW, 0}, seconds(0), 0x0201},
    {"SW_heartbeat", {RegisterType::SW, 0}, seconds(1), 0x8201},
    {"SW_bit_9", {RegisterType::SW_bit, 9}, seconds(0), 1},
    {"SW_bit_15_heartbeat", {RegisterType::SW_bit, 15}, seconds(1), 1},
    {"FAS_shows_ready", {RegisterType::FAS, 0}, seconds(0), 0x01},
    {"FAS_shows_heartbeat", {RegisterType::FAS, 0}, seconds(1), 0x81},
    {"CW_starts_at_0", {RegisterType::CW, 0}, seconds(1), 0},
    {"MOD_starts_at_0", {RegisterType::MOD, 2}, seconds(1), 0},
    {"DO_starts_off", {RegisterType::DO, 1}, seconds(1), 0},
};

class Motion : public testing::TestWithParam<MotionRow> {};

TEST_P(Motion, DependsOnTimeAndAddressAlone) {
    EXPECT_EQ(Model().value(GetParam().item, GetParam().now), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Model, Motion, testing::ValuesIn(MOTION),
                         [](const auto& row) { return std::string(row.param.name); });

struct MovingRow {
    Item item;
    int station;
    Time now;
    int value;
};

TEST(MovingModel, EveryValueIsAFunctionOfItsPlaceStationAndTime) {
    const MovingRow rows[] = {
        // 0x1200: low byte 0, 89 x 0x12 = 1602 = 66 (mod 256), 61 x 1
        {{RegisterType::AI, 0}, 1, milliseconds(249), 256 * 127},
        {{RegisterType::AI, 0}, 1, milliseconds(250), 256 * 127 + 1},
        {{RegisterType::AI, 0}, 2, milliseconds(250), 256 * 188 + 1},
        {{RegisterType::AI, 1}, 1, seconds(64), 256 * 128},
        {{RegisterType::FIN, 0}, 1, seconds(0), 256 * 130},
        // 0x1102: bit 2 of 37 + 7 steps = 44, up to 48.
        {{RegisterType::DI, 3}, 1, milliseconds(1750), 1},
        {{RegisterType::DI, 3}, 1, milliseconds(2749), 1},
        {{RegisterType::DI, 3}, 1, milliseconds(2750), 0},
        {{RegisterType::FAS, 0}, 2, milliseconds(500), 76},
    };
    for (const MovingRow& row : rows) {
        EXPECT_EQ(Model(Movement::All, row.station).value(row.item, row.now), row.value)
            << itemText(row.item) << " at station " << row.station;
    }
}

TEST(MovingModel, WordsOfTwoGroupsOfParametersTellTheirItem) {
    const Model model(Movement::All, 5);
    std::set<int> codes;
    for (int address = 0; address < 2 * GROUP_ITEMS; ++address) {
        codes.insert(model.value({RegisterType::F, address}, seconds(1)) / 256);
    }
    EXPECT_EQ(codes.size(), 2U * GROUP_ITEMS);
}

TEST(MovingModel, AWrittenValueHolds) {
    Model model(Movement::All, 1);
    model.set({RegisterType::F, 7}, 4711, seconds(1));
    EXPECT_EQ(model.value({RegisterType::F, 7}, seconds(100)), 4711);
}

TEST(Model, HoldsWhatWasSet) {
    Model model;
    model.set({RegisterType::AI, 1}, 4711, seconds(1));
    model.set({RegisterType::DI, 1}, 0, seconds(1));
    EXPECT_EQ(model.value({RegisterType::AI, 1}, seconds(50)), 4711);
    EXPECT_EQ(model.value({RegisterType::DI, 1}, seconds(51)), 0);
}

TEST(Model, ShowsControlBitsInTheControlWord) {
    Model model;
    model.set({RegisterType::CW, 0}, 0x047F, seconds(0));
    EXPECT_EQ(model.value({RegisterType::CW_bit, 10}, seconds(0)), 1);
    EXPECT_EQ(model.value({RegisterType::CW_bit, 7}, seconds(0)), 0);
    model.set({RegisterType::CW_bit, 15}, 1, seconds(0));
    model.set({RegisterType::CW_bit, 0}, 0, seconds(0));
    EXPECT_EQ(model.value({RegisterType::CW, 0}, seconds(0)), 0x847E);
}

TEST(Model, EchoesTheControlWordInTheStatus) {
    Model model;
    model.set({RegisterType::CW, 0}, 0x0005, seconds(0));
    EXPECT_EQ(model.value({RegisterType::SW, 0}, seconds(0)), 0x020B);
    EXPECT_EQ(model.value({RegisterType::FAS, 0}, seconds(0)), 0x0B);
}

TEST(Model, HoldsTheWholeStatusWordWhenOneBitIsSet) {
    Model model;
    model.set({RegisterType::SW_bit, 3}, 1, seconds(1));
    EXPECT_EQ(model.value({RegisterType::SW, 0}, seconds(2)), 0x8209);
}

TEST(Model, HasOneValueForFinAndTheFourthAnalogueInput) {
    Model model;
    model.set({RegisterType::FIN, 0}, 33, seconds(0));
    EXPECT_EQ(model.value({RegisterType::AI, 3}, seconds(0)), 33);
}

}  // namespace

// Every register type's places on the line, from both sides.
#include "device/station/register_map.h"

#include <gtest/gtest.h>

namespace {

using namespace dx7sim;

constexpr int NOWHERE = -1;

struct PlaceRow {
    const char* name;
    RegisterType type;
    int address;
    Table table;
    int read;
    int written;
};

void PrintTo(const PlaceRow& row, std::ostream* out) {
    *out << row.name;
}

constexpr PlaceRow PLACES[] = {
    {"CW_bit_first", RegisterType::CW_bit, 0, Table::Coils, 0x1000, 0x1000},
    {"CW_bit_last", RegisterType::CW_bit, 15, Table::Coils, 0x100F, 0x100F},
    {"SW_bit_first", RegisterType::SW_bit, 0, Table::DiscreteInputs, 0x1100, NOWHERE},
    {"SW_bit_last", RegisterType::SW_bit, 15, Table::DiscreteInputs, 0x110F, NOWHERE},
    {"DO_first", RegisterType::DO, 1, Table::Coils, 0x1020, 0x1020},
    {"DO_last", RegisterType::DO, 2, Table::Coils, 0x1021, 0x1021},
    {"RO", RegisterType::RO, 1, Table::Coils, 0x1040, 0x1040},
    {"SDO_first", RegisterType::SDO, 1, Table::Coils, 0x1060, 0x1060},
    {"SDO_last", RegisterType::SDO, 8, Table::Coils, 0x1067, 0x1067},
    {"DI_first", RegisterType::DI, 1, Table::DiscreteInputs, 0x1120, NOWHERE},
    {"DI_last", RegisterType::DI, 6, Table::DiscreteInputs, 0x1125, NOWHERE},
    {"AI_first", RegisterType::AI, 0, Table::InputRegisters, 0x1200, NOWHERE},
    {"AI_last", RegisterType::AI, 3, Table::InputRegisters, 0x1203, NOWHERE},
    {"FIN", RegisterType::FIN, 0, Table::InputRegisters, 0x1203, NOWHERE},
    {"F_first", RegisterType::F, 0, Table::HoldingRegisters, 0xF000, 0xE000},
    {"F_before_the_tens", RegisterType::F, 9, Table::HoldingRegisters, 0xF009, 0xE009},
    {"F_tens", RegisterType::F, 10, Table::HoldingRegisters, 0xF010, 0xE010},
    {"F_group_3_index_25", RegisterType::F, 193, Table::HoldingRegisters, 0xF325, 0xE325},
    {"F_last", RegisterType::F, 895, Table::HoldingRegisters, 0xFF55, 0xEF55},
    {"D_first", RegisterType::D, 0, Table::HoldingRegisters, 0xD000, NOWHERE},
    {"D_last", RegisterType::D, 111, Table::HoldingRegisters, 0xD155, NOWHERE},
    {"DE_first", RegisterType::DE, 0, Table::HoldingRegisters, 0xDE00, NOWHERE},
    {"DE_last", RegisterType::DE, 55, Table::HoldingRegisters, 0xDE55, NOWHERE},
    {"CW", RegisterType::CW, 0, Table::HoldingRegisters, 0x1300, 0x1300},
    {"SW", RegisterType::SW, 0, Table::HoldingRegisters, 0x1309, NOWHERE},
    {"MOD_first", RegisterType::MOD, 1, Table::HoldingRegisters, 0x1301, 0x1301},
    {"MOD_last", RegisterType::MOD, 2, Table::HoldingRegisters, 0x1302, 0x1302},
    {"FAS", RegisterType::FAS, 0, Table::None, NOWHERE, NOWHERE},
};

int orNowhere(const std::optional<std::uint16_t>& place) {
    return place ? *place : NOWHERE;
}

class Places : public testing::TestWithParam<PlaceRow> {};

TEST_P(Places, AreWhereTheDeviceHasThem) {
    const PlaceRow& row = GetParam();
    EXPECT_EQ(typeInfo(row.type).table, row.table);
    EXPECT_EQ(orNowhere(readPlace({row.type, row.address})), row.read);
    EXPECT_EQ(orNowhere(writePlace({row.type, row.address})), row.written);
}

TEST_P(Places, LeadBackToTheItem) {
    const PlaceRow& row = GetParam();
    if (row.read == NOWHERE) {
        return;
    }
    const auto item = RegisterMap::instance().readAt(row.table, static_cast<std::uint16_t>(row.read));
    ASSERT_TRUE(item);
    const Item expected =
        row.type == RegisterType::FIN ? Item{RegisterType::AI, 3} : Item{row.type, row.address};
    EXPECT_TRUE(*item == expected);
}

INSTANTIATE_TEST_SUITE_P(RegisterMap, Places, testing::ValuesIn(PLACES),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(RegisterMap, HasNoPlaceForAddressesThatATypeLacks) {
    EXPECT_FALSE(readPlace({RegisterType::DO, 0}));
    EXPECT_FALSE(readPlace({RegisterType::DO, 3}));
    EXPECT_FALSE(readPlace({RegisterType::F, -1}));
    EXPECT_FALSE(readPlace({RegisterType::F, 896}));
    EXPECT_FALSE(writePlace({RegisterType::MOD, 0}));
}

struct SpanRow {
    const char* name;
    Table table;
    int number;
    bool writing;
    int start;
    int count;
};

void PrintTo(const SpanRow& row, std::ostream* out) {
    *out << row.name;
}

constexpr SpanRow SPANS[] = {
    {"first_decade", Table::HoldingRegisters, 0xF005, false, 0xF000, 10},
    {"middle_decade", Table::HoldingRegisters, 0xF325, false, 0xF320, 10},
    {"last_decade_ends_at_55", Table::HoldingRegisters, 0xF050, false, 0xF050, 6},
    {"between_decades", Table::HoldingRegisters, 0xF00A, false, NOWHERE, 0},
    {"index_56", Table::HoldingRegisters, 0xF056, false, NOWHERE, 0},
    {"index_60", Table::HoldingRegisters, 0xF060, false, NOWHERE, 0},
    {"written_place_is_not_read", Table::HoldingRegisters, 0xE000, false, NOWHERE, 0},
    {"read_place_is_not_written", Table::HoldingRegisters, 0xF000, true, NOWHERE, 0},
    {"parameter_written", Table::HoldingRegisters, 0xE010, true, 0xE010, 10},
    {"no_third_monitoring_group", Table::HoldingRegisters, 0xD200, false, NOWHERE, 0},
    {"monitoring_is_not_written", Table::HoldingRegisters, 0xD000, true, NOWHERE, 0},
    {"fault_memory", Table::HoldingRegisters, 0xDE12, false, 0xDE10, 10},
    {"control_word_and_modes", Table::HoldingRegisters, 0x1301, true, 0x1300, 3},
    {"status_word_stands_alone", Table::HoldingRegisters, 0x1309, false, 0x1309, 1},
    {"status_word_is_not_written", Table::HoldingRegisters, 0x1309, true, NOWHERE, 0},
    {"analogue_inputs", Table::InputRegisters, 0x1203, false, 0x1200, 4},
    {"behind_analogue_inputs", Table::InputRegisters, 0x1204, false, NOWHERE, 0},
    {"holding_is_no_input", Table::InputRegisters, 0x1300, false, NOWHERE, 0},
    {"coils_are_padded_for_reading", Table::Coils, 0x1027, false, 0x1000, 128},
    {"behind_the_coils", Table::Coils, 0x1080, false, NOWHERE, 0},
    {"coil_padding_is_not_written", Table::Coils, 0x1022, true, NOWHERE, 0},
    {"written_coils_are_strict", Table::Coils, 0x1021, true, 0x1020, 2},
    {"inputs_are_padded_for_reading", Table::DiscreteInputs, 0x1126, false, 0x1100, 64},
    {"behind_the_inputs", Table::DiscreteInputs, 0x1140, false, NOWHERE, 0},
};

class Spans : public testing::TestWithParam<SpanRow> {};

TEST_P(Spans, EndAtGaps) {
    const SpanRow& row = GetParam();
    const RegisterMap& map = RegisterMap::instance();
    const auto number = static_cast<std::uint16_t>(row.number);
    const auto span = row.writing ? map.writableSpan(row.table, number) : map.readableSpan(row.table, number);
    EXPECT_EQ(span ? span->start : NOWHERE, row.start);
    EXPECT_EQ(span ? span->count : 0, row.count);
}

INSTANTIATE_TEST_SUITE_P(RegisterMap, Spans, testing::ValuesIn(SPANS),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace

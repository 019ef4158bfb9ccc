// What another master gets to hear: well formed, of the same kind, with another content, and nothing carried
// out.
#include "device/station/second_master.h"

#include <gtest/gtest.h>

#include "device/station/engine.h"
#include "tests/kit/crc.h"

namespace {

using namespace dx7sim;
using kit::withCrc;

constexpr Time NOW = std::chrono::seconds(3);

struct Heard {
    Bytes own;
    Bytes other;
};

class SecondMaster : public testing::Test {
protected:
    Heard heard(const Bytes& request, std::uint64_t choice = 0) {
        Heard both;
        both.own = engine.answer(withCrc(request), model, NOW).reply;
        both.other = replyToAnotherMaster(withCrc(request), both.own, model, NOW, choice);
        return both;
    }

    Engine engine;
    Model model;
};

TEST_F(SecondMaster, HearsOtherParametersOfTheSameType) {
    // F g.i is 100 x g + i at first: the value tells the address.
    for (std::uint64_t choice = 0; choice < 500; ++choice) {
        const Bytes other = heard({1, 3, 0xF3, 0x25, 0, 2}, choice).other;
        ASSERT_EQ(other.size(), 9U);
        ASSERT_TRUE(endsInGoodCrc(other, other.size()));
        const unsigned first = static_cast<unsigned>(other[3] << 8 | other[4]);
        const unsigned second = static_cast<unsigned>(other[5] << 8 | other[6]);
        EXPECT_EQ(second, first + 1) << "two neighbours";
        EXPECT_LE(first, 1555U);
        EXPECT_LT(first % 100 % 10, 9U) << "two neighbours of one decade";
        EXPECT_NE(first, 325U);
    }
    EXPECT_EQ(heard({1, 3, 0xF3, 0x25, 0, 1}, 0).other, withCrc({1, 3, 2, 0, 0})) << "F:0.0.00";
    EXPECT_EQ(heard({1, 3, 0xF3, 0x25, 0, 1}, 57).other, withCrc({1, 3, 2, 0, 101})) << "F:1.0.01";
    EXPECT_EQ(heard({1, 3, 0xF3, 0x25, 0, 1}, 193).other, withCrc({1, 3, 2, 0x01, 0x46}))
        << "F:3.0.25 is what was asked for, so it is the next one";
}

TEST_F(SecondMaster, HearsWhatIsHeldNow) {
    model.set({RegisterType::AI, 2}, 4711, NOW);
    EXPECT_EQ(heard({1, 4, 0x12, 0, 0, 1}, 2).other, withCrc({1, 4, 2, 0x12, 0x67}));
    model.set({RegisterType::RO, 1}, 1, NOW);
    EXPECT_EQ(heard({1, 1, 0x10, 0x20, 0, 1}).other, withCrc({1, 1, 1, 1}))
        << "both DO are 0, another type of the table must do";
}

struct FormRow {
    const char* name;
    Bytes request;
};

void PrintTo(const FormRow& row, std::ostream* out) {
    *out << row.name;
}

class SecondMasterForms : public SecondMaster, public testing::WithParamInterface<FormRow> {};

TEST_P(SecondMasterForms, DifferInTheContentAlone) {
    for (std::uint64_t choice = 0; choice < 40; ++choice) {
        const auto [own, other] = heard(GetParam().request, choice);
        ASSERT_EQ(other.size(), own.size());
        EXPECT_TRUE(endsInGoodCrc(other, other.size()));
        EXPECT_EQ(other[0], own[0]);
        EXPECT_EQ(other[1], own[1]);
        EXPECT_NE(other, own);
        if (own[1] <= 4) {
            EXPECT_EQ(other[2], own[2]) << "the number of bytes";
        }
        if (own[1] >= 15 && own[1] <= 16) {
            EXPECT_EQ(other[5], own[5]) << "the quantity";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Requests, SecondMasterForms,
    testing::Values(FormRow{"coils", {1, 1, 0x10, 0, 0, 16}}, FormRow{"coil_block", {1, 1, 0x10, 0, 0, 128}},
                    FormRow{"padding", {1, 1, 0x10, 0x70, 0, 3}}, FormRow{"inputs", {1, 2, 0x11, 0, 0, 16}},
                    FormRow{"decade", {1, 3, 0xF0, 0x50, 0, 6}}, FormRow{"control", {1, 3, 0x13, 0, 0, 3}},
                    FormRow{"all_analogue", {1, 4, 0x12, 0, 0, 4}},
                    FormRow{"write_coil", {1, 5, 0x10, 0x40, 0xFF, 0}},
                    FormRow{"write_register", {1, 6, 0x13, 0, 0x04, 0x7F}},
                    FormRow{"write_coils", {1, 15, 0x10, 0x20, 0, 2, 1, 3}},
                    FormRow{"write_registers", {1, 16, 0xE0, 0x10, 0, 2, 4, 0, 10, 1, 2}},
                    FormRow{"status", {1, 7}}, FormRow{"exception", {1, 3, 0, 0, 0, 1}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(SecondMaster, ConfirmsAWriteOfWhatIsThereAlready) {
    const Bytes other = heard({1, 6, 0xE3, 0x25, 0x01, 0xF4}, 1).other;
    EXPECT_EQ(other, withCrc({1, 6, 0xE0, 0x01, 0, 1}));
    EXPECT_EQ(model.value({RegisterType::F, 1}, NOW), 1);
    model.set({RegisterType::CW_bit, 3}, 1, NOW);
    EXPECT_EQ(heard({1, 5, 0x10, 0x0F, 0, 0}, 3).other, withCrc({1, 5, 0x10, 0x03, 0xFF, 0}));
}

}  // namespace

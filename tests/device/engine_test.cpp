// libmodbus as the judge of requests: replies byte by byte, exceptions, and what it takes for no request.
#include "device/station/engine.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/kit/crc.h"

namespace {

using namespace dx7sim;
using kit::withCrc;

constexpr Time AT_START{};

struct ReplyRow {
    const char* name;
    // Without CRC, as is the reply.
    Bytes request;
    Bytes reply;
};

void PrintTo(const ReplyRow& row, std::ostream* out) {
    *out << row.name;
}

const ReplyRow REPLIES[] = {
    {"FC1_control_bits", {1, 1, 0x10, 0x00, 0, 16}, {1, 1, 2, 0, 0}},
    {"FC1_eight_coils_from_DO", {1, 1, 0x10, 0x20, 0, 8}, {1, 1, 1, 0}},
    {"FC1_the_whole_block",
     {1, 1, 0x10, 0x00, 0, 128},
     {1, 1, 16, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"FC1_one_too_many", {1, 1, 0x10, 0x00, 0, 129}, {1, 0x81, 2}},
    {"FC1_quantity_0", {1, 1, 0x10, 0x00, 0, 0}, {1, 0x81, 3}},
    {"FC1_quantity_2001", {1, 1, 0x10, 0x00, 0x07, 0xD1}, {1, 0x81, 3}},
    {"FC1_at_0", {1, 1, 0x00, 0x00, 0, 1}, {1, 0x81, 2}},
    {"FC2_status_bits", {1, 2, 0x11, 0x00, 0, 16}, {1, 2, 2, 0x01, 0x02}},
    {"FC2_behind_the_block", {1, 2, 0x11, 0x3F, 0, 2}, {1, 0x82, 2}},
    {"FC3_parameter", {1, 3, 0xF3, 0x25, 0, 1}, {1, 3, 2, 0x01, 0x45}},
    {"FC3_whole_decade", {1, 3, 0xF0, 0x50, 0, 6}, {1, 3, 12, 0, 50, 0, 51, 0, 52, 0, 53, 0, 54, 0, 55}},
    {"FC3_into_the_next_decade", {1, 3, 0xF0, 0x09, 0, 2}, {1, 0x83, 2}},
    {"FC3_between_decades", {1, 3, 0xF0, 0x0A, 0, 1}, {1, 0x83, 2}},
    {"FC3_index_56", {1, 3, 0xF0, 0x56, 0, 1}, {1, 0x83, 2}},
    {"FC3_behind_index_55", {1, 3, 0xF0, 0x55, 0, 2}, {1, 0x83, 2}},
    {"FC3_written_place", {1, 3, 0xE0, 0x00, 0, 1}, {1, 0x83, 2}},
    {"FC3_quantity_126", {1, 3, 0xF0, 0x00, 0, 126}, {1, 0x83, 3}},
    {"FC3_status_word", {1, 3, 0x13, 0x09, 0, 1}, {1, 3, 2, 0x02, 0x01}},
    {"FC3_monitoring", {1, 3, 0xD1, 0x55, 0, 1}, {1, 3, 2, 0x09, 0xF6}},
    {"FC3_fault_memory", {1, 3, 0xDE, 0x12, 0, 1}, {1, 3, 2, 0x1B, 0x64}},
    {"FC3_unknown_word_type", {1, 3, 0x00, 0x00, 0, 1}, {1, 0x83, 2}},
    {"FC3_last_number_does_not_wrap", {1, 3, 0xFF, 0xFF, 0, 2}, {1, 0x83, 2}},
    {"FC4_analogue_inputs", {1, 4, 0x12, 0x00, 0, 4}, {1, 4, 8, 0, 0, 0, 250, 1, 0xF4, 2, 0xEE}},
    {"FC4_behind_them", {1, 4, 0x12, 0x04, 0, 1}, {1, 0x84, 2}},
    {"FC5_output_on", {1, 5, 0x10, 0x20, 0xFF, 0}, {1, 5, 0x10, 0x20, 0xFF, 0}},
    {"FC5_no_coil_value", {1, 5, 0x10, 0x20, 0x12, 0}, {1, 0x85, 3}},
    {"FC5_padding", {1, 5, 0x10, 0x22, 0xFF, 0}, {1, 0x85, 2}},
    {"FC6_control_word", {1, 6, 0x13, 0x00, 0x04, 0x7F}, {1, 6, 0x13, 0x00, 0x04, 0x7F}},
    {"FC6_parameter", {1, 6, 0xE3, 0x25, 0x01, 0xF4}, {1, 6, 0xE3, 0x25, 0x01, 0xF4}},
    {"FC6_read_place", {1, 6, 0xF3, 0x25, 0x01, 0xF4}, {1, 0x86, 2}},
    {"FC6_status_word", {1, 6, 0x13, 0x09, 0, 1}, {1, 0x86, 2}},
    {"FC6_monitoring", {1, 6, 0xD0, 0x00, 0, 1}, {1, 0x86, 2}},
    {"FC7_status", {1, 7}, {1, 7, 0x01}},
    {"FC8_unknown_to_the_device", {1, 8, 0, 0, 0x12, 0x34}, {1, 0x88, 1}},
    {"FC15_outputs", {1, 15, 0x10, 0x20, 0, 2, 1, 3}, {1, 15, 0x10, 0x20, 0, 2}},
    {"FC15_beyond_the_outputs", {1, 15, 0x10, 0x20, 0, 3, 1, 3}, {1, 0x8F, 2}},
    {"FC16_parameters", {1, 16, 0xE0, 0x10, 0, 2, 4, 0, 10, 1, 2}, {1, 16, 0xE0, 0x10, 0, 2}},
    {"FC16_into_the_next_decade", {1, 16, 0xE0, 0x09, 0, 2, 4, 0, 10, 1, 2}, {1, 0x90, 2}},
    {"FC16_quantity_0", {1, 16, 0xE0, 0x10, 0, 0, 0}, {1, 0x90, 3}},
    {"FC16_three_modes", {1, 16, 0x13, 0x01, 0, 3, 6, 0, 1, 0, 2, 0, 3}, {1, 0x90, 2}},
    {"FC17_unknown_to_the_device", {1, 17}, {1, 0x91, 1}},
    {"FC23_unknown_to_the_device", {1, 23, 0xF0, 0, 0, 1, 0xE0, 0, 0, 1, 2, 0, 1}, {1, 0x97, 1}},
    {"station_247", {247, 3, 0x13, 0x00, 0, 1}, {247, 3, 2, 0, 0}},
};

class Replies : public testing::TestWithParam<ReplyRow> {};

TEST_P(Replies, AreTheEngines) {
    Engine engine;
    Model model;
    const Answer answer = engine.answer(withCrc(GetParam().request), model, AT_START);
    EXPECT_TRUE(answer.accepted);
    EXPECT_EQ(answer.reply, withCrc(GetParam().reply));
    const Bytes& expected = GetParam().reply;
    EXPECT_EQ(answer.exceptionCode(), (expected[1] & 0x80) != 0 ? expected[2] : 0);
}

// Modbus/TCP puts a head with the request's id before the same reply.
TEST_P(Replies, AreTheSameOverModbusTcp) {
    const auto framed = [](const Bytes& rest) {
        Bytes frame = {0x12, 0x34, 0, 0, 0, static_cast<std::uint8_t>(rest.size())};
        frame.insert(frame.end(), rest.begin(), rest.end());
        return frame;
    };
    Engine engine(Protocol::ModbusTcp);
    Model model;
    const Answer answer = engine.answer(framed(GetParam().request), model, AT_START);
    EXPECT_TRUE(answer.accepted);
    const Bytes& expected = GetParam().reply;
    EXPECT_EQ(answer.reply, framed(expected));
    EXPECT_EQ(answer.exceptionCode(), (expected[1] & 0x80) != 0 ? expected[2] : 0);
}

INSTANTIATE_TEST_SUITE_P(Engine, Replies, testing::ValuesIn(REPLIES),
                         [](const auto& row) { return std::string(row.param.name); });

class EngineTest : public testing::Test {
protected:
    Answer ask(const Bytes& request) { return engine.answer(withCrc(request), model, AT_START); }

    Engine engine;
    Model model;
};

TEST_F(EngineTest, ShowsAParameterWrittenAtE0AtF0) {
    ask({1, 6, 0xE3, 0x25, 0x01, 0xF4});
    EXPECT_EQ(ask({1, 3, 0xF3, 0x25, 0, 1}).reply, withCrc({1, 3, 2, 0x01, 0xF4}));
    ask({1, 16, 0xEF, 0x50, 0, 2, 4, 0, 10, 1, 2});
    EXPECT_EQ(ask({1, 3, 0xFF, 0x50, 0, 2}).reply, withCrc({1, 3, 4, 0, 10, 1, 2}));
}

TEST_F(EngineTest, KeepsControlBitsAndControlWordTogether) {
    ask({1, 6, 0x13, 0x00, 0x04, 0x7F});
    EXPECT_EQ(ask({1, 1, 0x10, 0x00, 0, 16}).reply, withCrc({1, 1, 2, 0x7F, 0x04}));
    ask({1, 5, 0x10, 0x0F, 0xFF, 0x00});
    ask({1, 5, 0x10, 0x00, 0x00, 0x00});
    EXPECT_EQ(ask({1, 3, 0x13, 0x00, 0, 1}).reply, withCrc({1, 3, 2, 0x84, 0x7E}));
}

TEST_F(EngineTest, WritesSeveralCoils) {
    ask({1, 15, 0x10, 0x60, 0, 8, 1, 0xA5});
    EXPECT_EQ(ask({1, 1, 0x10, 0x60, 0, 8}).reply, withCrc({1, 1, 1, 0xA5}));
}

TEST_F(EngineTest, ChangesNothingWhenItRefuses) {
    ask({1, 16, 0xE0, 0x09, 0, 2, 4, 0, 99, 0, 99});
    EXPECT_EQ(model.value({RegisterType::F, 9}, AT_START), 9);
    EXPECT_EQ(model.value({RegisterType::F, 10}, AT_START), 10);
}

TEST_F(EngineTest, HoldsWhatWasWrittenAlsoWhenItWasTheCurrentValue) {
    Model moving(Movement::All, 1);
    const Time later = std::chrono::hours(1);
    const Item written{RegisterType::F, 8};
    const Item beside{RegisterType::F, 9};
    const std::uint16_t value = moving.value(written, AT_START);
    const Bytes request{
        1, 6, 0xE0, 0x08, static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
    EXPECT_EQ(engine.answer(withCrc(request), moving, AT_START).exceptionCode(), 0);
    EXPECT_EQ(moving.value(written, later), value);
    EXPECT_NE(moving.value(beside, later), moving.value(beside, AT_START)) << "what was not written moves on";
    const Bytes refused{1, 16, 0xE0, 0x10, 0, 0, 0};
    EXPECT_EQ(engine.answer(withCrc(refused), moving, AT_START).exceptionCode(), 3);
    EXPECT_NE(moving.value({RegisterType::F, 10}, later), moving.value({RegisterType::F, 10}, AT_START));
}

TEST_F(EngineTest, CarriesOutBroadcastsWithoutAReply) {
    const Answer written = ask({0, 5, 0x10, 0x40, 0xFF, 0x00});
    EXPECT_TRUE(written.accepted);
    EXPECT_TRUE(written.reply.empty());
    EXPECT_EQ(model.value({RegisterType::RO, 1}, AT_START), 1);
    for (const Bytes& request :
         {Bytes{0, 3, 0x13, 0, 0, 1}, Bytes{0, 3, 0, 0, 0, 1}, Bytes{0, 7}, Bytes{0, 8, 0, 0}}) {
        EXPECT_TRUE(ask(request).reply.empty());
    }
}

TEST_F(EngineTest, RefusesAWrongCrc) {
    Bytes request = withCrc({1, 3, 0xF3, 0x25, 0, 1});
    request.back() ^= 0x80;
    EXPECT_FALSE(engine.answer(request, model, AT_START).accepted);
    EXPECT_TRUE(engine.answer(request, model, AT_START).reply.empty());
}

TEST_F(EngineTest, RefusesAWrongLengthAndGoesOn) {
    for (const Bytes& request : {Bytes{1, 3}, Bytes{1, 3, 0xF3, 0x25, 0, 1, 0, 0},
                                 Bytes{1, 16, 0xE0, 0x10, 0, 2, 9}, Bytes{1, 7, 0, 0, 0}, Bytes(200, 1)}) {
        EXPECT_FALSE(ask(request).accepted) << request.size();
        EXPECT_EQ(ask({1, 3, 0xF3, 0x25, 0, 1}).reply, withCrc({1, 3, 2, 0x01, 0x45}));
    }
}

TEST_F(EngineTest, RefusesAByteCountThatIsNotTwiceTheQuantity) {
    EXPECT_EQ(ask({1, 16, 0xE0, 0x10, 0, 2, 2, 0, 10}).exceptionCode(), 3);
    EXPECT_EQ(ask({1, 16, 0xE0, 0x10, 0, 1, 4, 0, 10, 0, 11}).exceptionCode(), 3);
    EXPECT_EQ(ask({1, 15, 0x10, 0x60, 0, 8, 2, 1, 1}).exceptionCode(), 3);
    EXPECT_EQ(model.value({RegisterType::F, 10}, AT_START), 10);
}

TEST_F(EngineTest, AnswersNonsenseInForm) {
    std::mt19937 random(1);
    const auto byte = [&random](unsigned below) { return static_cast<std::uint8_t>(random() % below); };
    const std::uint8_t highBytes[] = {0x10, 0x11, 0x12, 0x13, 0xD0, 0xDE, 0xE0, 0xF0, 0xFF, 0x00};
    for (int i = 0; i < 3000; ++i) {
        const std::uint8_t codes[] = {1, 2, 3, 4, 5, 6, 7, 15, 16, byte(255)};
        Bytes request{1, codes[byte(10)], highBytes[byte(10)], byte(255), byte(3), byte(255)};
        if (request[1] == 7) {
            request.resize(2);
        } else if (request[1] >= 15) {
            request.push_back(byte(247));
            request.resize(7U + request[6], byte(255));
        }
        const Answer answer = ask(request);
        ASSERT_TRUE(answer.accepted) << i;
        ASSERT_GE(answer.reply.size(), 5U) << i;
        ASSERT_LE(answer.reply.size(), 256U) << i;
        ASSERT_TRUE(endsInGoodCrc(answer.reply, answer.reply.size())) << i;
        ASSERT_EQ(answer.reply[1] & 0x7F, request[1] & 0x7F) << i;
    }
}

TEST_F(EngineTest, RefusesWithoutWaiting) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(ask({1, 3, 0xF0, 0x00, 0, 126}).exceptionCode(), 3);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(EngineTest, BuildsExceptionsToOrder) {
    EXPECT_EQ(engine.exceptionReply(withCrc({9, 3, 0x13, 0, 0, 1}), 6), withCrc({9, 0x83, 6}));
}

}  // namespace

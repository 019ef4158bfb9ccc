// The CRC by table against the one that goes bit by bit.
#include "common/crc16.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/kit/crc.h"

namespace {

TEST(Crc16, GivesTheStandardCheckValue) {
    EXPECT_EQ(dx7common::crc16("123456789", 9), 0x4B37);
}

TEST(Crc16, OfNoBytesIsTheStartValue) {
    EXPECT_EQ(dx7common::crc16("", 0), 0xFFFF);
}

TEST(Crc16, AgreesWithTheOneBitByBit) {
    std::mt19937 random(1);
    for (std::size_t length = 0; length <= 256; ++length) {
        std::vector<std::uint8_t> bytes(length);
        for (auto& byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
        EXPECT_EQ(dx7common::crc16(bytes.data(), length), kit::crcOf(bytes)) << length << " bytes";
    }
}

TEST(Crc16, TakesSignedBytesForTheSame) {
    const std::string text = "\xFF\x80\x7F";
    EXPECT_EQ(dx7common::crc16(text.data(), text.size()), kit::crcOf(text));
    const std::vector<std::uint8_t> bytes{0xFF, 0x80, 0x7F};
    EXPECT_EQ(dx7common::crc16(bytes.data(), bytes.size()), kit::crcOf(text));
}

}  // namespace

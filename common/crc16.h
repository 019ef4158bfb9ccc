/// \file
/// The CRC of Modbus over Serial Line.
#ifndef DX7_COMMON_CRC16_H
#define DX7_COMMON_CRC16_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace dx7common {

/// What eight steps of the CRC (polynomial 0xA001, lowest bit first) make of each byte.
constexpr std::array<std::uint16_t, 256> crc16Table() {
    std::array<std::uint16_t, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? crc >> 1 ^ 0xA001U : crc >> 1;
        }
        table[byte] = static_cast<std::uint16_t>(crc);
    }
    return table;
}

/// CRC-16 (start 0xFFFF) over `count` bytes, which may be of any type of one byte. A frame carries it low
/// byte first.
template <typename Byte>
std::uint16_t crc16(const Byte* bytes, std::size_t count) {
    static_assert(sizeof(Byte) == 1, "the CRC goes byte by byte");
    static constexpr std::array<std::uint16_t, 256> TABLE = crc16Table();
    unsigned crc = 0xFFFF;
    for (std::size_t i = 0; i < count; ++i) {
        crc = crc >> 8 ^ TABLE[(crc ^ static_cast<std::uint8_t>(bytes[i])) & 0xFFU];
    }
    return static_cast<std::uint16_t>(crc);
}

}  // namespace dx7common

#endif

/// \file
/// The CRC of Modbus over Serial Line as its guide describes it, bit by bit: what the tests hold the tables
/// of the driver, the host and the device against.
#ifndef DX7_TESTS_KIT_CRC_H
#define DX7_TESTS_KIT_CRC_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace kit {

/// Over anything that holds bytes one after the other: a vector, a QByteArray.
template <typename Bytes>
std::uint16_t crcOf(const Bytes& bytes) {
    unsigned crc = 0xFFFF;
    for (const auto byte : bytes) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? crc >> 1 ^ 0xA001U : crc >> 1;
        }
    }
    return static_cast<std::uint16_t>(crc);
}

/// The bytes followed by their CRC, low byte first.
template <typename Bytes>
Bytes withCrc(Bytes bytes) {
    using Byte = std::decay_t<decltype(*bytes.begin())>;
    const unsigned crc = crcOf(bytes);
    bytes.push_back(static_cast<Byte>(crc & 0xFFU));
    bytes.push_back(static_cast<Byte>(crc >> 8));
    return bytes;
}
/// The same of bytes in braces.
inline std::vector<std::uint8_t> withCrc(std::vector<std::uint8_t> bytes) {
    return withCrc<std::vector<std::uint8_t>>(std::move(bytes));
}

/// A frame with its CRC as text.
inline std::string frameText(const std::vector<std::uint8_t>& content) {
    const std::vector<std::uint8_t> frame = withCrc(content);
    return {frame.begin(), frame.end()};
}

}  // namespace kit

#endif

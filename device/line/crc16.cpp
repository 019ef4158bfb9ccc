#include "device/line/crc16.h"

namespace dx7sim {

std::uint16_t crc16(const Bytes& bytes, std::size_t size) {
    unsigned crc = 0xFFFF;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? crc >> 1 ^ 0xA001U : crc >> 1;
        }
    }
    return static_cast<std::uint16_t>(crc);
}

bool endsInGoodCrc(const Bytes& bytes, std::size_t size) {
    const std::uint16_t crc = crc16(bytes, size - 2);
    return bytes[size - 2] == (crc & 0xFF) && bytes[size - 1] == crc >> 8;
}

void renewCrc(Bytes& frame) {
    const std::uint16_t crc = crc16(frame, frame.size() - 2);
    frame[frame.size() - 2] = static_cast<std::uint8_t>(crc & 0xFF);
    frame[frame.size() - 1] = static_cast<std::uint8_t>(crc >> 8);
}

}  // namespace dx7sim

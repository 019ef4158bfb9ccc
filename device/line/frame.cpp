#include "device/line/frame.h"

#include "common/crc16.h"

namespace dx7sim {

bool endsInGoodCrc(const Bytes& bytes, std::size_t size) {
    const std::uint16_t crc = dx7common::crc16(bytes.data(), size - 2);
    return bytes[size - 2] == (crc & 0xFF) && bytes[size - 1] == crc >> 8;
}

void renewCrc(Bytes& frame) {
    const std::uint16_t crc = dx7common::crc16(frame.data(), frame.size() - 2);
    frame[frame.size() - 2] = static_cast<std::uint8_t>(crc & 0xFF);
    frame[frame.size() - 1] = static_cast<std::uint8_t>(crc >> 8);
}

Bytes bodyOf(const Bytes& frame, Protocol protocol) {
    if (protocol == Protocol::Rtu) {
        return frame;
    }
    Bytes body(frame.begin() + MBAP_HEAD, frame.end());
    body.resize(body.size() + 2);
    return body;
}

}  // namespace dx7sim

/// \file
/// The bytes of a frame, and its CRC where a frame is recognised or damaged on purpose. Requests are judged
/// and replies are built by libmodbus with its own.
#ifndef DX7_DEVICE_FRAME_H
#define DX7_DEVICE_FRAME_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace dx7sim {

using Bytes = std::vector<std::uint8_t>;

/// How a line frames requests and replies.
enum class Protocol {
    /// Station, function code, data, CRC.
    Rtu,
    /// A head of MBAP_HEAD bytes (transaction id, protocol id 0, length of the rest), station, function code,
    /// data.
    ModbusTcp
};
constexpr std::size_t MBAP_HEAD = 6;

/// The frame from its station on, with two bytes behind its data: what of a frame does not depend on the
/// protocol has the same place in all of them.
Bytes bodyOf(const Bytes& frame, Protocol protocol);

/// The 16 bits at `at`, high byte first; both bytes are there.
inline std::uint16_t wordAt(const Bytes& bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

/// Whether the first `size` bytes (at least 4) end in the CRC of what precedes it, low byte first.
bool endsInGoodCrc(const Bytes& bytes, std::size_t size);

/// Puts a right CRC in place of the last two bytes of `frame` (at least 4 bytes).
void renewCrc(Bytes& frame);

}  // namespace dx7sim

#endif

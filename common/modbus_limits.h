/// \file
/// Numbers that the Modbus specifications fix (Modbus over Serial Line V1.02, Modbus application protocol
/// V1.1b3). Constants alone: numbers of stations, bytes of frames.
#ifndef DX7_COMMON_MODBUS_LIMITS_H
#define DX7_COMMON_MODBUS_LIMITS_H

namespace dx7common {

/// Stations that answer; 0 speaks to all of them.
constexpr int LOWEST_STATION = 1;
constexpr int HIGHEST_STATION = 247;

/// Frames from the station's byte to the CRC.
constexpr int SHORTEST_FRAME_BYTES = 4;
constexpr int LONGEST_FRAME_BYTES = 256;
constexpr int EXCEPTION_FRAME_BYTES = 5;

/// The most registers that one request reads.
constexpr int MOST_REGISTERS = 125;

/// Of the function code: the station refuses the request.
constexpr int EXCEPTION_BIT = 0x80;

}  // namespace dx7common

#endif

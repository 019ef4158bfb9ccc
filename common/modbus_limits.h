/// \file
/// Numbers that the Modbus specifications fix (Modbus over Serial Line V1.02, Modbus application protocol
/// V1.1b3).
#ifndef DX7_COMMON_MODBUS_LIMITS_H
#define DX7_COMMON_MODBUS_LIMITS_H

namespace dx7common {

/// Stations that answer; 0 speaks to all of them.
enum : int { LOWEST_STATION = 1, HIGHEST_STATION = 247 };

/// Frames from the station's byte to the CRC.
enum : int { SHORTEST_FRAME_BYTES = 4, LONGEST_FRAME_BYTES = 256, EXCEPTION_FRAME_BYTES = 5 };

/// Of the function code: the station refuses the request.
enum : int { EXCEPTION_BIT = 0x80 };

}  // namespace dx7common

#endif

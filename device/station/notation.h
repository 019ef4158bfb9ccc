/// \file
/// How users write items, values and stations: TYPE:ADDRESS[@STATION]. Pure functions, for any thread.
#ifndef DX7_DEVICE_NOTATION_H
#define DX7_DEVICE_NOTATION_H

#include <optional>
#include <string>
#include <vector>

#include "device/station/register_map.h"

namespace dx7sim {

/// An item, of one station or (none) of every station that is simulated.
struct Target {
    Item item{};
    std::optional<int> station;
};

// Each of these throws UsageError for a text it cannot take.

/// "AI:0", "F:3.0.25" (group in hexadecimal, a field that is ignored, index 0..55 in decimal), "DE:12@2".
Target parseTarget(const std::string& text);

/// A value for an item of `type`: 0 or 1 for bits, 0..255 for FAS, else -32768..65535 (negative numbers as
/// two's complement); decimal, or hexadecimal with 0x.
std::uint16_t parseValue(RegisterType type, const std::string& text);

/// The same for a number that is already one; `shown` names it in the error.
std::uint16_t checkValue(RegisterType type, long long value, const std::string& shown);

/// A station number 1..247.
int parseStation(const std::string& text);

/// "1,2,9": at least one station, none twice.
std::vector<int> parseStations(const std::string& text);

/// The item as parseTarget reads it.
std::string itemText(const Item& item);

}  // namespace dx7sim

#endif

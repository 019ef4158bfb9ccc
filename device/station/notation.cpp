#include "device/station/notation.h"

#include <algorithm>
#include <charconv>

#include "common/modbus_limits.h"
#include "device/line/usage_error.h"
#include "device/station/text.h"

namespace dx7sim {

namespace {

using dx7common::HIGHEST_STATION;
using dx7common::LOWEST_STATION;

// The whole of `text` as a number, or none.
std::optional<long long> number(const std::string& text, int base) {
    long long value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, base);
    return result.ec == std::errc() && result.ptr == end ? std::optional<long long>(value) : std::nullopt;
}

// Decimal, or hexadecimal after 0x.
std::optional<long long> anyNumber(const std::string& text) {
    const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    return hexadecimal ? number(text.substr(2), 16) : number(text, 10);
}

std::string typeNames() {
    std::string names;
    for (int i = 0; i < REGISTER_TYPES; ++i) {
        names += (i == 0 ? "" : ", ") + std::string(typeInfo(static_cast<RegisterType>(i)).name);
    }
    return names;
}

[[noreturn]] void refuseAddress(const TypeInfo& info, const std::string& text) {
    const Item lowest{info.type, info.lowest};
    const Item highest{info.type, info.highest};
    throw UsageError("\"" + text + "\" is no address of " + info.name + ": use " + itemText(lowest) + " to " +
                     itemText(highest));
}

int groupedAddress(const TypeInfo& info, const std::string& text) {
    const std::vector<std::string> fields = split(text, '.');
    if (fields.size() != 3) {
        refuseAddress(info, text);
    }
    const auto group = number(fields[0], 16);
    const auto index = number(fields[2], 10);
    const int groups = (info.highest + 1) / GROUP_ITEMS;
    if (!group || *group < 0 || *group >= groups || !index || *index < 0 || *index >= GROUP_ITEMS) {
        refuseAddress(info, text);
    }
    return static_cast<int>(GROUP_ITEMS * *group + *index);
}

int plainAddress(const TypeInfo& info, const std::string& text) {
    const auto address = number(text, 10);
    if (!address || *address < info.lowest || *address > info.highest) {
        refuseAddress(info, text);
    }
    return static_cast<int>(*address);
}

}  // namespace

Target parseTarget(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) {
        throw UsageError("\"" + text +
                         "\" is no item: write TYPE:ADDRESS or TYPE:ADDRESS@STATION, as AI:0 or F:3.0.25@2");
    }
    const std::string name = text.substr(0, colon);
    const auto type = typeByName(name);
    if (!type) {
        throw UsageError("\"" + name + "\" is no register type: use one of " + typeNames());
    }
    const std::size_t at = text.find('@', colon);
    const std::string address = text.substr(colon + 1, at == std::string::npos ? at : at - colon - 1);
    const TypeInfo& info = typeInfo(*type);
    Target target{{*type, info.grouped ? groupedAddress(info, address) : plainAddress(info, address)},
                  std::nullopt};
    if (at != std::string::npos) {
        target.station = parseStation(text.substr(at + 1));
    }
    return target;
}

std::uint16_t parseValue(RegisterType type, const std::string& text) {
    const auto value = anyNumber(text);
    if (!value) {
        throw UsageError("\"" + text +
                         "\" is not a value: write a whole number, decimal or hexadecimal with 0x");
    }
    return checkValue(type, *value, text);
}

std::uint16_t checkValue(RegisterType type, long long value, const std::string& shown) {
    const bool status = type == RegisterType::FAS;
    const long long lowest = isBit(type) || status ? 0 : -32768;
    const long long highest = isBit(type) ? 1 : status ? 255 : 65535;
    if (value < lowest || value > highest) {
        throw UsageError(shown + " does not fit into " + typeInfo(type).name + ": use " +
                         std::to_string(lowest) + " to " + std::to_string(highest));
    }
    return static_cast<std::uint16_t>(value);
}

int parseStation(const std::string& text) {
    const auto station = number(text, 10);
    if (!station || *station < LOWEST_STATION || *station > HIGHEST_STATION) {
        throw UsageError("\"" + text + "\" is no station: use " + std::to_string(LOWEST_STATION) + " to " +
                         std::to_string(HIGHEST_STATION));
    }
    return static_cast<int>(*station);
}

std::vector<int> parseStations(const std::string& text) {
    std::vector<int> stations;
    for (const std::string& part : split(text, ',')) {
        const int station = parseStation(trimmed(part));
        if (std::find(stations.begin(), stations.end(), station) != stations.end()) {
            throw UsageError("station " + std::to_string(station) + " is named twice in \"" + text +
                             "\": name each station once");
        }
        stations.push_back(station);
    }
    return stations;
}

std::string itemText(const Item& item) {
    const TypeInfo& info = typeInfo(item.type);
    if (!info.grouped) {
        return std::string(info.name) + ":" + std::to_string(item.address);
    }
    const int index = item.address % GROUP_ITEMS;
    const char* const padding = index < 10 ? "0" : "";
    const char group = "0123456789ABCDEF"[item.address / GROUP_ITEMS];
    return std::string(info.name) + ":" + group + ".0." + padding + std::to_string(index);
}

}  // namespace dx7sim

#include "device/station/register_map.h"

#include <array>

namespace dx7sim {

namespace {

// In the order of RegisterType.
constexpr std::array<TypeInfo, REGISTER_TYPES> TYPES = {{
    {RegisterType::CW_bit, "CW_bit", 0, 15, Table::Coils, true, false},
    {RegisterType::SW_bit, "SW_bit", 0, 15, Table::DiscreteInputs, false, false},
    {RegisterType::DO, "DO", 1, 2, Table::Coils, true, false},
    {RegisterType::RO, "RO", 1, 1, Table::Coils, true, false},
    {RegisterType::SDO, "SDO", 1, 8, Table::Coils, true, false},
    {RegisterType::DI, "DI", 1, 6, Table::DiscreteInputs, false, false},
    {RegisterType::AI, "AI", 0, 3, Table::InputRegisters, false, false},
    {RegisterType::FIN, "FIN", 0, 0, Table::InputRegisters, false, false},
    {RegisterType::F, "F", 0, 16 * GROUP_ITEMS - 1, Table::HoldingRegisters, true, true},
    {RegisterType::D, "D", 0, 2 * GROUP_ITEMS - 1, Table::HoldingRegisters, false, true},
    {RegisterType::DE, "DE", 0, GROUP_ITEMS - 1, Table::HoldingRegisters, false, false},
    {RegisterType::CW, "CW", 0, 0, Table::HoldingRegisters, true, false},
    {RegisterType::SW, "SW", 0, 0, Table::HoldingRegisters, false, false},
    {RegisterType::MOD, "MOD", 1, 2, Table::HoldingRegisters, true, false},
    {RegisterType::FAS, "FAS", 0, 0, Table::None, false, false},
}};

enum : int {
    COILS_START = 0x1000,
    COILS_END = 0x1080,
    INPUTS_START = 0x1100,
    INPUTS_END = 0x1140,
    PARAMETER_READ = 0xF0,
    PARAMETER_WRITE = 0xE0,
    MONITOR_READ = 0xD0,
    FAULT_MEMORY_READ = 0xDE
};

int groupedPlace(int firstHighByte, int address) {
    return ((firstHighByte + address / GROUP_ITEMS) << 8) | packedDecimal(address % GROUP_ITEMS);
}

// The number an existing item is read at.
int numberOf(const Item& item) {
    switch (item.type) {
        case RegisterType::CW_bit:
            return 0x1000 + item.address;
        case RegisterType::SW_bit:
            return 0x1100 + item.address;
        case RegisterType::DO:
            return 0x101F + item.address;
        case RegisterType::RO:
            return 0x103F + item.address;
        case RegisterType::SDO:
            return 0x105F + item.address;
        case RegisterType::DI:
            return 0x111F + item.address;
        case RegisterType::AI:
            return 0x1200 + item.address;
        case RegisterType::FIN:
            return 0x1203;
        case RegisterType::F:
            return groupedPlace(PARAMETER_READ, item.address);
        case RegisterType::D:
            return groupedPlace(MONITOR_READ, item.address);
        case RegisterType::DE:
            return groupedPlace(FAULT_MEMORY_READ, item.address);
        case RegisterType::SW:
            return 0x1309;
        case RegisterType::CW:
        case RegisterType::MOD:
        case RegisterType::FAS:
            break;
    }
    return 0x1300 + item.address;
}

bool exists(const Item& item) {
    const TypeInfo& info = typeInfo(item.type);
    return item.address >= info.lowest && item.address <= info.highest;
}

}  // namespace

const TypeInfo& typeInfo(RegisterType type) {
    return TYPES[static_cast<std::size_t>(type)];
}

std::optional<RegisterType> typeByName(const std::string& name) {
    for (const TypeInfo& info : TYPES) {
        if (name == info.name) {
            return info.type;
        }
    }
    return std::nullopt;
}

bool isBit(RegisterType type) {
    return type <= RegisterType::DI;
}

std::uint8_t packedDecimal(int index) {
    return static_cast<std::uint8_t>(index / 10 * 16 + index % 10);
}

std::optional<std::uint16_t> readPlace(const Item& item) {
    if (!exists(item) || typeInfo(item.type).table == Table::None) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(numberOf(item));
}

std::optional<std::uint16_t> writePlace(const Item& item) {
    if (!exists(item) || !typeInfo(item.type).writable) {
        return std::nullopt;
    }
    if (item.type == RegisterType::F) {
        return static_cast<std::uint16_t>(groupedPlace(PARAMETER_WRITE, item.address));
    }
    return static_cast<std::uint16_t>(numberOf(item));
}

const RegisterMap& RegisterMap::instance() {
    static const RegisterMap map;
    return map;
}

RegisterMap::RegisterMap() {
    for (const TypeInfo& info : TYPES) {
        for (int address = info.lowest; address <= info.highest; ++address) {
            const Item item{info.type, address};
            if (const auto place = readPlace(item)) {
                reads_.emplace(std::make_pair(info.table, static_cast<int>(*place)), item);
            }
            if (const auto place = writePlace(item)) {
                writes_.emplace(std::make_pair(info.table, static_cast<int>(*place)), item);
            }
        }
    }
}

std::optional<Item> RegisterMap::readAt(Table table, std::uint16_t number) const {
    const auto found = reads_.find({table, number});
    return found == reads_.end() ? std::nullopt : std::optional<Item>(found->second);
}

std::optional<Item> RegisterMap::writtenAt(Table table, std::uint16_t number) const {
    const auto found = writes_.find({table, number});
    return found == writes_.end() ? std::nullopt : std::optional<Item>(found->second);
}

std::optional<Span> RegisterMap::readableSpan(Table table, std::uint16_t number) const {
    if (table == Table::Coils && number >= COILS_START && number < COILS_END) {
        return Span{COILS_START, COILS_END - COILS_START};
    }
    if (table == Table::DiscreteInputs && number >= INPUTS_START && number < INPUTS_END) {
        return Span{INPUTS_START, INPUTS_END - INPUTS_START};
    }
    return spanAround(reads_, table, number);
}

std::optional<Span> RegisterMap::writableSpan(Table table, std::uint16_t number) const {
    return spanAround(writes_, table, number);
}

std::optional<Span> RegisterMap::spanAround(const Places& places, Table table, int number) {
    if (places.count({table, number}) == 0) {
        return std::nullopt;
    }
    int first = number;
    while (places.count({table, first - 1}) != 0) {
        --first;
    }
    int last = number;
    while (places.count({table, last + 1}) != 0) {
        ++last;
    }
    return Span{static_cast<std::uint16_t>(first), static_cast<std::uint16_t>(last - first + 1)};
}

}  // namespace dx7sim

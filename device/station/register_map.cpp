#include "device/station/register_map.h"

#include <array>

namespace dx7sim {

namespace {

constexpr std::nullopt_t NOWHERE = std::nullopt;
constexpr Numbering PACKED = Numbering::PackedDecimal;

// In the order of RegisterType.
constexpr std::array<TypeInfo, REGISTER_TYPES> TYPES = {{
    {RegisterType::CW_bit, "CW_bit", 0, 15, Table::Coils, 0x1000, 0x1000},
    {RegisterType::SW_bit, "SW_bit", 0, 15, Table::DiscreteInputs, 0x1100, NOWHERE},
    {RegisterType::DO, "DO", 1, 2, Table::Coils, 0x1020, 0x1020},
    {RegisterType::RO, "RO", 1, 1, Table::Coils, 0x1040, 0x1040},
    {RegisterType::SDO, "SDO", 1, 8, Table::Coils, 0x1060, 0x1060},
    {RegisterType::DI, "DI", 1, 6, Table::DiscreteInputs, 0x1120, NOWHERE},
    {RegisterType::AI, "AI", 0, 3, Table::InputRegisters, 0x1200, NOWHERE},
    {RegisterType::FIN, "FIN", 0, 0, Table::InputRegisters, 0x1203, NOWHERE},
    {RegisterType::F, "F", 0, 16 * GROUP_ITEMS - 1, Table::HoldingRegisters, 0xF000, 0xE000, PACKED, true},
    {RegisterType::D, "D", 0, 2 * GROUP_ITEMS - 1, Table::HoldingRegisters, 0xD000, NOWHERE, PACKED, true},
    {RegisterType::DE, "DE", 0, GROUP_ITEMS - 1, Table::HoldingRegisters, 0xDE00, NOWHERE, PACKED},
    {RegisterType::CW, "CW", 0, 0, Table::HoldingRegisters, 0x1300, 0x1300},
    {RegisterType::SW, "SW", 0, 0, Table::HoldingRegisters, 0x1309, NOWHERE},
    {RegisterType::MOD, "MOD", 1, 2, Table::HoldingRegisters, 0x1301, 0x1301},
    {RegisterType::FAS, "FAS", 0, 0, Table::None, NOWHERE, NOWHERE},
}};

// The blocks that can be read as a whole.
constexpr std::uint16_t COILS_START = 0x1000;
constexpr std::uint16_t COILS_END = 0x1080;
constexpr std::uint16_t INPUTS_START = 0x1100;
constexpr std::uint16_t INPUTS_END = 0x1140;

// The number of an item whose type has its lowest address at `start`; none without a start and for an address
// the type does not have.
std::optional<std::uint16_t> place(const Item& item, std::optional<std::uint16_t> start) {
    const TypeInfo& info = typeInfo(item.type);
    if (!start || item.address < info.lowest || item.address > info.highest) {
        return std::nullopt;
    }
    const int offset = item.address - info.lowest;
    const bool packed = info.numbering == Numbering::PackedDecimal;
    return static_cast<std::uint16_t>(
        *start + (packed ? offset / GROUP_ITEMS * 256 + packedDecimal(offset % GROUP_ITEMS) : offset));
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
    return place(item, typeInfo(item.type).readStart);
}

std::optional<std::uint16_t> writePlace(const Item& item) {
    return place(item, typeInfo(item.type).writeStart);
}

const RegisterMap& RegisterMap::instance() {
    static const RegisterMap map;
    return map;
}

RegisterMap::RegisterMap() {
    for (const TypeInfo& info : TYPES) {
        for (int address = info.lowest; address <= info.highest; ++address) {
            const Item item{info.type, address};
            if (const auto number = readPlace(item)) {
                reads_.emplace(std::make_pair(info.table, static_cast<int>(*number)), item);
            }
            if (const auto number = writePlace(item)) {
                writes_.emplace(std::make_pair(info.table, static_cast<int>(*number)), item);
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

/// \file
/// Where each of the device's fifteen register types lives among its Modbus coils, inputs and registers.
///
/// Parameters (F) are read at 0xF0 + group and written at 0xE0 + group; the low byte of the register number
/// is the index 0..55 as packed decimal, so 25 is 0x25. Register numbers between the decades (0x0A..0x0F,
/// 0x1A..0x1F, ...) do not exist, and a quantity counts register numbers: a request that runs from one decade
/// into the next touches such a number and is refused.
///
/// The blocks of coils (0x1000..0x107F) and discrete inputs (0x1100..0x113F) are backed as a whole for
/// reading: bits between and after the assigned ones read as 0. Writing them is refused. Registers have no
/// such padding.
#ifndef DX7_DEVICE_REGISTER_MAP_H
#define DX7_DEVICE_REGISTER_MAP_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace dx7sim {

/// The kinds of values that the device has; docs/wire-format.md describes them.
enum class RegisterType { CW_bit, SW_bit, DO, RO, SDO, DI, AI, FIN, F, D, DE, CW, SW, MOD, FAS };

/// The four Modbus tables, and none for the status byte, which has a function code of its own.
enum class Table { Coils, DiscreteInputs, InputRegisters, HoldingRegisters, None };

constexpr int REGISTER_TYPES = 15;
/// Items in each group of a grouped type.
constexpr int GROUP_ITEMS = 56;

/// How the number of an item follows from its address.
enum class Numbering {
    /// One after the other from the lowest address on.
    Consecutive,
    /// The high byte counts groups of 56; the low byte is the index in its group as packed decimal.
    PackedDecimal
};

/// What the device knows about one register type.
struct TypeInfo {
    RegisterType type = RegisterType::CW_bit;
    const char* name = "";
    /// Lowest address.
    int lowest = 0;
    /// Highest address; grouped types count 56 x group + index.
    int highest = 0;
    Table table = Table::None;
    /// The numbers the lowest address is read and written at; none where it is not.
    std::optional<std::uint16_t> readStart;
    std::optional<std::uint16_t> writeStart;
    /// How numbers follow from addresses.
    Numbering numbering = Numbering::Consecutive;
    /// Users write addresses as group.sub.index.
    bool grouped = false;
};

/// Information on `type`. It lives as long as the program.
const TypeInfo& typeInfo(RegisterType type);
/// The type of this exact name, if there is one.
std::optional<RegisterType> typeByName(const std::string& name);
/// Whether items of the type are single bits.
bool isBit(RegisterType type);

/// One item of the device: a register type and an address within it.
struct Item {
    RegisterType type;
    int address;
};

inline bool operator==(const Item& a, const Item& b) {
    return a.type == b.type && a.address == b.address;
}

/// Consecutive register numbers that one request may cover.
struct Span {
    std::uint16_t start;
    std::uint16_t count;
};

/// The index 0..99 with its tens in the high and its ones in the low four bits.
std::uint8_t packedDecimal(int index);

/// The number an item is read at, or none (FAS, and addresses the type does not have).
std::optional<std::uint16_t> readPlace(const Item& item);
/// The number an item is written at, or none when it cannot be written over the line.
std::optional<std::uint16_t> writePlace(const Item& item);

/// All places of the device, looked up from the line's side. Immutable, so any thread may use it.
class RegisterMap {
public:
    /// The one map of the device.
    static const RegisterMap& instance();

    /// The item read at `number` of `table`; none for padding and for what does not exist. 0x1203 is both AI
    /// 3 and FIN 0 and is found as AI 3.
    std::optional<Item> readAt(Table table, std::uint16_t number) const;
    std::optional<Item> writtenAt(Table table, std::uint16_t number) const;

    /// The longest run of readable (writable) numbers around `number`; none when `number` itself is not.
    std::optional<Span> readableSpan(Table table, std::uint16_t number) const;
    std::optional<Span> writableSpan(Table table, std::uint16_t number) const;

private:
    using Places = std::map<std::pair<Table, int>, Item>;

    RegisterMap();
    static std::optional<Span> spanAround(const Places& places, Table table, int number);

    Places reads_;
    Places writes_;
};

}  // namespace dx7sim

#endif

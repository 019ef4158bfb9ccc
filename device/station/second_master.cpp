#include "device/station/second_master.h"

#include <modbus/modbus.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "common/modbus_limits.h"
#include "device/station/window.h"

namespace dx7sim {

namespace {

constexpr std::size_t HEAD = 2;
constexpr std::size_t READ_HEAD = 3;
constexpr std::size_t CRC = 2;
constexpr std::uint8_t COIL_ON = 0xFF;

// What a request asks for, without where.
struct Asked {
    Table table;
    bool isWrite;
    bool isOneWrite;
    std::size_t quantity;
};

Asked askedOf(const Bytes& request) {
    const int code = request[1];
    const bool isOne = code == MODBUS_FC_WRITE_SINGLE_COIL || code == MODBUS_FC_WRITE_SINGLE_REGISTER;
    return {requestTable(code), code > MODBUS_FC_READ_INPUT_REGISTERS, isOne,
            isOne ? std::size_t(1) : wordAt(request, 4)};
}

std::optional<std::uint16_t> placeOf(const Item& item, bool isWrite) {
    return isWrite ? writePlace(item) : readPlace(item);
}

bool fits(const Asked& asked, std::uint16_t start) {
    const RegisterMap& map = RegisterMap::instance();
    const auto span =
        asked.isWrite ? map.writableSpan(asked.table, start) : map.readableSpan(asked.table, start);
    return span && static_cast<std::size_t>(start - span->start) + asked.quantity <= span->count;
}

std::uint16_t valueAt(const Asked& asked, std::size_t number, const Model& model, Time now) {
    const auto place = static_cast<std::uint16_t>(number);
    const RegisterMap& map = RegisterMap::instance();
    const auto item = asked.isWrite ? map.writtenAt(asked.table, place) : map.readAt(asked.table, place);
    return item ? model.value(*item, now) : std::uint16_t(0);
}

bool isOfBits(const Asked& asked) {
    return asked.table == Table::Coils || asked.table == Table::DiscreteInputs;
}

// Overwrites the values in `reply` to a read by those from `start` on.
void putValues(const Asked& asked, std::uint16_t start, const Model& model, Time now, Bytes& reply) {
    std::fill(reply.begin() + READ_HEAD, reply.end() - CRC, std::uint8_t(0));
    for (std::size_t i = 0; i < asked.quantity; ++i) {
        const unsigned value = valueAt(asked, start + i, model, now);
        if (isOfBits(asked)) {
            std::uint8_t& byte = reply[READ_HEAD + i / 8];
            byte = static_cast<std::uint8_t>(byte | value << i % 8);
        } else {
            reply[READ_HEAD + 2 * i] = static_cast<std::uint8_t>(value >> 8);
            reply[READ_HEAD + 2 * i + 1] = static_cast<std::uint8_t>(value);
        }
    }
}

// Overwrites the number in `reply` to a write and, where one value is confirmed, that.
void putPlace(const Asked& asked, std::uint16_t start, const Model& model, Time now, Bytes& reply) {
    reply[HEAD] = static_cast<std::uint8_t>(start >> 8);
    reply[HEAD + 1] = static_cast<std::uint8_t>(start);
    if (asked.isOneWrite) {
        const unsigned value = valueAt(asked, start, model, now);
        reply[HEAD + 2] =
            isOfBits(asked) ? (value != 0 ? COIL_ON : 0) : static_cast<std::uint8_t>(value >> 8);
        reply[HEAD + 3] = isOfBits(asked) ? 0 : static_cast<std::uint8_t>(value);
    }
}

// `reply` as if asked for at the place of an item of `type`, the first from `choice` on whose content
// differs; none when there is none.
std::optional<Bytes> elsewhere(const Asked& asked, RegisterType type, const Bytes& reply, const Model& model,
                               Time now, std::uint64_t choice) {
    const TypeInfo& info = typeInfo(type);
    const auto count = static_cast<std::uint64_t>(info.highest - info.lowest) + 1;
    for (std::uint64_t i = 0; i < count; ++i) {
        const int address = info.lowest + static_cast<int>((choice % count + i) % count);
        const auto start = placeOf({type, address}, asked.isWrite);
        if (!start || !fits(asked, *start)) {
            continue;
        }
        Bytes other = reply;
        (asked.isWrite ? putPlace : putValues)(asked, *start, model, now, other);
        if (other != reply) {
            return other;
        }
    }
    return std::nullopt;
}

// The types of the asked table, first the one that is asked for itself.
std::vector<RegisterType> typesToTry(const Asked& asked, std::uint16_t start) {
    const RegisterMap& map = RegisterMap::instance();
    std::vector<RegisterType> types;
    if (const auto item =
            asked.isWrite ? map.writtenAt(asked.table, start) : map.readAt(asked.table, start)) {
        types.push_back(item->type);
    }
    for (int i = 0; i < REGISTER_TYPES; ++i) {
        const auto type = static_cast<RegisterType>(i);
        if (typeInfo(type).table == asked.table) {
            types.push_back(type);
        }
    }
    return types;
}

// `reply` to a read with its first bit, status bit or word changed by 1.
Bytes invented(Bytes reply) {
    const bool isOfWords =
        reply[1] == MODBUS_FC_READ_HOLDING_REGISTERS || reply[1] == MODBUS_FC_READ_INPUT_REGISTERS;
    const std::size_t place = reply[1] == MODBUS_FC_READ_EXCEPTION_STATUS ? HEAD
                              : isOfWords                                 ? READ_HEAD + 1
                                                                          : READ_HEAD;
    reply[place] = static_cast<std::uint8_t>(reply[place] ^ 1U);
    return reply;
}

Bytes otherException(Bytes reply) {
    constexpr std::uint8_t FAILURE = MODBUS_EXCEPTION_SLAVE_OR_SERVER_FAILURE;
    constexpr std::uint8_t BUSY = MODBUS_EXCEPTION_SLAVE_OR_SERVER_BUSY;
    reply[HEAD] = reply[HEAD] == BUSY ? FAILURE : BUSY;
    return reply;
}

Bytes otherContent(const Bytes& request, const Bytes& reply, const Model& model, Time now,
                   std::uint64_t choice) {
    if ((reply[1] & dx7common::EXCEPTION_BIT) != 0) {
        return otherException(reply);
    }
    if (request[1] != MODBUS_FC_READ_EXCEPTION_STATUS) {
        const Asked asked = askedOf(request);
        const std::uint16_t start = wordAt(request, 2);
        for (const RegisterType type : typesToTry(asked, start)) {
            if (const auto other = elsewhere(asked, type, reply, model, now, choice)) {
                return *other;
            }
        }
    }
    return invented(reply);
}

}  // namespace

Bytes replyToAnotherMaster(const Bytes& request, const Bytes& reply, const Model& model, Time now,
                           std::uint64_t choice) {
    Bytes other = otherContent(request, reply, model, now, choice);
    renewCrc(other);
    return other;
}

}  // namespace dx7sim

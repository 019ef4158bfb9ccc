#include "device/station/model.h"

namespace dx7sim {

namespace {

constexpr unsigned RAMP_STEPS = 1000;
constexpr unsigned RAMP_OFFSET = 250;
constexpr unsigned SW_READY = 1U << 0;
constexpr unsigned SW_CONTROL_ECHO = 0x7U;
constexpr unsigned SW_REMOTE = 1U << 9;
constexpr unsigned SW_HEARTBEAT = 1U << 15;

constexpr Time MOTION_STEP = std::chrono::milliseconds(250);

// Whole `unit`s since the start.
template <typename Unit>
std::uint64_t whole(Time now) {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<Unit>(now).count());
}

std::uint64_t seconds(Time now) {
    return whole<std::chrono::seconds>(now);
}

unsigned ramp(std::uint64_t input, Time now) {
    const std::uint64_t steps = whole<std::chrono::milliseconds>(now) / 100;
    return static_cast<unsigned>((RAMP_OFFSET * input + steps) % RAMP_STEPS);
}

unsigned monitoringValue(unsigned group, unsigned index, Time now) {
    return 1000 * (group + 1) + 10 * index + static_cast<unsigned>(seconds(now) / (1 + index % 5) % 10);
}

unsigned statusWord(unsigned controlWord, Time now) {
    const unsigned heartbeat = seconds(now) % 2 != 0 ? SW_HEARTBEAT : 0U;
    return SW_READY | (controlWord & SW_CONTROL_ECHO) << 1 | SW_REMOTE | heartbeat;
}

// The word that a bit of CW_bit or SW_bit belongs to.
Item wordOfBit(RegisterType bitType) {
    return {bitType == RegisterType::CW_bit ? RegisterType::CW : RegisterType::SW, 0};
}

bool isBitOfWord(RegisterType type) {
    return type == RegisterType::CW_bit || type == RegisterType::SW_bit;
}

// The one item of a register that has two names.
Item canonical(const Item& item) {
    return item.type == RegisterType::FIN ? Item{RegisterType::AI, 3} : item;
}

}  // namespace

std::uint16_t Model::value(const Item& item, Time now) const {
    if (isBitOfWord(item.type)) {
        return static_cast<std::uint16_t>(value(wordOfBit(item.type), now) >> item.address & 1);
    }
    const Item one = canonical(item);
    const auto held = held_.find({one.type, one.address});
    if (held != held_.end()) {
        return held->second;
    }
    return movement_ == Movement::All ? movingValue(one, now) : naturalValue(one, now);
}

std::uint16_t Model::movingValue(const Item& item, Time now) const {
    const unsigned steps = static_cast<unsigned>(now / MOTION_STEP);
    const unsigned station = static_cast<unsigned>(station_);
    const unsigned number = readPlace(item).value_or(0);
    const unsigned byte = (steps + 37 * station) % 256;
    unsigned result = 256 * ((number % 256 + 89 * (number / 256) + 61 * station) % 256) + steps % 256;
    if (item.type == RegisterType::FAS) {
        result = byte;
    } else if (isBit(item.type)) {
        result = byte >> number % 8 & 1;
    }
    return static_cast<std::uint16_t>(result);
}

std::uint16_t Model::naturalValue(const Item& item, Time now) const {
    const unsigned address = static_cast<unsigned>(item.address);
    const unsigned group = address / GROUP_ITEMS;
    const unsigned index = address % GROUP_ITEMS;
    unsigned result = 0;
    switch (item.type) {
        case RegisterType::DI:
            result = static_cast<unsigned>(seconds(now) / address % 2);
            break;
        case RegisterType::AI:
            result = ramp(address, now);
            break;
        case RegisterType::F:
            result = 100 * group + index;
            break;
        case RegisterType::D:
            result = monitoringValue(group, index, now);
            break;
        case RegisterType::DE:
            result = 7000 + index;
            break;
        case RegisterType::SW:
            result = statusWord(value({RegisterType::CW, 0}, now), now);
            break;
        case RegisterType::FAS: {
            const unsigned status = value({RegisterType::SW, 0}, now);
            result = (status & 0x7FU) | (status & SW_HEARTBEAT) >> 8;
            break;
        }
        default:
            break;
    }
    return static_cast<std::uint16_t>(result);
}

void Model::set(const Item& item, std::uint16_t newValue, Time now) {
    if (isBitOfWord(item.type)) {
        const Item word = wordOfBit(item.type);
        const unsigned mask = 1U << item.address;
        const unsigned bits = value(word, now);
        set(word, static_cast<std::uint16_t>(newValue != 0 ? bits | mask : bits & ~mask), now);
        return;
    }
    const Item one = canonical(item);
    held_[{one.type, one.address}] = newValue;
}

}  // namespace dx7sim

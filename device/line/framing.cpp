#include "device/line/framing.h"

#include <modbus/modbus.h>

#include <algorithm>

#include "common/modbus_limits.h"

namespace dx7sim {

namespace {

constexpr std::size_t SHORTEST_FRAME = dx7common::SHORTEST_FRAME_BYTES;
constexpr std::size_t LONGEST_FRAME = dx7common::LONGEST_FRAME_BYTES;
constexpr std::size_t PLAIN_FRAME = 8;
constexpr std::uint8_t DIAGNOSTICS = 8;
constexpr std::size_t BYTE_COUNT_INDEX = 6;
constexpr std::size_t WRITE_OVERHEAD = 9;
constexpr std::size_t MOST_UNDER_WAY = 1024;

// Length of the request that `bytes` begin with; none when it is not known (yet).
std::optional<std::size_t> requestLength(const Bytes& bytes) {
    if (bytes.size() < 2) {
        return std::nullopt;
    }
    switch (bytes[1]) {
        case MODBUS_FC_READ_COILS:
        case MODBUS_FC_READ_DISCRETE_INPUTS:
        case MODBUS_FC_READ_HOLDING_REGISTERS:
        case MODBUS_FC_READ_INPUT_REGISTERS:
        case MODBUS_FC_WRITE_SINGLE_COIL:
        case MODBUS_FC_WRITE_SINGLE_REGISTER:
        // Which is refused: with one word of data, as it is sent, nothing need be waited for.
        case DIAGNOSTICS:
            return PLAIN_FRAME;
        case MODBUS_FC_READ_EXCEPTION_STATUS:
            return SHORTEST_FRAME;
        case MODBUS_FC_WRITE_MULTIPLE_COILS:
        case MODBUS_FC_WRITE_MULTIPLE_REGISTERS:
            if (bytes.size() > BYTE_COUNT_INDEX) {
                return WRITE_OVERHEAD + bytes[BYTE_COUNT_INDEX];
            }
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

constexpr std::size_t SHORTEST_REST = 2;
constexpr std::size_t LONGEST_REST = MODBUS_TCP_MAX_ADU_LENGTH - MBAP_HEAD;

bool isMbapHead(const Bytes& bytes) {
    const std::size_t rest = wordAt(bytes, 4);
    return wordAt(bytes, 2) == 0 && rest >= SHORTEST_REST && rest <= LONGEST_REST;
}

}  // namespace

Framing::Framing(Time charTime, Time silence, Protocol protocol)
    : charTime_(charTime), silence_(silence), protocol_(protocol) {}

// Length of the request that begins what is pending; none while it is not whole.
std::optional<std::size_t> Framing::wholeRequest() {
    if (protocol_ == Protocol::Rtu) {
        const auto length = requestLength(pending_);
        const bool whole = length && pending_.size() >= *length && endsInGoodCrc(pending_, *length);
        return whole ? length : std::nullopt;
    }
    if (pending_.size() < MBAP_HEAD) {
        return std::nullopt;
    }
    if (!isMbapHead(pending_)) {
        lost_ = true;
        drop();
        return std::nullopt;
    }
    const std::size_t length = MBAP_HEAD + wordAt(pending_, 4);
    return pending_.size() >= length ? std::optional<std::size_t>(length) : std::nullopt;
}

std::vector<ReceivedFrame> Framing::take(const Bytes& bytes, Time now) {
    if (pending_.empty()) {
        first_ = now;
    }
    last_ = now;
    pending_.insert(pending_.end(), bytes.begin(), bytes.end());

    std::vector<ReceivedFrame> frames;
    while (const auto length = wholeRequest()) {
        frames.push_back(cut(*length));
    }
    if (protocol_ == Protocol::Rtu && pending_.size() > LONGEST_FRAME) {
        drop();
    }
    return frames;
}

std::optional<Time> Framing::deadline() const {
    const bool silenceEnds = protocol_ == Protocol::Rtu && !pending_.empty();
    return silenceEnds ? std::optional<Time>(last_ + silence_) : std::nullopt;
}

std::optional<ReceivedFrame> Framing::silence(Time now) {
    if (protocol_ != Protocol::Rtu || pending_.empty() || now < last_ + silence_) {
        return std::nullopt;
    }
    if (pending_.size() >= SHORTEST_FRAME && endsInGoodCrc(pending_, pending_.size())) {
        return cut(pending_.size());
    }
    drop();
    return std::nullopt;
}

void Framing::reset() {
    pending_.clear();
    lost_ = false;
}

ReceivedFrame Framing::cut(std::size_t length) {
    const auto end = pending_.begin() + static_cast<std::ptrdiff_t>(length);
    ReceivedFrame frame{Bytes(pending_.begin(), end), Time()};
    const Time carried = first_ + charTime_ * static_cast<Time::rep>(length);
    const Time latest = last_ + charTime_ * static_cast<Time::rep>(MOST_UNDER_WAY);
    frame.complete = std::max(last_, std::min(carried, latest));
    pending_.erase(pending_.begin(), end);
    first_ = frame.complete;
    return frame;
}

void Framing::drop() {
    droppedBytes_ += pending_.size();
    pending_.clear();
}

}  // namespace dx7sim

#include "device/station/window.h"

#include <algorithm>

namespace dx7sim {

namespace {

std::size_t writtenCount(const Bytes& request) {
    const bool several =
        request[1] == MODBUS_FC_WRITE_MULTIPLE_COILS || request[1] == MODBUS_FC_WRITE_MULTIPLE_REGISTERS;
    return several ? std::size_t(wordAt(request, 4)) : 1;
}

}  // namespace

Table requestTable(int functionCode) {
    switch (functionCode) {
        case MODBUS_FC_READ_COILS:
        case MODBUS_FC_WRITE_SINGLE_COIL:
        case MODBUS_FC_WRITE_MULTIPLE_COILS:
            return Table::Coils;
        case MODBUS_FC_READ_DISCRETE_INPUTS:
            return Table::DiscreteInputs;
        case MODBUS_FC_READ_INPUT_REGISTERS:
            return Table::InputRegisters;
        default:
            return Table::HoldingRegisters;
    }
}

Window::Window(const Bytes& request, const Model& model, Time now)
    : isWrite_(request[1] > MODBUS_FC_READ_INPUT_REGISTERS), table_(requestTable(request[1])) {
    const RegisterMap& map = RegisterMap::instance();
    const std::uint16_t start = wordAt(request, 2);
    const auto span = isWrite_ ? map.writableSpan(table_, start) : map.readableSpan(table_, start);
    if (span) {
        span_ = *span;
        fill(model, now);
        firstWritten_ = static_cast<std::size_t>(start - span_.start);
        writtenCount_ = isWrite_ ? writtenCount(request) : 0;
    }
    attach();
}

void Window::fill(const Model& model, Time now) {
    const RegisterMap& map = RegisterMap::instance();
    for (int offset = 0; offset < span_.count; ++offset) {
        const std::uint16_t number = static_cast<std::uint16_t>(span_.start + offset);
        items_.push_back(isWrite_ ? map.writtenAt(table_, number) : map.readAt(table_, number));
        words_.push_back(items_.back() ? model.value(*items_.back(), now) : std::uint16_t(0));
    }
    bits_.assign(words_.begin(), words_.end());
}

void Window::attach() {
    switch (table_) {
        case Table::Coils:
            mapping_.start_bits = span_.start;
            mapping_.nb_bits = span_.count;
            mapping_.tab_bits = bits_.data();
            break;
        case Table::DiscreteInputs:
            mapping_.start_input_bits = span_.start;
            mapping_.nb_input_bits = span_.count;
            mapping_.tab_input_bits = bits_.data();
            break;
        case Table::InputRegisters:
            mapping_.start_input_registers = span_.start;
            mapping_.nb_input_registers = span_.count;
            mapping_.tab_input_registers = words_.data();
            break;
        case Table::HoldingRegisters:
        case Table::None:
            mapping_.start_registers = span_.start;
            mapping_.nb_registers = span_.count;
            mapping_.tab_registers = words_.data();
            break;
    }
}

std::uint16_t Window::current(std::size_t offset) const {
    return table_ == Table::Coils ? bits_[offset] : words_[offset];
}

void Window::storeWritten(Model& model, Time now) const {
    const std::size_t end = std::min(firstWritten_ + writtenCount_, items_.size());
    for (std::size_t offset = firstWritten_; offset < end; ++offset) {
        model.set(*items_[offset], current(offset), now);
    }
}

}  // namespace dx7sim

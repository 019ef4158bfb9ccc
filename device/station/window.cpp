#include "device/station/window.h"

#include <algorithm>

namespace dx7sim {

namespace {

std::size_t writtenCount(const Bytes& request) {
    const bool several =
        request[1] == MODBUS_FC_WRITE_MULTIPLE_COILS || request[1] == MODBUS_FC_WRITE_MULTIPLE_REGISTERS;
    return several ? static_cast<std::size_t>(request[4] << 8 | request[5]) : 1;
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
    : m_isWrite(request[1] > MODBUS_FC_READ_INPUT_REGISTERS), m_table(requestTable(request[1])) {
    const RegisterMap& map = RegisterMap::instance();
    const std::uint16_t start = static_cast<std::uint16_t>(request[2] << 8 | request[3]);
    const auto span = m_isWrite ? map.writableSpan(m_table, start) : map.readableSpan(m_table, start);
    if (span) {
        m_span = *span;
        fill(model, now);
        m_firstWritten = static_cast<std::size_t>(start - m_span.start);
        m_writtenCount = m_isWrite ? writtenCount(request) : 0;
    }
    attach();
}

void Window::fill(const Model& model, Time now) {
    const RegisterMap& map = RegisterMap::instance();
    for (int offset = 0; offset < m_span.count; ++offset) {
        const std::uint16_t number = static_cast<std::uint16_t>(m_span.start + offset);
        m_items.push_back(m_isWrite ? map.writtenAt(m_table, number) : map.readAt(m_table, number));
        m_words.push_back(m_items.back() ? model.value(*m_items.back(), now) : std::uint16_t(0));
    }
    m_bits.assign(m_words.begin(), m_words.end());
}

void Window::attach() {
    switch (m_table) {
        case Table::Coils:
            m_mapping.start_bits = m_span.start;
            m_mapping.nb_bits = m_span.count;
            m_mapping.tab_bits = m_bits.data();
            break;
        case Table::DiscreteInputs:
            m_mapping.start_input_bits = m_span.start;
            m_mapping.nb_input_bits = m_span.count;
            m_mapping.tab_input_bits = m_bits.data();
            break;
        case Table::InputRegisters:
            m_mapping.start_input_registers = m_span.start;
            m_mapping.nb_input_registers = m_span.count;
            m_mapping.tab_input_registers = m_words.data();
            break;
        case Table::HoldingRegisters:
        case Table::None:
            m_mapping.start_registers = m_span.start;
            m_mapping.nb_registers = m_span.count;
            m_mapping.tab_registers = m_words.data();
            break;
    }
}

std::uint16_t Window::current(std::size_t offset) const {
    return m_table == Table::Coils ? m_bits[offset] : m_words[offset];
}

void Window::storeWritten(Model& model, Time now) const {
    const std::size_t end = std::min(m_firstWritten + m_writtenCount, m_items.size());
    for (std::size_t offset = m_firstWritten; offset < end; ++offset) {
        model.set(*m_items[offset], current(offset), now);
    }
}

}  // namespace dx7sim

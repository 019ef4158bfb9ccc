/// \file
/// The part of the register map that one request may touch, in the form libmodbus works on.
#ifndef DX7_DEVICE_WINDOW_H
#define DX7_DEVICE_WINDOW_H

#include <modbus/modbus.h>

#include <optional>
#include <vector>

#include "device/line/device_time.h"
#include "device/line/frame.h"
#include "device/station/model.h"

namespace dx7sim {

/// The table that a request with one of the function codes 1 to 6, 15 and 16 is about.
Table requestTable(int functionCode);

/// Values copied out of the model for one request, and the way back for what it wrote. It keeps no reference
/// to the model.
class Window {
public:
    /// Shows the run of numbers around the start of `request` (function codes 1 to 6, 15, 16; at least 4
    /// bytes) that may be read or, for a write, written. Empty when the start is outside the map.
    Window(const Bytes& request, const Model& model, Time now);

    /// Valid as long as the window.
    modbus_mapping_t* mapping() { return &mapping_; }

    /// Carries over to `model` what a write that was not refused wrote, also where it changed nothing: a
    /// value that was written holds.
    void storeWritten(Model& model, Time now) const;

private:
    void fill(const Model& model, Time now);
    void attach();
    std::uint16_t current(std::size_t offset) const;

    bool isWrite_;
    Table table_;
    Span span_{0, 0};
    /// Offset of what a write writes.
    std::size_t firstWritten_ = 0;
    std::size_t writtenCount_ = 0;
    std::vector<std::optional<Item>> items_;
    std::vector<std::uint16_t> words_;
    std::vector<std::uint8_t> bits_;
    modbus_mapping_t mapping_{};
};

}  // namespace dx7sim

#endif

/// \file
/// A station that acknowledges every write and keeps all its registers at 7.
#ifndef DX7_TESTS_END_TO_END_STUBBORN_DEVICE_H
#define DX7_TESTS_END_TO_END_STUBBORN_DEVICE_H

#include <optional>

#include "fragile_device.h"

class StubbornDevice : public FragileDevice {
public:
    /// Requests that touch the parameter's register, to read (0xF...) or to write (0xE...), are refused.
    explicit StubbornDevice(std::optional<int> missing = std::nullopt);
};

#endif

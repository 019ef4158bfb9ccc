/// \file
/// The error of a wrong argument, file, command or line.
#ifndef DX7_DEVICE_USAGE_ERROR_H
#define DX7_DEVICE_USAGE_ERROR_H

#include <stdexcept>

#include "common/printable.h"

namespace dx7sim {

/// Something the user asked for that cannot be done; the text says what was wrong, with what, and what to do.
/// It quotes what arguments, files and commands hold, so it is made printable.
class UsageError : public std::runtime_error {
public:
    explicit UsageError(const std::string& text) : std::runtime_error(dx7common::printable(text)) {}
};

}  // namespace dx7sim

#endif

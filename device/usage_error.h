/// \file
#ifndef DX7_DEVICE_USAGE_ERROR_H
#define DX7_DEVICE_USAGE_ERROR_H

#include <stdexcept>

namespace dx7sim {

/// Something the user asked for that cannot be done; the text says what was wrong, with what, and what to do.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace dx7sim

#endif

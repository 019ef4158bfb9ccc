/// \file
/// The values that a user allows: a range and a step. Nothing is kept between calls.
#ifndef DX7_HOST_VALUE_LIMITS_H
#define DX7_HOST_VALUE_LIMITS_H

#include <optional>

namespace dx7 {

/// What a user allows of a value, in raw numbers: the shown ones divided by the scale.
struct ValueLimits {
    /// Of the lowest and the highest value that are shown.
    std::optional<double> min;
    std::optional<double> max;
    /// Positive. Allowed is what is so many steps from min; without one, from 0.
    std::optional<double> step;

    bool any() const { return min || max || step; }
};

}  // namespace dx7

#endif

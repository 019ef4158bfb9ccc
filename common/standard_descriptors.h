/// \file
/// The descriptors 0, 1 and 2, which a program may be started without.
#ifndef DX7_COMMON_STANDARD_DESCRIPTORS_H
#define DX7_COMMON_STANDARD_DESCRIPTORS_H

namespace dx7common {

/// What becomes of output to a descriptor that was closed.
enum class LostOutput {
    /// Every write fails, so that output that goes nowhere is noticed.
    Fails,
    Vanishes
};

/// Occupies those of the descriptors 0 to 2 that are closed, so that nothing that is opened later gets their
/// numbers and with them what is printed. What occupies them gives an end of file to a reader. To be called
/// before anything is opened. False when that is impossible.
bool occupyStandardDescriptors(LostOutput output);

}  // namespace dx7common

#endif

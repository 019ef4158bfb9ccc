/// \file
/// The descriptors 0, 1 and 2, which a program may be started without.
#ifndef DX7_HOST_STANDARD_DESCRIPTORS_H
#define DX7_HOST_STANDARD_DESCRIPTORS_H

namespace dx7 {

/// Occupies those of the descriptors 0 to 2 that are closed, so that nothing that is opened later gets their
/// numbers and with them what is printed. What occupies them gives an end of file to a reader and fails every
/// write, so that output that goes nowhere is noticed. To be called before anything is opened. False when
/// that is impossible.
bool occupyStandardDescriptors();

}  // namespace dx7

#endif

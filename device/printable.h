/// \file
#ifndef DX7_DEVICE_PRINTABLE_H
#define DX7_DEVICE_PRINTABLE_H

#include <string>

namespace dx7sim {

/// `text` as it may be shown on a terminal, in one line of UTF-8: control characters (C0, DEL, C1) and bytes
/// that are not UTF-8 stand there as their codes, as \x1b. Doing it again changes nothing.
std::string printable(const std::string& text);

}  // namespace dx7sim

#endif

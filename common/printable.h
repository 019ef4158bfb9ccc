/// \file
/// What is shown of texts from elsewhere.
#ifndef DX7_COMMON_PRINTABLE_H
#define DX7_COMMON_PRINTABLE_H

#include <string>

namespace dx7common {

/// `text` as it may be shown on a terminal, in one line of UTF-8: control characters (C0, DEL, C1) and bytes
/// that are not UTF-8 are shown as their codes, as \x1b. Doing it again changes nothing.
std::string printable(const std::string& text);

}  // namespace dx7common

#endif

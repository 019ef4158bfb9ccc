/// \file
/// Texts in parts. Pure functions, for any thread.
#ifndef DX7_DEVICE_TEXT_H
#define DX7_DEVICE_TEXT_H

#include <string>
#include <vector>

namespace dx7sim {

/// `text` without white space at its ends.
std::string trimmed(const std::string& text);

/// `text` cut at each `separator`; one part more than there are separators.
std::vector<std::string> split(const std::string& text, char separator);

}  // namespace dx7sim

#endif

#include "device/station/text.h"

namespace dx7sim {

std::string trimmed(const std::string& text) {
    const char* const white = " \t\r\n";
    const std::size_t first = text.find_first_not_of(white);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(white) - first + 1);
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t at = text.find(separator); at != std::string::npos; at = text.find(separator, start)) {
        parts.push_back(text.substr(start, at - start));
        start = at + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

}  // namespace dx7sim

#include "common/printable.h"

#include <algorithm>
#include <cstddef>

namespace dx7common {

namespace {

struct Character {
    unsigned code = 0;
    // In bytes; 0 when the bytes are not UTF-8.
    std::size_t length = 0;
};

std::size_t lengthAfter(unsigned lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// The character that begins at `at`.
Character characterAt(const std::string& text, std::size_t at) {
    const unsigned lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = lengthAfter(lead);
    if (length < 2 || at + length > text.size()) {
        return {lead, length < 2 ? length : 0};
    }
    unsigned code = lead & 0x7FU >> length;
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned byte = static_cast<unsigned char>(text[at + i]);
        if ((byte & 0xC0U) != 0x80) {
            return {lead, 0};
        }
        code = code << 6 | (byte & 0x3FU);
    }
    const unsigned shortest = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return {code, code < shortest || code > 0x10FFFF || surrogate ? 0 : length};
}

bool isControl(unsigned code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

// Ends a line, or turns the order of what follows on the screen.
bool isLayout(unsigned code) {
    return (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

std::string codeText(unsigned code) {
    const char* const digits = "0123456789abcdef";
    std::string text = code < 0x100 ? "\\x" : "\\u";
    for (int shift = code < 0x100 ? 4 : 12; shift >= 0; shift -= 4) {
        text += digits[code >> shift & 0xFU];
    }
    return text;
}

}  // namespace

std::string printable(const std::string& text) {
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const Character character = characterAt(text, at);
        if (character.length == 0) {
            shown += codeText(static_cast<unsigned char>(text[at]));
        } else if (isControl(character.code) || isLayout(character.code)) {
            shown += codeText(character.code);
        } else {
            shown.append(text, at, character.length);
        }
        at += std::max<std::size_t>(character.length, 1);
    }
    return shown;
}

}  // namespace dx7common

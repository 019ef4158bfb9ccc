/// \file
/// Bounds of a TOML text, looked at before it is parsed: the parser follows every level of nesting with a
/// call of its own and looks for dotted keys one by one.
#ifndef DX7_COMMON_TOML_LIMITS_H
#define DX7_COMMON_TOML_LIMITS_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace dx7common {

/// A file with thousands of tags has some hundred thousand bytes, two levels and no dotted key at all.
constexpr std::size_t TOML_MAX_BYTES = 4194304;
/// Brackets, braces and the dots of keys, one within the other.
constexpr std::size_t TOML_MAX_LEVELS = 32;
constexpr std::size_t TOML_MAX_DOTTED_KEYS = 1000;

/// What goes beyond the bounds, and where: line and column count from 1, the column in bytes.
struct TomlExcess {
    std::size_t line = 1;
    std::size_t column = 1;
    std::string what;
};

/// The first place where the text goes beyond the bounds; empty when it keeps to them. Takes one pass. A
/// text that is not valid TOML may be refused here or pass: the parser sees what is wrong with it.
std::optional<TomlExcess> findTomlExcess(std::string_view text);

}  // namespace dx7common

#endif

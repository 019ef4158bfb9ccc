/// \file
/// TOML files whose every fault is named with line and column.
#ifndef DX7_HOST_TOML_FILE_H
#define DX7_HOST_TOML_FILE_H

#include <toml++/toml.h>
#include <QString>
#include <initializer_list>

namespace dx7 {

/// The text of a file. Throws UsageError when it cannot be read to its end or is larger than 4 MiB.
QByteArray readTomlText(const QString& path);

/// Throws UsageError when the text is not valid TOML, or nested deeper than what is parsed. `path` is what it
/// is called.
toml::table parseToml(const QString& path, const QByteArray& text);

/// Both in one.
toml::table readToml(const QString& path);

/// A UsageError for something at `node`: "FILE:LINE:COLUMN: what".
[[noreturn]] void refuseToml(const QString& path, const toml::source_region& where, const QString& what);

/// Refuses every key of `table` that is not among `known`.
void checkTomlKeys(const QString& path, const toml::table& table, std::initializer_list<const char*> known);

/// The value of `key`, refused when it is of another type; empty when the key is not there.
std::optional<QString> tomlText(const QString& path, const toml::table& table, const char* key);
std::optional<qint64> tomlInteger(const QString& path, const toml::table& table, const char* key);
std::optional<double> tomlNumber(const QString& path, const toml::table& table, const char* key);
std::optional<bool> tomlFlag(const QString& path, const toml::table& table, const char* key);

QString tomlText(std::string_view text);

}  // namespace dx7

#endif

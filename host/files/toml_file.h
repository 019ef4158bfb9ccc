/// \file
/// TOML files whose every fault is named with line and column. One thread at a time for one table.
#ifndef DX7_HOST_TOML_FILE_H
#define DX7_HOST_TOML_FILE_H

#include <toml++/toml.h>
#include <QString>
#include <initializer_list>
#include <optional>
#include <utility>

#include "host/error.h"

namespace dx7 {

/// The text of a file. Throws UsageError when it cannot be read to its end or is larger than 4 MiB.
QByteArray readTomlText(const QString& path);

/// Throws UsageError when the text is not valid TOML, or nested deeper than what is parsed. `path` is what it
/// is called.
toml::table parseToml(const QString& path, const QByteArray& text);

/// A text of the parser, which is UTF-8.
QString tomlText(std::string_view text);

/// A table of a file. Whatever it refuses is a UsageError: "FILE:LINE:COLUMN: why".
class TomlTable {
public:
    /// `table` is borrowed and must outlive this one and the nodes that it gives; `path` is what its file is
    /// called.
    TomlTable(QString path, const toml::table& table) : path_(std::move(path)), table_(table) {}

    /// What its file is called.
    const QString& path() const { return path_; }
    auto begin() const { return table_.begin(); }
    auto end() const { return table_.end(); }
    bool has(const char* key) const { return table_.contains(key); }
    /// Null when the key is not there.
    const toml::node* node(const char* key) const { return table_.get(key); }

    /// The value of `key`, refused when it is of another type; empty when the key is not there.
    std::optional<QString> text(const char* key) const;
    std::optional<qint64> integer(const char* key) const;
    std::optional<double> number(const char* key) const;
    std::optional<bool> flag(const char* key) const;
    /// `node`, a part of this table, as a table; refused when it is none. `what` is what it is called.
    TomlTable table(const toml::node& node, const char* what) const;

    /// Refuses every key that is not among `known`.
    void checkKeys(std::initializer_list<const char*> known) const;
    /// Refuses the value of `key`, or the table itself when it has no such key.
    [[noreturn]] void refuse(const char* key, const QString& why) const;
    [[noreturn]] void refuse(const QString& why) const { refuse(table_.source(), why); }
    [[noreturn]] void refuse(const toml::source_region& where, const QString& why) const;
    /// What `action` refuses with a UsageError was caused by `key`: refuses that, with `prefix` before why.
    template <typename Action>
    void blame(const char* key, const QString& prefix, const Action& action) const;
    template <typename Action>
    void blame(const toml::source_region& where, const QString& prefix, const Action& action) const;

private:
    template <typename Value>
    std::optional<Value> value(const char* key, const char* kind) const;

    QString path_;
    const toml::table& table_;
};

template <typename Action>
void TomlTable::blame(const toml::source_region& where, const QString& prefix, const Action& action) const {
    QString fault;
    try {
        action();
        return;
    } catch (const UsageError& error) {
        fault = error.text();
    }
    refuse(where, prefix + fault);
}

template <typename Action>
void TomlTable::blame(const char* key, const QString& prefix, const Action& action) const {
    const toml::node* found = node(key);
    blame(found != nullptr ? found->source() : table_.source(), prefix, action);
}

}  // namespace dx7

#endif

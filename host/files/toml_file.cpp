#include "host/files/toml_file.h"

#include <QFile>
#include <QStringList>
#include <algorithm>

#include "common/file_content.h"
#include "common/toml_limits.h"

namespace dx7 {

namespace {

[[noreturn]] void refuseToml(const QString& path, const toml::source_region& where, const QString& why) {
    throw UsageError(
        QStringLiteral("%1:%2:%3: %4").arg(path).arg(where.begin.line).arg(where.begin.column).arg(why));
}

}  // namespace

QString tomlText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

QByteArray readTomlText(const QString& path) {
    const dx7common::FileContent content =
        dx7common::readFileContent(QFile::encodeName(path).toStdString(), dx7common::TOML_MAX_BYTES);
    if (!content.fault.empty()) {
        throw UsageError(
            QStringLiteral("%1 cannot be read: %2").arg(path, QString::fromStdString(content.fault)));
    }
    return QByteArray::fromStdString(content.bytes);
}

toml::table parseToml(const QString& path, const QByteArray& text) {
    const std::string_view bytes(text.constData(), static_cast<size_t>(text.size()));
    if (const auto excess = dx7common::findTomlExcess(bytes)) {
        throw UsageError(QStringLiteral("%1:%2:%3: %4")
                             .arg(path)
                             .arg(excess->line)
                             .arg(excess->column)
                             .arg(QString::fromStdString(excess->what)));
    }
    try {
        return toml::parse(bytes);
    } catch (const toml::parse_error& error) {
        refuseToml(path, error.source(), tomlText(error.description()));
    }
}

void TomlTable::refuse(const toml::source_region& where, const QString& why) const {
    refuseToml(path_, where, why);
}

void TomlTable::refuse(const char* key, const QString& why) const {
    const toml::node* found = node(key);
    refuse(found != nullptr ? found->source() : table_.source(), why);
}

void TomlTable::checkKeys(std::initializer_list<const char*> known) const {
    for (const auto& [key, node] : table_) {
        const std::string_view name = key.str();
        if (std::none_of(known.begin(), known.end(),
                         [&](const char* candidate) { return name == candidate; })) {
            QStringList names;
            for (const char* candidate : known) {
                names += QLatin1String(candidate);
            }
            refuse(key.source(), QStringLiteral("key \"%1\" is unknown, here are %2")
                                     .arg(tomlText(name), names.join(QStringLiteral(", "))));
        }
    }
}

TomlTable TomlTable::table(const toml::node& node, const char* what) const {
    if (!node.is_table()) {
        refuse(node.source(), QStringLiteral("%1 is not a table").arg(QLatin1String(what)));
    }
    return {path_, *node.as_table()};
}

template <typename Value>
std::optional<Value> TomlTable::value(const char* key, const char* kind) const {
    const toml::node* found = node(key);
    if (found == nullptr) {
        return std::nullopt;
    }
    std::optional<Value> value = found->value_exact<Value>();
    if (!value) {
        refuse(key, QStringLiteral("%1 is not %2").arg(QLatin1String(key), QLatin1String(kind)));
    }
    return value;
}

std::optional<QString> TomlTable::text(const char* key) const {
    const auto found = value<std::string>(key, "a text");
    return found ? std::optional<QString>(tomlText(*found)) : std::nullopt;
}

std::optional<qint64> TomlTable::integer(const char* key) const {
    const auto found = value<int64_t>(key, "a whole number");
    return found ? std::optional<qint64>(*found) : std::nullopt;
}

std::optional<double> TomlTable::number(const char* key) const {
    const toml::node* found = node(key);
    if (found != nullptr && found->is_integer()) {
        return static_cast<double>(*found->value_exact<int64_t>());
    }
    return value<double>(key, "a number");
}

std::optional<bool> TomlTable::flag(const char* key) const {
    return value<bool>(key, "true or false");
}

}  // namespace dx7

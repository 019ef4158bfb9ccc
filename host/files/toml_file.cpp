#include "host/files/toml_file.h"

#include <QFile>
#include <QStringList>
#include <algorithm>

#include "common/file_content.h"
#include "common/toml_limits.h"
#include "host/error.h"

namespace dx7 {

namespace {

template <typename Value>
std::optional<Value> typedValue(const QString& path, const toml::table& table, const char* key,
                                const char* kind) {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    std::optional<Value> value = node->value_exact<Value>();
    if (!value) {
        refuseToml(path, node->source(),
                   QStringLiteral("%1 is not %2").arg(QLatin1String(key), QLatin1String(kind)));
    }
    return value;
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

toml::table readToml(const QString& path) {
    return parseToml(path, readTomlText(path));
}

void refuseToml(const QString& path, const toml::source_region& where, const QString& what) {
    throw UsageError(
        QStringLiteral("%1:%2:%3: %4").arg(path).arg(where.begin.line).arg(where.begin.column).arg(what));
}

void checkTomlKeys(const QString& path, const toml::table& table, std::initializer_list<const char*> known) {
    for (const auto& [key, node] : table) {
        const std::string_view name = key.str();
        if (std::none_of(known.begin(), known.end(),
                         [&](const char* candidate) { return name == candidate; })) {
            QStringList names;
            for (const char* candidate : known) {
                names += QLatin1String(candidate);
            }
            refuseToml(path, key.source(),
                       QStringLiteral("key \"%1\" is unknown, here are %2")
                           .arg(tomlText(name), names.join(QStringLiteral(", "))));
        }
    }
}

std::optional<QString> tomlText(const QString& path, const toml::table& table, const char* key) {
    const auto value = typedValue<std::string>(path, table, key, "a text");
    return value ? std::optional<QString>(tomlText(*value)) : std::nullopt;
}

std::optional<qint64> tomlInteger(const QString& path, const toml::table& table, const char* key) {
    const auto value = typedValue<int64_t>(path, table, key, "a whole number");
    return value ? std::optional<qint64>(*value) : std::nullopt;
}

std::optional<double> tomlNumber(const QString& path, const toml::table& table, const char* key) {
    const toml::node* node = table.get(key);
    if (node != nullptr && node->is_integer()) {
        return static_cast<double>(*node->value_exact<int64_t>());
    }
    return typedValue<double>(path, table, key, "a number");
}

std::optional<bool> tomlFlag(const QString& path, const toml::table& table, const char* key) {
    return typedValue<bool>(path, table, key, "true or false");
}

}  // namespace dx7

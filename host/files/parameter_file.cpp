#include "host/files/parameter_file.h"

#include "common/modbus_limits.h"
#include "host/error.h"
#include "host/files/parameter_seal.h"
#include "host/files/toml_file.h"
#include "host/files/wall_clock.h"

namespace dx7 {

namespace {

using dx7common::HIGHEST_STATION;
using dx7common::LOWEST_STATION;

void readType(const TomlTable& table, const ItemNotation& notation, const RegisterType& type,
              QMap<int, int>* values) {
    for (const auto& [key, node] : table) {
        const auto number = node.value_exact<int64_t>();
        if (!number || *number < 0 || *number > type.highestValue()) {
            table.refuse(node.source(), QStringLiteral("the value of %1 is not a whole number from 0 to %2")
                                            .arg(tomlText(key.str()))
                                            .arg(type.highestValue()));
        }
        int address = 0;
        try {
            address = notation.address(type, tomlText(key.str()), 1);
            ItemNotation::checkWritable(type, 1, address, 1);
        } catch (const UsageError& error) {
            table.refuse(key.source(), error.text());
        }
        values->insert(address, static_cast<int>(*number));
    }
}

// Everything but the last line. Throws UsageError.
ParameterSet readParameters(const QString& path, const QByteArray& text, const ItemNotation& notation) {
    const toml::table file = parseToml(path, text);
    const TomlTable table(path, file);
    ParameterSet set;
    for (const auto& [key, node] : table) {
        const QString name = tomlText(key.str());
        if (name == QLatin1String("station")) {
            const qint64 station = *table.integer("station");
            if (station < LOWEST_STATION || station > HIGHEST_STATION) {
                table.refuse(node.source(), QStringLiteral("station %1 is not %2 to %3")
                                                .arg(station)
                                                .arg(LOWEST_STATION)
                                                .arg(HIGHEST_STATION));
            }
            set.station = static_cast<int>(station);
            continue;
        }
        if (!node.is_table()) {
            table.refuse(
                key.source(),
                QStringLiteral("key \"%1\" is unknown, here are station and a table per register type")
                    .arg(name));
        }
        RegisterType type;
        try {
            type = notation.type(name);
        } catch (const UsageError& error) {
            table.refuse(key.source(), error.text());
        }
        if (!type.writable) {
            table.refuse(key.source(), QStringLiteral("%1 is read-only").arg(name));
        }
        readType(TomlTable(path, *node.as_table()), notation, type, &set.values[name]);
    }
    if (set.count() == 0) {
        table.refuse(QStringLiteral("the file holds no parameters"));
    }
    return set;
}

[[noreturn]] void refuseAltered(const QString& path, const QString& fault) {
    throw UsageError(
        QStringLiteral("%1 is not as it was saved: %2; --accept-altered takes it as it is").arg(path, fault));
}

}  // namespace

int ParameterSet::count() const {
    int sum = 0;
    for (const auto& type : values) {
        sum += type.size();
    }
    return sum;
}

QVector<Point> parameterPoints(const ItemNotation& notation, int station, const QVector<int>& groups) {
    QVector<Point> points;
    for (const RegisterType& type : notation.types()) {
        if (!type.writable || !type.grouped()) {
            continue;
        }
        for (const int group : groups) {
            for (int index = 0; index < GROUP_ITEMS; ++index) {
                Point point;
                point.type = type;
                point.station = station;
                point.address = group * GROUP_ITEMS + index;
                point.name = point.notation();
                points += point;
            }
        }
    }
    return points;
}

QString saveParameters(const QString& path, const ItemNotation& notation, const ParameterSet& set,
                       Existing existing, const ParameterComment& comment) {
    QString text = QStringLiteral(
                       "# Parameters of station %1, saved %2 by dx7 params save.\n"
                       "# Addresses are group.sub.index; dx7 params load writes the values back.\n\n"
                       "station = %1\n")
                       .arg(set.station)
                       .arg(isoLocalTime(wallTimeUs()));
    for (auto type = set.values.begin(); type != set.values.end(); ++type) {
        const RegisterType description = notation.type(type.key());
        text += QStringLiteral("\n[%1]\n").arg(type.key());
        std::optional<int> group;
        for (auto value = type->begin(); value != type->end(); ++value) {
            if (description.grouped() && value.key() / GROUP_ITEMS != group) {
                group = value.key() / GROUP_ITEMS;
                text += QStringLiteral("# group %1\n").arg(QString::number(*group, 16).toUpper());
            }
            text +=
                QStringLiteral("\"%1\" = %2").arg(description.addressText(value.key())).arg(value.value());
            const QString said = comment ? comment(type.key(), value.key(), value.value()) : QString();
            text += said.isEmpty() ? QStringLiteral("\n") : QStringLiteral("  # %1\n").arg(said);
        }
    }
    return writeWholeFile(path, sealedParameters(text.toUtf8(), set.count()), existing);
}

ParameterSet loadParameters(const QString& path, const ItemNotation& notation, Altered altered) {
    return parametersFromText(path, readTomlText(path), notation, altered);
}

ParameterSet parametersFromText(const QString& path, const QByteArray& text, const ItemNotation& notation,
                                Altered altered) {
    if (altered == Altered::Accept) {
        return readParameters(path, text, notation);
    }
    const Seal seal = sealOf(text);
    ParameterSet set;
    try {
        set = readParameters(path, text, notation);
    } catch (const UsageError& error) {
        // The place helps to find what was edited wrongly; the rest to see that something is missing.
        throw UsageError(
            seal.fault.isEmpty()
                ? error.text()
                : QStringLiteral("%1; the file is not as it was saved: %2").arg(error.text(), seal.fault));
    }
    if (!seal.fault.isEmpty()) {
        refuseAltered(path, seal.fault);
    }
    if (set.count() != seal.count) {
        refuseAltered(
            path, QStringLiteral("it was saved with %1 values and has %2").arg(seal.count).arg(set.count()));
    }
    return set;
}

}  // namespace dx7

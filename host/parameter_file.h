/// \file
/// A station's parameters as a readable TOML file.
#ifndef DX7_HOST_PARAMETER_FILE_H
#define DX7_HOST_PARAMETER_FILE_H

#include <QMap>
#include <QString>

#include "item_notation.h"

namespace dx7 {

/// The parameters of one station. A table per register type holds "address" = value, the address as it is
/// typed.
struct ParameterSet {
    int station = 1;
    /// Values by type name and address.
    QMap<QString, QMap<int, int>> values;

    int count() const;
};

/// Every writable parameter of the groups: the items of the writable types that are typed in groups. In
/// ascending order; whether a station has them all only the station knows.
QVector<Point> parameterPoints(const ItemNotation& notation, int station, const QVector<int>& groups);

/// Throws UsageError when a file cannot be written there.
void checkParameterPath(const QString& path);

/// Writes the file as a whole or not at all. Throws UsageError when it cannot be written.
void saveParameters(const QString& path, const ItemNotation& notation, const ParameterSet& set);

/// Throws UsageError with line and column for what is no such file, an unknown key, or an address or value
/// that the driver's tables do not allow.
ParameterSet loadParameters(const QString& path, const ItemNotation& notation);

}  // namespace dx7

#endif

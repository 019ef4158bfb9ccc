/// \file
/// A station's parameters as a readable TOML file. Nothing is kept between calls. What takes an ItemNotation
/// belongs on its thread.
#ifndef DX7_HOST_PARAMETER_FILE_H
#define DX7_HOST_PARAMETER_FILE_H

#include <QMap>
#include <QString>
#include <functional>

#include "host/files/whole_file.h"
#include "host/items/item_notation.h"

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

/// A text that follows a value as a comment; empty for none.
using ParameterComment = std::function<QString(const QString& type, int address, int value)>;

/// Saves them as whole_file.h says, with a last line as parameter_seal.h says. Returns the name under which
/// the old file is kept; empty when there was none. Throws LineError when the disk does not have them.
QString saveParameters(const QString& path, const ItemNotation& notation, const ParameterSet& set,
                       Existing existing, const ParameterComment& comment = {});

/// What to do with a file that is not as it was saved: cut, edited, or of a dx7 that wrote no last line.
enum class Altered { Refuse, Accept };

/// Throws UsageError with line and column for what is not such a file, an unknown key, or an address or value
/// that the driver's tables do not allow; and for a file that was altered, unless that is accepted.
ParameterSet loadParameters(const QString& path, const ItemNotation& notation,
                            Altered altered = Altered::Refuse);

/// The same from the content of the file called `path`.
ParameterSet parametersFromText(const QString& path, const QByteArray& text, const ItemNotation& notation,
                                Altered altered);

}  // namespace dx7

#endif

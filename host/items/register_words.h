/// \file
/// The registers of a reply as values.
#ifndef DX7_HOST_REGISTER_WORDS_H
#define DX7_HOST_REGISTER_WORDS_H

#include <QByteArray>
#include <QVector>

#include "host/items/value_format.h"

namespace dx7 {

/// A value of one register or two.
struct RegisterValue {
    /// Register number of its first word, 0 to 65535.
    int number = 0;
    quint32 raw = 0;
};

/// The format that "u16", "f32/low-first" or "s16/scale=0.1/unit=V" names, as an item's text does. Throws
/// UsageError.
ValueFormat wordFormat(const QString& text);

/// The values in the words (two bytes each, high byte first) that begin at register `first`. A word that is
/// left over makes none.
QVector<RegisterValue> registerValues(const ValueFormat& format, int first, const QByteArray& words);

/// As it is shown, with its unit; its number alone (see valueNumber()) is for programs.
QString wordText(const ValueFormat& format, quint32 raw);

}  // namespace dx7

#endif

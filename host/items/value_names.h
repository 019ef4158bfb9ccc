/// \file
/// Names that users give to the numbers of a value, or to its bits. Nothing is kept between calls.
#ifndef DX7_HOST_VALUE_NAMES_H
#define DX7_HOST_VALUE_NAMES_H

#include <QMap>
#include <QStringList>
#include <optional>

namespace dx7 {

/// The names of one value: of its numbers or of its bits, never both.
struct ValueNames {
    /// By the number that is shown without a name, before any scale.
    QMap<qint64, QString> numbers;
    /// From bit 0 on; an empty text is a bit without a name.
    QStringList bits;

    bool any() const { return !numbers.isEmpty() || !bits.isEmpty(); }
};

bool operator==(const ValueNames& a, const ValueNames& b);

/// Gives the number a name. Throws UsageError for a name that is empty, taken, looks like a number, or holds
/// a control character or one of , + =.
void addNumberName(ValueNames& names, qint64 number, const QString& name);
/// Names the next bit, bit 0 first; an empty text leaves it without a name. Throws UsageError as
/// addNumberName() does, for what is shown of bits without a name ("none", "bit9"), and when a value of
/// `bitCount` bits has no more.
void addBitName(ValueNames& names, int bitCount, const QString& name);

/// What is shown of the value: the name of its number, null when it has none; of bits always a text:
/// "ready+running", "none" when none is set, "bit9" for a set bit without a name.
QString nameOf(const ValueNames& names, qint64 number, quint32 raw);

/// The number that a user named as nameOf() shows it; the bits may be in any order. None for a text that is
/// to be read as a number. Throws UsageError, which names what is known, for any other text and for a bit
/// named twice. `what` is what the value is for.
std::optional<qint64> numberNamed(const ValueNames& names, int bitCount, const QString& what,
                                  const QString& text);

}  // namespace dx7

#endif

/// \file
/// How raw items become values that people read and type. Nothing is kept between calls. One thread at a
/// time.
#ifndef DX7_HOST_VALUE_FORMAT_H
#define DX7_HOST_VALUE_FORMAT_H

#include <QStringList>
#include <QVector>

#include "host/driver/register_type.h"
#include "host/items/value_limits.h"
#include "host/items/value_names.h"

namespace dx7 {

/// How a word is shown; Float is a single of IEEE 754 in two words.
enum class Presentation { Unsigned, Signed, Hex, Binary, Float };

/// Format of one value: presentation, width, word order, scale and unit, with the names and limits that a tag
/// gives it.
struct ValueFormat {
    Presentation presentation = Presentation::Unsigned;
    /// Nothing was said of the word: it is shown unsigned, and may be typed signed, too. With a presentation,
    /// scale or unit values to write keep to the range that is shown.
    bool bare = true;
    /// A presentation was asked for.
    bool named = false;
    /// 32 bits in two consecutive words.
    bool wide = false;
    /// Of a wide value.
    bool lowWordFirst = false;
    /// The shown number is the raw number times this.
    double scale = 1;
    /// Of the scale in its shortest decimal form.
    int scaleDecimals = 0;
    QString unit;
    bool scaleGiven = false;
    bool unitGiven = false;
    /// Shown and taken in place of numbers.
    ValueNames names;
    /// What may be written. They do not change what is shown.
    ValueLimits limits;

    /// Items that one value occupies.
    int items() const { return wide ? 2 : 1; }
    bool scaled() const { return scale < 1 || scale > 1; }
    /// Bits of a value of the type.
    int bits(const RegisterType& type) const { return wide ? 32 : type.bit ? 1 : 8 * type.itemBytes(); }
};

/// Whether both show the same text for the same items.
bool operator==(const ValueFormat& a, const ValueFormat& b);

/// Whether the text holds what moves a terminal's cursor, or worse, instead of being shown.
bool hasControlCharacter(const QString& text);

/// Applies one option as it follows a "/" in an item text: unsigned, signed, hex, binary, u16, s16,
/// u32, s32, f32, hex32, low-first, scale=NUMBER, unit=TEXT. Throws UsageError for any other, with the
/// nearest name, and for one that says again what was said.
void applyFormatOption(ValueFormat& format, const QString& option);

/// The options, each by its first name; what takes a value ends with "=".
QStringList formatWords();

/// The format that the options of an item text or of a file's key make together.
ValueFormat formatFromOptions(const QStringList& options);

/// The options that make the format, as formatFromOptions() takes them, joined by "/"; empty for a bare one.
QString formatText(const ValueFormat& format);

/// The raw number of a value from its items, in address order; `second` counts for a wide value only.
quint32 rawFromItems(const ValueFormat& format, quint16 first, quint16 second);
/// The same of a list of one or two.
quint32 rawFromItems(const ValueFormat& format, const QVector<int>& items);

/// The value as shown, without unit: its name when it has one, else its number.
QString valueText(const ValueFormat& format, const RegisterType& type, quint32 raw);
/// The same, with a space and the unit when there is one and a number is shown.
QString valueWithUnit(const ValueFormat& format, const RegisterType& type, quint32 raw);
/// A space and the unit, as they follow a number; empty without one.
QString spacedUnit(const ValueFormat& format);
/// The number itself: signed and scaled as the format says; a decimal fraction, so that it is the number that
/// the text shows where that is none of names. NaN or infinite when an f32 is.
double valueNumber(const ValueFormat& format, quint32 raw);

/// The items (one or two, in address order) of a value that a user typed: a sign, and ASCII digits that are
/// decimal or follow 0x or 0b; with a scale and for f32 a decimalFraction(); a name where there are names;
/// "on" and "off" for bits without names. An f32 becomes the single that is nearest to it. Throws UsageError
/// when the text is anything else, blanks among them, or the value is out of the range that is shown: signed
/// for signed and s32, else from 0 on; both together for a word without format, scale, unit, limits and
/// names; or when the limits of the format do not allow it.
QVector<int> itemsFromText(const ValueFormat& format, const RegisterType& type, const QString& text);

/// Throws UsageError when the limits of the format do not allow the raw value.
void checkLimits(const ValueFormat& format, const RegisterType& type, quint32 raw);
/// Set a limit that is given as it is shown. Throw UsageError for a number that the format cannot hold, for a
/// step that is not more than 0, and for limits that allow no value.
void setMin(ValueFormat& format, const RegisterType& type, double shown);
void setMax(ValueFormat& format, const RegisterType& type, double shown);
void setStep(ValueFormat& format, const RegisterType& type, double shown);
/// Names a number of the value, in the range of the format. Throws UsageError as addNumberName() does.
void setNumberName(ValueFormat& format, const RegisterType& type, qint64 number, const QString& name);

}  // namespace dx7

#endif

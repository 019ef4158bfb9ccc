/// \file
/// The text of a number in its format: scaled, with the decimals of its scale, or as a binary fraction.
/// Nothing is kept between calls.
///
/// A raw number is what the bits of a value are before any scale: a whole number, or of f32 a single.
#ifndef DX7_HOST_NUMBER_FORM_H
#define DX7_HOST_NUMBER_FORM_H

#include "host/items/value_format.h"

namespace dx7 {

/// The first number that is too large for a single.
constexpr double SINGLE_END = 0x1.ffffffp+127;

/// The decimals of a scale in its shortest decimal form: 1 of 0.1, 0 of 10, 7 of 1e-7.
int decimalsOf(double scale);

/// The raw number of a value: of f32 it may be NaN or infinite.
double rawNumber(const ValueFormat& format, quint32 raw);

/// The single whose bits these are, and the reverse.
float singleFromBits(quint32 bits);
quint32 bitsOfSingle(float number);

/// A raw number as it is shown: times the scale, without unit. All numbers of a scale have its decimals where
/// 15 digits hold them; else they have 15 digits at most, as many as a binary fraction holds for certain. A
/// single has as few digits as bring it back; "nan", "inf" and "-inf" are what it also can be.
QString numberText(const ValueFormat& format, double number);
/// The number that numberText() shows.
double shownNumber(const ValueFormat& format, double number);
/// The same number in 15 digits at most, however it is shown.
QString fifteenDigits(double number);

}  // namespace dx7

#endif

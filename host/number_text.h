/// \file
/// Numbers as users type them: in ASCII digits, with a point, whatever the locale; never with blanks. Nothing
/// is kept between calls.
#ifndef DX7_HOST_NUMBER_TEXT_H
#define DX7_HOST_NUMBER_TEXT_H

#include <QString>
#include <optional>

namespace dx7 {

/// The whole number of digits without a sign, a leading zero or anything else; none for any other text, and
/// for one of more than 18 digits.
std::optional<qint64> plainNumber(const QString& text);

/// The number of a decimal fraction: sign, digits with at most one point among them, exponent; of these only
/// a digit is needed. Infinite where it is too large for a binary fraction, and never 0 unless all digits
/// are. None for any other text, "nan" and "inf" among them.
std::optional<double> decimalFraction(const QString& text);

/// What was meant by a text that should be digits: other forms of digits, the letters that look like them,
/// blanks and a plus sign replaced or left out; letters in upper case.
QString foldedDigits(const QString& text);

/// The number in `lowest` to `highest` that the text means, or comes nearest to; none for a text that means
/// no number.
std::optional<qint64> nearestNumber(const QString& text, qint64 lowest, qint64 highest);

/// The number of a text that plainNumber() takes and that is in range. Throws UsageError that names `what`,
/// the text, the range, and the nearest number where there is one.
int numberInRange(const QString& text, const char* what, int lowest, int highest);

}  // namespace dx7

#endif

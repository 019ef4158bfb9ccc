#include "host/items/number_form.h"

#include <QLocale>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

namespace dx7 {

namespace {

// Digits that a binary fraction holds for certain; those after them come from the scale, which is seldom
// exact.
constexpr int CERTAIN_DIGITS = 15;
constexpr int MOST_DIGITS = 17;
// Within these powers of ten a single is shown without exponent.
constexpr int LOWEST_PLAIN = -5;
constexpr int HIGHEST_PLAIN = 14;

// The decimals that all numbers of the format have; none where the largest would need too many digits.
std::optional<int> fixedDecimals(const ValueFormat& format) {
    const double largest = std::fabs(format.scale) * (format.wide ? 0xFFFFFFFF : 0xFFFF);
    const double digits = largest < 1 ? 1 : std::floor(std::log10(largest)) + 1;
    return digits + format.scaleDecimals <= CERTAIN_DIGITS ? std::optional<int>(format.scaleDecimals)
                                                           : std::nullopt;
}

QString scaledText(const ValueFormat& format, double number) {
    // The sum makes a zero of a minus zero.
    const double shown = number * format.scale + 0.0;
    const std::optional<int> decimals = fixedDecimals(format);
    return decimals ? QString::number(shown, 'f', *decimals) : fifteenDigits(shown);
}

// The number in so many digits, without exponent where that is legible.
QString textOfDigits(double number, int digits) {
    const QString scientific = QString::number(number, 'e', digits - 1);
    const int exponent = scientific.section(QLatin1Char('e'), 1).toInt();
    const double rounded = scientific.toDouble();
    return exponent < LOWEST_PLAIN || exponent > HIGHEST_PLAIN
               ? QString::number(rounded, 'g', digits)
               : QString::number(rounded, 'f', std::max(digits - 1 - exponent, 0));
}

// Whether a user who types the text gets the same number.
bool bringsBack(const ValueFormat& format, const QString& text, double number) {
    const double typed = text.toDouble() / format.scale;
    const auto single = static_cast<float>(number);
    return std::fabs(typed) < SINGLE_END && bitsOfSingle(static_cast<float>(typed)) == bitsOfSingle(single);
}

QString singleText(const ValueFormat& format, double number) {
    const double shown = number * format.scale;
    if (std::isnan(shown)) {
        return QStringLiteral("nan");
    }
    if (std::isinf(shown)) {
        return shown < 0 ? QStringLiteral("-inf") : QStringLiteral("inf");
    }
    if (std::fpclassify(shown) == FP_ZERO) {
        return std::signbit(shown) ? QStringLiteral("-0") : QStringLiteral("0");
    }
    // A limit of a tag need not be a single.
    const bool single = !(static_cast<double>(static_cast<float>(number)) < number) &&
                        !(number < static_cast<double>(static_cast<float>(number)));
    if (!single) {
        return fifteenDigits(shown);
    }
    int digits = 1;
    while (digits < MOST_DIGITS && !bringsBack(format, textOfDigits(shown, digits), number)) {
        ++digits;
    }
    return textOfDigits(shown, digits);
}

}  // namespace

int decimalsOf(double scale) {
    const QString shortest = QString::number(scale, 'e', QLocale::FloatingPointShortest);
    const int decimals = shortest.section(QLatin1Char('e'), 0, 0).section(QLatin1Char('.'), 1).size();
    return std::max(decimals - shortest.section(QLatin1Char('e'), 1).toInt(), 0);
}

float singleFromBits(quint32 bits) {
    static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == sizeof(quint32),
                  "a single is a float");
    float number = 0;
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

quint32 bitsOfSingle(float number) {
    quint32 bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return bits;
}

double rawNumber(const ValueFormat& format, quint32 raw) {
    if (format.presentation == Presentation::Float) {
        return static_cast<double>(singleFromBits(raw));
    }
    if (format.presentation != Presentation::Signed) {
        return raw;
    }
    return format.wide ? static_cast<qint32>(raw) : static_cast<qint16>(raw);
}

QString numberText(const ValueFormat& format, double number) {
    if (format.presentation == Presentation::Float) {
        return singleText(format, number);
    }
    return format.scaled() ? scaledText(format, number) : QString::number(static_cast<qint64>(number));
}

double shownNumber(const ValueFormat& format, double number) {
    if (format.presentation == Presentation::Float && !std::isfinite(number)) {
        return number * format.scale;
    }
    const bool whole = !format.scaled() && format.presentation != Presentation::Float;
    return whole ? number : numberText(format, number).toDouble();
}

QString fifteenDigits(double number) {
    return QString::number(number, 'g', CERTAIN_DIGITS);
}

}  // namespace dx7

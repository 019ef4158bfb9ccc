// Values that users type, and what may be written of them.
#include <QLocale>
#include <QRegularExpression>
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <optional>
#include <utility>

#include "host/error.h"
#include "host/items/number_form.h"
#include "host/items/value_format.h"
#include "host/number_text.h"

namespace dx7 {

namespace {

// A step that is nearly whole is whole: limits and typed fractions are seldom exact.
constexpr double STEP_TOLERANCE = 1e-9;

// Raw numbers, both allowed themselves.
struct Limits {
    double lowest;
    double highest;
};

bool isFloat(const ValueFormat& format) {
    return format.presentation == Presentation::Float;
}

// The raw numbers that the format holds and a user may give.
Limits formatLimits(const ValueFormat& format, const RegisterType& type) {
    if (isFloat(format)) {
        return {-static_cast<double>(FLT_MAX), static_cast<double>(FLT_MAX)};
    }
    const double highest = format.wide ? 0xFFFFFFFF : type.highestValue();
    const double lowest = -(highest + 1) / 2;
    if (format.presentation == Presentation::Signed) {
        return {lowest, -lowest - 1};
    }
    // What is shown of a word is from 0 on, and so are limits and names.
    const bool either = format.bare && !type.bit && !format.limits.any() && !format.names.any();
    return {either ? lowest : 0, highest};
}

// Where the steps begin.
double firstStep(const ValueFormat& format) {
    return format.limits.min.value_or(0);
}

// How many steps the raw number is away from the first.
double stepsTo(const ValueFormat& format, double number) {
    const double steps = (number - firstStep(format)) / *format.limits.step;
    const double whole = std::round(steps);
    return std::fabs(steps - whole) <= STEP_TOLERANCE * std::max(1.0, std::fabs(whole)) ? whole : steps;
}

double afterSteps(const ValueFormat& format, double steps) {
    return firstStep(format) + steps * *format.limits.step;
}

// The same with the limits of a tag, whose ends are on a step.
Limits limitsOf(const ValueFormat& format, const RegisterType& type) {
    Limits limits = formatLimits(format, type);
    // A negative scale turns the limits round.
    const bool turned = format.scale < 0;
    limits.lowest = (turned ? format.limits.max : format.limits.min).value_or(limits.lowest);
    limits.highest = (turned ? format.limits.min : format.limits.max).value_or(limits.highest);
    if (!format.limits.step) {
        return limits;
    }
    // The ends of f32 itself are too far away for steps.
    const double end = isFloat(format) ? static_cast<double>(FLT_MAX) : SINGLE_END;
    if (limits.lowest > -end) {
        limits.lowest = afterSteps(format, std::ceil(stepsTo(format, limits.lowest)));
    }
    if (limits.highest < end) {
        limits.highest = afterSteps(format, std::floor(stepsTo(format, limits.highest)));
    }
    return limits;
}

QString limitText(const ValueFormat& format, const RegisterType& type, double limit) {
    const bool pattern =
        format.presentation == Presentation::Hex || format.presentation == Presentation::Binary;
    ValueFormat plain = format;
    plain.names = {};
    return pattern ? valueText(plain, type, static_cast<quint32>(limit)) : numberText(format, limit);
}

// The step in the shown unit, where it is positive whatever the scale.
QString stepText(const ValueFormat& format) {
    ValueFormat positive = format;
    positive.scale = std::fabs(format.scale);
    return numberText(positive, *format.limits.step);
}

[[noreturn]] void refuse(const RegisterType& type, const QString& text, const QString& fault) {
    throw UsageError(QStringLiteral("value %1 for %2 %3").arg(text, type.name, fault));
}

[[noreturn]] void refuseRange(const ValueFormat& format, const RegisterType& type, const QString& text) {
    Limits limits = limitsOf(format, type);
    if (format.scale < 0) {
        std::swap(limits.lowest, limits.highest);
    }
    // A user who chose the format knows what it takes.
    const bool negative = text.startsWith(QLatin1Char('-')) != (format.scale < 0);
    const bool hint = negative && !format.bare && !format.named && !format.limits.any();
    const QString steps =
        format.limits.step ? QStringLiteral(" in steps of %1").arg(stepText(format)) : QString();
    refuse(type, text,
           QStringLiteral("is out of range, it must be %1 to %2%3%4%5")
               .arg(limitText(format, type, limits.lowest), limitText(format, type, limits.highest),
                    spacedUnit(format), steps,
                    hint ? QStringLiteral("; only signed words are less than 0") : QString()));
}

void checkRange(const ValueFormat& format, const RegisterType& type, const QString& text, double number) {
    const Limits limits = limitsOf(format, type);
    // Three steps of 0.3 are not 0.9.
    const double slack = isFloat(format) && format.limits.step ? *format.limits.step * STEP_TOLERANCE : 0;
    // NaN is in no range.
    if (!(number >= limits.lowest - slack && number <= limits.highest + slack)) {
        refuseRange(format, type, text);
    }
}

void checkStep(const ValueFormat& format, const RegisterType& type, const QString& text, double number) {
    if (!format.limits.step) {
        return;
    }
    const double steps = stepsTo(format, number);
    if (std::fabs(steps - std::round(steps)) <= 0) {
        return;
    }
    QString lower = limitText(format, type, afterSteps(format, std::floor(steps)));
    QString upper = limitText(format, type, afterSteps(format, std::ceil(steps)));
    if (format.scale < 0) {
        std::swap(lower, upper);
    }
    const QString from = format.limits.min
                             ? QStringLiteral(" from %1").arg(limitText(format, type, *format.limits.min))
                             : QString();
    refuse(type, text,
           QStringLiteral("is not a multiple of its step %1%2, the nearest are %3 and %4%5")
               .arg(stepText(format), from, lower, upper, spacedUnit(format)));
}

// A decimal number; infinite where it is too large for a binary fraction.
double decimalNumber(const RegisterType& type, const QString& text) {
    const std::optional<double> number = decimalFraction(text);
    if (!number) {
        refuse(type, QStringLiteral("\"%1\"").arg(text), QStringLiteral("is not a number"));
    }
    return *number;
}

void refusePattern(const RegisterType& type, const QString& text, const char* what) {
    const bool sign = text.startsWith(QLatin1Char('-')) || text.startsWith(QLatin1Char('+'));
    const QString base = text.mid(sign ? 1 : 0, 2).toLower();
    if (base == QLatin1String("0x") || base == QLatin1String("0b")) {
        refuse(type, QStringLiteral("\"%1\"").arg(text),
               QStringLiteral("is not decimal, as %1 must be").arg(QLatin1String(what)));
    }
}

// The raw number of which the scaled value is what was typed.
double scaledNumber(const ValueFormat& format, const RegisterType& type, const QString& text) {
    refusePattern(type, text, "a scaled value");
    const double typed = decimalNumber(type, text);
    const double number = typed / format.scale;
    // Far beyond every limit there is nothing to round.
    if (!(std::fabs(number) < 1e15)) {
        refuseRange(format, type, text);
    }
    const double nearest = std::round(number);
    if (numberText(format, nearest) == text ||
        fifteenDigits(nearest * format.scale + 0.0) == fifteenDigits(typed + 0.0)) {
        checkRange(format, type, text, nearest);
        return nearest;
    }
    checkRange(format, type, text, number);
    // Where there are steps, those are the values that are allowed.
    checkStep(format, type, text, number);
    QString lower = numberText(format, std::floor(number));
    QString upper = numberText(format, std::floor(number) + 1);
    if (format.scale < 0) {
        std::swap(lower, upper);
    }
    refuse(type, text,
           QStringLiteral("is not a multiple of its scale %1, the nearest are %2 and %3%4")
               .arg(fifteenDigits(format.scale), lower, upper, spacedUnit(format)));
}

// The typed whole number; the text is decimal, hexadecimal (0x) or binary (0b).
double wholeNumber(const ValueFormat& format, const RegisterType& type, const QString& text) {
    static const QRegularExpression form(QStringLiteral("\\A([+-]?)(?:0x([0-9a-f]+)|0b([01]+)|([0-9]+))\\z"),
                                         QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch()) {
        decimalNumber(type, text);
        refuse(type, text, QStringLiteral("is not a whole number"));
    }
    const int base = match.capturedLength(2) > 0 ? 16 : match.capturedLength(3) > 0 ? 2 : 10;
    bool fits = false;
    const qint64 size = match.captured(match.lastCapturedIndex()).toLongLong(&fits, base);
    const auto number = static_cast<double>(match.captured(1) == QLatin1String("-") ? -size : size);
    if (!fits) {
        refuseRange(format, type, text);
    }
    checkRange(format, type, text, number);
    return number;
}

// The raw number that is a single, or nearest to one, before it is rounded.
double singleNumber(const ValueFormat& format, const RegisterType& type, const QString& text) {
    refusePattern(type, text, "an f32");
    const double typed = decimalNumber(type, text);
    const double number = typed / format.scale;
    if (!(std::fabs(number) < SINGLE_END)) {
        refuseRange(format, type, text);
    }
    const bool vanishes = std::fpclassify(static_cast<float>(number)) == FP_ZERO;
    if (vanishes && std::fpclassify(typed) != FP_ZERO) {
        const double least = std::copysign(static_cast<double>(FLT_TRUE_MIN), number);
        refuse(type, text,
               QStringLiteral("is too near to 0 for an f32, the nearest are 0 and %1%2")
                   .arg(numberText(format, least), spacedUnit(format)));
    }
    // The last one that is shown is a little more than the largest single.
    const auto largest = static_cast<double>(FLT_MAX);
    const double held = std::clamp(number, -largest, largest);
    checkRange(format, type, text, held);
    return held;
}

// The raw number of a text that is to be read as a number, without the check of its step.
double typedNumber(const ValueFormat& format, const RegisterType& type, const QString& text) {
    if (isFloat(format)) {
        return singleNumber(format, type, text);
    }
    return format.scaled() ? scaledNumber(format, type, text) : wholeNumber(format, type, text);
}

// The raw number of a name, or of "on" and "off"; none for a text that is to be read as a number.
std::optional<double> namedNumber(const ValueFormat& format, const RegisterType& type, const QString& text) {
    if (format.names.any()) {
        const std::optional<qint64> named = numberNamed(format.names, format.bits(type), type.name, text);
        return named ? std::optional<double>(static_cast<double>(*named)) : std::nullopt;
    }
    if (!type.bit || (text != QLatin1String("on") && text != QLatin1String("off"))) {
        return std::nullopt;
    }
    const double number = text == QLatin1String("on") ? 1 : 0;
    checkRange(format, type, text, number);
    return number;
}

// A number of a file as a user would type it.
QString textOfLimit(double shown) {
    const bool whole = std::fabs(shown) < 1e15 && std::fabs(shown - std::round(shown)) <= 0;
    return whole ? QString::number(static_cast<qint64>(shown))
                 : QString::number(shown, 'g', QLocale::FloatingPointShortest);
}

// The raw number of a limit as it is shown.
double limitNumber(const ValueFormat& format, const RegisterType& type, double shown) {
    ValueFormat unlimited = format;
    unlimited.limits = {};
    unlimited.bare = false;
    unlimited.named = true;
    return typedNumber(unlimited, type, textOfLimit(shown));
}

void checkThatSomeValueIsLeft(const ValueFormat& format, const RegisterType& type) {
    const ValueLimits& given = format.limits;
    if (given.min && given.max && numberText(format, *given.min) != numberText(format, *given.max) &&
        *given.min * format.scale > *given.max * format.scale) {
        throw UsageError(QStringLiteral("min %1 is more than max %2")
                             .arg(numberText(format, *given.min), numberText(format, *given.max)));
    }
    const Limits limits = limitsOf(format, type);
    if (limits.lowest > limits.highest) {
        throw UsageError(QStringLiteral("step %1 leaves no value in the range").arg(stepText(format)));
    }
}

}  // namespace

QVector<int> itemsFromText(const ValueFormat& format, const RegisterType& type, const QString& text) {
    std::optional<double> number = namedNumber(format, type, text);
    if (!number) {
        number = typedNumber(format, type, text);
        checkStep(format, type, text, *number);
    }
    const quint32 raw = isFloat(format) ? bitsOfSingle(static_cast<float>(*number))
                                        : static_cast<quint32>(static_cast<qint64>(*number));
    if (!format.wide) {
        return {static_cast<int>(raw & 0xFFFF)};
    }
    const int high = static_cast<int>(raw >> 16);
    const int low = static_cast<int>(raw & 0xFFFF);
    return format.lowWordFirst ? QVector<int>{low, high} : QVector<int>{high, low};
}

void checkLimits(const ValueFormat& format, const RegisterType& type, quint32 raw) {
    if (format.limits.any()) {
        const QString text = valueText(format, type, raw);
        // As it is shown: the single that is nearest to 0.1 is a little more.
        const double shown = shownNumber(format, rawNumber(format, raw));
        const double number = isFloat(format) ? shown / format.scale : rawNumber(format, raw);
        checkRange(format, type, text, number);
        checkStep(format, type, text, number);
    }
}

void setMin(ValueFormat& format, const RegisterType& type, double shown) {
    format.limits.min = limitNumber(format, type, shown);
    checkThatSomeValueIsLeft(format, type);
}

void setMax(ValueFormat& format, const RegisterType& type, double shown) {
    format.limits.max = limitNumber(format, type, shown);
    checkThatSomeValueIsLeft(format, type);
}

void setStep(ValueFormat& format, const RegisterType& type, double shown) {
    if (!(shown > 0)) {
        throw UsageError(QStringLiteral("step %1 is not more than 0").arg(textOfLimit(shown)));
    }
    // As a number by itself, whatever the sign of the scale.
    ValueFormat positive = format;
    positive.scale = std::fabs(format.scale);
    positive.presentation = isFloat(format) ? Presentation::Float : Presentation::Unsigned;
    format.limits.step = limitNumber(positive, type, shown);
    checkThatSomeValueIsLeft(format, type);
}

void setNumberName(ValueFormat& format, const RegisterType& type, qint64 number, const QString& name) {
    ValueFormat shown = format;
    shown.bare = false;
    const Limits limits = formatLimits(shown, type);
    const auto value = static_cast<double>(number);
    if (value < limits.lowest || value > limits.highest) {
        throw UsageError(QStringLiteral("number %1 of name \"%2\" is out of range, it must be %3 to %4")
                             .arg(QString::number(number), name, numberText(format, limits.lowest),
                                  numberText(format, limits.highest)));
    }
    addNumberName(format.names, number, name);
}

}  // namespace dx7

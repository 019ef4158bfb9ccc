#include "host/number_text.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/error.h"

namespace dx7 {

namespace {

constexpr int MOST_PLAIN_DIGITS = 18;
constexpr int LONGEST_FOLDED = 64;

bool isDigit(QChar character) {
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

// The digit that a letter is easily mistaken for; the letter itself when there is none.
QChar lookAlike(QChar letter) {
    switch (letter.unicode()) {
        case 'O':
        case 'o':
            return QLatin1Char('0');
        case 'I':
        case 'i':
        case 'l':
        case '|':
            return QLatin1Char('1');
        case 'S':
        case 's':
            return QLatin1Char('5');
        default:
            return letter.toUpper();
    }
}

// The first place from `at` on that does not hold a digit.
int afterDigits(const QString& text, int at) {
    return static_cast<int>(std::find_if_not(text.begin() + at, text.end(), isDigit) - text.begin());
}

// The place after a sign at `at`; `at` itself when there is none.
int afterSign(const QString& text, int at) {
    const bool sign =
        at < text.size() && (text.at(at) == QLatin1Char('+') || text.at(at) == QLatin1Char('-'));
    return at + (sign ? 1 : 0);
}

}  // namespace

std::optional<qint64> plainNumber(const QString& text) {
    const bool digits = !text.isEmpty() && std::all_of(text.begin(), text.end(), isDigit);
    if (!digits || text.size() > MOST_PLAIN_DIGITS || (text.size() > 1 && text.at(0) == QLatin1Char('0'))) {
        return std::nullopt;
    }
    return text.toLongLong();
}

std::optional<double> decimalFraction(const QString& text) {
    const int start = afterSign(text, 0);
    int end = afterDigits(text, start);
    int digits = end - start;
    if (text.mid(end, 1) == QLatin1String(".")) {
        const int fraction = end + 1;
        end = afterDigits(text, fraction);
        digits += end - fraction;
    }
    const int mantissaEnd = end;
    if (end < text.size() && text.at(end).toLower() == QLatin1Char('e')) {
        const int exponent = afterSign(text, end + 1);
        end = afterDigits(text, exponent);
        digits = end > exponent ? digits : 0;
    }
    if (digits == 0 || end < text.size()) {
        return std::nullopt;
    }
    const double number = text.toDouble();
    const bool zero = std::all_of(text.begin() + start, text.begin() + mantissaEnd, [](QChar digit) {
        return digit == QLatin1Char('0') || digit == QLatin1Char('.');
    });
    if (std::fpclassify(number) == FP_ZERO && !zero) {
        return std::copysign(std::numeric_limits<double>::denorm_min(), number);
    }
    return number;
}

QString foldedDigits(const QString& text) {
    QString folded;
    for (const QChar character : text.left(LONGEST_FOLDED).normalized(QString::NormalizationForm_KC)) {
        if (character.isSpace() || character == QLatin1Char('+')) {
            continue;
        }
        const int digit = character.digitValue();
        folded += digit >= 0 ? QChar(QLatin1Char(static_cast<char>('0' + digit))) : lookAlike(character);
    }
    return folded;
}

std::optional<qint64> nearestNumber(const QString& text, qint64 lowest, qint64 highest) {
    QString digits = foldedDigits(text);
    const bool negative = digits.startsWith(QLatin1Char('-'));
    digits.remove(0, negative ? 1 : 0);
    if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), isDigit)) {
        return std::nullopt;
    }
    bool fits = false;
    const qint64 size = digits.toLongLong(&fits);
    const qint64 number = negative ? lowest : fits ? size : highest;
    return std::clamp(number, lowest, highest);
}

int numberInRange(const QString& text, const char* what, int lowest, int highest) {
    const std::optional<qint64> number = plainNumber(text);
    if (number && *number >= lowest && *number <= highest) {
        return static_cast<int>(*number);
    }
    const std::optional<qint64> nearest = nearestNumber(text, lowest, highest);
    throw UsageError(QStringLiteral("%1 \"%2\" is not a plain number from %3 to %4%5")
                         .arg(QLatin1String(what), text, QString::number(lowest), QString::number(highest),
                              nearest ? QStringLiteral(", the nearest is \"%1\"").arg(*nearest) : QString()));
}

}  // namespace dx7

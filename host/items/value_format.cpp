#include "host/items/value_format.h"

#include <QLocale>
#include <QRegularExpression>
#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "host/error.h"
#include "host/number_text.h"

namespace dx7 {

namespace {

struct NamedFormat {
    const char* name;
    Presentation presentation;
    bool wide;
};

constexpr NamedFormat NAMED_FORMATS[] = {
    {"unsigned", Presentation::Unsigned, false}, {"u16", Presentation::Unsigned, false},
    {"signed", Presentation::Signed, false},     {"s16", Presentation::Signed, false},
    {"hex", Presentation::Hex, false},           {"binary", Presentation::Binary, false},
    {"u32", Presentation::Unsigned, true},       {"s32", Presentation::Signed, true},
    {"hex32", Presentation::Hex, true},
};

double scaleFromText(const QString& text) {
    const std::optional<double> scale = decimalFraction(text);
    if (!scale || std::fpclassify(*scale) == FP_ZERO) {
        throw UsageError(QStringLiteral("scale \"%1\" is not a number other than 0").arg(text));
    }
    // A number below the normal ones has too few digits to tell values apart.
    if (!std::isnormal(*scale)) {
        throw UsageError(QStringLiteral("scale \"%1\" is too small or too large").arg(text));
    }
    return *scale;
}

qint64 signedNumber(const ValueFormat& format, quint32 raw) {
    if (format.presentation != Presentation::Signed) {
        return raw;
    }
    return format.wide ? static_cast<qint32>(raw) : static_cast<qint16>(raw);
}

// What the raw number is in the scaled unit. A binary fraction holds 15 decimal digits for certain; those
// after them come from the scale, which is seldom exact, and are left out.
QString scaledText(const ValueFormat& format, qint64 number) {
    // The sum makes a zero of a minus zero.
    return QString::number(static_cast<double>(number) * format.scale + 0.0, 'g', 15);
}

struct Limits {
    qint64 lowest;
    qint64 highest;
};

// The raw numbers that a user may give.
Limits limitsOf(const ValueFormat& format, const RegisterType& type) {
    const qint64 highest = format.wide ? 0xFFFFFFFFLL : type.highestValue();
    const qint64 lowest = -(highest + 1) / 2;
    if (format.presentation == Presentation::Signed) {
        return {lowest, -(lowest + 1)};
    }
    return {format.bare && !type.bit ? lowest : 0, highest};
}

QString limitText(const ValueFormat& format, const RegisterType& type, qint64 limit) {
    if (format.scaled()) {
        return scaledText(format, limit);
    }
    const bool pattern =
        format.presentation == Presentation::Hex || format.presentation == Presentation::Binary;
    return pattern ? valueText(format, type, static_cast<quint32>(limit)) : QString::number(limit);
}

// The unit as it follows a number.
QString unitText(const ValueFormat& format) {
    return format.unit.isEmpty() ? QString() : QLatin1Char(' ') + format.unit;
}

[[noreturn]] void refuse(const RegisterType& type, const QString& text, const QString& fault) {
    throw UsageError(QStringLiteral("value %1 for %2 %3").arg(text, type.name, fault));
}

[[noreturn]] void refuseRange(const ValueFormat& format, const RegisterType& type, const QString& text) {
    Limits limits = limitsOf(format, type);
    // A negative scale turns the limits round.
    if (format.scale < 0) {
        std::swap(limits.lowest, limits.highest);
    }
    // A user who chose the format knows what it takes.
    const bool negative = text.startsWith(QLatin1Char('-')) != (format.scale < 0);
    const bool hint = negative && !format.bare && !format.named;
    refuse(
        type, text,
        QStringLiteral("is out of range, it must be %1 to %2%3%4")
            .arg(limitText(format, type, limits.lowest), limitText(format, type, limits.highest),
                 unitText(format), hint ? QStringLiteral("; only signed words are less than 0") : QString()));
}

void checkRange(const ValueFormat& format, const RegisterType& type, const QString& text, double number) {
    const Limits limits = limitsOf(format, type);
    if (number < static_cast<double>(limits.lowest) || number > static_cast<double>(limits.highest)) {
        refuseRange(format, type, text);
    }
}

// A decimal number; infinite where it is too large for a binary fraction.
double decimalNumber(const RegisterType& type, const QString& text) {
    const std::optional<double> number = decimalFraction(text);
    if (!number) {
        refuse(type, QStringLiteral("\"%1\"").arg(text), QStringLiteral("is not a number"));
    }
    return *number;
}

// The raw number of which the scaled value is what was typed.
qint64 scaledNumber(const ValueFormat& format, const RegisterType& type, const QString& text) {
    const bool sign = text.startsWith(QLatin1Char('-')) || text.startsWith(QLatin1Char('+'));
    const QString base = text.mid(sign ? 1 : 0, 2).toLower();
    if (base == QLatin1String("0x") || base == QLatin1String("0b")) {
        refuse(type, QStringLiteral("\"%1\"").arg(text),
               QStringLiteral("is not decimal, as a scaled value must be"));
    }
    const double typed = decimalNumber(type, text);
    const double number = typed / format.scale;
    // Far beyond every limit there is nothing to round.
    if (!(std::fabs(number) < 1e15)) {
        refuseRange(format, type, text);
    }
    const qint64 nearest = std::llround(number);
    const QString shown = scaledText(format, nearest);
    if (shown == text || shown == QString::number(typed + 0.0, 'g', 15)) {
        checkRange(format, type, text, static_cast<double>(nearest));
        return nearest;
    }
    checkRange(format, type, text, number);
    const auto below = static_cast<qint64>(std::floor(number));
    QString lower = scaledText(format, below);
    QString upper = scaledText(format, below + 1);
    if (format.scale < 0) {
        std::swap(lower, upper);
    }
    refuse(type, text,
           QStringLiteral("is not a multiple of its scale %1, the nearest are %2 and %3%4")
               .arg(QString::number(format.scale, 'g', 15), lower, upper, unitText(format)));
}

// The typed whole number; the text is decimal, hexadecimal (0x) or binary (0b).
qint64 wholeNumber(const ValueFormat& format, const RegisterType& type, const QString& text) {
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
    const qint64 number = match.captured(1) == QLatin1String("-") ? -size : size;
    if (!fits) {
        refuseRange(format, type, text);
    }
    checkRange(format, type, text, static_cast<double>(number));
    return number;
}

}  // namespace

bool operator==(const ValueFormat& a, const ValueFormat& b) {
    const bool sameScale = !(a.scale < b.scale) && !(b.scale < a.scale);
    return a.presentation == b.presentation && a.wide == b.wide && a.lowWordFirst == b.lowWordFirst &&
           sameScale && a.unit == b.unit;
}

bool hasControlCharacter(const QString& text) {
    return std::any_of(text.begin(), text.end(),
                       [](QChar character) { return character.category() == QChar::Other_Control; });
}

void applyFormatOption(ValueFormat& format, const QString& option) {
    format.bare = false;
    const auto refuseSecond = [&option](bool given, const char* what) {
        if (given) {
            throw UsageError(
                QStringLiteral("\"%1\" is a second %2, a format has one").arg(option, QLatin1String(what)));
        }
    };
    for (const NamedFormat& named : NAMED_FORMATS) {
        if (option == QLatin1String(named.name)) {
            refuseSecond(format.named, "presentation");
            format.presentation = named.presentation;
            format.named = true;
            format.wide = named.wide;
            return;
        }
    }
    if (option == QLatin1String("low-first")) {
        refuseSecond(format.lowWordFirst, "word order");
        format.lowWordFirst = true;
    } else if (option.startsWith(QLatin1String("scale="))) {
        refuseSecond(format.scaleGiven, "scale");
        format.scale = scaleFromText(option.mid(6));
        format.scaleGiven = true;
    } else if (option.startsWith(QLatin1String("unit="))) {
        if (hasControlCharacter(option)) {
            throw UsageError(QStringLiteral("the unit holds a control character"));
        }
        refuseSecond(format.unitGiven, "unit");
        format.unit = option.mid(5);
        format.unitGiven = true;
    } else {
        throw UsageError(
            QStringLiteral("format \"%1\" is unknown, use unsigned, signed, hex, binary, u32, s32, hex32, "
                           "low-first, scale=NUMBER or unit=TEXT")
                .arg(option));
    }
}

ValueFormat formatFromOptions(const QStringList& options) {
    ValueFormat format;
    bool afterUnit = false;
    for (const QString& option : options) {
        try {
            applyFormatOption(format, option);
        } catch (const UsageError& error) {
            if (!afterUnit) {
                throw;
            }
            throw UsageError(error.text() +
                             QStringLiteral("; a unit with a \"/\" can only be a tag's, by the key "
                                            "unit of a file"));
        }
        afterUnit = option.startsWith(QLatin1String("unit="));
    }
    return format;
}

QString formatText(const ValueFormat& format) {
    QStringList options;
    for (const NamedFormat& named : NAMED_FORMATS) {
        if (format.named && options.isEmpty() && named.presentation == format.presentation &&
            named.wide == format.wide) {
            options += QLatin1String(named.name);
        }
    }
    if (format.lowWordFirst) {
        options += QStringLiteral("low-first");
    }
    if (format.scaleGiven) {
        options += QStringLiteral("scale=%1")
                       .arg(QString::number(format.scale, 'g', QLocale::FloatingPointShortest));
    }
    if (format.unitGiven) {
        options += QStringLiteral("unit=%1").arg(format.unit);
    }
    return options.join(QLatin1Char('/'));
}

quint32 rawFromItems(const ValueFormat& format, quint16 first, quint16 second) {
    if (!format.wide) {
        return first;
    }
    const quint32 high = format.lowWordFirst ? second : first;
    const quint32 low = format.lowWordFirst ? first : second;
    return high << 16 | low;
}

quint32 rawFromItems(const ValueFormat& format, const QVector<int>& items) {
    return rawFromItems(format, static_cast<quint16>(items.value(0)), static_cast<quint16>(items.value(1)));
}

QString valueText(const ValueFormat& format, const RegisterType& type, quint32 raw) {
    if (type.bit) {
        return QString::number(raw);
    }
    const int bytes = format.wide ? 4 : type.itemBytes();
    if (format.presentation == Presentation::Hex) {
        return QStringLiteral("0x%1").arg(raw, bytes * 2, 16, QLatin1Char('0'));
    }
    if (format.presentation == Presentation::Binary) {
        return QStringLiteral("0b%1").arg(raw, bytes * 8, 2, QLatin1Char('0'));
    }
    if (format.scaled()) {
        return scaledText(format, signedNumber(format, raw));
    }
    return QString::number(signedNumber(format, raw));
}

QString valueWithUnit(const ValueFormat& format, const RegisterType& type, quint32 raw) {
    return valueText(format, type, raw) + unitText(format);
}

double valueNumber(const ValueFormat& format, quint32 raw) {
    const qint64 number = signedNumber(format, raw);
    return format.scaled() ? scaledText(format, number).toDouble() : static_cast<double>(number);
}

QVector<int> itemsFromText(const ValueFormat& format, const RegisterType& type, const QString& text) {
    qint64 number = 0;
    if (type.bit && (text == QLatin1String("on") || text == QLatin1String("off"))) {
        number = text == QLatin1String("on") ? 1 : 0;
    } else {
        number = format.scaled() ? scaledNumber(format, type, text) : wholeNumber(format, type, text);
    }
    const auto raw = static_cast<quint32>(number);
    if (!format.wide) {
        return {static_cast<int>(raw & 0xFFFF)};
    }
    const int high = static_cast<int>(raw >> 16);
    const int low = static_cast<int>(raw & 0xFFFF);
    return format.lowWordFirst ? QVector<int>{low, high} : QVector<int>{high, low};
}

}  // namespace dx7

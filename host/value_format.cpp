#include "value_format.h"

#include <cmath>
#include <utility>

#include "error.h"

namespace dx7 {

namespace {

struct NamedFormat {
    const char* name;
    Presentation presentation;
    bool wide;
};

const NamedFormat NAMED_FORMATS[] = {
    {"unsigned", Presentation::Unsigned, false}, {"u16", Presentation::Unsigned, false},
    {"signed", Presentation::Signed, false},     {"s16", Presentation::Signed, false},
    {"hex", Presentation::Hex, false},           {"binary", Presentation::Binary, false},
    {"u32", Presentation::Unsigned, true},       {"s32", Presentation::Signed, true},
    {"hex32", Presentation::Hex, true},
};

double scaleFromText(const QString& text) {
    bool ok = false;
    const double scale = text.toDouble(&ok);
    if (!ok || !std::isfinite(scale) || std::fpclassify(scale) == FP_ZERO) {
        throw UsageError(QStringLiteral("scale \"%1\" is not a number other than 0").arg(text));
    }
    return scale;
}

qint64 signedNumber(const ValueFormat& format, quint32 raw) {
    if (format.presentation != Presentation::Signed) {
        return raw;
    }
    return format.wide ? static_cast<qint32>(raw) : static_cast<qint16>(raw);
}

// The typed number in raw units; the text is decimal, hexadecimal (0x) or binary (0b).
qint64 rawNumber(const ValueFormat& format, const QString& text, bool* ok) {
    if (format.scaled()) {
        const double number = text.toDouble(ok) / format.scale;
        *ok = *ok && std::fabs(number) < 1e15;
        return *ok ? std::llround(number) : 0;
    }
    const bool negative = text.startsWith(QLatin1Char('-'));
    const QString digits = negative ? text.mid(1) : text;
    qint64 number = 0;
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        number = digits.mid(2).toLongLong(ok, 16);
    } else if (digits.startsWith(QLatin1String("0b"), Qt::CaseInsensitive)) {
        number = digits.mid(2).toLongLong(ok, 2);
    } else {
        number = digits.toLongLong(ok, 10);
    }
    *ok = *ok && number >= 0;
    return negative ? -number : number;
}

struct Limits {
    qint64 lowest;
    qint64 highest;
};

// The raw numbers that a user may give.
Limits limitsOf(const ValueFormat& format, const RegisterType& type) {
    const qint64 highest = format.wide ? 0xFFFFFFFFLL : type.highestValue();
    const qint64 lowest = -(highest + 1) / 2;
    if (type.bit || (format.named && format.presentation != Presentation::Signed)) {
        return {0, highest};
    }
    return {lowest, format.named ? -(lowest + 1) : highest};
}

QString limitText(const ValueFormat& format, const RegisterType& type, qint64 limit) {
    if (format.scaled()) {
        // The sum makes a zero of a minus zero.
        return QString::number(static_cast<double>(limit) * format.scale + 0.0, 'g', 10);
    }
    const bool pattern =
        format.presentation == Presentation::Hex || format.presentation == Presentation::Binary;
    return pattern ? valueText(format, type, static_cast<quint32>(limit)) : QString::number(limit);
}

[[noreturn]] void refuseRange(const ValueFormat& format, const RegisterType& type, const QString& text) {
    Limits limits = limitsOf(format, type);
    // A negative scale turns the limits round.
    if (format.scale < 0) {
        std::swap(limits.lowest, limits.highest);
    }
    throw UsageError(QStringLiteral("value %1 for %2 is out of range, it must be %3 to %4%5")
                         .arg(text, type.name, limitText(format, type, limits.lowest),
                              limitText(format, type, limits.highest),
                              format.unit.isEmpty() ? QString() : QLatin1Char(' ') + format.unit));
}

}  // namespace

bool operator==(const ValueFormat& a, const ValueFormat& b) {
    const bool sameScale = !(a.scale < b.scale) && !(b.scale < a.scale);
    return a.presentation == b.presentation && a.wide == b.wide && a.lowWordFirst == b.lowWordFirst &&
           sameScale && a.unit == b.unit;
}

void applyFormatOption(ValueFormat& format, const QString& option) {
    for (const NamedFormat& named : NAMED_FORMATS) {
        if (option == QLatin1String(named.name)) {
            format.presentation = named.presentation;
            format.named = true;
            format.wide = named.wide;
            return;
        }
    }
    if (option == QLatin1String("low-first")) {
        format.lowWordFirst = true;
    } else if (option.startsWith(QLatin1String("scale="))) {
        format.scale = scaleFromText(option.mid(6));
    } else if (option.startsWith(QLatin1String("unit="))) {
        format.unit = option.mid(5);
    } else {
        throw UsageError(
            QStringLiteral("format \"%1\" is unknown, use unsigned, signed, hex, binary, u32, s32, hex32, "
                           "low-first, scale=NUMBER or unit=TEXT")
                .arg(option));
    }
}

quint32 rawFromItems(const ValueFormat& format, const QVector<int>& items) {
    const auto first = static_cast<quint32>(items.value(0));
    if (!format.wide) {
        return first;
    }
    const auto second = static_cast<quint32>(items.value(1));
    return format.lowWordFirst ? (second << 16 | first) : (first << 16 | second);
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
        return QString::number(valueNumber(format, raw), 'g', 10);
    }
    return QString::number(signedNumber(format, raw));
}

QString valueWithUnit(const ValueFormat& format, const RegisterType& type, quint32 raw) {
    const QString text = valueText(format, type, raw);
    return format.unit.isEmpty() ? text : text + QLatin1Char(' ') + format.unit;
}

double valueNumber(const ValueFormat& format, quint32 raw) {
    const auto number = static_cast<double>(signedNumber(format, raw));
    return format.scaled() ? number * format.scale : number;
}

QVector<int> itemsFromText(const ValueFormat& format, const RegisterType& type, const QString& text) {
    bool ok = true;
    qint64 number = 0;
    if (type.bit && (text == QLatin1String("on") || text == QLatin1String("off"))) {
        number = text == QLatin1String("on") ? 1 : 0;
    } else {
        number = rawNumber(format, text, &ok);
    }
    if (!ok) {
        throw UsageError(QStringLiteral("value \"%1\" for %2 is not a number").arg(text, type.name));
    }
    const Limits limits = limitsOf(format, type);
    if (number < limits.lowest || number > limits.highest) {
        refuseRange(format, type, text);
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

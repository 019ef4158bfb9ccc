#include "host/items/value_format.h"

#include <QLocale>
#include <algorithm>
#include <cmath>
#include <optional>

#include "host/error.h"
#include "host/items/address_text.h"
#include "host/items/number_form.h"
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
    {"f32", Presentation::Float, true},          {"hex32", Presentation::Hex, true},
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

// The nearest name of a format to what was typed, as a part of a sentence.
QString nearestFormat(const QString& option) {
    QStringList names{QStringLiteral("low-first")};
    for (const NamedFormat& named : NAMED_FORMATS) {
        names += QLatin1String(named.name);
    }
    const QString nearest = nearestName(names, option);
    return nearest.isNull() ? QString() : QStringLiteral("; the nearest is \"%1\"").arg(nearest);
}

QString nameText(const ValueFormat& format, quint32 raw) {
    return format.names.any() ? nameOf(format.names, static_cast<qint64>(rawNumber(format, raw)), raw)
                              : QString();
}

QString plainText(const ValueFormat& format, const RegisterType& type, quint32 raw) {
    if (type.bit) {
        return QString::number(raw);
    }
    const int bits = format.bits(type);
    if (format.presentation == Presentation::Hex) {
        return QStringLiteral("0x%1").arg(raw, bits / 4, 16, QLatin1Char('0'));
    }
    if (format.presentation == Presentation::Binary) {
        return QStringLiteral("0b%1").arg(raw, bits, 2, QLatin1Char('0'));
    }
    return numberText(format, rawNumber(format, raw));
}

}  // namespace

bool operator==(const ValueFormat& a, const ValueFormat& b) {
    const bool sameScale = !(a.scale < b.scale) && !(b.scale < a.scale);
    return a.presentation == b.presentation && a.wide == b.wide && a.lowWordFirst == b.lowWordFirst &&
           sameScale && a.unit == b.unit && a.names == b.names;
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
        format.scaleDecimals = decimalsOf(format.scale);
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
            QStringLiteral(
                "format \"%1\" is unknown, use unsigned, signed, hex, binary, u32, s32, f32, hex32, "
                "low-first, scale=NUMBER or unit=TEXT%2")
                .arg(option, nearestFormat(option)));
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

QStringList formatWords() {
    QStringList words;
    const NamedFormat* before = nullptr;
    for (const NamedFormat& named : NAMED_FORMATS) {
        // A second name follows the first.
        if (before == nullptr || named.presentation != before->presentation || named.wide != before->wide) {
            words += QLatin1String(named.name);
        }
        before = &named;
    }
    return words +
           QStringList{QStringLiteral("low-first"), QStringLiteral("scale="), QStringLiteral("unit=")};
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
    const QString name = nameText(format, raw);
    return name.isNull() ? plainText(format, type, raw) : name;
}

QString spacedUnit(const ValueFormat& format) {
    return format.unit.isEmpty() ? QString() : QLatin1Char(' ') + format.unit;
}

QString valueWithUnit(const ValueFormat& format, const RegisterType& type, quint32 raw) {
    const QString name = nameText(format, raw);
    return name.isNull() ? plainText(format, type, raw) + spacedUnit(format) : name;
}

double valueNumber(const ValueFormat& format, quint32 raw) {
    return shownNumber(format, rawNumber(format, raw));
}

}  // namespace dx7

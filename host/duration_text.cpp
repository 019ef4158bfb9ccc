#include "host/duration_text.h"

#include <algorithm>
#include <optional>

#include "host/error.h"
#include "host/number_text.h"

namespace dx7 {

namespace {

constexpr double YEAR_US = 365.0 * 24 * 3600 * 1e6;

struct Unit {
    const char* name;
    double us;
};

// One that ends another one's name comes before it.
constexpr Unit UNITS[] = {{"ms", 1e3}, {"min", 60e6}, {"s", 1e6}, {"h", 3600e6}};

std::optional<double> parsed(const QString& text) {
    for (const Unit& unit : UNITS) {
        const QLatin1String name(unit.name);
        if (text.endsWith(name)) {
            const std::optional<double> number = decimalFraction(text.left(text.size() - name.size()));
            return number ? std::optional<double>(*number * unit.us) : std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace

qint64 durationUs(const QString& text, const char* what, qint64 lowestUs) {
    const std::optional<double> us = parsed(text);
    if (!us) {
        throw UsageError(QStringLiteral("%1 is \"%2\", write a number and its unit: 500ms, 1s, 2min or 1h")
                             .arg(QLatin1String(what), text));
    }
    // Written so that "not a number" is refused, too.
    if (!(*us >= static_cast<double>(lowestUs) && *us <= YEAR_US)) {
        throw UsageError(QStringLiteral("%1 is %2, it must be %3 ms to a year")
                             .arg(QLatin1String(what), text)
                             .arg(static_cast<double>(lowestUs) / 1e3));
    }
    return static_cast<qint64>(*us);
}

QString durationText(qint64 us) {
    const qint64 wholeUs = us - us % 1000;
    const auto text = [wholeUs](double unitUs, const char* unit) {
        return QString::number(static_cast<double>(wholeUs) / unitUs, 'g', 15) + QLatin1String(unit);
    };
    constexpr qint64 TENTH_US = 100000;
    constexpr qint64 MINUTE_US = 60000000;
    if (us >= MINUTE_US && us % (MINUTE_US / 10) == 0) {
        return us % (60 * MINUTE_US) == 0 ? text(3600e6, "h") : text(60e6, "min");
    }
    return us >= 1000000 && us % TENTH_US == 0 ? text(1e6, "s") : text(1e3, "ms");
}

qint64 roundedUpUs(qint64 us) {
    qint64 unitUs = 1000;
    while (us > 99 * unitUs) {
        unitUs *= 10;
    }
    return std::max<qint64>((us + unitUs - 1) / unitUs, 1) * unitUs;
}

}  // namespace dx7

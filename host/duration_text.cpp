#include "host/duration_text.h"

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

}  // namespace dx7

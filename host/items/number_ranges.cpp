#include "host/items/number_ranges.h"

#include <QStringList>
#include <set>

#include "host/error.h"
#include "host/number_text.h"

namespace dx7 {

QVector<int> numbersFromText(const QString& text, const char* what, int lowest, int highest) {
    std::set<int> numbers;
    for (const QString& part : text.split(QLatin1Char(','))) {
        const QString first = part.section(QLatin1Char('-'), 0, 0);
        const QString last = part.contains(QLatin1Char('-')) ? part.section(QLatin1Char('-'), 1) : first;
        const std::optional<qint64> from = plainNumber(first);
        const std::optional<qint64> to = plainNumber(last);
        if (!from || !to || *from > *to || *from < lowest || *to > highest) {
            throw UsageError(
                QStringLiteral("%1 \"%2\": write numbers and ranges from %3 to %4, such as %3-%4 or %3,%4")
                    .arg(QLatin1String(what), text, QString::number(lowest), QString::number(highest)));
        }
        for (qint64 number = *from; number <= *to; ++number) {
            numbers.insert(static_cast<int>(number));
        }
    }
    return QVector<int>(numbers.begin(), numbers.end());
}

}  // namespace dx7

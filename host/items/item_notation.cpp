#include "host/items/item_notation.h"

#include <QRegularExpression>
#include <algorithm>
#include <optional>
#include <set>
#include <tuple>

#include "common/modbus_limits.h"
#include "host/error.h"
#include "host/items/address_text.h"
#include "host/number_text.h"

namespace dx7 {

namespace {

constexpr int MOST_VALUES = 1000;
// Of one text, at all its stations.
constexpr int MOST_POINTS_OF_A_TEXT = 10000;

// Removes everything from the last `mark` on and returns what came after it; empty when there is no mark.
std::optional<QString> cutFrom(QString* text, QChar mark) {
    const int at = text->lastIndexOf(mark);
    if (at < 0) {
        return std::nullopt;
    }
    const QString tail = text->mid(at + 1);
    text->truncate(at);
    return tail;
}

QString itemText(const RegisterType& type, const QString& addressText) {
    return type.name + QLatin1Char(':') + addressText;
}

QString rangeText(const RegisterType& type) {
    return QStringLiteral("%1 has %2 to %3").arg(type.name, type.lowest, type.highest);
}

[[noreturn]] void refuseAddress(const RegisterType& type, const QString& addressText) {
    const QString nearest = nearestAddress(type, addressText);
    const QString form = nearest.isNull()
                             ? QStringLiteral("its form is %1").arg(type.format)
                             : QStringLiteral("the nearest is \"%1\"").arg(itemText(type, nearest));
    throw UsageError(QStringLiteral("\"%1\" is not a valid address, %2 (%3)")
                         .arg(itemText(type, addressText), form, rangeText(type)));
}

// What two points have in common that show the same.
auto identity(const Point& point) {
    const ValueFormat& format = point.format;
    return std::make_tuple(point.station, point.type.name, point.address, format.presentation, format.wide,
                           format.lowWordFirst, format.scale, format.unit, format.names.bits,
                           format.names.numbers.keys(), format.names.numbers.values());
}

// As many values as `count` says; `name` takes them. `hint` says how more than one are written.
QStringList valueTexts(const QString& values, int count, const QString& name, const QString& hint) {
    QStringList texts = values.split(QLatin1Char(','));
    if (texts.size() != count) {
        throw UsageError(QStringLiteral("%1 takes %2 value%3, as many as its count, but %4 %5 given%6")
                             .arg(name, QString::number(count), QLatin1String(count == 1 ? "" : "s"),
                                  QString::number(texts.size()),
                                  QLatin1String(texts.size() == 1 ? "is" : "are"), hint));
    }
    return texts;
}

void fill(WriteRequest* request, const QStringList& values) {
    const Point& first = request->first;
    checkWritable(first, values.size());
    for (int i = 0; i < values.size(); ++i) {
        ItemNotation::checkFormat(first.type, first.address + i * first.items(), first.format);
        request->items += itemsFromText(first.format, first.type, values.at(i));
    }
}

// "@1-10", of two texts of digits.
QString nearestRange(const QString& one, const QString& other) {
    const auto station = [](const QString& digits) {
        bool fits = false;
        const int number = digits.toInt(&fits);
        return fits ? qBound(int(dx7common::LOWEST_STATION), number, int(dx7common::HIGHEST_STATION))
                    : int(dx7common::HIGHEST_STATION);
    };
    const auto [first, last] = std::minmax({station(one), station(other)});
    return QStringLiteral("@%1-%2").arg(first).arg(last);
}

}  // namespace

QString Point::notation() const {
    return QStringLiteral("%1:%2@%3").arg(type.name, type.addressText(address)).arg(station);
}

QVector<Point> withoutRepetitions(const QVector<Point>& points) {
    QVector<Point> unique;
    std::set<decltype(identity(Point()))> known;
    for (const Point& point : points) {
        if (known.insert(identity(point)).second) {
            unique += point;
        }
    }
    return unique;
}

// An item text taken apart, its count not yet turned into points.
struct ItemNotation::Parts {
    RegisterType type;
    QString addressText;
    int count = 1;
    bool counted = false;
    int station = 1;
    ValueFormat format;
};

ItemNotation::ItemNotation(const DriverFunctions& functions)
    : functions_(functions), types_(registerTypes(functions)) {}

RegisterType ItemNotation::type(const QString& name) const {
    for (const RegisterType& candidate : types_) {
        if (candidate.name == name) {
            return candidate;
        }
    }
    QStringList names;
    for (const RegisterType& candidate : types_) {
        names += candidate.name;
    }
    const QString nearest = nearestName(names, name);
    throw UsageError(
        QStringLiteral("register type \"%1\" is unknown, the driver has %2%3")
            .arg(name, names.join(QStringLiteral(", ")),
                 nearest.isNull() ? QString() : QStringLiteral("; the nearest is \"%1\"").arg(nearest)));
}

int ItemNotation::address(const RegisterType& type, const QString& addressText, int count, int width) const {
    int address = 0;
    const int result =
        functions_.checkAddrValidity(type.name, addressText, &address, count * width, type.bit ? 0 : 1);
    switch (result) {
        case DX7_ADDRESS_VALID:
            if (type.addressText(address) != addressText) {
                refuseAddress(type, addressText);
            }
            return address;
        case DX7_ADDRESS_OUT_OF_RANGE:
            refuseRange(type, addressText, count, width);
        case DX7_ADDRESS_MALFORMED:
            refuseAddress(type, addressText);
        default:
            throw UsageError(QStringLiteral("the driver refused address %1 of %2 (result %3)")
                                 .arg(addressText, type.name, QString::number(result)));
    }
}

void ItemNotation::refuseRange(const RegisterType& type, const QString& addressText, int count,
                               int width) const {
    QString nearest;
    QString where = QStringLiteral("address %1 of %2 is").arg(addressText, type.name);
    if (count * width == 1) {
        nearest = nearestAddress(type, addressText);
    } else {
        // The first address may be out of range by itself, or not even be one.
        const int fitting = (type.highestAddress + 1 - address(type, addressText, 1, 1)) / width;
        where = QStringLiteral("%1 items from %2 of %3 are")
                    .arg(QString::number(count * width), addressText, type.name);
        nearest = fitting < 1    ? QString()
                  : fitting == 1 ? addressText
                                 : addressText + QStringLiteral(",%1").arg(fitting);
    }
    throw UsageError(QStringLiteral("%1 out of range%2 (%3)")
                         .arg(where,
                              nearest.isNull()
                                  ? QString()
                                  : QStringLiteral(", the nearest is \"%1\"").arg(itemText(type, nearest)),
                              rangeText(type)));
}

QString ItemNotation::driversReading(const QString& text) const {
    const int colon = text.indexOf(QLatin1Char(':'));
    QString typed = text.mid(colon + 1).section(QLatin1Char('/'), 0, 0);
    cutFrom(&typed, QLatin1Char('@'));
    cutFrom(&typed, QLatin1Char(','));
    for (const RegisterType& type : types_) {
        int address = 0;
        if (colon >= 0 && type.name == text.left(colon) &&
            functions_.checkAddrValidity(type.name, typed, &address, 1, type.bit ? 0 : 1) ==
                DX7_ADDRESS_VALID &&
            type.addressText(address) != typed) {
            return itemText(type, type.addressText(address));
        }
    }
    return {};
}

ItemNotation::Parts ItemNotation::split(const QString& text) const {
    Parts parts;
    QStringList options = text.split(QLatin1Char('/'));
    QString head = options.takeFirst();
    parts.format = formatFromOptions(options);
    const std::optional<QString> station = cutFrom(&head, QLatin1Char('@'));
    if (station) {
        parts.station = numberInRange(*station, "station", 0, dx7common::HIGHEST_STATION);
    }
    const int colon = head.indexOf(QLatin1Char(':'));
    if (colon < 0) {
        throw UsageError(
            QStringLiteral(
                "\"%1\" is not an item; write TYPE:ADDRESS[,COUNT][@STATION[-LAST]], for example AI:0,4@1")
                .arg(text));
    }
    parts.type = type(head.left(colon));
    parts.addressText = head.mid(colon + 1);
    if (parts.addressText.count(QLatin1Char(',')) > 1) {
        refuseAddress(parts.type, parts.addressText);
    }
    const std::optional<QString> count = cutFrom(&parts.addressText, QLatin1Char(','));
    if (count) {
        parts.count = numberInRange(*count, "count", 1, MOST_VALUES);
        parts.counted = true;
    }
    return parts;
}

QStringList ItemNotation::perStation(const QString& text) {
    // Formats and values come after it, and may have such signs of their own.
    static const QRegularExpression form(QStringLiteral("\\A([^/=@]*)@([0-9]+)-([0-9]+)(?=[/=]|\\z)"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch()) {
        return {text};
    }
    const std::optional<qint64> first = plainNumber(match.captured(2));
    const std::optional<qint64> last = plainNumber(match.captured(3));
    if (!first || !last || *first < dx7common::LOWEST_STATION || *last > dx7common::HIGHEST_STATION ||
        *first > *last) {
        throw UsageError(
            QStringLiteral("stations %1-%2 are not a range from %3 to %4, the nearest is \"%5\"%6")
                .arg(match.captured(2), match.captured(3))
                .arg(dx7common::LOWEST_STATION)
                .arg(dx7common::HIGHEST_STATION)
                .arg(match.captured(1) + nearestRange(match.captured(2), match.captured(3)),
                     QLatin1String(first == 0 ? "; station 0 is the broadcast address and stands alone"
                                              : "")));
    }
    QStringList texts;
    for (qint64 station = *first; station <= *last; ++station) {
        texts +=
            match.captured(1) + QLatin1Char('@') + QString::number(station) + text.mid(match.capturedEnd());
    }
    return texts;
}

QVector<Point> ItemNotation::points(const QString& text) const {
    QVector<Point> all;
    for (const QString& single : perStation(text)) {
        all += pointsAtStation(single);
        if (all.size() > MOST_POINTS_OF_A_TEXT) {
            throw UsageError(
                QStringLiteral("\"%1\" is more than %2 values, name fewer stations or a smaller count")
                    .arg(text)
                    .arg(MOST_POINTS_OF_A_TEXT));
        }
    }
    return all;
}

QVector<Point> ItemNotation::pointsAtStation(const QString& text) const {
    const Parts parts = split(text);
    if (parts.station == 0) {
        throw UsageError(
            QStringLiteral("\"%1\": station 0 is the broadcast address, no station answers a read")
                .arg(text));
    }
    Point point;
    point.type = parts.type;
    point.station = parts.station;
    point.format = parts.format;
    const int start = address(parts.type, parts.addressText, parts.count, parts.format.items());
    QVector<Point> points;
    for (int i = 0; i < parts.count; ++i) {
        point.address = start + i * point.items();
        checkFormat(point.type, point.address, point.format);
        point.name = point.notation();
        points += point;
    }
    return points;
}

QVector<Point> ItemNotation::points(const QStringList& texts) const {
    QVector<Point> all;
    for (const QString& text : texts) {
        all += points(text);
    }
    return withoutRepetitions(all);
}

WriteRequest ItemNotation::write(const QString& text) const {
    QString head = text;
    const std::optional<QString> typed = cutFrom(&head, QLatin1Char('='));
    if (!typed) {
        throw UsageError(
            QStringLiteral(
                "\"%1\" has no value, write TYPE:ADDRESS[,COUNT][@STATION[-LAST]]=VALUE[,VALUE...]")
                .arg(text));
    }
    const QString& values = *typed;
    const Parts parts = split(head);
    WriteRequest request;
    request.first.type = parts.type;
    request.first.station = parts.station;
    request.first.format = parts.format;
    request.first.address = address(parts.type, parts.addressText, parts.count, parts.format.items());
    request.first.name = request.first.notation();
    request.name = request.first.name;
    if (parts.count > 1) {
        request.name.insert(request.name.lastIndexOf(QLatin1Char('@')),
                            QStringLiteral(",%1").arg(parts.count));
    }
    QString hint;
    if (!parts.counted) {
        const QString item = itemText(parts.type, parts.addressText);
        hint = QStringLiteral("; a run is written with its count: %1,%2%3=%4")
                   .arg(item, QString::number(values.count(QLatin1Char(',')) + 1), head.mid(item.size()),
                        values);
        const bool fraction = parts.format.scaled() && values.count(QLatin1Char(',')) == 1;
        if (fraction) {
            hint = QStringLiteral("; a decimal fraction has a point: %1")
                       .arg(QString(values).replace(QLatin1Char(','), QLatin1Char('.'))) +
                   hint;
        }
    }
    fill(&request, valueTexts(values, parts.count, request.name, hint));
    return request;
}

WriteRequest ItemNotation::writeTag(const QString& tag, const QVector<Point>& points, const QString& values) {
    WriteRequest request;
    request.first = points.first();
    request.name = tag;
    fill(&request, valueTexts(values, points.size(), QStringLiteral("tag \"%1\"").arg(tag),
                              QStringLiteral("; a run is written TYPE:ADDRESS,COUNT=VALUE,VALUE..., such as "
                                             "F:3.0.20,3=500,10,258, or to a tag that has the count")));
    return request;
}

}  // namespace dx7

#include "item_notation.h"

#include <algorithm>

#include "error.h"

namespace dx7 {

namespace {

const int HIGHEST_STATION = 247;
const int HIGHEST_COUNT = 1000;

// Result codes of intf_checkAddrValidity.
enum { ADDRESS_VALID = 0, ADDRESS_OUT_OF_RANGE = 2, ADDRESS_MALFORMED = 4 };

int numberInRange(const QString& text, const char* what, int lowest, int highest) {
    bool ok = false;
    const int number = text.toInt(&ok);
    if (!ok || number < lowest || number > highest) {
        throw UsageError(QStringLiteral("%1 \"%2\" is not a number from %3 to %4")
                             .arg(QLatin1String(what), text)
                             .arg(lowest)
                             .arg(highest));
    }
    return number;
}

// Removes everything from the last `mark` on and returns what stood behind it; a null text when there is no
// mark.
QString cutFrom(QString* text, QChar mark) {
    const int at = text->lastIndexOf(mark);
    if (at < 0) {
        return QString();
    }
    const QString tail = text->mid(at + 1);
    text->truncate(at);
    return tail.isNull() ? QStringLiteral("") : tail;
}

}  // namespace

QString Point::notation() const {
    return QStringLiteral("%1:%2@%3").arg(type.name, type.addressText(address)).arg(station);
}

QVector<Point> withoutRepetitions(const QVector<Point>& points) {
    QVector<Point> unique;
    for (const Point& point : points) {
        const bool repeated = std::any_of(unique.begin(), unique.end(), [&](const Point& other) {
            return other.station == point.station && other.type.name == point.type.name &&
                   other.address == point.address && other.format == point.format;
        });
        if (!repeated) {
            unique += point;
        }
    }
    return unique;
}

/// An item text taken apart, its count not yet turned into points.
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
    QStringList names;
    for (const RegisterType& candidate : types_) {
        if (candidate.name == name) {
            return candidate;
        }
        names += candidate.name;
    }
    throw UsageError(QStringLiteral("register type \"%1\" is unknown, the driver has %2")
                         .arg(name, names.join(QStringLiteral(", "))));
}

int ItemNotation::address(const RegisterType& type, const QString& addressText, int count) const {
    int address = 0;
    const int result =
        functions_.checkAddrValidity(type.name, addressText, &address, count, type.bit ? 0 : 1);
    const QString where = count > 1 ? QStringLiteral("%1 items from %2").arg(count).arg(addressText)
                                    : QStringLiteral("address %1").arg(addressText);
    switch (result) {
        case ADDRESS_VALID:
            return address;
        case ADDRESS_OUT_OF_RANGE:
            throw UsageError(QStringLiteral("%1 of %2 is out of range, it has %3 to %4")
                                 .arg(where, type.name, type.lowest, type.highest));
        case ADDRESS_MALFORMED:
            throw UsageError(QStringLiteral("\"%1\" is no address of %2, its form is %3 (%4 to %5)")
                                 .arg(addressText, type.name, type.format, type.lowest, type.highest));
        default:
            throw UsageError(
                QStringLiteral("the driver refused %1 of %2 (result %3)").arg(where, type.name).arg(result));
    }
}

ItemNotation::Parts ItemNotation::split(const QString& text, int defaultStation) const {
    Parts parts;
    parts.station = defaultStation;
    QStringList options = text.split(QLatin1Char('/'));
    QString head = options.takeFirst();
    parts.format = formatFromOptions(options);
    const QString station = cutFrom(&head, QLatin1Char('@'));
    if (!station.isNull()) {
        parts.station = numberInRange(station, "station", 0, HIGHEST_STATION);
    }
    const int colon = head.indexOf(QLatin1Char(':'));
    if (colon < 0) {
        throw UsageError(
            QStringLiteral("\"%1\" is no item, write TYPE:ADDRESS[,COUNT][@STATION], for example AI:0,4@1")
                .arg(text));
    }
    parts.type = type(head.left(colon));
    parts.addressText = head.mid(colon + 1);
    const QString count = cutFrom(&parts.addressText, QLatin1Char(','));
    if (!count.isNull()) {
        parts.count = numberInRange(count, "count", 1, HIGHEST_COUNT);
        parts.counted = true;
    }
    return parts;
}

QVector<Point> ItemNotation::points(const QString& text, int defaultStation) const {
    const Parts parts = split(text, defaultStation);
    if (parts.station == 0) {
        throw UsageError(
            QStringLiteral("\"%1\": station 0 is the broadcast address, no station answers a read")
                .arg(text));
    }
    Point point;
    point.type = parts.type;
    point.station = parts.station;
    point.format = parts.format;
    const int start = address(parts.type, parts.addressText, parts.count * parts.format.items());
    QVector<Point> points;
    for (int i = 0; i < parts.count; ++i) {
        point.address = start + i * point.items();
        checkFormat(point.type, point.address, point.format);
        point.name = point.notation();
        points += point;
    }
    return points;
}

QVector<Point> ItemNotation::points(const QStringList& texts, int defaultStation) const {
    QVector<Point> all;
    for (const QString& text : texts) {
        all += points(text, defaultStation);
    }
    return withoutRepetitions(all);
}

WriteRequest ItemNotation::write(const QString& text, int defaultStation) const {
    QString head = text;
    const QString values = cutFrom(&head, QLatin1Char('='));
    if (values.isNull()) {
        throw UsageError(
            QStringLiteral("\"%1\" has no value, write TYPE:ADDRESS[@STATION]=VALUE[,VALUE...]").arg(text));
    }
    const Parts parts = split(head, defaultStation);
    if (parts.counted) {
        throw UsageError(QStringLiteral("\"%1\": a write has no count, its values are counted").arg(text));
    }
    Point first;
    first.type = parts.type;
    first.station = parts.station;
    first.format = parts.format;
    return filled(first, parts.addressText, values);
}

WriteRequest ItemNotation::write(const Point& point, const QString& values) const {
    return filled(point, point.type.addressText(point.address), values);
}

WriteRequest ItemNotation::filled(const Point& point, const QString& addressText,
                                  const QString& values) const {
    WriteRequest request;
    request.first = point;
    for (const QString& value : values.split(QLatin1Char(','))) {
        request.items += itemsFromText(point.format, point.type, value);
    }
    checkWritable(point.type, point.station, request.items.size());
    request.first.address = address(point.type, addressText, request.items.size());
    checkFormat(point.type, request.first.address, point.format);
    if (request.first.name.isEmpty()) {
        request.first.name = request.first.notation();
    }
    return request;
}

void ItemNotation::checkWritable(const RegisterType& type, int station, int count) {
    if (!type.writable) {
        throw UsageError(QStringLiteral("%1 is read-only").arg(type.name));
    }
    if (count > HIGHEST_COUNT) {
        throw UsageError(QStringLiteral("%1 values are too many, at most %2").arg(count).arg(HIGHEST_COUNT));
    }
    // The driver awaits a reply to every register write, and no station answers a broadcast.
    if (station == 0 && !type.bit) {
        throw UsageError(QStringLiteral("%1 cannot be broadcast (station 0), only bits can").arg(type.name));
    }
}

void ItemNotation::checkFormat(const RegisterType& type, int address, const ValueFormat& format) {
    if (type.bit && !(format == ValueFormat())) {
        throw UsageError(QStringLiteral("%1 holds bits, which have no format").arg(type.name));
    }
    if (format.scaled() &&
        (format.presentation == Presentation::Hex || format.presentation == Presentation::Binary)) {
        throw UsageError(QStringLiteral("a scale does not go with hex, hex32 or binary"));
    }
    if (!format.wide) {
        if (format.lowWordFirst) {
            throw UsageError(QStringLiteral("low-first needs two words: u32, s32 or hex32"));
        }
        return;
    }
    if (type.itemBytes() != 2) {
        throw UsageError(QStringLiteral("a 32-bit format needs words, %1 has none").arg(type.name));
    }
    if (type.runLength(address, 2) < 2) {
        throw UsageError(
            QStringLiteral("a 32-bit value at %1:%2 would cross from one run of register numbers into the "
                           "next")
                .arg(type.name, type.addressText(address)));
    }
}

}  // namespace dx7

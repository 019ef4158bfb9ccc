/// \file
/// The notation in which users name items: TYPE:ADDRESS[,COUNT][@STATION[-STATION]][/FORMAT...], and for
/// writes the same with =VALUE[,VALUE...], as many values as COUNT says.
///
/// There is one text for each part, the one that is printed: ADDRESS as RegisterType::addressText() gives it,
/// COUNT and STATION as plainNumber() takes them. The driver takes more; what it alone takes is refused.
#ifndef DX7_HOST_ITEM_NOTATION_H
#define DX7_HOST_ITEM_NOTATION_H

#include <QStringList>
#include <QVector>
#include <memory>
#include <optional>

#include "host/driver/register_type.h"
#include "host/items/value_format.h"

namespace dx7 {

class TagRules;

/// The shortest interval of polling, in microseconds.
constexpr qint64 SHORTEST_INTERVAL_US = 1000;

/// One value that is shown: one item, or two for a 32-bit value.
struct Point {
    /// The user's name for it; its notation when it has none.
    QString name;
    RegisterType type;
    int station = 1;
    int address = 0;
    ValueFormat format;
    /// How often it is polled, in microseconds, SHORTEST_INTERVAL_US at least; without it as often as the
    /// line allows.
    std::optional<qint64> intervalUs;
    /// The file by which a tag is read-only; empty when it is not.
    QString readOnlyBy;
    /// Whether a write of it must read back equal (true), or is not read back at all (false). Without it its
    /// type decides.
    std::optional<bool> verify;
    /// Of an item that was not named as a tag: what the tags of the file say of writing it. Null when they
    /// say nothing.
    std::shared_ptr<const TagRules> rules;

    int items() const { return format.items(); }
    /// "F:3.0.25@1".
    QString notation() const;
};

/// The points in order, without those that repeat the item and format of an earlier one.
QVector<Point> withoutRepetitions(const QVector<Point>& points);

/// A write of consecutive values.
struct WriteRequest {
    /// The first item written, with the format of the values.
    Point first;
    /// Raw values, one per item.
    QVector<int> items;
    /// What the user calls them: a tag's name, else their notation, with the count.
    QString name;

    int values() const { return items.size() / first.items(); }
};

/// Throws UsageError when `values` values from `first` on cannot be written: by
/// ItemNotation::checkWritable(), because the tag is read-only, or because the rules of `first` say so.
void checkWritable(const Point& first, int values);
/// The same of a write, with its values: what the limits of the format do not allow itemsFromText() has
/// refused before.
void checkWrite(const WriteRequest& request);

/// Takes item texts apart with the driver's own tables and address checks. All functions throw UsageError
/// with a sentence that names the text and the fault. It calls the driver, so on the thread of its session.
class ItemNotation {
public:
    /// `functions` is borrowed and must outlive the object.
    explicit ItemNotation(const DriverFunctions& functions);

    const QVector<RegisterType>& types() const { return types_; }
    RegisterType type(const QString& name) const;

    /// The texts of the item at each station of one that names a range of them (@1-10), in order; else the
    /// text itself.
    static QStringList perStation(const QString& text);
    /// The points of one item text, COUNT of them at each of its stations; station 1 when the text names
    /// none.
    QVector<Point> points(const QString& text) const;
    /// The points of several texts, in order, without repetitions.
    QVector<Point> points(const QStringList& texts) const;
    WriteRequest write(const QString& text) const;
    /// The write of `values` (VALUE[,VALUE...], one for each) to the points of a tag: consecutive ones of one
    /// format.
    static WriteRequest writeTag(const QString& tag, const QVector<Point>& points, const QString& values);

    /// The start address of `count` values of `width` items: a text that the driver takes, and that is the
    /// addressText() of what it reads.
    int address(const RegisterType& type, const QString& addressText, int count, int width = 1) const;
    /// What the driver itself makes of the address in an item text; empty when it takes it as it is meant, or
    /// not at all.
    QString driversReading(const QString& text) const;

    /// Refuses types that cannot be written, stations to which they cannot, and items beyond the table.
    static void checkWritable(const RegisterType& type, int station, int address, int count);
    /// Refuses a format on bits, options that contradict each other, a scale that makes numbers too large or
    /// too small to show, names with a scale or f32, and a 32-bit value across a step of the register
    /// numbers.
    static void checkFormat(const RegisterType& type, int address, const ValueFormat& format);

private:
    struct Parts;
    Parts split(const QString& text) const;
    QVector<Point> pointsAtStation(const QString& text) const;
    [[noreturn]] void refuseRange(const RegisterType& type, const QString& addressText, int count,
                                  int width) const;

    const DriverFunctions& functions_;
    QVector<RegisterType> types_;
};

}  // namespace dx7

#endif

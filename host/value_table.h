/// \file
/// The watched points and what is known of each.
#ifndef DX7_HOST_VALUE_TABLE_H
#define DX7_HOST_VALUE_TABLE_H

#include <QHash>
#include <QVector>

#include "driver_session.h"
#include "item_notation.h"

namespace dx7 {

enum class Quality {
    Bad,       ///< There is no value, or only the last good one; PointState::fault says why.
    Fresh,     ///< Good, and read for the first time, or again after it was not good.
    Good,      ///< The last read succeeded.
    Doubtful,  ///< It is not known whether the value is that of the device.
    Stale      ///< The last good value, older than it should be.
};

/// "good", "fresh", "doubtful", "stale" or "bad".
QString qualityText(Quality quality);

/// What is known of one point.
struct PointState {
    Quality quality = Quality::Bad;
    QString fault = QStringLiteral("never read");  ///< Why it is not good: "no reply"; empty when it is.
    bool known = false;                            ///< There was a good read.
    quint32 raw = 0;                               ///< The value of the last good read.
    qint64 readUs = 0;                             ///< When that was.
    qint64 changes = 0;                            ///< How often the value differed from the one before it.
    QVector<int> items;                            ///< Raw items; -1 for one not read yet.
};

/// Takes values over from the driver after good reads. A change is a difference from the value taken before,
/// never the driver's report alone, which for bits may come without a change or not at all.
class ValueTable {
public:
    void setPoints(const QVector<Point>& points);

    const QVector<Point>& points() const { return points_; }
    const PointState& state(int index) const { return states_.at(index); }
    int size() const { return points_.size(); }

    /// A read of `range` succeeded at `nowUs`: takes its items over, except those that `skip` covers (the
    /// driver shows a pending write in their place). Returns the points that have a new value, first ones
    /// included, and those that turned good again.
    QVector<int> take(DriverSession& session, const ItemRange& range, const ItemRange* skip, qint64 nowUs);
    /// A read of `range` failed for good, for the reason `fault`. Returns the points that turned bad, were
    /// never read or had no line; a bad point that fails for another reason is not news.
    QVector<int> fail(const ItemRange& range, const QString& fault);
    /// All points of a station are bad, for it is not polled. Returns those that fail() would.
    QVector<int> failStation(int station);
    /// The line was lost: everything is bad, with the fault "no line". Returns the points that this is new
    /// for.
    QVector<int> lineLost();
    /// The line is back: its points wait for their next read, bad, with another fault.
    void lineBack();

private:
    struct Slot {
        int point;
        int item;
    };
    static QString key(int station, const QString& regType, int address);
    bool setItem(const Slot& slot, int value);
    QVector<int> setBad(const QVector<int>& points, const QString& fault);
    QVector<int> pointsIn(const ItemRange& range) const;

    QVector<Point> points_;
    QVector<PointState> states_;
    QHash<QString, QVector<Slot>> slots_;
};

}  // namespace dx7

#endif

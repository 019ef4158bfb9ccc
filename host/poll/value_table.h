/// \file
/// The watched points and what is known of each.
#ifndef DX7_HOST_VALUE_TABLE_H
#define DX7_HOST_VALUE_TABLE_H

#include <QVector>
#include <optional>
#include <vector>

#include "host/driver/driver_session.h"
#include "host/items/item_notation.h"

namespace dx7 {

/// How far a value can be trusted.
enum class Quality {
    /// Never read, refused, or without a line; the fault says which.
    Bad,
    /// Read, and not yet proven to be no other request's.
    Fresh,
    /// Proven.
    Good,
    /// Read, but the reply may be the answer to another request.
    Doubtful,
    /// Was good, and could not be read again when it was due; the fault says why.
    Stale
};

/// "bad", "fresh", "good", "doubtful" or "stale".
QString qualityText(Quality quality);

/// What is known of one point.
struct PointState {
    Quality quality = Quality::Bad;
    /// The value, as rawFromItems() makes it; empty while none is known.
    std::optional<quint32> raw;
    /// When it was read, on the Clock; of no meaning without a value.
    qint64 readUs = 0;
    /// How often a good value differed from the good one before it.
    qint64 changes = 0;
    /// Of Bad, Stale and Doubtful; empty otherwise.
    QString fault;
    /// Since when quality and fault are what they are, on the Clock.
    qint64 sinceUs = 0;
};

/// One reading of a point, or an attempt at it: a good or doubtful value, or bad, without one, and why.
/// `readUs` and `sinceUs` are the time of either.
struct Reading {
    int point = 0;
    PointState state;
};

/// Items of one reply, with the time at which they were read.
struct ReadItems {
    ItemRange range;
    /// The driver shows its items as pending instead; null = none.
    const ItemRange* skip = nullptr;
    /// One for each item of the range; borrowed for the call.
    const quint16* items = nullptr;
    qint64 readUs = 0;
    quint64 ticket = 0;
};

/// Takes values over as they come (fresh) and again when they are settled (good or doubtful). state() is what
/// is known now; told() is what programs that must not show an unproven value get.
///
/// It owns copies of the points; what arrive() and settle() are given is borrowed for the call. A point is
/// known by its index in setPoints(), 0 to size() - 1, which is not checked. One thread at a time.
class ValueTable {
public:
    /// Watches these points from now on, all never read, in place of those before.
    void setPoints(const QVector<Point>& points, qint64 nowUs);

    const QVector<Point>& points() const { return points_; }
    /// The latest value, proven or not.
    const PointState& state(int index) const { return entry(index).state; }
    /// What was settled last.
    const PointState& told(int index) const { return entry(index).told; }
    int size() const { return points_.size(); }

    /// The items were read. Appends the points that have a new value to `*changed`.
    void arrive(const ReadItems& read, std::vector<int>* changed);
    /// The items that arrive() took are good, or doubtful. Appends the points whose told() changed.
    void settle(const ReadItems& read, bool good, std::vector<int>* changed);
    /// Appends what the items, settled as good or doubtful, say of each point of which all items have been
    /// settled since it was here last: every reading once, whatever came after it. A point that the driver
    /// shows as pending is bad. To be called after settle().
    void addReadings(const ReadItems& read, bool good, std::vector<Reading>* readings);
    /// Of each point in `range`, an attempt that brought nothing and ended at `nowUs`, with the fault of
    /// told().
    std::vector<Reading> attempts(const ItemRange& range, qint64 nowUs) const;
    /// Of one point.
    Reading attempt(int point, qint64 nowUs) const;
    /// A read of `range` failed for good: what was good is stale, or bad when the station `refused` it.
    /// Returns the points whose told() changed.
    QVector<int> fail(const ItemRange& range, const QString& fault, bool refused, qint64 nowUs);
    /// The same of all points of a station.
    QVector<int> failStation(int station, const QString& fault, qint64 nowUs);
    /// The line was lost. Returns the points whose told() changed.
    QVector<int> lineLost(qint64 nowUs);
    /// The line is back: what was good is stale until it is read again.
    void lineBack(qint64 nowUs);

private:
    using Items = std::vector<std::optional<quint16>>;

    struct Entry {
        PointState state;
        PointState told;
        /// What told is to become; kept for its memory.
        PointState settled;
        /// The last good value; empty when there was none.
        std::optional<quint32> proven;
        /// The last read failed, and the quality of a value that was good before that.
        std::optional<Quality> failed;
        /// Of the latest read.
        quint64 ticket = 0;
        /// Raw items as they came; empty for one not read yet.
        Items items;
        /// Likewise the settled ones.
        Items goodItems;
        /// Those of the next reading: settled as good, or as they came, and doubtful then.
        Items readItems;
        bool readDoubtful = false;

        /// The point is this one item, which is known and told as good with this value: the usual case, for
        /// which nothing need be worked out again.
        bool provenAs(quint16 value) const {
            return goodItems.size() == 1 && goodItems.front() == value && state.quality == Quality::Good &&
                   told.quality == Quality::Good && state.raw == told.raw && state.changes == told.changes;
        }
    };
    /// A raw item of a point, in the order of station, type and address.
    struct Place {
        int station = 0;
        /// Index in typeNames_.
        int type = 0;
        int address = 0;
        int point = 0;
        int item = 0;
    };
    struct Places {
        const Place* first;
        const Place* last;
        const Place* begin() const { return first; }
        const Place* end() const { return last; }
    };
    const Entry& entry(int index) const { return entries_[static_cast<std::size_t>(index)]; }
    Entry& entry(int index) { return entries_[static_cast<std::size_t>(index)]; }
    Places placesIn(const ItemRange& range) const;
    template <typename Take>
    void takeItems(const ReadItems& read, std::vector<int>* changed, const Take& take);
    static bool arriveItem(Entry& known, const Point& point, int item, quint16 value, const ReadItems& read);
    int typeIndex(const QString& name) const;
    static bool tell(Entry& known, const PointState& state, qint64 nowUs);
    static bool hasValue(Entry& known, const Point& point, int item, quint16 value, bool good);
    static bool settleItem(Entry& known, const Point& point, int item, quint16 value, bool good,
                           const ReadItems& read);
    /// What befell points, and when.
    struct Failure {
        QString fault;
        /// The quality of a point that was good before.
        Quality known = Quality::Bad;
        qint64 nowUs = 0;
    };
    QVector<int> failPoints(const QVector<int>& points, const Failure& failure);
    QVector<int> pointsIn(const ItemRange& range) const;

    QVector<Point> points_;
    std::vector<Entry> entries_;
    std::vector<QString> typeNames_;
    std::vector<Place> places_;
};

}  // namespace dx7

#endif

/// \file
/// The values of the points that are watched, and the telling of what becomes of them.
#ifndef DX7_HOST_VALUE_REPORTS_H
#define DX7_HOST_VALUE_REPORTS_H

#include <vector>

#include "host/poll/engine_events.h"
#include "host/poll/held_reads.h"

namespace dx7 {

/// Calls EngineEvents::value, fresh and reading from within its own functions. One thread at a time; times
/// are microseconds on one clock.
class ValueReports {
public:
    /// The events are borrowed; they may change between calls.
    explicit ValueReports(const EngineEvents& events) : events_(events) {}

    void watch(const QVector<Point>& points, qint64 nowUs) { table_.setPoints(points, nowUs); }
    const ValueTable& table() const { return table_; }

    /// The items of `range`, `itemBytes` each in the driver's buffers, were read. `writing` (or null) is the
    /// range of the write under way. `ticket` is 0 without one.
    void arrived(DriverSession& session, const ItemRange& range, int itemBytes, const ItemRange* writing,
                 qint64 readUs, quint64 ticket);
    /// Of the read that arrived last; to be called before settle().
    QVector<int> lastItems() const { return heldReads_.lastItems(); }
    /// The read with this ticket, if there is one, is proven, or doubtful.
    void settle(quint64 ticket, bool good);
    /// A read of the range failed.
    void fail(const ItemRange& range, const QString& fault, bool refused, qint64 nowUs);
    void failStation(int station, const QString& fault, qint64 nowUs);
    /// Entries of items with an interval were due and were not read.
    void unread(const QVector<ItemRange>& entries, qint64 nowUs) const;
    /// A silent station was asked and did not answer: an attempt of each of its items without an interval.
    void silent(int station, qint64 nowUs) const;
    void lineLost(qint64 nowUs);
    void lineBack(qint64 nowUs) { table_.lineBack(nowUs); }

private:
    template <typename Points>
    static void report(const Points& points, const std::function<void(int point)>& event);
    void report(const std::vector<Reading>& readings) const;

    const EngineEvents& events_;
    ValueTable table_;
    HeldReads heldReads_;
    /// Kept for its memory.
    std::vector<int> changed_;
    std::vector<Reading> readings_;
};

}  // namespace dx7

#endif

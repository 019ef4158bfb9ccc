/// \file
/// Reading points once, outside of any polling plan.
#ifndef DX7_HOST_ONE_SHOT_READ_H
#define DX7_HOST_ONE_SHOT_READ_H

#include "poll_engine.h"

namespace dx7 {

/// Queues the reads of a set of points with an engine and collects what they bring. The engine must run until
/// its operations have ended, or drop them, while this object lives.
class OneShotRead {
public:
    OneShotRead(DriverSession& session, PollEngine& engine, Clock& clock)
        : session_(session), engine_(engine), clock_(clock) {}

    /// Queues the reads, neighbouring points in one request where possible.
    void queue(const QVector<Point>& points);

    /// Quality::Good for every point that was read.
    const ValueTable& table() const { return table_; }
    /// Why the point could not be read; empty when it was read, or not tried.
    QString fault(int point) const { return faults_.value(point); }
    /// Whether the host ended the read of the point before its end.
    bool cutShort(int point) const { return cutShort_.contains(point); }
    bool allGood() const;

private:
    void ended(const Transaction& transaction);

    DriverSession& session_;
    PollEngine& engine_;
    Clock& clock_;
    ValueTable table_;
    QMap<int, QString> faults_;
    QSet<int> cutShort_;
};

}  // namespace dx7

#endif

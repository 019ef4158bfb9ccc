/// \file
/// Reading points once, outside of any polling plan.
#ifndef DX7_HOST_ONE_SHOT_READ_H
#define DX7_HOST_ONE_SHOT_READ_H

#include <QMap>
#include <QSet>

#include "host/poll/poll_engine.h"

namespace dx7 {

/// Queues the reads of a set of points with an engine and collects what they bring. What turns out doubtful
/// is read again, three times in all. The engine must run until its operations have ended, or drop them,
/// while this object lives. Points are known by their index in queue(). On the thread of the engine.
class OneShotRead {
public:
    /// `engine` is borrowed.
    explicit OneShotRead(PollEngine& engine) : engine_(engine) {}

    /// Queues the reads, neighbouring points in one request where possible.
    void queue(const QVector<Point>& points);

    /// Quality::Good for every point that was read and proven.
    const ValueTable& table() const { return table_; }
    /// Why the point could not be read, or is doubtful; empty when it was read, or not tried.
    QString fault(int point) const { return faults_.value(point); }
    /// Whether the station refused to read it, for certain.
    bool refused(int point) const { return refused_.contains(point); }
    /// Whether it was read, or refused, and what came turned out doubtful each time.
    bool unproven(int point) const { return unproven_.contains(point); }
    /// Whether the host ended the read of the point before its end.
    bool cutShort(int point) const { return cutShort_.contains(point); }
    bool allGood() const;

private:
    void ask(const RegisterType& type, const ItemRange& range, int attempts);
    void ended(const RegisterType& type, const Transaction& transaction, int attempts);
    void take(const ItemRange& range, const Transaction& transaction);
    void fail(const ItemRange& range, const Transaction& transaction);

    PollEngine& engine_;
    ValueTable table_;
    QMap<int, QString> faults_;
    QSet<int> refused_;
    QSet<int> cutShort_;
    QSet<int> unproven_;
};

}  // namespace dx7

#endif

/// \file
/// A running line: the polling plan, the values it brings, one-off reads and writes, and stations that come
/// and go.
#ifndef DX7_HOST_POLL_ENGINE_H
#define DX7_HOST_POLL_ENGINE_H

#include <deque>
#include <functional>

#include "comm_loop.h"
#include "poll_plan.h"
#include "station_health.h"
#include "statistics.h"
#include "value_table.h"

namespace dx7 {

/// A one-off read or write of a range that is one request.
struct Operation {
    enum Kind { Read, Write, Probe };
    Kind kind = Read;
    ItemRange range;
    RegisterType type;
    QByteArray data;  ///< Of a write: a byte per bit, two bytes per word, low byte first.
    /// Called at its end with its last transaction. May queue further operations.
    std::function<void(const Transaction&)> done;
};

/// What a program that shows values wants to hear.
struct EngineEvents {
    std::function<void(int point)> value;                 ///< A point has a new value.
    std::function<void(int point)> quality;               ///< A point has turned bad or "no line".
    std::function<void(const Transaction&)> transaction;  ///< Every request that ended.
    std::function<void(int station, bool alive)>
        station;                          ///< A station was taken out of the plan or is back in it.
    std::function<void(bool open)> line;  ///< The line was lost or is back.
    std::function<void()> cycle;          ///< A cycle of the plan is over.
};

/// Runs on one thread by step(). One-off operations are handed to the driver one after the other, so that the
/// end of each is known for certain and a failed one takes no other with it.
class PollEngine {
public:
    PollEngine(DriverSession& session, CommLoop& loop, Clock& clock, const LineSettings& settings);

    void setEvents(EngineEvents events) { events_ = std::move(events); }
    /// Begins to poll the points, in place of those before.
    void watch(const QVector<Point>& points);

    /// Queues a read of `count` items, split into requests. `done` is called once per request.
    void read(const RegisterType& type, int station, int address, int count,
              const std::function<void(const Transaction&)>& done);
    /// Queues a write of raw items, split into requests. `done` is called once per request.
    void write(const WriteRequest& request, const std::function<void(const Transaction&)>& done);
    /// Requests that have been queued and not ended.
    int pendingOperations() const { return static_cast<int>(queue_.size()) + (active_ ? 1 : 0); }
    /// Ends all of them: `done` is called for each, in order, with Outcome::CutShort and `reason` as info.
    /// The driver may still hold the one that was under way: after that the engine is not stepped any more,
    /// unless it is called by the `done` of another one.
    void abandonOperations(const QString& reason);

    /// Waits for what is left of the silent interval before the next request. A host that calls this before
    /// it looks for new writes, and then step(), has them on the line after at most the request in flight.
    void awaitTurn();
    CommLoop::Step step();
    /// Until when nothing will happen when step() gave Idle or NoLine; at most 50 ms from now.
    qint64 wakeUs();

    const ValueTable& table() const { return table_; }
    const Statistics& statistics() const { return statistics_; }
    const StationHealth& health() const { return health_; }
    const PollPlan& plan() const { return plan_; }

private:
    void onTransaction(const Transaction& transaction);
    void onCyclicRead(const Transaction& transaction, const ItemRange& range);
    void onOperationEnd(const Transaction& transaction);
    void onLine(bool open);
    void onCycleEnd();
    void takeValues(const ItemRange& range);
    void reportQuality(const QVector<int>& points);
    void queueProbes();
    void handOver();
    void replan();

    DriverSession& session_;
    CommLoop& loop_;
    Clock& clock_;
    LineSettings settings_;
    EngineEvents events_;
    ValueTable table_;
    PollPlan plan_;
    StationHealth health_;
    Statistics statistics_;
    std::deque<Operation> queue_;
    Operation current_;
    bool active_ = false;    ///< current_ is with the driver.
    bool answered_ = false;  ///< The station gave a sign of life to current_.
    bool replanNeeded_ = false;
    qint64 cycleStartUs_ = -1;
};

/// `count` items from `address`, cut where the register numbers do not run on and at `block` items (eight
/// times as many bits for a read).
QVector<ItemRange> requestRanges(const RegisterType& type, int station, int address, int count, int block);

}  // namespace dx7

#endif

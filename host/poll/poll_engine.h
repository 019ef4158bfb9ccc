/// \file
/// A running line: the polling plan, the values it brings, one-off reads and writes, and stations that come
/// and go.
#ifndef DX7_HOST_POLL_ENGINE_H
#define DX7_HOST_POLL_ENGINE_H

#include <QMap>
#include <deque>

#include "host/exchange/comm_loop.h"
#include "host/exchange/statistics.h"
#include "host/exchange/status_queries.h"
#include "host/poll/engine_events.h"
#include "host/poll/held_operations.h"
#include "host/poll/operation.h"
#include "host/poll/polling.h"
#include "host/poll/value_reports.h"

namespace dx7 {

/// Stepwise: it takes time and bytes in and gives bytes and the next due time out, and waits for nothing.
/// One-off operations are handed to the driver one after the other, so that the end of each is known for
/// certain and a failed one takes no other with it.
///
/// All calls come from one thread, with times in microseconds on one clock that never goes back. The events
/// and the `done` of an operation are called from within other calls, and may queue operations and queries
/// and abandon operations, but not hand over time or bytes. Nothing of it fails: what goes wrong on the line
/// is told by the events, and shows as bad or doubtful values.
class PollEngine {
public:
    /// Session and loop are borrowed; the observers of the loop are the engine's.
    PollEngine(DriverSession& session, CommLoop& loop, const LineSettings& settings, qint64 nowUs);

    void setEvents(EngineEvents events) { events_ = std::move(events); }
    /// Begins to poll the points, in place of those before.
    void watch(const QVector<Point>& points, qint64 nowUs);

    /// Queues a read of `count` items, split into requests. `done` is called once per request.
    void read(const RegisterType& type, int station, int address, int count, const Operation::Done& done);
    /// Queues a write of raw items, split into requests. `done` is called once per request.
    void write(const WriteRequest& request, const Operation::Done& done);
    /// Queues one status query to a station, which is not repeated; EngineEvents::answer tells of its answer.
    void query(int station) { queries_.add(station); }
    /// Requests and queries that have been queued and not ended, or whose answer is not settled; not the
    /// engine's own.
    int pendingOperations() const;
    /// The line was lost after a query of query() was sent, or may have been, and before its answer.
    bool queryLost() const { return queries_.lost(); }
    /// Ends all of them: `done` is called for each, in order, with Outcome::CutShort and `reason` as info;
    /// what was answered and is not settled is doubtful. The driver may still hold the one that was under
    /// way: after that the engine is not advanced any more, unless it is called by the `done` of another one.
    void abandonOperations(const QString& reason);
    /// Nothing new is begun from now on; what is held is proven, or found doubtful. Over when concluded().
    void conclude();
    bool concluded() const {
        return pendingOperations() == 0 && !active_ && loop_.exchange().idle() &&
               !loop_.exchange().unproven();
    }

    /// Bytes came, the last of them at `nowUs`.
    void received(const char* bytes, int count, qint64 nowUs);
    /// Does everything that can be done at `nowUs`. What is to be sent then is in exchange().output().
    void advance(qint64 nowUs);
    /// When advance() has something to do, unless something comes or is queued before.
    DueUs nextDueUs(qint64 nowUs) const;
    void lineLost(qint64 nowUs);
    void lineBack(qint64 nowUs);
    /// In place of advance() while the line is lost: tells what falls due of items with an interval.
    void advanceWithoutLine(qint64 nowUs);
    /// When that has something to do; empty when it never does.
    DueUs dueWithoutLineUs() const { return polling_.missedUs(); }

    /// Where the bytes to send are, and what is awaited: for who runs the line.
    Exchange& exchange() { return loop_.exchange(); }
    const ValueTable& table() const { return values_.table(); }
    const Statistics& statistics() const { return statistics_; }
    const StationHealth& health() const { return polling_.health(); }
    const RefusedItems& refused() const { return polling_.refused(); }
    const PollPlan& plan() const { return polling_.plan(); }
    /// How the intervals were kept, in ascending order.
    QVector<IntervalTurns> turns() const { return polling_.turns(); }

private:
    bool begin(qint64 nowUs);
    bool probing() const;
    bool nothingElse() const;
    bool probe(const Turn& turn, qint64 nowUs);
    void endQuery(qint64 nowUs);
    void queue(const QVector<Operation>& operations, const Operation::Done& done);
    void onTransaction(const Transaction& transaction);
    void onSettled(quint64 ticket, bool good);
    void onNote(const ExchangeNote& note);
    void onCyclicRead(const Transaction& transaction, const ItemRange& range);
    void failRead(const Transaction& transaction, const ItemRange& range);
    void failRefused(const Transaction& transaction);
    void onOperationEnd(const Transaction& transaction);
    void onCycleEnd(qint64 nowUs);
    void onAlive(int station);
    void takeValues(const Transaction& transaction, const ItemRange& range);
    void failProbe(int station, qint64 nowUs);
    void tellNotices();
    void handOver(const Turn& turn, qint64 nowUs);
    void begin(const Operation& operation);
    void endAlone(const Transaction& transaction);
    void countOthers();

    DriverSession& session_;
    CommLoop& loop_;
    LineSettings settings_;
    EngineEvents events_;
    ValueReports values_;
    Polling polling_;
    Statistics statistics_;
    std::deque<Operation> queue_;
    StatusQueries queries_;
    Operation current_;
    /// current_ is with the driver.
    bool active_ = false;
    /// The station gave a sign of life to current_.
    bool answered_ = false;
    /// current_ is one of those that take of the budget of probes.
    bool probing_ = false;
    bool concluding_ = false;
    /// Operations in a row that were not sent, for the station owes a reply.
    int skipped_ = 0;
    /// All stations owe replies: nothing is begun before that.
    qint64 stalledUntilUs_ = 0;
    /// Why each station's last read failed; empty for one that has answered.
    QMap<int, QString> silenceCauses_;
    HeldOperations heldOperations_;
};

}  // namespace dx7

#endif

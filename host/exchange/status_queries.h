/// \file
/// Status queries that go out for their own sake.
#ifndef DX7_HOST_STATUS_QUERIES_H
#define DX7_HOST_STATUS_QUERIES_H

#include <QtGlobal>
#include <deque>
#include <optional>

namespace dx7 {

class Exchange;

/// Asked for by a command, or as the probe of a dead station; one at a time. None is repeated.
///
/// Its PollEngine owns it; the exchange that its calls name is borrowed for the call. For one thread: times
/// are microseconds on the caller's clock. Nothing of it fails: a query without an answer just ends.
class StatusQueries {
public:
    /// Queues one that a command asks for.
    void add(int station) { queue_.push_back(station); }
    /// Those of add() that have not ended.
    int pending() const;
    /// One is out, and waited for.
    bool waiting() const { return station_.has_value(); }
    bool queued() const { return !queue_.empty(); }

    /// Begins the next of the queue. False when that is empty.
    bool beginNext(Exchange& exchange, qint64 nowUs);
    void beginProbe(int station, Exchange& exchange, qint64 nowUs);
    /// A sign of life came from this station.
    void heard(int station) { answered_ = answered_ || station == station_; }
    /// The wait is over. Returns the dead station whose probe had no answer; empty when it was none, or had
    /// one.
    std::optional<int> end();
    void clear();
    /// The line was lost. `awaiting`: while an answer could come.
    void lineLost(bool awaiting);
    /// The line was lost after one of add() was sent, or may have been, and before its answer.
    bool lost() const { return lost_; }

private:
    void begin(int station, Exchange& exchange, qint64 nowUs);

    std::deque<int> queue_;
    /// Whose answer is waited for; empty where none is.
    std::optional<int> station_;
    bool probe_ = false;
    bool answered_ = false;
    bool lost_ = false;
};

}  // namespace dx7

#endif

/// \file
/// One line, run: the engine's bytes and times brought together with the line and the poller.
#ifndef DX7_HOST_LINE_RUNNER_H
#define DX7_HOST_LINE_RUNNER_H

#include <functional>

#include "host/line/poller.h"
#include "host/line/reopen_backoff.h"
#include "host/poll/poll_engine.h"

namespace dx7 {

/// Runs a line by turns, on one thread. A line that is lost is opened again, after ever longer pauses.
class LineRunner {
public:
    /// All are borrowed. The line is added to the poller.
    LineRunner(PollEngine& engine, Line& line, Poller& poller);
    ~LineRunner();

    /// One turn: does what is due, sends, waits, until `untilUs` at most, for what is next, and takes what
    /// has come. Returns sooner when a signal comes.
    void turn(qint64 untilUs);
    /// The same without the wait, for a program that waits for several lines: prepare() before it, take()
    /// after it.
    void prepare();
    void take();
    /// When the next turn is due.
    DueUs nextDueUs() const { return dueUs_; }

    bool lineOpen() const { return !lost_; }
    qint64 nowUs() { return poller_.nowUs(); }

private:
    bool ensureLine();
    void lineLost();
    void send();
    void watch();

    PollEngine& engine_;
    Line& line_;
    Poller& poller_;
    ReopenBackoff backoff_;
    QByteArray received_;
    bool lost_ = false;
    /// An attempt to open the lost line is under way.
    bool opening_ = false;
    DueUs dueUs_;
    /// Good replies when the line was last known to work.
    qint64 proved_ = 0;
};

}  // namespace dx7

#endif

/// \file
/// The communication loop: fetches requests from the driver, puts them on the line and hands the replies
/// back.
#ifndef DX7_HOST_COMM_LOOP_H
#define DX7_HOST_COMM_LOOP_H

#include <functional>

#include "driver_functions.h"
#include "frame_tap.h"
#include "late_replies.h"
#include "line.h"
#include "reopen_backoff.h"
#include "transaction.h"

namespace dx7 {

class ReplyGuard;
enum class Verdict;

/// Runs on one thread; every step() is at most one request. Waits only on the clock and the line it was
/// given.
class CommLoop {
public:
    enum class Step {
        Request,  ///< One request was sent and its wait ended.
        Idle,     ///< The driver has nothing to send.
        NoLine,   ///< The line is not open: the next attempt is due at reopenUs(), or one is under way.
        Stopped   ///< The stop request came in the middle of a wait; the driver got no reply.
    };

    CommLoop(const DriverFunctions& functions, Line& line, Clock& clock, const LineSettings& settings);

    Step step();

    /// Waits for what is left of the silent interval, or until the stop request, so that what is queued after
    /// it can still go out next. The request that step() fetches is chosen before it looks at the silence
    /// again.
    void awaitSilence();

    /// Called after every request, when the driver has judged its reply.
    void setObserver(std::function<void(const Transaction&)> observer) { observer_ = std::move(observer); }
    /// Called when the line was lost (false) and when it is back (true).
    void setLineObserver(std::function<void(bool open)> observer) { lineObserver_ = std::move(observer); }
    /// Asked while waiting, at least every 100 ms, whatever arrives meanwhile; true ends the wait.
    void setStopRequest(std::function<bool()> stop) { stop_ = std::move(stop); }
    /// Asked before a repetition; true hands the driver an empty reply without sending.
    void setSkipRepetition(std::function<bool(const FRAME_PRO&)> skip) { skipRepetition_ = std::move(skip); }
    void setTap(FrameTap* tap) { tap_ = tap; }

    qint64 reopenUs() const { return backoff_.nextUs(); }
    /// Bytes that were thrown away because they came before a request.
    qint64 staleBytes() const { return staleBytes_; }
    /// A request is out that the driver will want repeated; plans must not change now.
    bool betweenOperations() const { return !outstanding_; }
    /// A write has been sent that has not ended, and nothing that came shows whether the station carried it
    /// out.
    bool writeUnsettled() const { return unsettled_; }
    /// Bytes of a request are on the line, or may be, whose operation has not ended.
    bool requestOut() const { return out_; }

private:
    bool ensureLine();
    void lineLost();
    bool fetch(FRAME_PRO* frame);
    Step waitUntilClear(Transaction& transaction);
    Step waitForSilence(Transaction& transaction);
    bool pauseUntil(qint64 timeUs);
    void drop(const QByteArray& stale, Transaction& transaction);
    Step exchange(Transaction& transaction);
    bool send(const Transaction& transaction);
    Step turnAround(Transaction& transaction);
    Step awaitReply(Transaction& transaction);
    Step collect(ReplyGuard& guard, qint64 deadlineUs, Verdict* verdict);
    void noteAside(const ReplyGuard& guard, Transaction& transaction);
    void judge(Transaction& transaction);
    bool stopped() const { return stop_ && stop_(); }
    /// Shows the tap a frame whose last byte came at `atUs`.
    void tapReceived(const QByteArray& frame, qint64 atUs);

    const DriverFunctions& functions_;
    Line& line_;
    Clock& clock_;
    LineSettings settings_;
    ReopenBackoff backoff_;
    LateReplies late_;
    std::function<void(const Transaction&)> observer_;
    std::function<void(bool)> lineObserver_;
    std::function<bool()> stop_;
    std::function<bool(const FRAME_PRO&)> skipRepetition_;
    FrameTap* tap_ = nullptr;
    bool lost_ = false;
    bool opening_ = false;  ///< An attempt to open the lost line is under way.
    bool outstanding_ = false;
    bool unsettled_ = false;     ///< See writeUnsettled().
    bool out_ = false;           ///< See requestOut().
    bool heard_ = false;         ///< Any attempt of the operation brought anything from its station.
    qint64 noiseBytes_ = 0;      ///< Of the operation, all attempts so far.
    int otherFrames_ = 0;        ///< Likewise.
    QByteArray mismatch_;        ///< Likewise the last.
    qint64 lastActivityUs_ = 0;  ///< When the line carried its last byte.
    qint64 staleBytes_ = 0;
};

}  // namespace dx7

#endif

/// \file
/// The communication loop: fetches requests from the driver, exchanges them and hands the replies back.
#ifndef DX7_HOST_COMM_LOOP_H
#define DX7_HOST_COMM_LOOP_H

#include <functional>

#include "host/driver/driver_session.h"
#include "host/exchange/exchange.h"
#include "host/exchange/transaction.h"

namespace dx7 {

/// Stepwise: it takes time and bytes in and gives bytes and the next due time out, as its exchange does, and
/// waits for nothing.
///
/// For one thread, that of the session; times are microseconds on the caller's clock. It owns its exchange
/// and borrows the session and the tap. What goes wrong on the line is the outcome of a transaction; only
/// what the tap throws passes out of it.
class CommLoop {
public:
    /// What hears of the course of things. Called from inside received() and advance().
    struct Observers {
        /// A request ended, and the driver has judged its reply.
        std::function<void(const Transaction&)> transaction;
        /// The reply with this ticket (Transaction::ticket) is good, or doubtful.
        std::function<void(quint64 ticket, bool good)> settled;
        /// Anything else that was met on the line.
        std::function<void(const ExchangeNote&)> note;
    };

    /// `session` must outlive the loop.
    CommLoop(DriverSession& session, const LineSettings& settings);

    void setObservers(Observers observers) { observers_ = std::move(observers); }
    /// Borrowed; null = none.
    void setTap(FrameTap* tap) { exchange_.setTap(tap); }

    /// Bytes came, the last of them at `nowUs`.
    void received(const char* bytes, int count, qint64 nowUs);
    /// Does what is due.
    void advance(qint64 nowUs);
    /// The line was lost. The driver still wants the reply to the request that was out.
    void lineLost();

    /// Nothing is under way, and the line is clear.
    bool ready(qint64 nowUs) const { return exchange_.idle() && nowUs >= exchange_.clearUs(); }
    /// Fetches the driver's next request and begins it; `once` says that it is not repeated, whatever comes
    /// of it. False when the driver has nothing to send. Only while ready().
    bool begin(qint64 nowUs, bool once = false);
    /// When advance() or begin() has something to do.
    DueUs nextDueUs() const { return exchange_.idle() ? exchange_.clearUs() : exchange_.nextDueUs(); }

    Exchange& exchange() { return exchange_; }
    const Exchange& exchange() const { return exchange_; }

    /// No request is out that the driver will want repeated: plans may change now.
    bool betweenOperations() const { return !outstanding_ && exchange_.idle(); }
    /// A write has been sent that has not ended, and nothing that came shows whether the station carried it
    /// out.
    bool writeUnsettled() const { return unsettled_; }
    /// Bytes of a request are on the line, or may be, whose operation has not ended.
    bool requestOut() const { return out_; }

private:
    void drain(qint64 nowUs);
    void takeNote(const ExchangeNote& note);
    void judge(const ExchangeEnd& end, qint64 nowUs);
    void takeReply(const ExchangeEnd& end);
    void takeDamage();
    void clearOperation();

    DriverSession& session_;
    Exchange exchange_;
    Observers observers_;
    /// The present one. Kept, so that its texts keep their memory.
    Transaction transaction_;
    QByteArray reply_;
    bool outstanding_ = false;
    /// It is not repeated.
    bool once_ = false;
    /// See writeUnsettled().
    bool unsettled_ = false;
    /// Before the present attempt.
    bool unsettledBefore_ = false;
    /// See requestOut().
    bool out_ = false;
    /// Any attempt of the operation brought anything from its station.
    bool heard_ = false;
    /// Of the operation, all attempts so far.
    qint64 noiseBytes_ = 0;
    /// Likewise.
    int otherFrames_ = 0;
    /// Likewise the last.
    QByteArray mismatch_;
    /// Likewise the last reply that came damaged.
    QByteArray damaged_;
};

}  // namespace dx7

#endif

/// \file
/// What happened on the line, counted per station and in all.
#ifndef DX7_HOST_STATISTICS_H
#define DX7_HOST_STATISTICS_H

#include <QMap>

#include "host/exchange/exchange_note.h"
#include "host/exchange/latency_histogram.h"
#include "host/exchange/transaction.h"

namespace dx7 {

/// The counters of one station, or of all.
struct Counters {
    /// Requests sent, repetitions included.
    qint64 requests = 0;
    /// Replies that the driver took.
    qint64 good = 0;
    /// Requests without any reply of their own.
    qint64 timeouts = 0;
    qint64 wrongCrc = 0;
    qint64 wrongLength = 0;
    /// Frames that answer nothing that was asked here.
    qint64 foreign = 0;
    /// Pieces of noise: bytes without a valid CRC that are nothing like an awaited reply.
    qint64 noise = 0;
    /// Frames that answer nothing, though the like has been asked for.
    qint64 surplus = 0;
    /// Frames that came again.
    qint64 copies = 0;
    /// Replies that came after their time-out.
    qint64 late = 0;
    /// Status queries sent to prove replies.
    qint64 queries = 0;
    /// Answers to status queries that came with a wrong CRC or cut.
    qint64 damagedAnswers = 0;
    /// Requests that came back as they were sent.
    qint64 echoes = 0;
    /// Refusals by exception code.
    QMap<int, qint64> exceptions;
    /// Requests that repeat an earlier one.
    qint64 retries = 0;
    /// Operations given up.
    qint64 failed = 0;
    /// From handing over a request until its good reply or refusal was complete.
    LatencyHistogram response;

    qint64 exceptionCount() const;
    /// Bad replies and missing ones.
    qint64 bad() const { return timeouts + wrongCrc + wrongLength + exceptionCount(); }
    void count(const Transaction& transaction);
    void count(const ExchangeNote& note);
};

/// Fed with every transaction and every finished cycle of the polling plan. For one thread; times are
/// microseconds on the caller's clock; nothing of it fails.
class Statistics {
public:
    explicit Statistics(qint64 startUs) : startUs_(startUs) {}

    void count(const Transaction& transaction);
    void count(const ExchangeNote& note);
    void countCycle(qint64 durationUs) { cycles_.add(durationUs); }

    const Counters& all() const { return all_; }
    const QMap<int, Counters>& stations() const { return stations_; }
    const LatencyHistogram& cycles() const { return cycles_; }
    /// Share (0 to 1) of the time since the start that the line was taken by requests and replies.
    double busyShare(qint64 nowUs) const;

private:
    qint64 startUs_;
    qint64 busyUs_ = 0;
    Counters all_;
    QMap<int, Counters> stations_;
    LatencyHistogram cycles_;
};

}  // namespace dx7

#endif

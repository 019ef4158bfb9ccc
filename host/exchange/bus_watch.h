/// \file
/// What a master polls, how often, and with what success, from what was heard on its line.
#ifndef DX7_HOST_BUS_WATCH_H
#define DX7_HOST_BUS_WATCH_H

#include <QStringList>
#include <map>

#include "host/exchange/bus_parser.h"
#include "host/exchange/latency_histogram.h"

namespace dx7 {

/// How requests ended.
struct HeardCounts {
    qint64 requests = 0;
    /// With a reply, of which some refuse the request.
    qint64 answered = 0;
    qint64 refused = 0;
    qint64 unanswered = 0;
    /// With a reply that may be to the request before.
    qint64 doubtful = 0;
    /// With damaged bytes in place of the reply.
    qint64 damaged = 0;
    /// From the end of a request to the end of its reply, less the reply's time on the line.
    LatencyHistogram replyTimes;
};

/// One request that a master sends again and again. A write counts as the same one whatever it writes.
struct HeardRequest {
    /// The first of them, with its CRC.
    QByteArray frame;
    HeardCounts counts;
    /// Exception code of the last refusal; 0 without one.
    int exceptionCode = 0;
    qint64 lastUs = 0;
    /// From one to the next.
    LatencyHistogram intervals;
};

/// One station, all its requests together.
struct HeardStation {
    HeardCounts counts;
    /// Replies to no request that was heard; not the very first frame, whose request may have come before.
    qint64 orphans = 0;
    /// Of these, right after another reply of the station.
    qint64 doubled = 0;
};

/// For one thread; times are microseconds on the caller's clock. Nothing of it fails. Its memory is bounded:
/// of more than MOST_REQUESTS different requests the later ones count for their stations alone.
class BusWatch {
public:
    static constexpr int MOST_REQUESTS = 2000;

    explicit BusWatch(const LineSettings& settings) : settings_(settings) {}

    void take(const BusEvent& event);

    /// By requestKey().
    const std::map<QByteArray, HeardRequest>& requests() const { return requests_; }
    const std::map<int, HeardStation>& stations() const { return stations_; }
    /// All stations together.
    const HeardCounts& all() const { return all_; }
    qint64 broadcasts() const { return broadcasts_; }
    /// Bytes without a valid CRC that took the place of no reply.
    qint64 strayBytes() const { return strayBytes_; }
    /// Requests that were not counted by themselves.
    qint64 unlisted() const { return unlisted_; }
    /// Signs of a second master, and of two stations with one number, as sentences.
    QStringList signs() const;

private:
    void takeRequest(const BusEvent& event);
    void takeOrphan(const BusEvent& event);
    void count(const BusEvent& event, HeardCounts* counts) const;
    void watchHurry(const BusEvent& event);

    LineSettings settings_;
    std::map<QByteArray, HeardRequest> requests_;
    std::map<int, HeardStation> stations_;
    HeardCounts all_;
    qint64 broadcasts_ = 0;
    qint64 strayBytes_ = 0;
    qint64 unlisted_ = 0;
    bool begun_ = false;
    /// Requests that came so soon that the one before can hardly have been answered.
    qint64 hurried_ = 0;
    /// Replies in good time to a request that another one had followed already: no single master asks so.
    qint64 crossed_ = 0;
    /// The last reply, and the request after it that has none.
    QByteArray reply_;
    qint64 replyUs_ = 0;
    QByteArray unanswered_;
    qint64 unansweredUs_ = 0;
};

/// Of a request: station, function code, and what is the same each time, which is its registers.
QByteArray requestKey(const QByteArray& frame);

/// From the end of the request to the end of its reply, less the reply's time on the line; at least 0.
qint64 replyTimeUs(const BusEvent& exchange, const LineSettings& settings);

}  // namespace dx7

#endif

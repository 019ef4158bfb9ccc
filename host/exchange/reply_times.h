/// \file
/// How long the exchange waits for what. Pure; all times are microseconds.
#ifndef DX7_HOST_REPLY_TIMES_H
#define DX7_HOST_REPLY_TIMES_H

#include "host/exchange/station_ledger.h"
#include "host/line/line_settings.h"

namespace dx7 {

/// From the end of a request until its reply must have begun to fill.
inline qint64 timeoutUs(const LineSettings& settings) {
    return settings.timeoutMs * qint64(1000);
}

/// The time of an operation with all its attempts.
inline qint64 operationTimeUs(const LineSettings& settings) {
    return std::max(settings.retries, 1) * timeoutUs(settings);
}

/// How long an answer of the station is waited for: the time-out, and longer where the station was slow of
/// late, but never longer than an operation may take.
inline qint64 patienceUs(const LineSettings& settings, const StationRecord& station) {
    return std::min(std::max(timeoutUs(settings), station.slowUs * 3 / 2), operationTimeUs(settings));
}

}  // namespace dx7

#endif

/// \file
/// What a running line tells.
#ifndef DX7_HOST_ENGINE_EVENTS_H
#define DX7_HOST_ENGINE_EVENTS_H

#include <functional>

#include "host/exchange/comm_loop.h"
#include "host/poll/value_table.h"

namespace dx7 {

/// The answer to a status query that query() asked for.
struct QueryAnswer {
    int station = 0;
    /// The status byte.
    int status = 0;
    /// Above 0: the station refused.
    int exceptionCode = 0;
    /// From the end of the query to the last byte of its answer.
    qint64 afterUs = 0;
};

/// What a program that shows values gets.
struct EngineEvents {
    /// The table's told() of a point changed.
    std::function<void(int point)> value;
    /// A point has a new value that is not proven yet.
    std::function<void(int point)> fresh;
    /// Every reading that is settled, and every attempt that failed: of an item with an interval at each of
    /// its times, of another one whenever it is asked.
    std::function<void(const Reading&)> reading;
    /// Every request that ended.
    std::function<void(const Transaction&)> transaction;
    /// Everything else that was met on the line.
    std::function<void(const ExchangeNote&)> note;
    /// A status query was answered, in time or late.
    std::function<void(const QueryAnswer&)> answer;
    /// A station was taken out of the plan or is back in it.
    std::function<void(int station, bool alive)> station;
    /// The line was lost or is back.
    std::function<void(bool open)> line;
    /// A cycle of the plan is over.
    std::function<void()> cycle;
    /// Something was found out about a station, as a sentence.
    std::function<void(const QString&)> notice;
};

}  // namespace dx7

#endif

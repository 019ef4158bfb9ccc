/// \file
/// What was heard on a line, as text and as JSON.
#ifndef DX7_CLI_LISTEN_OUTPUT_H
#define DX7_CLI_LISTEN_OUTPUT_H

#include <QStringList>

#include "host/cli/json.h"
#include "host/exchange/bus_watch.h"
#include "host/poll/polled_items.h"

namespace dx7::cli {

/// How long and how much: "12.3 s: 480 requests to 2 stations, 478 answered, 2 without a reply".
QString listenSum(const BusWatch& watch, qint64 us);
/// A table with a row per request, by station; empty when no request was heard.
QStringList requestLines(const BusWatch& watch, const RegisterIndex& index);
/// A line per station.
QStringList stationLines(const BusWatch& watch);

/// The event "heard": a request and its reply, or whatever else came.
Json heardJson(const BusEvent& event, const LineSettings& settings);
/// The events "polled" and "polled_station", as often as there are requests and stations.
std::vector<Json> polledJson(const BusWatch& watch, const RegisterIndex& index);
/// The summary.
Json listenJson(const BusWatch& watch, qint64 us);

/// "FC 3 F320-F328", or "FC 7" where a function code names no register.
QString requestName(const QByteArray& request);
/// The texts of all runs, separated by blanks.
QString itemsText(const QVector<ItemRun>& runs);

}  // namespace dx7::cli

#endif

/// \file
/// What is shown of serial ports.
#ifndef DX7_CLI_PORT_OUTPUT_H
#define DX7_CLI_PORT_OUTPUT_H

#include "host/cli/json.h"
#include "host/line/loopback.h"
#include "host/line/port_list.h"

namespace dx7::cli {

/// A table of the ports with its head, a line for each port and one for each reason why it cannot be used
/// now.
QStringList portLines(const QVector<PortInfo>& ports);
/// The event "port".
Json portJson(const PortInfo& port);

/// What is wrong with the port, as a sentence; empty when it is good.
QString loopbackFault(const LoopbackResult& result, const QString& lineFailure);
/// The event "loopback".
Json loopbackJson(const LineSettings& settings, const LoopbackResult& result, const QString& fault);

}  // namespace dx7::cli

#endif

/// \file
/// What is shown of a raw request and its reply.
#ifndef DX7_CLI_RAW_OUTPUT_H
#define DX7_CLI_RAW_OUTPUT_H

#include "host/cli/json.h"
#include "host/exchange/raw_exchange.h"
#include "host/items/register_words.h"
#include "host/line/line_settings.h"

namespace dx7::cli {

/// Why the reply cannot be believed, or did not come; empty when all is well.
QString rawFault(const RawEnd& end, const QByteArray& request, const LineSettings& settings);
/// The registers of the reply as values; empty where it has none.
QVector<RegisterValue> rawValues(const RawEnd& end, const QByteArray& request, const ValueFormat& format);

/// The reply in hexadecimal and in words; empty without one.
QString rawText(const RawEnd& end, const QByteArray& request);
/// The event "raw"; `format` is null where values were not asked for.
Json rawJson(const RawEnd& end, const QByteArray& request, const LineSettings& settings,
             const ValueFormat* format);

}  // namespace dx7::cli

#endif

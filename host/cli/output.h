/// \file
/// What the commands print. Results go to standard output, complaints to standard error as "dx7: ...".
#ifndef DX7_CLI_OUTPUT_H
#define DX7_CLI_OUTPUT_H

#include <QString>
#include <nlohmann/json.hpp>

#include "item_notation.h"
#include "statistics.h"
#include "value_table.h"

namespace dx7::cli {

using Json = nlohmann::ordered_json;

/// A line on standard output, flushed, so that a pipe sees it at once. Throws LineError when it cannot be
/// written.
void print(const QString& line);
void print(const Json& object);
/// The same for what was changed, which must be said in any case: what standard output does not take goes to
/// standard error, after the reason. False then.
bool tell(const QString& line);
bool tell(const Json& object);
/// "dx7: ..." on standard error, always one line: a control character in it, and what turns the
/// order of characters on the screen, is shown as its code.
void complain(const QString& line);

/// Local time of day with milliseconds, and date and time as ISO 8601.
QString clockTime();
std::string isoTime();

std::string utf8(const QString& text);

/// The value as a number, scaled when the format is.
Json valueJson(const ValueFormat& format, quint32 raw);
/// What identifies the point: name, item, station, type, address.
Json itemJson(const Point& point);
/// What itemJson() gives, and value, text, unit (when there is one), quality.
Json pointJson(const Point& point, const PointState& state);
/// Microseconds as milliseconds with two decimals.
QString msText(qint64 us);
/// "1 request", "2 requests".
QString counted(qint64 number, const char* noun);

}  // namespace dx7::cli

#endif

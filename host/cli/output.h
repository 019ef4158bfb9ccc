/// \file
/// What the commands print. Results go to standard output, errors and warnings to standard error as "dx7:
/// ...".
#ifndef DX7_CLI_OUTPUT_H
#define DX7_CLI_OUTPUT_H

#include <QString>
#include <optional>

#include "host/cli/json.h"
#include "host/exchange/statistics.h"
#include "host/files/wall_clock.h"
#include "host/items/item_notation.h"
#include "host/poll/value_table.h"

namespace dx7::cli {

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
void printError(const QString& line);

/// Date and time as ISO 8601, in local time, of a time in microseconds since 1970, UTC.
std::string isoTime(qint64 wallUs = wallTimeUs());
/// The same of a time on the SystemClock.
qint64 wallTimeOf(qint64 clockUs);
/// The time of what the state says, in microseconds since 1970, UTC: of the reading, or of its failure.
qint64 wallTimeOf(const PointState& state);

/// Quality, and since when and why where the value is bad: "good", "bad since 12:55:45.397: no reply".
QString causeText(const PointState& state);

std::string utf8(const QString& text);

/// The beginning of every object: "event", the word for its kind. Objects of one kind have the same keys.
Json eventJson(const char* event);
/// The last object of a command that ends with one; "command" says which, and so its other keys.
Json summaryJson(const char* command);
/// What an item that is read and one that is written have in common: event, time, line, name, item, station,
/// type, address, value and text (null without a value), unit and format (when there is one). `line` is the
/// name of its line.
Json itemJson(const char* event, const std::string& time, const QString& line, const Point& point,
              std::optional<quint32> raw);
/// The value as a number, scaled when the format is; null for one that JSON lacks.
Json numberJson(const ValueFormat& format, quint32 raw);
/// Adds quality, and fault unless it is empty.
void addQuality(Quality quality, const QString& fault, Json* json);
/// The event "value": what is known of a point that is read on the line of this name, at this time
/// (wallTimeOf()).
Json pointJson(const QString& line, const Point& point, const PointState& state, qint64 wallUs);
/// "min", "median", "p99" and "max" in ms; null where nothing was measured.
Json durationsJson(const LatencyHistogram& histogram);
/// As one word of a shell's command line: in quotes where that needs them.
QString shellWord(const QString& word);
/// Microseconds as milliseconds with two decimals.
QString msText(qint64 us);
/// "1 request", "2 requests".
QString counted(qint64 number, const char* noun);

}  // namespace dx7::cli

#endif

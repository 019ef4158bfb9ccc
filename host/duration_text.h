/// \file
/// Spans of time as users type them. Nothing is kept between calls.
#ifndef DX7_HOST_DURATION_TEXT_H
#define DX7_HOST_DURATION_TEXT_H

#include <QString>

namespace dx7 {

/// "500ms", "1s", "1.5s", "2min", "1h" in microseconds. Throws UsageError that names `what` and the text when
/// it is anything else, or not `lowestUs` to a year.
qint64 durationUs(const QString& text, const char* what, qint64 lowestUs);

/// The same span as users type it, in the largest unit that shows it in full with one decimal: "500ms",
/// "1.5s", "2min". Whole milliseconds; what is shorter is cut off.
QString durationText(qint64 us);

/// The span with two digits that is not shorter, in whole milliseconds: 380001 is 390000. Above 0.
qint64 roundedUpUs(qint64 us);

}  // namespace dx7

#endif

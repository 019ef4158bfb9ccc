/// \file
/// Spans of time as users type them. Nothing is kept between calls.
#ifndef DX7_HOST_DURATION_TEXT_H
#define DX7_HOST_DURATION_TEXT_H

#include <QString>

namespace dx7 {

/// "500ms", "1s", "1.5s", "2min", "1h" in microseconds. Throws UsageError that names `what` and the text when
/// it is anything else, or not `lowestUs` to a year.
qint64 durationUs(const QString& text, const char* what, qint64 lowestUs);

}  // namespace dx7

#endif

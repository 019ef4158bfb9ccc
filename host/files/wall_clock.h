/// \file
/// The time of day, for people and for recordings, beyond 2038: Qt 5's own conversions treat later years as
/// 2037, and on 32-bit ARM the C library's usual ones end there.
#ifndef DX7_HOST_WALL_CLOCK_H
#define DX7_HOST_WALL_CLOCK_H

#include <QString>

namespace dx7 {

/// Microseconds since 1970, UTC, in every function here.
qint64 wallTimeUs();

/// Local time of day with milliseconds, as 13:49:11.072.
QString timeOfDay(qint64 timeUs);
/// ISO 8601 with milliseconds: in UTC, as 2040-02-29T13:49:11.072Z.
QString isoUtcTime(qint64 timeUs);
/// The same in local time with its distance from UTC, as 2040-02-29T14:49:11.072+01:00; Z when there is none.
QString isoLocalTime(qint64 timeUs);

}  // namespace dx7

#endif

#include "host/files/wall_clock.h"

#include <cstdlib>
#include <ctime>

namespace dx7 {

namespace {

constexpr qint64 WALL_SECOND_US = 1000000;

// A time taken apart: `time_t` stays within this file, whose size of it may differ from others'.
struct Parts {
    std::tm date{};
    int ms = 0;
    int offsetMinutes = 0;
};

time_t secondsOf(qint64 timeUs) {
    return static_cast<time_t>(timeUs / WALL_SECOND_US - (timeUs % WALL_SECOND_US < 0 ? 1 : 0));
}

int msOf(qint64 timeUs) {
    return static_cast<int>((timeUs % WALL_SECOND_US + WALL_SECOND_US) % WALL_SECOND_US / 1000);
}

Parts localParts(qint64 timeUs) {
    Parts parts;
    const time_t seconds = secondsOf(timeUs);
    static const bool zoneRead = (tzset(), true);
    (void)zoneRead;
    localtime_r(&seconds, &parts.date);
    parts.ms = msOf(timeUs);
    parts.offsetMinutes = static_cast<int>(parts.date.tm_gmtoff / 60);
    return parts;
}

Parts utcParts(qint64 timeUs) {
    Parts parts;
    const time_t seconds = secondsOf(timeUs);
    gmtime_r(&seconds, &parts.date);
    parts.ms = msOf(timeUs);
    return parts;
}

QString number(int value, int digits) {
    return QStringLiteral("%1").arg(value, digits, 10, QLatin1Char('0'));
}

QString clockText(const Parts& parts) {
    return QStringLiteral("%1:%2:%3.%4")
        .arg(number(parts.date.tm_hour, 2), number(parts.date.tm_min, 2), number(parts.date.tm_sec, 2),
             number(parts.ms, 3));
}

QString isoText(const Parts& parts) {
    QString zone = QStringLiteral("Z");
    if (parts.offsetMinutes != 0) {
        const int minutes = std::abs(parts.offsetMinutes);
        zone = QLatin1Char(parts.offsetMinutes < 0 ? '-' : '+') + number(minutes / 60, 2) + QLatin1Char(':') +
               number(minutes % 60, 2);
    }
    return QStringLiteral("%1-%2-%3T%4%5")
        .arg(number(parts.date.tm_year + 1900, 4), number(parts.date.tm_mon + 1, 2),
             number(parts.date.tm_mday, 2), clockText(parts), zone);
}

}  // namespace

qint64 wallTimeUs() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<qint64>(now.tv_sec) * WALL_SECOND_US + now.tv_nsec / 1000;
}

QString timeOfDay(qint64 timeUs) {
    return clockText(localParts(timeUs));
}

QString isoUtcTime(qint64 timeUs) {
    return isoText(utcParts(timeUs));
}

QString isoLocalTime(qint64 timeUs) {
    return isoText(localParts(timeUs));
}

}  // namespace dx7

/// \file
/// What a serial line of unknown settings may be set to. Pure functions, for any thread; none of them fails.
#ifndef DX7_HOST_LIKELY_SETTINGS_H
#define DX7_HOST_LIKELY_SETTINGS_H

#include <QVector>

#include "host/line/line_settings.h"

namespace dx7 {

/// Which of the settings are known.
struct KnownSettings {
    bool baud = false;
    bool parity = false;
};

/// The settings with each baud rate (1200 to 115200) and parity that is not known, the likely ones first; the
/// others stay as they are.
QVector<LineSettings> likelySettings(const LineSettings& settings, const KnownSettings& known);

/// The time in which one of them is tried at most: LISTEN_US, then for each station a status query and its
/// time-out. In microseconds.
qint64 searchTimeUs(const LineSettings& settings, int stations);

/// "9600 8N1".
QString formatName(const LineSettings& settings);
/// "--baud 9600 --parity none --data-bits 8 --stop-bits 1".
QString formatOptions(const LineSettings& settings);

}  // namespace dx7

#endif

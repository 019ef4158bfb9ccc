#include "host/exchange/likely_settings.h"

#include <algorithm>
#include <iterator>

#include "host/exchange/line_listener.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

// Modbus over Serial Line V1.02 asks for 9600 and 19200 baud; the others by how common they are.
constexpr int LIKELY_BAUDS[] = {9600, 19200, 115200, 38400, 57600, 4800, 2400, 1200};
// Its default is even parity; most devices leave the factory without any.
constexpr Parity LIKELY_PARITIES[] = {Parity::None, Parity::Even, Parity::Odd};
constexpr int ODD_RANK = 12;
constexpr int EVEN_RANK = 2;

int parityRank(Parity parity) {
    return parity == Parity::None ? 0 : parity == Parity::Even ? EVEN_RANK : ODD_RANK;
}

// Lower ones are tried first.
int rankOf(const LineSettings& settings) {
    const auto* const place = std::find(std::begin(LIKELY_BAUDS), std::end(LIKELY_BAUDS), settings.baud);
    return static_cast<int>(place - std::begin(LIKELY_BAUDS)) + parityRank(settings.parity);
}

}  // namespace

QVector<LineSettings> likelySettings(const LineSettings& settings, const KnownSettings& known) {
    QVector<LineSettings> all;
    for (const Parity parity : LIKELY_PARITIES) {
        for (const int baud : LIKELY_BAUDS) {
            LineSettings one = settings;
            one.baud = known.baud ? settings.baud : baud;
            one.parity = known.parity ? settings.parity : parity;
            const bool again = std::any_of(all.begin(), all.end(), [&one](const LineSettings& other) {
                return other.baud == one.baud && other.parity == one.parity;
            });
            if (!again) {
                all += one;
            }
        }
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const LineSettings& a, const LineSettings& b) { return rankOf(a) < rankOf(b); });
    return all;
}

qint64 searchTimeUs(const LineSettings& settings, int stations) {
    const qint64 queryUs = silentIntervalUs(settings) + lineTimeUs(settings, STATUS_REQUEST_BYTES) +
                           settings.timeoutMs * qint64(1000);
    return LISTEN_US + stations * queryUs;
}

QString formatName(const LineSettings& settings) {
    return QStringLiteral("%1 %2%3%4")
        .arg(settings.baud)
        .arg(settings.dataBits)
        .arg(parityText(settings.parity).left(1).toUpper())
        .arg(settings.stopBits);
}

QString formatOptions(const LineSettings& settings) {
    return QStringLiteral("--baud %1 --parity %2 --data-bits %3 --stop-bits %4")
        .arg(settings.baud)
        .arg(parityText(settings.parity))
        .arg(settings.dataBits)
        .arg(settings.stopBits);
}

}  // namespace dx7

#include "host/cli/protocol_hint.h"

#include "host/exchange/mbap.h"

namespace dx7::cli {

QString protocolHint(const LineSettings& settings, const QByteArray& firstBytes, bool closed) {
    if (settings.carrier == Carrier::Tcp &&
        (beginsLikeMbap(firstBytes) || (closed && firstBytes.isEmpty()))) {
        return QStringLiteral("does this port speak Modbus/TCP? (--modbus-tcp)");
    }
    const bool strange = firstBytes.size() >= MBAP_BYTES && !beginsLikeMbap(firstBytes);
    return settings.carrier == Carrier::ModbusTcp && strange
               ? QStringLiteral("does this port carry RTU frames? (--tcp)")
               : QString();
}

QString lossText(const LineSettings& settings, const QString& failure, const QByteArray& firstBytes) {
    const QString hint = protocolHint(settings, firstBytes, true);
    return QStringLiteral("%1 was lost: %2%3")
        .arg(describeLine(settings), failure, hint.isEmpty() ? hint : QStringLiteral("; ") + hint);
}

}  // namespace dx7::cli

/// \file
/// What the first bytes from a TCP port say of its protocol.
#ifndef DX7_CLI_PROTOCOL_HINT_H
#define DX7_CLI_PROTOCOL_HINT_H

#include "host/line/line_settings.h"

namespace dx7::cli {

/// "does this port speak Modbus/TCP? (--modbus-tcp)", or the other way round; empty where the first bytes
/// that ever came do not say so. `closed`: the other end has closed the connection, which says it, too, where
/// no byte came before.
QString protocolHint(const LineSettings& settings, const QByteArray& firstBytes, bool closed);

/// "tcp 10.0.0.7:502 was lost: it was closed at the other end", with the hint when there is one.
QString lossText(const LineSettings& settings, const QString& failure, const QByteArray& firstBytes);

}  // namespace dx7::cli

#endif

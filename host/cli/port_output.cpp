#include "host/cli/port_output.h"

#include <QStringList>

#include "host/cli/columns.h"
#include "host/cli/output.h"

namespace dx7::cli {

namespace {

QString orDash(const QString& text) {
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QStringList cells(const PortInfo& port) {
    return {port.path, orDash(port.adapter),
            port.latencyMs ? QStringLiteral("%1 ms").arg(*port.latencyMs) : QStringLiteral("-"),
            orDash(holdersText(port.holders)), orDash(port.byId)};
}

Json textOrNull(const QString& text) {
    return text.isEmpty() ? Json(nullptr) : Json(utf8(text));
}

QString byteText(quint8 byte) {
    return QStringLiteral("%1").arg(byte, 2, 16, QLatin1Char('0')).toUpper();
}

}  // namespace

QStringList portLines(const QVector<PortInfo>& ports) {
    QVector<QStringList> rows{{QStringLiteral("PORT"), QStringLiteral("ADAPTER"), QStringLiteral("LATENCY"),
                               QStringLiteral("HELD BY"), QStringLiteral("NAME THAT STAYS")}};
    for (const PortInfo& port : ports) {
        rows += cells(port);
    }
    const QStringList texts = columnLines(rows);
    QStringList lines;
    for (int i = 0; i < texts.size(); ++i) {
        lines += texts.at(i);
        if (i > 0 && !ports.at(i - 1).access.permitted) {
            lines += QStringLiteral("  no permission: ") + permissionText(ports.at(i - 1).access);
        }
    }
    return lines;
}

Json portJson(const PortInfo& port) {
    std::vector<Json> holders;
    for (const PortHolder& holder : port.holders) {
        holders.push_back(Json{{"process", holder.process}, {"program", textOrNull(holder.program)}});
    }
    Json json = eventJson("port");
    json["port"] = utf8(port.path);
    json["adapter"] = textOrNull(port.adapter);
    json["by_id"] = textOrNull(port.byId);
    json["latency_ms"] = port.latencyMs ? Json(*port.latencyMs) : Json(nullptr);
    json["permitted"] = port.access.permitted;
    json["group"] = textOrNull(port.access.group);
    json["holders"] = holders;
    return json;
}

QString loopbackFault(const LoopbackResult& result, const QString& lineFailure) {
    if (result.lost) {
        return QStringLiteral("the line was lost: ") + lineFailure;
    }
    if (result.stopped) {
        return QStringLiteral("stopped");
    }
    if (result.difference) {
        return QStringLiteral(
                   "byte %1 was sent as %2 and came back as %3: is something else on the line, or does the "
                   "adapter fail at this baud rate?")
            .arg(result.difference->index + 1)
            .arg(byteText(result.difference->sent), byteText(result.difference->came));
    }
    if (result.received == 0) {
        return QStringLiteral("nothing came back: are TX and RX bridged (RS-232), or is it the wrong port?");
    }
    if (result.received < result.sent) {
        return QStringLiteral("of %1 only %2 came back: a loose bridge, or the adapter loses bytes")
            .arg(counted(result.sent, "byte"))
            .arg(result.received);
    }
    return result.good() ? QString()
                         : QStringLiteral("%1 came back in place of %2: something else is on the line")
                               .arg(counted(result.received, "byte"))
                               .arg(result.sent);
}

Json loopbackJson(const LineSettings& settings, const LoopbackResult& result, const QString& fault) {
    Json json = eventJson("loopback");
    json["port"] = utf8(settings.serialPort);
    json["good"] = fault.isEmpty();
    json["sent"] = result.sent;
    json["received"] = result.received;
    json["round_trip_ms"] = result.roundTripUs > 0 ? Json(double(result.roundTripUs) / 1000) : Json(nullptr);
    json["fault"] = textOrNull(fault);
    return json;
}

}  // namespace dx7::cli

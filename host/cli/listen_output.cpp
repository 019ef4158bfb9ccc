#include "host/cli/listen_output.h"

#include "host/cli/columns.h"
#include "host/cli/output.h"
#include "host/exchange/rtu_frame.h"
#include "host/files/frame_text.h"
#include "host/poll/wire_access.h"

namespace dx7::cli {

namespace {

QString orDash(const LatencyHistogram& histogram, qint64 us) {
    return histogram.count() > 0 ? msText(us) : QStringLiteral("-");
}

struct Failure {
    qint64 count;
    QString what;
};

// Those that there were.
QVector<Failure> failuresOf(const HeardCounts& counts, int exceptionCode) {
    const QString refused = exceptionCode == 0
                                ? QStringLiteral("refused")
                                : QStringLiteral("refused (%1)").arg(exceptionName(exceptionCode));
    QVector<Failure> failures;
    for (const Failure& failure :
         {Failure{counts.unanswered, QStringLiteral("without a reply")},
          Failure{counts.doubtful, QStringLiteral("with a reply that may be to the one before")},
          Failure{counts.damaged, QStringLiteral("damaged")}, Failure{counts.refused, refused}}) {
        if (failure.count > 0) {
            failures += failure;
        }
    }
    return failures;
}

// "3 without a reply, 1 damaged"; empty when all is well.
QString failuresText(const HeardCounts& counts) {
    QStringList texts;
    for (const Failure& failure : failuresOf(counts, 0)) {
        texts += QStringLiteral("%1 %2").arg(failure.count).arg(failure.what);
    }
    return texts.join(QStringLiteral(", "));
}

// "damaged"; of several "without a reply: 3, damaged: 1".
QString reasonsText(const HeardRequest& request) {
    if (byteAt(request.frame, 0) == 0) {
        return QStringLiteral("to all stations");
    }
    const QVector<Failure> failures = failuresOf(request.counts, request.exceptionCode);
    if (failures.size() == 1) {
        return failures.first().what;
    }
    QStringList texts;
    for (const Failure& failure : failures) {
        texts += QStringLiteral("%1: %2").arg(failure.what).arg(failure.count);
    }
    return texts.join(QStringLiteral(", "));
}

QStringList requestCells(const HeardRequest& request, const RegisterIndex& index) {
    const LatencyHistogram& every = request.intervals;
    const LatencyHistogram& reply = request.counts.replyTimes;
    const HeardCounts& counts = request.counts;
    const QString items = itemsText(index.items(request.frame).items);
    return {QString::number(byteAt(request.frame, 0)),
            requestName(request.frame),
            QString::number(counts.requests),
            QString::number(counts.unanswered + counts.doubtful + counts.damaged + counts.refused),
            orDash(every, every.percentileUs(50)),
            orDash(every, every.maxUs()),
            orDash(reply, reply.percentileUs(50)),
            orDash(reply, reply.maxUs()),
            items.isEmpty() ? QStringLiteral("-") : items,
            reasonsText(request)};
}

Json hexOrNull(const QByteArray& bytes) {
    return bytes.isEmpty() ? Json(nullptr) : Json(utf8(hexText(bytes)));
}

const char* kindName(BusEvent::Kind kind) {
    switch (kind) {
        case BusEvent::Exchange:
            return "exchange";
        case BusEvent::Doubtful:
            return "doubtful";
        case BusEvent::Unanswered:
            return "unanswered";
        case BusEvent::Pending:
            return "pending";
        case BusEvent::DamagedReply:
            return "damaged_reply";
        case BusEvent::Broadcast:
            return "broadcast";
        case BusEvent::Orphan:
            return "orphan";
        default:
            return "damage";
    }
}

QString eventText(const BusEvent& event) {
    QStringList said;
    if (!event.request.isEmpty()) {
        said += describeFrame(RecordedFrame{0, true, event.request});
    }
    if (!event.reply.isEmpty()) {
        said += describeFrame(RecordedFrame{0, false, event.reply});
    }
    if (!event.damaged.isEmpty()) {
        const AwaitedReply awaited = event.request.isEmpty() ? AwaitedReply() : awaitedReply(event.request);
        said += describeFrame(RecordedFrame{0, false, event.damaged}, awaited);
    }
    return said.join(QStringLiteral("; "));
}

void addCounts(const HeardCounts& counts, Json* json) {
    (*json)["requests"] = counts.requests;
    (*json)["answered"] = counts.answered;
    (*json)["refused"] = counts.refused;
    (*json)["unanswered"] = counts.unanswered;
    (*json)["doubtful"] = counts.doubtful;
    (*json)["damaged"] = counts.damaged;
}

Json requestJson(const HeardRequest& request, const RegisterIndex& index) {
    std::vector<Json> items;
    for (const ItemRun& run : index.items(request.frame).items) {
        items.emplace_back(utf8(run.text()));
    }
    Json json = eventJson("polled");
    json["station"] = byteAt(request.frame, 0);
    json["function"] = byteAt(request.frame, 1);
    json["request"] = utf8(hexText(request.frame));
    json["text"] = utf8(describeFrame(RecordedFrame{0, true, request.frame}));
    json["items"] = items;
    addCounts(request.counts, &json);
    json["exception"] = request.exceptionCode == 0 ? Json(nullptr) : Json(request.exceptionCode);
    json["interval_ms"] = durationsJson(request.intervals);
    json["response_ms"] = durationsJson(request.counts.replyTimes);
    return json;
}

Json stationJson(int number, const HeardStation& station) {
    Json json = eventJson("polled_station");
    json["station"] = number;
    addCounts(station.counts, &json);
    json["orphans"] = station.orphans;
    json["doubled"] = station.doubled;
    json["response_ms"] = durationsJson(station.counts.replyTimes);
    return json;
}

QString stationText(int number, const HeardStation& station) {
    const HeardCounts& counts = station.counts;
    const LatencyHistogram& reply = counts.replyTimes;
    QString text = QStringLiteral("station %1: %2, %3 answered")
                       .arg(number)
                       .arg(counted(counts.requests, "request"))
                       .arg(counts.answered);
    if (reply.count() > 0) {
        text += QStringLiteral(" after %1 ms (median), %2 ms at most")
                    .arg(msText(reply.percentileUs(50)), msText(reply.maxUs()));
    }
    const QString failures = failuresText(counts);
    text += failures.isEmpty() ? QString() : QStringLiteral("; ") + failures;
    if (station.orphans > 0) {
        text += QStringLiteral("; %1 to no request that was heard")
                    .arg(station.orphans == 1 ? QStringLiteral("1 reply")
                                              : QStringLiteral("%1 replies").arg(station.orphans));
    }
    return text;
}

}  // namespace

QString requestName(const QByteArray& request) {
    const RegisterRange range = registersOf(request);
    QString name = QStringLiteral("FC %1").arg(byteAt(request, 1));
    if (range.count > 0) {
        name += QLatin1Char(' ') + registerText(range.first);
    }
    if (range.count > 1) {
        name += QLatin1Char('-') + registerText(range.first + range.count - 1);
    }
    return name;
}

QString itemsText(const QVector<ItemRun>& runs) {
    QStringList texts;
    for (const ItemRun& run : runs) {
        texts += run.text();
    }
    return texts.join(QLatin1Char(' '));
}

QString listenSum(const BusWatch& watch, qint64 us) {
    const HeardCounts& all = watch.all();
    QString text = QStringLiteral("%1 s: %2 to %3, %4 answered")
                       .arg(static_cast<double>(us) / 1e6, 0, 'f', 1)
                       .arg(counted(all.requests, "request"),
                            counted(static_cast<qint64>(watch.stations().size()), "station"))
                       .arg(all.answered);
    const QString failures = failuresText(all);
    text += failures.isEmpty() ? QString() : QStringLiteral(", ") + failures;
    if (watch.broadcasts() > 0) {
        text += QStringLiteral("; %1").arg(counted(watch.broadcasts(), "broadcast"));
    }
    if (watch.strayBytes() > 0) {
        text += QStringLiteral("; %1 outside of any frame").arg(counted(watch.strayBytes(), "byte"));
    }
    return text;
}

QStringList requestLines(const BusWatch& watch, const RegisterIndex& index) {
    if (watch.requests().empty()) {
        return {};
    }
    QVector<QStringList> rows{{QStringLiteral("STATION"), QStringLiteral("REQUEST"), QStringLiteral("COUNT"),
                               QStringLiteral("FAILED"), QStringLiteral("EVERY ms"), QStringLiteral("GAP ms"),
                               QStringLiteral("REPLY ms"), QStringLiteral("MAX ms"), QStringLiteral("ITEMS"),
                               QStringLiteral("WHY")}};
    for (const auto& entry : watch.requests()) {
        rows += requestCells(entry.second, index);
    }
    return columnLines(rows, {0, 2, 3, 4, 5, 6, 7});
}

QStringList stationLines(const BusWatch& watch) {
    QStringList lines;
    for (const auto& [number, station] : watch.stations()) {
        lines += stationText(number, station);
    }
    if (watch.unlisted() > 0) {
        lines += QStringLiteral("more than %1 different requests: %2 are not in the table")
                     .arg(BusWatch::MOST_REQUESTS)
                     .arg(watch.unlisted());
    }
    return lines;
}

Json heardJson(const BusEvent& event, const LineSettings& settings) {
    const QByteArray& first = event.request.isEmpty() ? event.reply : event.request;
    const qint64 atUs = !event.request.isEmpty() ? event.requestUs
                        : !event.reply.isEmpty() ? event.replyUs
                                                 : event.damagedUs;
    Json json = eventJson("heard");
    json["time"] = isoTime(wallTimeOf(atUs));
    json["kind"] = kindName(event.kind);
    json["station"] = first.isEmpty() ? Json(nullptr) : Json(byteAt(first, 0));
    json["function"] = first.isEmpty() ? Json(nullptr) : Json(byteAt(first, 1) & ~EXCEPTION_BIT);
    json["request"] = hexOrNull(event.request);
    json["reply"] = hexOrNull(event.reply);
    json["damaged"] = hexOrNull(event.damaged);
    json["response_ms"] = event.kind == BusEvent::Exchange
                              ? Json(static_cast<double>(replyTimeUs(event, settings)) / 1000)
                              : Json(nullptr);
    json["text"] = utf8(eventText(event));
    return json;
}

std::vector<Json> polledJson(const BusWatch& watch, const RegisterIndex& index) {
    std::vector<Json> objects;
    for (const auto& entry : watch.requests()) {
        objects.push_back(requestJson(entry.second, index));
    }
    for (const auto& [number, station] : watch.stations()) {
        objects.push_back(stationJson(number, station));
    }
    return objects;
}

Json listenJson(const BusWatch& watch, qint64 us) {
    std::vector<Json> signs;
    for (const QString& sign : watch.signs()) {
        signs.emplace_back(utf8(sign));
    }
    Json json = summaryJson("listen");
    json["seconds"] = static_cast<double>(us) / 1e6;
    addCounts(watch.all(), &json);
    json["stations"] = watch.stations().size();
    json["broadcasts"] = watch.broadcasts();
    json["stray_bytes"] = watch.strayBytes();
    json["unlisted"] = watch.unlisted();
    json["signs"] = signs;
    return json;
}

}  // namespace dx7::cli

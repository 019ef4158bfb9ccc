#include "host/cli/raw_output.h"

#include <cmath>

#include "host/cli/output.h"
#include "host/exchange/rtu_frame.h"
#include "host/files/frame_text.h"

namespace dx7::cli {

namespace {

constexpr int DATA_START = 3;

bool isException(const RawEnd& end) {
    return end.kind == RawEnd::Reply && (byteAt(end.bytes, 1) & EXCEPTION_BIT) != 0 &&
           end.bytes.size() == EXCEPTION_FRAME_BYTES;
}

Json valuesJson(const QVector<RegisterValue>& values, const ValueFormat& format) {
    std::vector<Json> list;
    for (const RegisterValue& value : values) {
        const double number = valueNumber(format, value.raw);
        list.push_back(Json{{"register", value.number},
                            {"value", std::isfinite(number) ? Json(number) : Json(nullptr)},
                            {"text", utf8(wordText(format, value.raw))}});
    }
    return list;
}

QString wordsOf(const RawEnd& end, const QByteArray& request) {
    return end.kind == RawEnd::Damaged
               ? describeFrame(RecordedFrame{0, false, end.bytes}, awaitedReply(request))
               : describeFrame(RecordedFrame{0, false, end.bytes});
}

}  // namespace

QString rawFault(const RawEnd& end, const QByteArray& request, const LineSettings& settings) {
    switch (end.kind) {
        case RawEnd::Reply:
            if (end.perhapsEcho) {
                return QStringLiteral("what came may be the adapter's echo; say which with --echo on or off");
            }
            return end.perhapsLate
                       ? QStringLiteral("it may be the late reply to an earlier request; raise --timeout")
                       : QString();
        case RawEnd::Foreign:
            return QStringLiteral("what came is of another station or function code");
        case RawEnd::Damaged:
            return wordsOf(end, request);
        case RawEnd::Broadcast:
            return QString();
        default:
            return QStringLiteral("no reply within %1 ms%2")
                .arg(settings.timeoutMs)
                .arg(QLatin1String(end.echoed ? "; the adapter's echo came" : ""));
    }
}

QVector<RegisterValue> rawValues(const RawEnd& end, const QByteArray& request, const ValueFormat& format) {
    const int function = byteAt(end.bytes, 1);
    const bool registers = readsWords(function) || function == READ_WRITE_REGISTERS;
    const QByteArray words = end.bytes.mid(DATA_START, end.bytes.size() - DATA_START - CRC_BYTES);
    if (end.kind != RawEnd::Reply || !registers || words.size() != byteAt(end.bytes, 2)) {
        return {};
    }
    return registerValues(format, wordAt(request, 2), words);
}

QString rawText(const RawEnd& end, const QByteArray& request) {
    return end.bytes.isEmpty() ? QString()
                               : QStringLiteral("%1  (%2 ms)  %3")
                                     .arg(hexText(end.bytes), msText(end.afterUs), wordsOf(end, request));
}

Json rawJson(const RawEnd& end, const QByteArray& request, const LineSettings& settings,
             const ValueFormat* format) {
    const QString fault = rawFault(end, request, settings);
    const bool came = !end.bytes.isEmpty();
    Json json = eventJson("raw");
    json["time"] = isoTime();
    json["request"] = utf8(hexText(request));
    json["reply"] = came ? Json(utf8(hexText(end.bytes))) : Json(nullptr);
    json["response_ms"] = came ? Json(static_cast<double>(end.afterUs) / 1000) : Json(nullptr);
    json["text"] = came ? Json(utf8(wordsOf(end, request))) : Json(nullptr);
    json["exception"] = isException(end) ? Json(byteAt(end.bytes, 2)) : Json(nullptr);
    json["values"] =
        format == nullptr ? Json(nullptr) : valuesJson(rawValues(end, request, *format), *format);
    json["echoed"] = end.echoed;
    json["fault"] = fault.isEmpty() ? Json(nullptr) : Json(utf8(fault));
    return json;
}

}  // namespace dx7::cli

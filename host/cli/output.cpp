#include "host/cli/output.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>

#include "common/printable.h"
#include "host/error.h"
#include "host/line/clock.h"

namespace dx7::cli {

namespace {

void printLine(const char* line) {
    if (std::fprintf(stdout, "%s\n", line) < 0 || std::fflush(stdout) != 0) {
        throw LineError(QStringLiteral("standard output cannot be written: %1").arg(systemReason(errno)));
    }
}

}  // namespace

void print(const QString& line) {
    printLine(line.toUtf8().constData());
}

void print(const Json& object) {
    printLine(object.dump().c_str());
}

bool tell(const QString& line) {
    try {
        print(line);
        return true;
    } catch (const LineError& error) {
        printError(error.text());
        printError(line);
        return false;
    }
}

bool tell(const Json& object) {
    return tell(QString::fromStdString(object.dump()));
}

void printError(const QString& line) {
    std::fprintf(stderr, "dx7: %s\n", dx7common::printable(utf8(line)).c_str());
}

std::string isoTime(qint64 wallUs) {
    return utf8(isoLocalTime(wallUs));
}

qint64 wallTimeOf(qint64 clockUs) {
    return wallTimeUs() - (SystemClock().nowUs() - clockUs);
}

qint64 wallTimeOf(const PointState& state) {
    return wallTimeOf(state.raw ? state.readUs : state.sinceUs);
}

QString causeText(const PointState& state) {
    const QString quality = qualityText(state.quality);
    return state.fault.isEmpty() ? quality
                                 : QStringLiteral("%1 since %2: %3")
                                       .arg(quality, timeOfDay(wallTimeOf(state.sinceUs)), state.fault);
}

std::string utf8(const QString& text) {
    return text.toStdString();
}

Json eventJson(const char* event) {
    return Json{{"event", event}};
}

Json summaryJson(const char* command) {
    Json json = eventJson("summary");
    json["command"] = command;
    return json;
}

Json numberJson(const ValueFormat& format, quint32 raw) {
    const double number = valueNumber(format, raw);
    if (!std::isfinite(number)) {
        return nullptr;
    }
    const bool fraction = format.scaled() || format.presentation == Presentation::Float;
    return fraction ? Json(number) : Json(static_cast<qint64>(number));
}

Json itemJson(const char* event, const std::string& time, const QString& line, const Point& point,
              std::optional<quint32> raw) {
    Json json = eventJson(event);
    json["time"] = time;
    json["line"] = utf8(line);
    json["name"] = utf8(point.name);
    json["item"] = utf8(point.notation());
    json["station"] = point.station;
    json["type"] = utf8(point.type.name);
    json["address"] = utf8(point.type.addressText(point.address));
    json["value"] = raw ? numberJson(point.format, *raw) : Json(nullptr);
    json["text"] = raw ? Json(utf8(valueText(point.format, point.type, *raw))) : Json(nullptr);
    if (!point.format.unit.isEmpty()) {
        json["unit"] = utf8(point.format.unit);
    }
    if (!point.format.bare) {
        json["format"] = utf8(formatText(point.format));
    }
    return json;
}

void addQuality(Quality quality, const QString& fault, Json* json) {
    (*json)["quality"] = utf8(qualityText(quality));
    if (!fault.isEmpty()) {
        (*json)["fault"] = utf8(fault);
    }
}

Json pointJson(const QString& line, const Point& point, const PointState& state, qint64 wallUs) {
    Json json = itemJson("value", isoTime(wallUs), line, point, state.raw);
    addQuality(state.quality, state.fault, &json);
    if (!state.fault.isEmpty()) {
        json["since"] = isoTime(wallTimeOf(state.sinceUs));
    }
    return json;
}

Json durationsJson(const LatencyHistogram& histogram) {
    const auto milliseconds = [&](qint64 us) {
        return histogram.count() > 0 ? Json(static_cast<double>(us) / 1000) : Json(nullptr);
    };
    return Json{{"min", milliseconds(histogram.minUs())},
                {"median", milliseconds(histogram.percentileUs(50))},
                {"p99", milliseconds(histogram.percentileUs(99))},
                {"max", milliseconds(histogram.maxUs())}};
}

QString shellWord(const QString& word) {
    const auto plain = [](QChar character) {
        return character.isLetterOrNumber() || QStringLiteral("/._-:+,@%").contains(character);
    };
    if (!word.isEmpty() && std::all_of(word.begin(), word.end(), plain)) {
        return word;
    }
    QString quoted = word;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

QString msText(qint64 us) {
    return QString::number(static_cast<double>(us) / 1000, 'f', 2);
}

QString counted(qint64 number, const char* noun) {
    return QStringLiteral("%1 %2%3").arg(number).arg(QLatin1String(noun),
                                                     QLatin1String(number == 1 ? "" : "s"));
}

}  // namespace dx7::cli

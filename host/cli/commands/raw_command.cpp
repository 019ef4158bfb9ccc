#include "common/modbus_limits.h"
#include "host/cli/commands/commands.h"
#include "host/cli/output.h"
#include "host/cli/raw_line.h"
#include "host/cli/raw_output.h"
#include "host/cli/stop_signal.h"
#include "host/duration_text.h"
#include "host/error.h"
#include "host/exchange/rtu_frame.h"
#include "host/files/frame_text.h"
#include "host/files/wall_clock.h"
#include "host/items/byte_text.h"
#include "host/number_text.h"

namespace dx7::cli {

namespace {

constexpr qint64 SHORTEST_INTERVAL_US = 1000;

struct RawOptions : CommonOptions {
    std::vector<std::string> bytes;
    std::optional<std::string> station;
    bool frame = false;
    std::string as;
    std::string repeat;
    std::optional<qint64> count;
};

void checkRawOptions(const RawOptions& options) {
    if (options.frame && options.station) {
        throw UsageError(QStringLiteral(
            "--station is of no use with --frame, whose first byte is the station; leave one of them out"));
    }
    if (options.count && options.repeat.empty()) {
        throw UsageError(
            QStringLiteral("--count says how often to repeat, use it with --repeat, such as --repeat 1s"));
    }
    if (options.count && *options.count < 1) {
        throw UsageError(QStringLiteral("--count is %1, it must be at least 1").arg(*options.count));
    }
}

// The frame with its CRC.
QByteArray requestOf(const RawOptions& options) {
    QByteArray frame = bytesFromWords(texts(options.bytes));
    if (!options.frame) {
        const int station = options.station ? numberInRange(text(*options.station), "station (--station)", 0,
                                                            dx7common::HIGHEST_STATION)
                                            : dx7common::LOWEST_STATION;
        frame.prepend(static_cast<char>(station));
    } else if (frame.size() < 2) {
        throw UsageError(
            QStringLiteral(
                "a frame has a station and a function code at least, %1 was given; the CRC is added")
                .arg(counted(frame.size(), "byte")));
    }
    if (options.frame && endsWithCrc(frame, 0, frame.size())) {
        printError(QStringLiteral("the frame ends with its CRC, which is not added again"));
    } else {
        appendCrc(frame);
    }
    if (frame.size() > LONGEST_FRAME_BYTES) {
        throw UsageError(QStringLiteral("the frame has %1 bytes with its CRC, it must have at most %2")
                             .arg(frame.size())
                             .arg(LONGEST_FRAME_BYTES));
    }
    return frame;
}

// The values that --as asks for; null without it.
std::unique_ptr<ValueFormat> formatOf(const RawOptions& options, const QByteArray& request) {
    if (options.as.empty()) {
        return nullptr;
    }
    auto format = std::make_unique<ValueFormat>(wordFormat(text(options.as)));
    const int function = byteAt(request, 1);
    if (!readsWords(function) && function != READ_WRITE_REGISTERS) {
        throw UsageError(
            QStringLiteral("--as shows registers, function code %1 (%2) reads none: use 03, 04 or 17")
                .arg(function, 2, 16, QLatin1Char('0'))
                .arg(functionName(function)));
    }
    return format;
}

class RawPrinter {
public:
    RawPrinter(const RawOptions& options, const LineSettings& settings, const QByteArray& request,
               const ValueFormat* format)
        : options_(options), settings_(settings), request_(request), format_(format) {}

    void printRequest() const {
        if (!options_.json) {
            print(QStringLiteral("-> %1  %2")
                      .arg(hexText(request_), describeFrame(RecordedFrame{0, true, request_})));
        }
    }
    // True for a reply that can be believed.
    bool printEnd(const RawEnd& end) const {
        const QString fault = rawFault(end, request_, settings_);
        if (options_.json) {
            print(rawJson(end, request_, settings_, format_));
        } else {
            printText(end);
        }
        if (!fault.isEmpty()) {
            printError(timed(fault));
        }
        return fault.isEmpty();
    }

private:
    QString timed(const QString& line) const {
        return options_.repeat.empty() ? line : timeOfDay(wallTimeUs()) + QStringLiteral("  ") + line;
    }
    void printText(const RawEnd& end) const {
        const QString reply = rawText(end, request_);
        if (!reply.isEmpty()) {
            print(timed(QStringLiteral("<- ") + reply));
        } else if (end.kind == RawEnd::Broadcast) {
            print(timed(QStringLiteral("sent to all stations, which do not answer")));
        }
        if (format_ == nullptr) {
            return;
        }
        for (const RegisterValue& value : rawValues(end, request_, *format_)) {
            print(QStringLiteral("   0x%1 = %2")
                      .arg(QStringLiteral("%1").arg(value.number, 4, 16, QLatin1Char('0')).toUpper(),
                           wordText(*format_, value.raw)));
        }
    }

    const RawOptions& options_;
    const LineSettings& settings_;
    const QByteArray& request_;
    const ValueFormat* format_;
};

// Again and again until a signal, the count or the loss of the line. Returns how often there was a reply.
qint64 repeat(RawLine& line, const RawPrinter& printer, const QByteArray& request, qint64 intervalUs,
              std::optional<qint64> count) {
    qint64 replies = 0;
    qint64 nextUs = line.nowUs();
    for (qint64 sent = 0; !count || sent < *count; ++sent) {
        if (!line.waitUntil(nextUs)) {
            break;
        }
        const std::optional<RawEnd> end = line.exchange(request);
        if (!end) {
            break;
        }
        replies += printer.printEnd(*end) ? 1 : 0;
        // Those that are missed are left out.
        const qint64 lateUs = std::max<qint64>(line.nowUs() - nextUs, 0);
        nextUs += (lateUs / intervalUs + 1) * intervalUs;
    }
    return replies;
}

int runRaw(const RawOptions& options) {
    checkRawOptions(options);
    const QByteArray request = requestOf(options);
    const std::unique_ptr<ValueFormat> format = formatOf(options, request);
    const qint64 intervalUs =
        options.repeat.empty() ? 0 : durationUs(text(options.repeat), "--repeat", SHORTEST_INTERVAL_US);
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    RawLine line(loaded, settings, options);
    const RawPrinter printer(options, settings, request, format.get());
    bool good = false;
    if (line.listenFirst()) {
        printer.printRequest();
        const std::optional<qint64> count = options.repeat.empty() ? std::optional<qint64>(1) : options.count;
        good = repeat(line, printer, request, std::max<qint64>(intervalUs, 1), count) > 0 && !line.lost();
    }
    if (line.dropped() > 0) {
        printError(QStringLiteral("%1 came that answers nothing, and was dropped")
                       .arg(counted(line.dropped(), "piece")));
    }
    line.closeRecording();
    return good ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addRawCommand(CommandLine& program) {
    auto options = std::make_shared<RawOptions>();
    CommandLine& command =
        program.addCommand("raw", "Sends a request of any kind and shows its reply, byte for byte");
    command.add("bytes", &options->bytes, "Function code and data, two hexadecimal digits each")
        .demand()
        .named("BYTE");
    command.add("--station", &options->station, "Station 0 to 247 (default 1)").named("N");
    command.add("--frame", &options->frame, "The bytes begin with the station");
    command.add("--as", &options->as, "Show registers as u16, s16, hex, u32, s32, f32, ...; as f32/low-first")
        .named("FORMAT")
        .suggest({"u16", "s16", "hex", "u32", "s32", "f32", "hex32"})
        .check(notEmpty);
    command.add("--repeat", &options->repeat, "Again and again, such as 1s or 500ms, until Ctrl-C")
        .named("INTERVAL")
        .suggest({"100ms", "500ms", "1s", "10s", "1min"})
        .check(notEmpty);
    command.add("--count", &options->count, "With --repeat: so often").check(wholeNumber).named("N");
    addDeviceOptions(command, *options);
    addAnywayOption(command, *options);
    command.footer(
        "Blanks between the bytes and 0x before them may be left out; the CRC is added. All of them are\n"
        "hexadecimal, the function code too: 10 writes registers. What is sent is sent once and as it "
        "stands,\n"
        "also a write. Where the reply looks like the request, a status query tells it from an echo "
        "(--echo).\n"
        "Examples:\n"
        "  dx7 raw --serial /dev/ttyUSB0 --station 5 04 0000 0002 --as f32\n"
        "  dx7 raw --tcp 192.168.0.10:8888 --frame 01 2B 0E 01 00\n"
        "  dx7 raw --modbus-tcp 192.168.0.20 --station 3 03 0010 0004 --as u32/low-first --repeat 1s\n"
        "Exit code 0 for any reply with a valid CRC, an exception too; else 1.");
    command.action([options] { return runRaw(*options); });
}

}  // namespace dx7::cli

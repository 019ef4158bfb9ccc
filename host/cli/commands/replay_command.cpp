#include <optional>

#include "host/cli/commands/commands.h"
#include "host/cli/options.h"
#include "host/cli/output.h"
#include "host/error.h"
#include "host/exchange/damage.h"
#include "host/exchange/rtu_frame.h"
#include "host/files/frame_text.h"
#include "host/files/wall_clock.h"

namespace dx7::cli {

namespace {

// The reply that is waited for after a frame: a request begins the wait, and a whole frame that answers it
// ends it.
AwaitedReply awaitedAfter(const RecordedFrame& frame, const AwaitedReply& before) {
    if (frame.request) {
        return awaitedReply(frame.bytes);
    }
    const bool answers = endsWithCrc(frame.bytes, 0, frame.bytes.size()) && headOf(frame.bytes, 0, before);
    return answers ? AwaitedReply() : before;
}

// `requestUs`: when the last request was, if there was one.
void printFrame(const RecordedFrame& frame, const AwaitedReply& awaited, std::optional<qint64> requestUs,
                bool json) {
    // A clock that was set back says nothing of how long it took.
    const bool timed = !frame.request && requestUs && frame.timeUs >= *requestUs;
    const double ms = timed ? static_cast<double>(frame.timeUs - *requestUs) / 1000 : 0;
    if (json) {
        Json object = eventJson("frame");
        object["time"] = utf8(isoUtcTime(frame.timeUs));
        object["direction"] = frame.request ? "request" : "reply";
        if (timed) {
            object["response_ms"] = ms;
        }
        object["bytes"] = utf8(hexText(frame.bytes));
        object["text"] = utf8(describeFrame(frame, awaited));
        print(object);
        return;
    }
    const QString after = timed ? QStringLiteral("+%1 ms").arg(ms, 0, 'f', 1) : QString();
    print(QStringLiteral("%1 %2 %3 %4  [%5]")
              .arg(timeOfDay(frame.timeUs), QLatin1String(frame.request ? "->" : "<-"))
              .arg(after, 10)
              .arg(describeFrame(frame, awaited), hexText(frame.bytes)));
}

int runReplay(const CommonOptions& options) {
    std::optional<qint64> requestUs;
    AwaitedReply awaited;
    qint64 frames = 0;
    RecordingReader reader(text(options.file));
    for (RecordedFrame frame; reader.next(&frame); ++frames) {
        printFrame(frame, awaited, requestUs, options.json);
        awaited = awaitedAfter(frame, awaited);
        if (frame.request) {
            requestUs = frame.timeUs;
        }
    }
    if (!reader.breaksOff().isEmpty()) {
        throw LineError(QStringLiteral("%1 breaks off after %2: %3")
                            .arg(text(options.file), counted(frames, "frame"), reader.breaksOff()));
    }
    return EXIT_DONE;
}

}  // namespace

void addReplayCommand(CommandLine& program) {
    auto options = std::make_shared<CommonOptions>();
    CommandLine& command = program.addCommand("replay", "Prints a recording made with --record");
    command.add("file", &options->file, "The recording; - is standard input")
        .demand()
        .named("FILE")
        .check(notEmpty);
    addJsonOption(command, *options);
    command.footer(
        "Examples:\n"
        "  dx7 replay line.pcap\n"
        "  tshark -r line.pcap -o mbrtu.tcp.port:502      (the same in Wireshark's words)\n"
        "A recording that breaks off is printed as far as it goes; the exit code is 1 then.");
    command.action([options] { return runReplay(*options); });
}

}  // namespace dx7::cli

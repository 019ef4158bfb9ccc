#include "host/cli/commands/commands.h"
#include "host/cli/options.h"
#include "host/cli/output.h"
#include "host/error.h"
#include "host/exchange/rtu_frame.h"
#include "host/files/frame_text.h"
#include "host/files/wall_clock.h"

namespace dx7::cli {

namespace {

void printFrame(const RecordedFrame& frame, qint64 sinceRequestUs, bool json) {
    const double ms = static_cast<double>(sinceRequestUs) / 1000;
    if (json) {
        Json object = eventJson("frame");
        object["time"] = utf8(isoUtcTime(frame.timeUs));
        object["direction"] = frame.request ? "request" : "reply";
        if (!frame.request && sinceRequestUs >= 0) {
            object["response_ms"] = ms;
        }
        object["bytes"] = utf8(hexText(frame.bytes));
        object["text"] = utf8(describeFrame(frame));
        print(object);
        return;
    }
    const QString after =
        !frame.request && sinceRequestUs >= 0 ? QStringLiteral("+%1 ms").arg(ms, 0, 'f', 1) : QString();
    print(QStringLiteral("%1 %2 %3 %4  [%5]")
              .arg(timeOfDay(frame.timeUs), QLatin1String(frame.request ? "->" : "<-"))
              .arg(after, 10)
              .arg(describeFrame(frame), hexText(frame.bytes)));
}

int runReplay(const CommonOptions& options) {
    qint64 requestUs = -1;
    qint64 frames = 0;
    RecordingReader reader(text(options.file));
    for (RecordedFrame frame; reader.next(&frame); ++frames) {
        printFrame(frame, requestUs < 0 ? -1 : frame.timeUs - requestUs, options.json);
        requestUs = frame.request ? frame.timeUs : requestUs;
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

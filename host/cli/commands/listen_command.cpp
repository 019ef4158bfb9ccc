#include <unistd.h>

#include "host/cli/commands/commands.h"
#include "host/cli/listen_line.h"
#include "host/cli/listen_output.h"
#include "host/cli/output.h"
#include "host/cli/output_files.h"
#include "host/cli/polled_file.h"
#include "host/cli/saved_file.h"
#include "host/cli/screen/listen_view.h"
#include "host/error.h"

namespace dx7::cli {

namespace {

struct ListenOptions : CommonOptions {
    std::optional<double> seconds;
    bool force = false;
};

// Above any time that a program runs.
constexpr double LONGEST_S = 1e9;

void checkListenOptions(const ListenOptions& options, const LineSettings& settings) {
    if (options.seconds && !(*options.seconds > 0)) {
        throw UsageError(QStringLiteral("--seconds is %1, it must be above 0").arg(*options.seconds));
    }
    if (settings.carrier == Carrier::ModbusTcp) {
        throw UsageError(
            QStringLiteral("a Modbus/TCP connection carries only what its own client asks, so there is "
                           "nothing else to hear; listen to the serial line behind the server (--serial "
                           "PORT)"));
    }
}

// False when it could not be said on standard output.
bool tellAll(const QStringList& lines) {
    bool told = true;
    for (const QString& line : lines) {
        told = tell(line) && told;
    }
    return told;
}

// What was heard, however the listening ended.
bool tellSummary(ListenLine& listening, const RegisterIndex& index, bool json) {
    const BusWatch& watch = listening.watch();
    const qint64 us = listening.heardUs();
    if (json) {
        bool told = true;
        for (const Json& object : polledJson(watch, index)) {
            told = tell(object) && told;
        }
        return tell(listenJson(watch, us)) && told;
    }
    QStringList lines = requestLines(watch, index);
    lines += stationLines(watch);
    lines += watch.signs();
    lines += listenSum(watch, us);
    if (watch.all().requests == 0 && watch.broadcasts() == 0) {
        lines += listening.heard()
                     ? QStringLiteral(
                           "no request was heard: is it another baud rate or parity? "
                           "dx7 scan --find hears which")
                     : QStringLiteral(
                           "not a byte came: does anything poll on this line, and is the adapter "
                           "wired to it (A and B)?");
    }
    return tellAll(lines);
}

// False when there is nothing to save.
bool save(const ListenOptions& options, const LineSettings& settings, ListenLine& listening,
          const RegisterIndex& index) {
    const BusWatch& watch = listening.watch();
    const QString file = text(options.file);
    if (watch.requests().empty()) {
        printError(QStringLiteral("%1 is not written: no request was heard").arg(file));
        return false;
    }
    const QString comment = QStringLiteral("What a master polls on %1, heard by dx7 listen, %2\n%3")
                                .arg(describeLine(settings), QString::fromStdString(isoTime()),
                                     listenSum(watch, listening.heardUs()));
    const PolledFile polled = polledFile(watch, index, settings, comment);
    const QString before = saveFile(options, polled.content, options.force);
    if (!options.json) {
        tell(QStringLiteral("%1 saved in %2%3").arg(counted(polled.items, "item"), file, before));
    }
    return true;
}

std::unique_ptr<ListenView> viewOf(const ListenOptions& options, const LineSettings& settings,
                                   const BusWatch& watch, const RegisterIndex& index) {
    if (options.json || !TerminalScreen::possible()) {
        return nullptr;
    }
    QString why;
    std::unique_ptr<TerminalScreen> screen = TerminalScreen::open(&why);
    if (!screen) {
        printError(QStringLiteral("%1, so what was heard is printed at the end").arg(why));
        return nullptr;
    }
    return std::make_unique<ListenView>(std::move(screen), watch, index, describeLine(settings));
}

// Listens to its end; says why it ended before that. True when nothing was missed.
bool listenToEnd(const ListenOptions& options, const LineSettings& settings, ListenLine& listening,
                 ListenView* view, QString* fault) {
    const auto goesOn = [&] {
        if (view != nullptr) {
            view->serve(listening.heardUs());
        }
        return view == nullptr || !view->quit();
    };
    std::optional<qint64> untilUs;
    if (options.seconds) {
        untilUs = static_cast<qint64>(std::min(*options.seconds, LONGEST_S) * 1e6);
    }
    try {
        const bool open = listening.run(untilUs, goesOn);
        listening.finish();
        if (!open) {
            *fault = QStringLiteral("%1 was lost: %2").arg(describeLine(settings), listening.failure());
        }
    } catch (const LineError& error) {
        *fault = error.text();
    }
    return fault->isEmpty();
}

int runListen(const ListenOptions& options) {
    const Driver loaded(options);
    LineSettings settings = lineSettings(options, loaded.parameter(), true);
    settings.listenOnly = true;
    checkListenOptions(options, settings);
    checkSavedFile(loaded, settings, options, options.force);
    if (!options.recordPath.empty()) {
        checkRecordingPath(loaded, settings, options);
    }
    DriverSession session(loaded.library.functions(), propertyText(settings, 1));
    const RegisterIndex index(session, loaded.notation.types());
    ListenLine listening(settings, options);
    listening.open();
    if (const QString rts = listening.rtsText(); !rts.isEmpty()) {
        printError(rts);
    }
    std::unique_ptr<ListenView> view = viewOf(options, settings, listening.watch(), index);
    if (!view && ::isatty(STDERR_FILENO) != 0) {
        printError(
            QStringLiteral("listening to %1; Ctrl-C ends it with a summary").arg(describeLine(settings)));
    }
    QString fault;
    bool good = listenToEnd(options, settings, listening, view.get(), &fault);
    view.reset();
    if (!good) {
        printError(fault);
    }
    if (listening.stalls() > 0) {
        printError(QStringLiteral("warning: the output was not taken for long, %1; what was said on the line "
                                  "meanwhile may be missing")
                       .arg(counted(listening.stalls(), "time")));
    }
    good = tellSummary(listening, index, options.json) && good;
    try {
        good = (options.file.empty() || save(options, settings, listening, index)) && good;
    } catch (const LineError& error) {
        printError(error.text());
        good = false;
    }
    listening.closeRecording();
    return good ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addListenCommand(CommandLine& program) {
    auto options = std::make_shared<ListenOptions>();
    CommandLine& command =
        program.addCommand("listen", "Shows what another master polls on a line, and sends nothing");
    command.add("--seconds", &options->seconds, "Stop after so many seconds").check(anyNumber).named("N");
    command.add("--save", &options->file, "Write the items that are polled as a line file")
        .named("FILE")
        .check(notEmpty);
    command.add("--force", &options->force, "Replace FILE; the one before is kept under another name");
    addDriverOption(command, *options);
    addJsonOption(command, *options);
    // Taken to be refused with a sentence.
    addPortOptions(command, *options).hide();
    addRecordOption(command, *options);
    command.footer(
        "The port is opened for reading alone, and RTS is lowered, by which some adapters switch their\n"
        "transmitter on: most systems raise it for a moment when they open a port, and nothing keeps them\n"
        "from it. With --tcp it hears what a gateway hands on.\n"
        "Examples:\n"
        "  dx7 listen --serial /dev/ttyUSB1 --baud 19200 --parity even\n"
        "  dx7 listen --serial /dev/ttyUSB1 --seconds 60 --save panel.toml --record line.pcap\n"
        "On a terminal a live view is shown: arrow keys scroll, q quits. A summary comes at the end.\n"
        "Exit code 0 however little was heard; 1 when the line was lost, or FILE could not be written.");
    command.action([options] { return runListen(*options); });
}

}  // namespace dx7::cli

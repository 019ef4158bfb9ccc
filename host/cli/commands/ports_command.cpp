#include "host/cli/commands/commands.h"
#include "host/cli/connection.h"
#include "host/cli/listening.h"
#include "host/cli/output.h"
#include "host/cli/port_output.h"
#include "host/cli/stop_signal.h"
#include "host/cli/value_offers.h"
#include "host/error.h"

namespace dx7::cli {

namespace {

struct PortsOptions : CommonOptions {
    std::string loopbackPort;
};

int listPorts(bool json) {
    const QVector<PortInfo> ports = serialPorts();
    if (json) {
        for (const PortInfo& port : ports) {
            print(portJson(port));
        }
    } else if (!ports.isEmpty()) {
        for (const QString& line : portLines(ports)) {
            print(line);
        }
    }
    if (ports.isEmpty()) {
        printError(
            QStringLiteral("this computer has no serial port: is the adapter plugged in (dmesg tells)?"));
    }
    return ports.isEmpty() ? EXIT_FAILED : EXIT_DONE;
}

LineSettings loopbackSettings(const PortsOptions& options) {
    PortsOptions given = options;
    given.serialPort = options.loopbackPort;
    return lineSettings(given, Driver(options).parameter(), true);
}

// Whatever else speaks on the line must not be disturbed.
QString heardFirst(Line& line, Poller& poller, const LineSettings& settings) {
    int bytes = 0;
    for (const HeardPiece& piece : listen(line, poller, settings, nullptr)) {
        bytes += piece.bytes.size();
    }
    return bytes == 0 ? QString()
                      : QStringLiteral(
                            "%1 came before anything was sent: something else is on the line; the "
                            "test was not begun")
                            .arg(counted(bytes, "byte"));
}

// Settings say nothing of a list.
void refuseSettings(const PortsOptions& options) {
    if (options.baud || options.parity || options.dataBits || options.stopBits) {
        throw UsageError(QStringLiteral(
            "--baud, --parity, --data-bits and --stop-bits are of the test, use them with --loopback PORT"));
    }
}

int runLoopback(const PortsOptions& options) {
    const LineSettings settings = loopbackSettings(options);
    watchStopSignals();
    const std::unique_ptr<Line> line = openLine(settings, options);
    EpollPoller poller;
    poller.add(*line);
    QString fault = heardFirst(*line, poller, settings);
    LoopbackResult result;
    if (fault.isEmpty()) {
        result = testLoopback(*line, poller, settings, stopRequested);
        fault = loopbackFault(result, line->failure());
    }
    if (options.json) {
        print(loopbackJson(settings, result, fault));
    } else if (fault.isEmpty()) {
        print(QStringLiteral("%1: all %2 came back as they were sent; the first after %3 ms, %4 ms of it on "
                             "the line")
                  .arg(describeLine(settings), counted(result.sent, "byte"), msText(result.roundTripUs),
                       msText(lineTimeUs(settings, 1))));
    }
    if (!fault.isEmpty()) {
        printError(describeLine(settings) + QStringLiteral(": ") + fault);
    }
    return fault.isEmpty() ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addPortsCommand(CommandLine& program) {
    auto options = std::make_shared<PortsOptions>();
    CommandLine& command =
        program.addCommand("ports", "Lists the serial ports, who has them open, and tests one");
    command.add("--loopback", &options->loopbackPort, "Test this port, whose TX and RX are bridged")
        .named("PORT")
        .suggest(portOffer())
        .check(notEmpty);
    addDriverOption(command, *options);
    addJsonOption(command, *options);
    addSerialFormatOptions(command, *options);
    command.footer(
        "LATENCY is the time for which a USB adapter collects bytes before it hands them on. HELD BY names\n"
        "the programs that have the port open; those of other users are seen by root alone.\n"
        "--loopback sends all byte values, at the baud rate given, and expects them back. An adapter that\n"
        "echoes needs no bridge.\n"
        "Examples:\n"
        "  dx7 ports\n"
        "  dx7 ports --loopback /dev/ttyUSB0 --baud 115200\n"
        "Exit code 1 when there is no port, or when one fails the test.");
    command.action([options] {
        if (!options->loopbackPort.empty()) {
            return runLoopback(*options);
        }
        refuseSettings(*options);
        return listPorts(options->json);
    });
}

}  // namespace dx7::cli

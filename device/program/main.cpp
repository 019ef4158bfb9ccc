#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "common/exit_codes.h"
#include "common/file_descriptor.h"
#include "common/printable.h"
#include "common/standard_descriptors.h"
#include "common/system_reason.h"
#include "common/timer_slack.h"
#include "device/line/usage_error.h"
#include "device/program/options.h"
#include "device/program/output.h"
#include "device/program/typed_commands.h"
#include "device/server.h"
#include "device/values_file.h"

namespace {

using namespace dx7common;
using namespace dx7sim;

void ignore(int signalNumber) {
    struct sigaction action {};
    action.sa_handler = SIG_IGN;
    ::sigaction(signalNumber, &action, nullptr);
}

// A descriptor on which the signals that end the device arrive.
FileDescriptor catchSignals() {
    sigset_t ending;
    ::sigemptyset(&ending);
    ::sigaddset(&ending, SIGINT);
    ::sigaddset(&ending, SIGTERM);
    ::sigaddset(&ending, SIGHUP);
    ::sigprocmask(SIG_BLOCK, &ending, nullptr);
    ignore(SIGPIPE);
    // In the background a terminal is not ours: reading it shall fail, writing to it go on, neither stop the
    // device.
    ignore(SIGTTIN);
    ignore(SIGTTOU);
    FileDescriptor signals(::signalfd(-1, &ending, SFD_CLOEXEC));
    if (!signals.isOpen()) {
        throw std::runtime_error("cannot receive signals: " + systemReason(errno));
    }
    return signals;
}

std::unique_ptr<Line> openLine(const Options& options) {
    if (options.tcpPort) {
        return openTcp(options.bindAddress, *options.tcpPort);
    }
    if (options.modbusTcpPort) {
        return openTcp(options.bindAddress, *options.modbusTcpPort, Protocol::ModbusTcp);
    }
    if (!options.serial.empty()) {
        return openSerial(options.serial, options.serialSettings);
    }
    return openPty(options.pty, options.strictSettings ? &options.serialSettings : nullptr);
}

// A serial port takes its own time.
LineTiming timingOf(const Options& options) {
    const bool paced = options.baud && options.serial.empty();
    return paced ? LineTiming::ofBaud(*options.baud, options.serialSettings.bitsPerChar()) : LineTiming();
}

std::string readyText(const Line& line, const std::vector<int>& stations) {
    std::string text = "ready on " + printable(line.name()) + ", stations ";
    for (std::size_t i = 0; i < stations.size(); ++i) {
        text += (i == 0 ? "" : ",") + std::to_string(stations[i]);
    }
    return text + "\n";
}

// Gives the device the values to start from.
void setInitialValues(Device& device, const Options& options) {
    if (!options.valuesFile.empty()) {
        for (const InitialValue& initial : readValuesFile(options.valuesFile, options.stations)) {
            device.set(initial.target, initial.value, Time());
        }
    }
}

Server::Trace traceOf(const Options& options, Output& output) {
    return options.trace ? Server::Trace([&output](const std::string& line) { output.trace(line); })
                         : Server::Trace();
}

// Waits until a descriptor is ready or the server's deadline has come.
void wait(const Server& server, std::vector<pollfd>& waitedFor) {
    timespec timeout{};
    const std::optional<Time> until = server.deadline();
    if (until) {
        const Time left = std::max(Time(), *until - server.now());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        timeout.tv_sec = static_cast<decltype(timeout.tv_sec)>(seconds.count());
        timeout.tv_nsec = static_cast<decltype(timeout.tv_nsec)>((left - seconds).count());
    }
    if (::ppoll(waitedFor.data(), waitedFor.size(), until ? &timeout : nullptr, nullptr) < 0) {
        std::for_each(waitedFor.begin(), waitedFor.end(), [](pollfd& one) { one.revents = 0; });
    }
}

// Serves the line until a signal or "quit".
void serve(Server& server, const Line& line, int signals, Output& output) {
    TypedCommands commands(server, output);
    while (!commands.quit()) {
        std::vector<pollfd> waitedFor{{signals, POLLIN, 0}, {commands.descriptor(), POLLIN, 0}};
        for (const int descriptor : line.descriptors()) {
            waitedFor.push_back({descriptor, POLLIN, 0});
        }
        wait(server, waitedFor);
        if (waitedFor[0].revents != 0) {
            return;
        }
        server.advance(std::any_of(waitedFor.begin() + 2, waitedFor.end(),
                                   [](const pollfd& one) { return one.revents != 0; }));
        if (waitedFor[1].revents != 0) {
            commands.read();
        }
    }
}

int runOnLine(Device& device, const Options& options, int signals, Output& output) {
    const std::unique_ptr<Line> line = openLine(options);
    Server server(device, *line, timingOf(options), traceOf(options, output));
    output.print(readyText(*line, device.stations()));
    int exitCode = EXIT_DONE;
    try {
        serve(server, *line, signals, output);
    } catch (const LineError& error) {
        output.printError(error.what());
        exitCode = EXIT_FAILED;
    }
    output.print(server.summary());
    return exitCode;
}

// Runs `action` and says what it throws. Returns the exit code.
template <typename Action>
int reporting(Output& output, Action action) {
    try {
        return action();
    } catch (const UsageError& error) {
        output.printError(error.what());
        return EXIT_USAGE;
    } catch (const std::exception& error) {
        output.printError(error.what());
        return EXIT_FAILED;
    }
}

int runDevice(const Options& options) {
    Device device(options.stations, options.faults, options.seed, options.lateBy,
                  options.moveAll ? Movement::All : Movement::Natural, options.copyAfter,
                  protocolOf(options));
    // Before the signals are caught: they end a device that waits for a values file, as a pipe without a
    // writer.
    setInitialValues(device, options);
    const FileDescriptor signals = catchSignals();
    Output whileRunning(signals.number());
    return reporting(whileRunning,
                     [&] { return runOnLine(device, options, signals.number(), whileRunning); });
}

}  // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors(LostOutput::Vanishes);
    useExactTimers();
    Output output(-1);
    return reporting(output, [&] {
        const ChosenOptions chosen = parseCommandLine(argc, argv);
        return chosen.options ? runDevice(*chosen.options) : chosen.exitCode;
    });
}

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "common/exit_codes.h"
#include "common/file_descriptor.h"
#include "common/printable.h"
#include "common/standard_descriptors.h"
#include "common/system_reason.h"
#include "common/timer_slack.h"
#include "device/line/usage_error.h"
#include "device/options.h"
#include "device/output.h"
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
    return options.pty.empty() ? openSerial(options.serial, options.serialSettings) : openPty(options.pty);
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

int runOnLine(Device& device, const Options& options, int signals, Output& output) {
    const std::unique_ptr<Line> line = openLine(options);
    Server server(device, *line, timingOf(options), signals, output, options.trace);
    output.print(readyText(*line, device.stations()));
    int exitCode = EXIT_DONE;
    try {
        server.run();
    } catch (const LineError& error) {
        output.complain(error.what());
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
        output.complain(error.what());
        return EXIT_USAGE;
    } catch (const std::exception& error) {
        output.complain(error.what());
        return EXIT_FAILED;
    }
}

int runDevice(const Options& options) {
    Device device(options.stations, options.faults, options.seed, options.lateBy,
                  options.moveAll ? Movement::All : Movement::Natural, options.copyAfter);
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

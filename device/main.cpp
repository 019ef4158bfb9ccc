#include <fcntl.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <stdexcept>

#include "descriptor.h"
#include "exit_codes.h"
#include "options.h"
#include "server.h"
#include "usage_error.h"
#include "values_file.h"

namespace {

using namespace dx7sim;

/// Standard input, output and error may be closed; whatever is opened next must not take their numbers.
void occupyStandardDescriptors() {
    int fd = -1;
    do {
        fd = ::open("/dev/null", O_RDWR);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO) {
        ::close(fd);
    }
}

void ignore(int signalNumber) {
    struct sigaction action {};
    action.sa_handler = SIG_IGN;
    ::sigaction(signalNumber, &action, nullptr);
}

/// A descriptor on which the signals that end the device arrive.
Descriptor catchSignals() {
    sigset_t ending;
    ::sigemptyset(&ending);
    ::sigaddset(&ending, SIGINT);
    ::sigaddset(&ending, SIGTERM);
    ::sigaddset(&ending, SIGHUP);
    ::sigprocmask(SIG_BLOCK, &ending, nullptr);
    ignore(SIGPIPE);
    // In the background a terminal's input is not ours: reading it shall fail, not stop the device.
    ignore(SIGTTIN);
    Descriptor signals(::signalfd(-1, &ending, SFD_CLOEXEC));
    if (!signals.isOpen()) {
        throw std::runtime_error("cannot receive signals: " + errnoText());
    }
    return signals;
}

std::unique_ptr<Line> openLine(const Options& options) {
    if (options.tcpPort) {
        return openTcp(options.bindAddress, *options.tcpPort);
    }
    return options.pty.empty() ? openSerial(options.serial, options.serialSettings) : openPty(options.pty);
}

/// A serial port takes its own time.
LineTiming timingOf(const Options& options) {
    const bool paced = options.baud && options.serial.empty();
    return paced ? LineTiming::ofBaud(*options.baud, options.serialSettings.bitsPerChar()) : LineTiming();
}

std::string readyText(const Line& line, const std::vector<int>& stations) {
    std::string text = "ready on " + line.name() + ", stations ";
    for (std::size_t i = 0; i < stations.size(); ++i) {
        text += (i == 0 ? "" : ",") + std::to_string(stations[i]);
    }
    return text;
}

int runDevice(const Options& options) {
    const Descriptor signals = catchSignals();
    Device device(options.stations, options.faults, options.seed, options.lateBy,
                  options.moveAll ? Movement::All : Movement::Natural);
    if (!options.valuesFile.empty()) {
        for (const InitialValue& initial : readValuesFile(options.valuesFile, options.stations)) {
            device.set(initial.target, initial.value, Time());
        }
    }
    const std::unique_ptr<Line> line = openLine(options);
    Server server(device, *line, timingOf(options), signals.get(), options.trace);
    std::cout << readyText(*line, device.stations()) << std::endl;
    int exitCode = EXIT_DONE;
    try {
        server.run();
    } catch (const LineError& error) {
        std::cerr << "dx7-device: " << error.what() << '\n';
        exitCode = EXIT_LINE_FAILED;
    }
    std::cout << server.summary() << std::flush;
    return exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    try {
        const CommandLine commandLine = parseCommandLine(argc, argv);
        return commandLine.options ? runDevice(*commandLine.options) : commandLine.exitCode;
    } catch (const UsageError& error) {
        std::cerr << "dx7-device: " << error.what() << '\n';
        return EXIT_WRONG_USAGE;
    } catch (const std::exception& error) {
        std::cerr << "dx7-device: " << error.what() << '\n';
        return EXIT_LINE_FAILED;
    }
}

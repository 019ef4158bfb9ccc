/// \file
/// The command line of dx7-device.
#ifndef DX7_DEVICE_PROGRAM_OPTIONS_H
#define DX7_DEVICE_PROGRAM_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "device/line/device_time.h"
#include "device/line/line.h"
#include "device/station/faults.h"

namespace dx7sim {

/// What the user asked for.
struct Options {
    std::string pty;
    std::string serial;
    std::optional<int> tcpPort;
    std::optional<int> modbusTcpPort;
    std::string bindAddress = "127.0.0.1";
    std::vector<int> stations{1};
    std::optional<int> baud;
    SerialSettings serialSettings;
    FaultPlan faults;
    std::uint64_t seed = 1;
    Time lateBy{};
    Time copyAfter{};
    std::string valuesFile;
    bool strictSettings = false;
    bool moveAll = false;
    bool trace = false;
};

/// Of the line.
inline Protocol protocolOf(const Options& options) {
    return options.modbusTcpPort ? Protocol::ModbusTcp : Protocol::Rtu;
}

/// What the command line led to: options to run with, or a text already printed and the exit code to end
/// with.
struct ChosenOptions {
    std::optional<Options> options;
    int exitCode = 0;
};

/// Reads the command line. `--help` and `--version` print to standard output, errors to standard error.
ChosenOptions parseCommandLine(int argc, const char* const* argv);

}  // namespace dx7sim

#endif

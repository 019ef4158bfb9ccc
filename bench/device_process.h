/// \file
/// dx7-device in a process of its own, on a processor of its own.
#ifndef DX7_BENCH_DEVICE_PROCESS_H
#define DX7_BENCH_DEVICE_PROCESS_H

#include <string>

#include "tests/kit/device_process.h"
#include "tests/kit/temporary_directory.h"

namespace dx7bench {

/// Runs as station 1 from construction, when it is ready, to destruction.
class DeviceProcess {
public:
    enum class Carrier { Terminal, Tcp };
    /// `baud` is the pace of its line, 0 for none. Throws std::runtime_error when it does not start.
    explicit DeviceProcess(int baud, Carrier carrier = Carrier::Terminal);

    /// What clients open: the path of a pseudo-terminal, or a port on this machine (0 without one).
    const std::string& line() const { return line_; }
    int tcpPort() const { return process_.tcpPort(); }

    /// Processor time it has taken so far; may be asked by any process.
    double processorSeconds() const { return process_.processorSeconds(); }

private:
    kit::TemporaryDirectory folder_;
    std::string line_;
    kit::DeviceProcess process_;
};

}  // namespace dx7bench

#endif

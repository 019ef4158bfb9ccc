/// \file
/// dx7-device in a process of its own, on a processor of its own.
#ifndef DX7_BENCH_DEVICE_PROCESS_H
#define DX7_BENCH_DEVICE_PROCESS_H

#include <sys/types.h>

#include <string>

namespace dx7bench {

/// Runs as station 1 from construction, when it is ready, to destruction.
class DeviceProcess {
public:
    enum class Carrier { Terminal, Tcp };
    /// `baud` is the pace of its line, 0 for none. Throws std::runtime_error when it does not start.
    explicit DeviceProcess(int baud, Carrier carrier = Carrier::Terminal);
    ~DeviceProcess();
    DeviceProcess(const DeviceProcess&) = delete;
    DeviceProcess& operator=(const DeviceProcess&) = delete;

    /// What clients open: the path of a pseudo-terminal, or a port on this machine (0 without one).
    const std::string& line() const { return line_; }
    int tcpPort() const { return tcpPort_; }

    /// Processor time it has taken so far; may be asked by any process.
    double processorSeconds() const;

private:
    void runProgram(int baud, Carrier carrier, int output);
    void awaitReady(int output);

    std::string folder_;
    std::string line_;
    int tcpPort_ = 0;
    pid_t process_ = -1;
};

}  // namespace dx7bench

#endif

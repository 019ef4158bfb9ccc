#include "tests/kit/device_process.h"

#include <csignal>
#include <cstdlib>

namespace kit {

namespace {

std::vector<std::string> deviceCommand(const std::vector<std::string>& line,
                                       const std::vector<std::string>& options) {
    std::vector<std::string> command{DX7_DEVICE_PROGRAM};
    command.insert(command.end(), line.begin(), line.end());
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

}  // namespace

DeviceProcess::DeviceProcess(const std::vector<std::string>& line, const std::vector<std::string>& options,
                             const std::function<void()>& first)
    : Process(deviceCommand(line, options), true, first) {
    m_ready = readLine();
}

int DeviceProcess::tcpPort() const {
    // "ready on tcp 127.0.0.1:36969, stations 1"
    const std::string beginning = "ready on tcp ";
    return m_ready.rfind(beginning, 0) == 0 ? std::atoi(m_ready.c_str() + m_ready.find(':') + 1) : 0;
}

Finished DeviceProcess::stop() {
    signal(SIGINT);
    return finish();
}

}  // namespace kit

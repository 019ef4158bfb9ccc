#include "tests/kit/device_process.h"

#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace kit {

const char* const deviceProgram = DX7_DEVICE_PROGRAM;

namespace {

// A device that has closed its output ends at once.
constexpr int END_MS = 1000;

std::vector<std::string> deviceCommand(const std::vector<std::string>& line,
                                       const std::vector<std::string>& options) {
    std::vector<std::string> command{deviceProgram};
    command.insert(command.end(), line.begin(), line.end());
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

}  // namespace

DeviceProcess::DeviceProcess(const std::vector<std::string>& line, const std::vector<std::string>& options,
                             const std::function<void()>& first)
    : Process(deviceCommand(line, options), true, first) {
    ready_ = readLine();
    if (ready_.rfind("ready on ", 0) != 0) {
        throw std::runtime_error("dx7-device is not ready: " + ready_ + finish(END_MS).errors);
    }
}

int DeviceProcess::tcpPort() const {
    // "ready on tcp 127.0.0.1:36969, stations 1"
    const bool tcp = ready_.find("tcp ") != std::string::npos;
    return tcp ? std::atoi(ready_.c_str() + ready_.find(':') + 1) : 0;
}

Finished DeviceProcess::stop() {
    signal(SIGINT);
    return finish();
}

}  // namespace kit

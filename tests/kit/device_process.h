/// \file
/// The program dx7-device, run as a user runs it.
#ifndef DX7_TESTS_KIT_DEVICE_PROCESS_H
#define DX7_TESTS_KIT_DEVICE_PROCESS_H

#include <functional>
#include <string>
#include <vector>

#include "tests/kit/process.h"

namespace kit {

/// Where this build has dx7-device.
extern const char* const deviceProgram;

/// dx7-device, ready for clients.
class DeviceProcess : public Process {
public:
    /// `line` is "--pty", "PATH" or the like. Throws std::runtime_error with what the device says when it
    /// does not become ready in time.
    DeviceProcess(const std::vector<std::string>& line, const std::vector<std::string>& options,
                  const std::function<void()>& first = {});

    /// What it said: "ready on ...".
    const std::string& ready() const { return ready_; }
    /// The port of "--tcp", "0" or "--modbus-tcp", "0"; 0 on another line.
    int tcpPort() const;

    /// Ends it as Ctrl-C does.
    Finished stop();

private:
    std::string ready_;
};

}  // namespace kit

#endif

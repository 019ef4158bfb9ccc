#include "device_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "processor.h"

namespace dx7bench {

DeviceProcess::DeviceProcess(int baud, Carrier carrier) {
    char folder[] = "/tmp/dx7-bench-XXXXXX";
    int output[2];
    if (::mkdtemp(folder) == nullptr || ::pipe(output) != 0) {
        throw std::runtime_error("no temporary folder or no pipe for the device");
    }
    folder_ = folder;
    line_ = folder_ + "/line";
    process_ = ::fork();
    if (process_ == 0) {
        ::close(output[0]);
        runProgram(baud, carrier, output[1]);
    }
    ::close(output[1]);
    awaitReady(output[0]);
    ::close(output[0]);
}

void DeviceProcess::runProgram(int baud, Carrier carrier, int output) {
    runAsDevice();
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    ::dup2(output, STDOUT_FILENO);
    const int nothing = ::open("/dev/null", O_RDWR);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(nothing, STDERR_FILENO);
    const std::string speed = std::to_string(baud);
    std::vector<const char*> words = {DX7_DEVICE_PROGRAM};
    if (carrier == Carrier::Tcp) {
        words.insert(words.end(), {"--tcp", "0"});
    } else {
        words.insert(words.end(), {"--pty", line_.c_str()});
    }
    if (baud > 0) {
        words.insert(words.end(), {"--baud", speed.c_str()});
    }
    words.push_back(nullptr);
    ::execv(DX7_DEVICE_PROGRAM, const_cast<char* const*>(words.data()));
    ::_exit(127);
}

void DeviceProcess::awaitReady(int output) {
    std::string text;
    char byte = 0;
    while (::read(output, &byte, 1) == 1 && byte != '\n') {
        text += byte;
    }
    if (text.rfind("ready on ", 0) != 0) {
        throw std::runtime_error("dx7-device does not start");
    }
    // "ready on tcp 127.0.0.1:36969, stations 1"
    const std::size_t colon = text.find(':');
    tcpPort_ = text.rfind("ready on tcp ", 0) == 0 ? std::atoi(text.c_str() + colon + 1) : 0;
}

DeviceProcess::~DeviceProcess() {
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
    ::unlink(line_.c_str());
    ::rmdir(folder_.c_str());
}

double DeviceProcess::processorSeconds() const {
    clockid_t clock = 0;
    timespec time{};
    if (::clock_getcpuclockid(process_, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("the device has ended");
    }
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

}  // namespace dx7bench

/// \file
/// What `dx7 monitor` costs on a line of 9600 baud whose bytes come one by one, as a real line's do, beside a
/// loop that does nothing but send and receive.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "device_process.h"
#include "line_client.h"
#include "processor.h"
#include "program.h"
#include "sample.h"
#include "worker.h"

namespace {

using namespace dx7bench;

const int BAUD = 9600;
// Until the first values are shown and proven.
const int SETTLE_SECONDS = 3;

void sleepFor(int seconds) {
    const timespec time{seconds, 0};
    ::nanosleep(&time, nullptr);
}

/// The number after the last `"name":` in what the program printed.
double numberNamed(const std::string& text, const std::string& name) {
    const std::size_t at = text.rfind("\"" + name + "\":");
    if (at == std::string::npos) {
        throw std::runtime_error("dx7 monitor printed no summary");
    }
    return std::strtod(text.c_str() + text.find(':', at) + 1, nullptr);
}

/// `dx7 monitor` of the 40 blocks, as a process.
class Monitor {
public:
    Monitor(const DeviceProcess& device, int seconds)
        : output_(::memfd_create("monitor", MFD_CLOEXEC)), process_(::fork()) {
        if (process_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            runAsClient();
            ::dup2(output_, STDOUT_FILENO);
            runProgram(device.line(), std::to_string(seconds));
        }
    }
    ~Monitor() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            ::waitpid(process_, nullptr, 0);
        }
        ::close(output_);
    }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    Effort effort() const {
        clockid_t clock = 0;
        timespec time{};
        if (::clock_getcpuclockid(process_, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
            throw std::runtime_error("dx7 monitor has ended early");
        }
        return {static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec), wakeUps()};
    }

    /// Requests and status queries per second, when it has ended.
    struct Rate {
        double requests;
        double queries;
    };
    Rate rate() {
        int status = 0;
        ::waitpid(process_, &status, 0);
        process_ = -1;
        std::string text(static_cast<std::size_t>(::lseek(output_, 0, SEEK_END)), '\0');
        const ssize_t count = ::pread(output_, &text[0], text.size(), 0);
        if (status != 0 || count != static_cast<ssize_t>(text.size()) || numberNamed(text, "bad") > 0) {
            throw std::runtime_error("dx7 monitor failed");
        }
        // The statistics come after the summary.
        const double seconds = numberNamed(text, "seconds");
        return {numberNamed(text, "good") / seconds, numberNamed(text, "status_queries") / seconds};
    }

private:
    [[noreturn]] static void runProgram(const std::string& line, const std::string& seconds) {
        const std::string baud = std::to_string(BAUD);
        std::vector<std::string> items;
        for (int block = 0; block < LINE_BLOCKS; ++block) {
            items.push_back("F:" + std::to_string(block / SUBGROUPS_USED) + ".0." +
                            std::to_string(block % SUBGROUPS_USED) + "0," + std::to_string(BLOCK_REGISTERS));
        }
        std::vector<const char*> words = {DX7_PROGRAM, "monitor",    "--json",    "--stats",
                                          "--driver",  DX7_LIBRARY,  "--serial",  line.c_str(),
                                          "--baud",    baud.c_str(), "--seconds", seconds.c_str()};
        for (const std::string& item : items) {
            words.push_back(item.c_str());
        }
        words.push_back(nullptr);
        ::execv(DX7_PROGRAM, const_cast<char* const*>(words.data()));
        ::_exit(127);
    }

    double wakeUps() const {
        std::ifstream status("/proc/" + std::to_string(process_) + "/status");
        std::string name;
        while (status >> name) {
            if (name == "voluntary_ctxt_switches:") {
                double count = 0;
                status >> count;
                return count;
            }
        }
        throw std::runtime_error("the system does not tell how often a process was woken");
    }

    int output_;
    pid_t process_;
};

/// Processor time per transaction, proof included; wake-ups per reply, answers to status queries included.
Figures perTransaction(const Effort& before, const Effort& after, double transactions, double replies) {
    return {(after.seconds - before.seconds) / transactions, (after.wakeUps - before.wakeUps) / replies};
}

Figures measureMonitor(const DeviceProcess& device, int seconds) {
    Monitor monitor(device, SETTLE_SECONDS + seconds + 1);
    sleepFor(SETTLE_SECONDS);
    const Effort before = monitor.effort();
    sleepFor(seconds);
    const Effort after = monitor.effort();
    const Monitor::Rate rate = monitor.rate();
    return perTransaction(before, after, seconds * rate.requests, seconds * (rate.requests + rate.queries));
}

Figures measureBare(const LineSetup& setup, int cycles) {
    runAsClient();
    const std::unique_ptr<LineClient> client = makeBareClient(setup);
    client->read(2);
    const Effort before = effortSoFar();
    client->read(cycles * LINE_BLOCKS);
    const Effort after = effortSoFar();
    return perTransaction(before, after, cycles * LINE_BLOCKS, cycles * LINE_BLOCKS);
}

void printResult(const char* client, const std::vector<Figures>& rounds) {
    std::vector<double> processor;
    std::vector<double> wakeUps;
    for (const Figures& round : rounds) {
        processor.push_back(1e6 * round.at(0));
        wakeUps.push_back(round.at(1));
    }
    print({{"client", client}, {"cpu_us", median(processor)}, {"wake_ups", median(wakeUps)}});
}

void run(const Options& options) {
    say("monitor: dx7 monitor at 9600 baud");
    const DeviceProcess device(BAUD);
    const LineSetup setup{device.line(), BAUD, 0};
    std::vector<Figures> monitor;
    std::vector<Figures> bare;
    for (int round = 0; round < options.rounds; ++round) {
        monitor.push_back(measureMonitor(device, options.quick ? 1 : 5));
        bare.push_back(measureAlone([&] { return measureBare(setup, options.quick ? 1 : 3); }));
    }
    printResult("dx7 monitor", monitor);
    printResult("bare loop", bare);
}

}  // namespace

int main(int argc, char** argv) {
    return dx7bench::runProgram(argc, argv, run);
}

/// \file
/// The same 40 blocks read in a loop over a pseudo-terminal, from the same simulated device, by our host loop
/// with the driver and by two other clients.
///
/// Every measurement is a process of its own, so that its processor time is the client's alone. The clients
/// take turns, round after round.
#include <sys/resource.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "device_process.h"
#include "line_client.h"
#include "options.h"
#include "record.h"
#include "sample.h"
#include "worker.h"

namespace {

using namespace dx7bench;

struct ClientKind {
    const char* name;
    std::unique_ptr<LineClient> (*make)(const LineSetup&);
};

const ClientKind CLIENTS[] = {
    {"dx7", &makeHostClient}, {"libmodbus", &makeLibmodbusClient}, {"QtSerialBus", &makeSerialBusClient}};
const std::size_t CLIENT_COUNT = sizeof CLIENTS / sizeof CLIENTS[0];

double secondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

double processorSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Seconds that the line itself needs for a cycle: every bit, and 3.5 characters of silence (1.75 ms above
/// 19200 baud) before each request and each reply.
double cycleLimit(int baud) {
    const double character = 10.0 / baud;
    const double silence = baud > 19200 ? 0.00175 : 3.5 * character;
    return LINE_BLOCKS * ((REQUEST_BYTES + REPLY_BYTES) * character + 2 * silence);
}

/// Reads whole cycles for at least `shortest` seconds. Per transaction: seconds, processor seconds of the
/// client; and the device's idle share.
Figures measure(const ClientKind& kind, const LineSetup& setup, const DeviceProcess& device,
                double shortest) {
    const std::unique_ptr<LineClient> client = kind.make(setup);
    client->read(setup.baud > 0 ? 4 : LINE_BLOCKS);  // after them everything is in place
    const double deviceBefore = device.processorSeconds();
    const double ownBefore = processorSeconds();
    const double start = secondsNow();
    double spent = 0;
    int cycles = 0;
    while (spent < shortest) {
        client->read(LINE_BLOCKS);
        ++cycles;
        spent = secondsNow() - start;
    }
    const double own = processorSeconds() - ownBefore;
    const double busy = device.processorSeconds() - deviceBefore;
    const double transactions = cycles * LINE_BLOCKS;
    return {spent / transactions, own / transactions, 1 - busy / spent};
}

struct Series {
    std::vector<double> time;
    std::vector<double> processor;
    std::vector<double> idle;
};

void print(const ClientKind& kind, int baud, const Series& series, const Series& ours) {
    Record record("line");
    record.text("client", kind.name).number("baud", baud);
    if (baud > 0) {
        const double cycle = LINE_BLOCKS * median(series.time);
        record.number("cycle_ms", 1e3 * cycle)
            .number("limit_ms", 1e3 * cycleLimit(baud))
            .number("over_limit", cycle / cycleLimit(baud));
    } else {
        record.number("per_second", 1 / median(series.time));
    }
    record.number("cpu_us", 1e6 * median(series.processor))
        .number("ours_over_this", median(ratios(ours.processor, series.processor)))
        .number("device_idle", median(series.idle));
}

/// `baud` 0: a line without a pace.
void compare(int baud, int rounds, double shortest) {
    say("line: " + (baud > 0 ? std::to_string(baud) + " baud" : std::string("unpaced")));
    const DeviceProcess device(baud);
    const LineSetup setup{device.line(), baud};
    Series series[CLIENT_COUNT];
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < CLIENT_COUNT; ++i) {
            const Figures figures =
                measureAlone([&] { return measure(CLIENTS[i], setup, device, shortest); });
            series[i].time.push_back(figures.at(0));
            series[i].processor.push_back(figures.at(1));
            series[i].idle.push_back(figures.at(2));
        }
    }
    for (std::size_t i = 0; i < CLIENT_COUNT; ++i) {
        print(CLIENTS[i], baud, series[i], series[0]);
    }
}

void run(const Options& options) {
    compare(0, options.rounds, options.quick ? 0.05 : 0.5);
    compare(115200, options.rounds, options.quick ? 0.05 : 0.5);
    if (!options.quick) {
        compare(9600, options.rounds, 1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return dx7bench::runProgram(argc, argv, run);
}

/// \file
/// The same 40 blocks read in a loop from the same simulated device, by our host with the driver and by other
/// clients: over TCP, over a pseudo-terminal, and over one at the pace of a real line.
///
/// Every measurement is a process of its own, so that its processor time is the client's alone. The clients
/// take turns, round after round, all on one processor; the device has another.
#include <chrono>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "device_process.h"
#include "line_client.h"
#include "processor.h"
#include "program.h"
#include "sample.h"
#include "system_calls.h"
#include "worker.h"

namespace {

using namespace dx7bench;

struct ClientKind {
    const char* name;
    std::unique_ptr<LineClient> (*make)(const LineSetup&);
    /// Cycles after which everything is in place; the host proves its first cycles one by one.
    int warmUpCycles;
};

// Those that can speak to the device over TCP come first.
const ClientKind CLIENTS[] = {{"dx7", &makeHostClient, 4},
                              {"libmodbus", &makeLibmodbusClient, 1},
                              {"bare loop", &makeBareClient, 1},
                              {"QtSerialBus", &makeSerialBusClient, 1}};
enum { OURS, LIBMODBUS };
const std::size_t TCP_CLIENTS = 3;

/// What carries the frames.
struct Medium {
    const char* name;
    DeviceProcess::Carrier carrier;
    /// 0: without a pace.
    int baud;
    /// Seconds that a measurement takes.
    double atLeast;
};

/// What one measurement gives, per transaction where nothing else is said.
enum Figure {
    TIME,
    PROCESSOR,
    WAKE_UPS,
    /// Share of the time.
    DEVICE_IDLE,
    /// Per second.
    QUERIES,
    /// Of the time, that they took the line.
    QUERY_SHARE,
    FIGURE_COUNT
};

double secondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Seconds that the line itself needs for a cycle: every bit, and the silence before each request and each
/// reply.
double cycleLimit(int baud) {
    return LINE_BLOCKS * ((REQUEST_BYTES + REPLY_BYTES) * characterSeconds(baud) + 2 * silenceSeconds(baud));
}

/// Seconds that the line itself needs for queries and their answers.
double lineSeconds(const Extra& extra, int baud) {
    return baud > 0 ? extra.bytes * characterSeconds(baud) + extra.queries * 2 * silenceSeconds(baud) : 0;
}

/// Reads whole cycles.
Figures measure(const ClientKind& kind, const LineSetup& setup, const DeviceProcess& device,
                double shortest) {
    runAsClient();
    const std::unique_ptr<LineClient> client = kind.make(setup);
    client->read(kind.warmUpCycles * LINE_BLOCKS);
    const double deviceBefore = device.processorSeconds();
    const Extra extraBefore = client->extra();
    const Effort before = effortSoFar();
    const double start = secondsNow();
    double spent = 0;
    int cycles = 0;
    while (spent < shortest) {
        client->read(LINE_BLOCKS);
        ++cycles;
        spent = secondsNow() - start;
    }
    const Effort after = effortSoFar();
    const double busy = device.processorSeconds() - deviceBefore;
    const double transactions = cycles * LINE_BLOCKS;
    Extra extra = client->extra();
    extra.queries -= extraBefore.queries;
    extra.bytes -= extraBefore.bytes;
    Figures figures(FIGURE_COUNT);
    figures[TIME] = spent / transactions;
    figures[PROCESSOR] = (after.seconds - before.seconds) / transactions;
    figures[WAKE_UPS] = (after.wakeUps - before.wakeUps) / transactions;
    figures[DEVICE_IDLE] = 1 - busy / spent;
    figures[QUERIES] = extra.queries / spent;
    figures[QUERY_SHARE] = lineSeconds(extra, setup.baud) / spent;
    return figures;
}

/// The rounds of one client.
using Series = std::vector<Figures>;

std::vector<double> column(const Series& series, Figure figure) {
    std::vector<double> values;
    for (const Figures& round : series) {
        values.push_back(round.at(figure));
    }
    return values;
}

double middle(const Series& series, Figure figure) {
    return median(column(series, figure));
}

/// Median of the quotients within a round.
double quotient(const Series& series, const Series& by, Figure figure) {
    return median(ratios(column(series, figure), column(by, figure)));
}

void printResult(const Medium& medium, std::size_t client, const std::vector<Series>& all) {
    const Series& series = all[client];
    nlohmann::json result = {{"client", CLIENTS[client].name},
                             {"medium", medium.name},
                             {"baud", medium.baud},
                             {"cpu_us", 1e6 * middle(series, PROCESSOR)},
                             {"ours_over_this", quotient(all[OURS], series, PROCESSOR)},
                             {"over_libmodbus", quotient(series, all[LIBMODBUS], PROCESSOR)},
                             {"wake_ups", middle(series, WAKE_UPS)},
                             {"queries_per_second", middle(series, QUERIES)},
                             {"device_idle", middle(series, DEVICE_IDLE)}};
    if (medium.baud > 0) {
        const double cycle = LINE_BLOCKS * middle(series, TIME);
        result["cycle_ms"] = 1e3 * cycle;
        result["limit_ms"] = 1e3 * cycleLimit(medium.baud);
        result["over_limit"] = cycle / cycleLimit(medium.baud);
        result["query_share"] = middle(series, QUERY_SHARE);
    } else {
        result["per_second"] = 1 / middle(series, TIME);
    }
    print(result);
}

void compare(const Medium& medium, int rounds) {
    say(std::string("line: ") + medium.name);
    const DeviceProcess device(medium.baud, medium.carrier);
    const LineSetup setup{device.line(), medium.baud, device.tcpPort()};
    const std::size_t clients = setup.tcpPort > 0 ? TCP_CLIENTS : std::size(CLIENTS);
    std::vector<Series> series(clients);
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t turn = 0; turn < clients; ++turn) {
            const std::size_t client = (static_cast<std::size_t>(round) + turn) % clients;
            series[client].push_back(
                measureAlone([&] { return measure(CLIENTS[client], setup, device, medium.atLeast); }));
        }
    }
    for (std::size_t client = 0; client < clients; ++client) {
        printResult(medium, client, series);
    }
}

/// System calls per whole reply over TCP. The process is stopped at each of them, so it is not timed.
void countSystemCalls() {
    say("line: system calls");
    const DeviceProcess device(0, DeviceProcess::Carrier::Tcp);
    const LineSetup setup{std::string(), 0, device.tcpPort()};
    const int transactions = 10 * LINE_BLOCKS;
    for (std::size_t client = 0; client < TCP_CLIENTS; ++client) {
        const long calls = systemCalls([&]() -> std::function<void()> {
            const std::shared_ptr<LineClient> made = CLIENTS[client].make(setup);
            made->read(LINE_BLOCKS);
            return [made] { made->read(transactions); };
        });
        print({{"client", CLIENTS[client].name},
               {"medium", "calls"},
               {"system_calls", static_cast<double>(calls) / transactions}});
    }
}

void run(const Options& options) {
    const double scale = options.quick ? 0.1 : 1;
    if (!processorsSuffice()) {
        say("line: there is one processor for client and device");
    }
    compare({"tcp", DeviceProcess::Carrier::Tcp, 0, scale * 0.5}, options.rounds);
    countSystemCalls();
    compare({"terminal", DeviceProcess::Carrier::Terminal, 0, scale * 0.5}, options.rounds);
    compare({"115200 baud", DeviceProcess::Carrier::Terminal, 115200, scale * 2}, options.rounds);
    if (!options.quick) {
        compare({"9600 baud", DeviceProcess::Carrier::Terminal, 9600, 4}, options.rounds);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return dx7bench::runProgram(argc, argv, run);
}

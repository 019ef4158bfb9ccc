// A line that misbehaves: dx7 against dx7-device with every kind of fault, for as long as asked, on several
// lines at the same time, each with its own mix. Every value shown is proven right, or late but right before;
// every write is looked up in the device.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <thread>

#include "common/command_line.h"
#include "common/exit_codes.h"
#include "monitor_watch.h"
#include "soak_device.h"
#include "soak_result.h"
#include "write_storm.h"

namespace {

// Growth beyond this is no noise of the allocator. AddressSanitizer keeps freed memory back and counts the
// places it was allocated at, so that nothing can be said about growth beside it.
#ifdef __SANITIZE_ADDRESS__
constexpr long MEMORY_LIMIT_KB = 256 * 1024;
#else
constexpr long MEMORY_LIMIT_KB = 1024;
#endif

// Without faults: as long as what is owed is not forgotten, and the intervals between proofs.
constexpr double STEADY_SECONDS = 15;

void judgeRecovery(const SoakDevice& device, SoakResult& result) {
    result.recoveryMs[device.mix().name] = std::lround(1000 * result.recoverySeconds);
    if (!device.mix().recovers) {
        result.recoverySeconds = 0;
        result.steadySeconds = 0;
        return;
    }
    if (result.recoverySeconds > device.mix().recoverySeconds) {
        result.fail("recovery of line \"" + device.mix().name + "\" took " +
                    std::to_string(result.recoverySeconds) + " s; still: " + result.notRecovered);
    } else if (result.steadySeconds > STEADY_SECONDS) {
        result.fail("without faults the values of line \"" + device.mix().name + "\" took " +
                    std::to_string(result.steadySeconds) + " s");
    }
}

void stormFor(double seconds, WriteStorm& storm, const SoakResult& result) {
    const double began = wallClock();
    do {
        storm.batch();
    } while (result.failures.empty() && wallClock() - began < seconds);
}

// Writes before and after the monitor.
void runLine(const SoakSettings& settings, int number, SoakResult& result) {
    SoakDevice device(settings, number);
    WriteStorm storm(device, result, settings.seed + 1000 + static_cast<unsigned>(number));
    stormFor(0.2 * settings.seconds, storm, result);
    MonitorWatch watch(device, result);
    watch.forSeconds(0.6 * settings.seconds);
    result.transactions = device.requests();
    watch.recover();
    judgeRecovery(device, result);
    watch.finish();
    const long withoutFaults = device.requests() - result.transactions;
    device.tell("fault " + device.mix().faults);
    stormFor(0.2 * settings.seconds, storm, result);
    result.transactions = device.requests() - withoutFaults;
    result.faults = device.faults();
    for (const auto& [name, memory] :
         {std::pair("dx7", result.dx7), std::pair("dx7-device", result.device)}) {
        if (memory.end > memory.early + MEMORY_LIMIT_KB) {
            result.fail(std::string(name) + " grew from " + std::to_string(memory.early) + " to " +
                        std::to_string(memory.end) + " KB");
        }
    }
    if (!device.stop()) {
        result.fail("dx7-device did not end well");
    }
}

void add(std::map<std::string, long>& sum, const std::map<std::string, long>& counts) {
    for (const auto& [name, count] : counts) {
        sum[name] += count;
    }
}

void add(Memory& widest, const Memory& one) {
    if (one.end - one.early >= widest.end - widest.early) {
        widest = one;
    }
}

SoakResult total(const std::vector<SoakResult>& results) {
    SoakResult sum;
    for (const SoakResult& one : results) {
        sum.failures.insert(sum.failures.end(), one.failures.begin(), one.failures.end());
        sum.transactions += one.transactions;
        add(sum.faults, one.faults);
        add(sum.statistics, one.statistics);
        sum.valuesRight += one.valuesRight;
        sum.valuesStale += one.valuesStale;
        sum.oldestSteps = std::max(sum.oldestSteps, one.oldestSteps);
        sum.valuesBad += one.valuesBad;
        sum.writesLanded += one.writesLanded;
        sum.writesFailed += one.writesFailed;
        sum.recoverySeconds = std::max(sum.recoverySeconds, one.recoverySeconds);
        sum.steadySeconds = std::max(sum.steadySeconds, one.steadySeconds);
        add(sum.badAgain, one.badAgain);
        for (const auto& [name, ms] : one.recoveryMs) {
            sum.recoveryMs[name] = std::max(sum.recoveryMs[name], ms);
        }
        add(sum.dx7, one.dx7);
        add(sum.device, one.device);
    }
    return sum;
}

void printCounts(const char* title, const std::map<std::string, long>& counts) {
    std::printf("%s", title);
    const char* separator = " ";
    for (const auto& [name, count] : counts) {
        std::printf("%s%s %ld", separator, name.c_str(), count);
        separator = ", ";
    }
    std::printf("\n");
}

void print(const SoakResult& sum, const SoakSettings& settings, double seconds) {
    std::printf(
        "%ld transactions with faults on %d lines (half over TCP, half over pseudo-terminals) in %.0f s\n",
        sum.transactions, settings.lines, seconds);
    printCounts("faults made by the devices:", sum.faults);
    printCounts("as dx7 monitor saw them:", sum.statistics);
    std::printf("values shown: %ld right, %ld right up to %.2f s before, %ld marked as not good\n",
                sum.valuesRight, sum.valuesStale, 0.25 * sum.oldestSteps, sum.valuesBad);
    std::printf("writes: %ld landed, %ld reported as failed\n", sum.writesLanded, sum.writesFailed);
    std::printf(
        "recovery: everything new and good %.0f ms after the first step without faults, %.0f ms after the "
        "slowest of the next\n",
        1000 * sum.recoverySeconds, 1000 * sum.steadySeconds);
    printCounts("by mix of faults, in ms, judged or not:", sum.recoveryMs);
    printCounts("values marked bad again after that:", sum.badAgain);
    std::printf(
        "memory of the monitor that grew most: %ld KB after a tenth, %ld KB at the end, %ld KB at most\n",
        sum.dx7.early, sum.dx7.end, sum.dx7.highest);
    std::printf(
        "memory of the device that grew most: %ld KB after a tenth, %ld KB at the end, %ld KB at most\n",
        sum.device.early, sum.device.end, sum.device.highest);
    for (const std::string& failure : sum.failures) {
        std::printf("FAILED: %s\n", failure.c_str());
    }
    std::printf("%s\n", sum.failures.empty() ? "no wrong value, no lost write" : "failed");
}

int run(const SoakSettings& settings) {
    const auto began = std::chrono::steady_clock::now();
    std::vector<SoakResult> results(static_cast<std::size_t>(settings.lines));
    std::vector<std::thread> threads;
    for (int number = 0; number < settings.lines; ++number) {
        threads.emplace_back([&settings, &results, number] {
            SoakResult& result = results[static_cast<std::size_t>(number)];
            try {
                runLine(settings, number, result);
            } catch (const std::exception& error) {
                result.fail(error.what());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
    const SoakResult sum = total(results);
    print(sum, settings, took.count());
    return sum.failures.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    SoakSettings settings;
    dx7common::CommandLine program("dx7_soak", "dx7 against dx7-device on lines with every kind of fault.");
    program.add("--seconds", &settings.seconds, "How long the faults last; what is under way then ends")
        .within(5, 1000000);
    program.add("--lines", &settings.lines, "Lines at the same time; 12 have every mix of faults")
        .within(1, 100);
    program.add("--seed", &settings.seed, "Other faults and writes for another seed");
    program.add("--share", &settings.share, "Share of the replies that suffer each fault").within(0.0, 0.1);
    program.add("--late-by", &settings.latestMs, "How late the latest replies are, in ms").within(3, 3000);
    try {
        if (const auto asked = program.read(argc, argv).asked) {
            std::printf("%s", asked->c_str());
            return 0;
        }
    } catch (const dx7common::CommandLineError& error) {
        std::fprintf(stderr, "%s\nRun with --help for more information.\n", error.what());
        return dx7common::EXIT_USAGE;
    }
    return run(settings);
}

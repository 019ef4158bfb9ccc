/// \file
/// What an item costs, however many are monitored: 60, 10^3, 10^4, 10^5 and all items of 247 stations.
///
/// The benchmark library repeats every walk and takes the walks and sizes in turns at random, so that
/// whatever else the machine does meets all of them.
#include <benchmark/benchmark.h>

#include <map>
#include <stdexcept>
#include <string>

#include "options.h"
#include "record.h"
#include "sample.h"
#include "walk_operations.h"

namespace {

using namespace dx7bench;

struct Series {
    WalkOperation operation;
    bool randomOrder;
};

std::string nameOf(const Series& series, int items) {
    return std::string(walkOperationName(series.operation)) +
           (series.randomOrder ? ", random, " : ", polling, ") + std::to_string(items);
}

std::vector<Series> allSeries() {
    std::vector<Series> all;
    for (int operation = 0; operation < WALK_OPERATIONS; ++operation) {
        all.push_back({static_cast<WalkOperation>(operation), false});
        all.push_back({static_cast<WalkOperation>(operation), true});
    }
    return all;
}

/// The measured part: walks, as many as the library asks for.
void measure(benchmark::State& state, WalkSet& set, const Series& series) {
    // Brings the values and the caches into the state that later walks find.
    set.walk(series.operation, series.randomOrder);
    for (auto _ : state) {
        const double spent = set.walk(series.operation, series.randomOrder);
        if (WalkSet::holdsTheClock(series.operation)) {
            state.SetIterationTime(1e-9 * spent);
        }
    }
    state.counters["items"] = set.itemsOfWalk(series.operation);
}

/// Keeps what the library measured: nanoseconds per item, a figure per repetition.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                throw std::runtime_error(run.benchmark_name() + ": " + run.error_message);
            }
            if (run.run_type == Run::RT_Iteration) {
                const double walks = static_cast<double>(run.iterations);
                figures_[run.run_name.function_name].push_back(1e9 * run.real_accumulated_time /
                                                               (walks * run.counters.at("items").value));
            }
        }
    }

    double medianOf(const std::string& name) const { return median(figures_.at(name)); }

private:
    std::map<std::string, std::vector<double>> figures_;
};

void registerWalks(const std::vector<std::unique_ptr<WalkSet>>& sets) {
    for (const Series& series : allSeries()) {
        for (const auto& set : sets) {
            auto* walk = benchmark::RegisterBenchmark(
                nameOf(series, set->items()).c_str(),
                [&set, series](benchmark::State& state) { measure(state, *set, series); });
            if (WalkSet::holdsTheClock(series.operation)) {
                walk->UseManualTime();
            } else {
                walk->UseRealTime();
            }
        }
    }
}

void runAll(const Options& options, Collector& collector) {
    std::vector<std::string> arguments = {"walk_bench", "--benchmark_enable_random_interleaving=true",
                                          "--benchmark_min_time=0.02",
                                          "--benchmark_repetitions=" + std::to_string(options.rounds)};
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::Shutdown();
}

void print(const std::string& operation, bool randomOrder, int items, double ns, double smallestNs) {
    Record("walk")
        .text("operation", operation)
        .text("order", randomOrder ? "random" : "polling")
        .number("items", items)
        .number("ns", ns)
        .number("ratio", ns / smallestNs);
}

void run(const Options& options) {
    std::vector<int> sizes = {60, 1000, 10000, 100000, allItems()};
    if (options.quick) {
        sizes = {60, 1000, 10000};
    }
    std::vector<std::unique_ptr<WalkSet>> sets;
    for (const int size : sizes) {
        say("walk: monitoring " + std::to_string(size) + " items");
        sets.push_back(std::make_unique<WalkSet>(size));
    }
    for (const auto& set : sets) {
        print(FIRST_REPLY, false, set->items(), set->firstReplyNanoseconds(),
              sets[0]->firstReplyNanoseconds());
    }
    say("walk: measuring");
    Collector collector;
    registerWalks(sets);
    runAll(options, collector);
    for (const Series& series : allSeries()) {
        const double smallest = collector.medianOf(nameOf(series, sizes[0]));
        for (const int size : sizes) {
            print(walkOperationName(series.operation), series.randomOrder, size,
                  collector.medianOf(nameOf(series, size)), smallest);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    return dx7bench::runProgram(argc, argv, run);
}

/// \file
/// What an item costs, however many are monitored: 60, 10^3, 10^4, 10^5 and all items of 247 stations.
///
/// One process per number of items; they take turns, round after round, so that whatever else the machine
/// does meets all of them.
#include <memory>
#include <string>

#include "options.h"
#include "record.h"
#include "sample.h"
#include "walk_operations.h"
#include "worker.h"

namespace {

using namespace dx7bench;

struct Series {
    WalkOperation operation;
    bool randomOrder;
    std::vector<std::vector<double>> perSize;  ///< Nanoseconds, a figure per round.
};

const int FIRST_REPLY_TASK = 2 * WALK_OPERATIONS;

int taskOf(const Series& series) {
    return 2 * series.operation + (series.randomOrder ? 1 : 0);
}

std::unique_ptr<Worker> walker(int items) {
    return std::make_unique<Worker>([items]() -> Worker::Task {
        const auto set = std::make_shared<WalkSet>(items);
        return [set](int task) {
            if (task == FIRST_REPLY_TASK) {
                return Figures{set->firstReplyNanoseconds()};
            }
            return Figures{set->nanosecondsPerItem(static_cast<WalkOperation>(task / 2), task % 2 != 0)};
        };
    });
}

void print(const Series& series, const std::vector<int>& sizes) {
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        Record("walk")
            .text("operation", walkOperationName(series.operation))
            .text("order", series.randomOrder ? "random" : "polling")
            .number("items", sizes[i])
            .number("ns", median(series.perSize[i]))
            .number("ratio", median(ratios(series.perSize[i], series.perSize[0])));
    }
}

void printFirstReplies(const std::vector<std::unique_ptr<Worker>>& workers, const std::vector<int>& sizes) {
    const double smallest = workers[0]->measure(FIRST_REPLY_TASK).at(0);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const double ns = workers[i]->measure(FIRST_REPLY_TASK).at(0);
        Record("walk")
            .text("operation", FIRST_REPLY)
            .text("order", "polling")
            .number("items", sizes[i])
            .number("ns", ns)
            .number("ratio", ns / smallest);
    }
}

void run(const Options& options) {
    std::vector<int> sizes = {60, 1000, 10000, 100000, allItems()};
    if (options.quick) {
        sizes = {60, 1000, 10000};
    }
    std::vector<std::unique_ptr<Worker>> workers;
    workers.reserve(sizes.size());
    for (const int size : sizes) {
        workers.push_back(walker(size));
    }
    printFirstReplies(workers, sizes);
    for (int operation = 0; operation < WALK_OPERATIONS; ++operation) {
        for (const bool randomOrder : {false, true}) {
            say(std::string("walk: ") + walkOperationName(static_cast<WalkOperation>(operation)) +
                (randomOrder ? ", random order" : ", polling order"));
            Series series{static_cast<WalkOperation>(operation), randomOrder, {}};
            series.perSize.resize(sizes.size());
            for (int round = 0; round < options.rounds; ++round) {
                for (std::size_t i = 0; i < sizes.size(); ++i) {
                    series.perSize[i].push_back(workers[i]->measure(taskOf(series)).at(0));
                }
            }
            print(series, sizes);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    return dx7bench::runProgram(argc, argv, run);
}

// truth: seeds of lines on which anything goes wrong, until the time is over. No value of one request is ever
// shown as good for another, and no write is reported that the station does not have.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "truth_run.h"

namespace {

using truth::Outcome;
using truth::Scenario;

struct Sum {
    long seeds = 0;
    long long good = 0;
    long long doubtful = 0;
    long long written = 0;
    long undecidable = 0;
    long failed = 0;
    long long requests = 0;
};

struct Options {
    double seconds = 8;
    unsigned long long first = 1;
    unsigned long long seed = 0;
    int single = -1;
    bool alone = false;
    bool trace = false;
    long most = 5;  // Failures after which the program ends.
};

void add(Sum& sum, const Outcome& outcome) {
    ++sum.seeds;
    sum.good += outcome.good;
    sum.doubtful += outcome.doubtful;
    sum.written += outcome.written;
    sum.requests += outcome.requests;
    sum.undecidable += outcome.undecidable ? 1 : 0;
    sum.failed += outcome.failure.isEmpty() ? 0 : 1;
}

void show(const Scenario& scenario, const Outcome& outcome) {
    std::printf("%s", qPrintable(truth::scenarioText(scenario)));
    for (const QString& line : outcome.conversation) {
        std::printf("  %s\n", qPrintable(line));
    }
    std::printf("  %s\n",
                outcome.failure.isEmpty() ? "nothing untrue was shown" : qPrintable(outcome.failure));
}

void report(const Scenario& scenario, const Outcome& outcome) {
    std::printf("FAILED %s: %s\n  again: truth %s\n", qPrintable(scenario.name), qPrintable(outcome.failure),
                scenario.mustLive ? qPrintable(QStringLiteral("--survivable %1").arg(scenario.seed))
                                  : qPrintable(QStringLiteral("--seed %1").arg(scenario.seed)));
    const Scenario least = truth::shrunk(scenario, 300);
    show(least, truth::runScenario(least, true));
}

int runOne(const Scenario& scenario, bool trace) {
    const Outcome outcome = truth::runScenario(scenario, trace);
    show(scenario, outcome);
    if (!outcome.failure.isEmpty() && !trace) {
        report(scenario, outcome);
    }
    return outcome.failure.isEmpty() ? 0 : 1;
}

int runAll(const Options& options) {
    const auto began = std::chrono::steady_clock::now();
    const auto over = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count() >=
               options.seconds;
    };
    Sum sum;
    const auto take = [&](const Scenario& scenario) {
        const Outcome outcome = truth::runScenario(scenario, false);
        add(sum, outcome);
        if (!outcome.failure.isEmpty()) {
            report(scenario, outcome);
        }
    };
    const int survivable = truth::survivableCount();
    for (int i = 0; i < survivable && sum.failed < options.most; ++i) {
        take(truth::survivable(i));
    }
    for (auto seed = options.first; !over() && sum.failed < options.most; ++seed) {
        take(truth::scenarioOf(seed));
    }
    std::printf(
        "%ld lines, %lld requests, %lld values shown as good, %lld doubtful, %lld writes, %ld undecidable, "
        "%ld failed\n",
        sum.seeds, sum.requests, sum.good, sum.doubtful, sum.written, sum.undecidable, sum.failed);
    return sum.failed == 0 && sum.good > 0 ? 0 : 1;
}

bool parse(int count, char** words, Options* options) {
    for (int i = 1; i < count; ++i) {
        const bool value = i + 1 < count;
        if (std::strcmp(words[i], "--trace") == 0) {
            options->trace = true;
        } else if (value && std::strcmp(words[i], "--seconds") == 0) {
            options->seconds = std::atof(words[++i]);
        } else if (value && std::strcmp(words[i], "--from") == 0) {
            options->first = std::strtoull(words[++i], nullptr, 10);
        } else if (value && std::strcmp(words[i], "--failures") == 0) {
            options->most = std::atol(words[++i]);
        } else if (value && std::strcmp(words[i], "--seed") == 0) {
            options->seed = std::strtoull(words[++i], nullptr, 10);
            options->alone = true;
        } else if (value && std::strcmp(words[i], "--survivable") == 0) {
            options->single = std::atoi(words[++i]);
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int count, char** words) {
    Options options;
    if (!parse(count, words, &options)) {
        std::printf(
            "Usage: truth [--seconds S] [--from SEED] [--failures N] | --seed N [--trace] | "
            "--survivable N [--trace]\n");
        return 2;
    }
    if (options.single >= 0) {
        return runOne(truth::survivable(options.single), options.trace);
    }
    return options.alone ? runOne(truth::scenarioOf(options.seed), options.trace) : runAll(options);
}

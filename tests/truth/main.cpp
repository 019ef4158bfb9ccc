// truth: seeds of lines on which anything goes wrong, until the time is over. No value of one request is ever
// shown as good for another, and no write is reported that the station does not have.
#include <chrono>
#include <cstdio>
#include <optional>

#include "common/command_line.h"
#include "common/exit_codes.h"
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
    std::uint64_t first = 1;
    std::optional<long long> seed;
    std::optional<int> survivable;
    bool trace = false;
    // Failures after which the program ends.
    int most = 5;
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

// A seed has no sign.
std::string notNegative(const std::string& text) {
    return text.rfind('-', 0) == 0 ? "\"" + text + "\" is below 0" : std::string();
}

int run(const Options& options) {
    if (options.survivable) {
        return runOne(truth::survivable(*options.survivable), options.trace);
    }
    if (options.seed) {
        return runOne(truth::scenarioOf(static_cast<quint64>(*options.seed)), options.trace);
    }
    return runAll(options);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    dx7common::CommandLine program("truth", "Lines on which anything goes wrong; nothing untrue is shown.");
    program.add("--seconds", &options.seconds, "How long new seeds are begun").within(0.0, 1e6).showDefault();
    program.add("--from", &options.first, "The first seed").check(notNegative).showDefault();
    program.add("--failures", &options.most, "Failures after which it ends").within(1, 1000000).showDefault();
    const auto& seed = program.add("--seed", &options.seed, "The line of this seed alone").check(notNegative);
    program.add("--survivable", &options.survivable, "This one of the fixed lines alone")
        .within(0, truth::survivableCount() - 1)
        .excludes(seed);
    program.add("--trace", &options.trace, "Print the conversation of a line that is run alone");
    try {
        if (const auto asked = program.read(argc, argv).asked) {
            std::printf("%s", asked->c_str());
            return dx7common::EXIT_DONE;
        }
    } catch (const dx7common::CommandLineError& error) {
        std::fprintf(stderr, "%s\nRun with --help for more information.\n", error.what());
        return dx7common::EXIT_USAGE;
    }
    return run(options);
}

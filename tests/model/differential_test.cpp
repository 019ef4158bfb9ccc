// Drives the model and the library with the same random operations and compares them after each one.
//
// DX7_MODEL_OPERATIONS  how many operations to compare (100000)
// DX7_MODEL_SEED        where to begin (a fixed number, so that every run is the same)
// A failure prints the seed of its round and the shrunk sequence of operations; that seed as DX7_MODEL_SEED
// meets it at once.
#include <rapidcheck.h>
#include <rapidcheck/state.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <unordered_map>

#include "operations.h"

namespace {

// A round is this many sequences, growing up to the longest length.
constexpr int sequencesPerRound = 50;
constexpr int longestSequence = 200;

// Keeps rapidcheck from choosing and printing a configuration of its own: the seed is ours.
class QuietListener : public rc::detail::TestListener {
public:
    void onTestCaseFinished(const rc::detail::CaseDescription& /*description*/) override {}
    void onShrinkTried(const rc::detail::CaseDescription& /*shrink*/, bool /*accepted*/) override {}
    void onTestFinished(const rc::detail::TestMetadata& /*metadata*/,
                        const rc::detail::TestResult& /*result*/) override {}
};

std::uint64_t fromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* const text = std::getenv(name);
    if (text == nullptr || *text == '\0') {
        return otherwise;
    }
    char* end = nullptr;
    const unsigned long long number = std::strtoull(text, &end, 10);
    if (*end != '\0') {
        std::cerr << name << " is \"" << text << "\", but must be a number\n";
        std::exit(2);
    }
    return number;
}

void runSequence() {
    const auto sequence = *rc::state::gen::commands(
        differential::NoState(), [](const differential::NoState&) { return differential::operations(); });
    differential::Rig rig;
    rc::state::runAll(sequence, differential::NoState(), rig);
}

}  // namespace

rc::Gen<differential::OperationPtr> differential::operations() {
    static const auto generator = rc::gen::weightedOneOf<OperationPtr>({{5, planOperations()},
                                                                        {8, valueOperations()},
                                                                        {16, lineOperations()},
                                                                        {4, textOperations()},
                                                                        {4, editOperations()},
                                                                        {3, internalOperations()}});
    return generator;
}

int main() {
    const std::uint64_t atLeast = fromEnvironment("DX7_MODEL_OPERATIONS", 100000);
    const std::uint64_t seed = fromEnvironment("DX7_MODEL_SEED", 20260101);
    rc::detail::TestParams params;
    params.maxSuccess = sequencesPerRound;
    params.maxSize = longestSequence;
    rc::detail::TestMetadata metadata;
    metadata.id = "model and library agree";
    metadata.description = metadata.id;
    QuietListener listener;
    // Before anything can crash.
    std::cout << "comparing at least " << atLeast << " operations, seed " << seed << std::endl;
    std::uint64_t compared = 0;
    for (params.seed = seed; compared < atLeast; ++params.seed) {
        differential::Rig::operationsCompared = 0;
        const auto result =
            rc::detail::checkTestable(runSequence, metadata, params, listener,
                                      std::unordered_map<std::string, rc::detail::Reproduce>());
        if (!result.is<rc::detail::SuccessResult>()) {
            rc::detail::printResultMessage(result, std::cerr);
            std::cerr << "\nrepeat with DX7_MODEL_SEED=" << params.seed << " after " << compared
                      << " operations\n";
            return 1;
        }
        compared += static_cast<std::uint64_t>(differential::Rig::operationsCompared);
    }
    std::cout << compared << " operations compared, seed " << seed << '\n';
    return 0;
}

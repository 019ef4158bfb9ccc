/// \file
/// Options and output of the programs that measure on a line.
#ifndef DX7_BENCH_PROGRAM_H
#define DX7_BENCH_PROGRAM_H

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

namespace dx7bench {

struct Options {
    /// Measurements of each kind; their median is what counts.
    int rounds = 11;
    /// Short measurements: show that the program works, not what the host costs.
    bool quick = false;
};

/// Runs `program` with the options --rounds N and --quick. Returns the exit code: 0 done, 1 failed (with the
/// reason on standard error), 2 wrong usage.
int runProgram(int argc, char** argv, const std::function<void(const Options&)>& program);

/// A result, as a line on standard output for bench/report.py.
void print(const nlohmann::json& result);

/// Progress, on standard error.
void say(const std::string& line);

}  // namespace dx7bench

#endif

/// \file
/// The options that the benchmark programs share.
#ifndef DX7_BENCH_OPTIONS_H
#define DX7_BENCH_OPTIONS_H

#include <functional>

namespace dx7bench {

struct Options {
    int rounds = 11;     ///< Measurements of each kind; their median is what counts.
    bool quick = false;  ///< Small sizes: shows that the program works, not what the driver costs.
};

/// Runs `program` with the options --rounds N and --quick. Returns the exit code: 0 done, 1 failed (with the
/// reason on standard error), 2 wrong usage.
int runProgram(int argc, char** argv, const std::function<void(const Options&)>& program);

}  // namespace dx7bench

#endif

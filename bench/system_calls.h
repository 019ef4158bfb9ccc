/// \file
/// Counting the system calls of a piece of code.
#ifndef DX7_BENCH_SYSTEM_CALLS_H
#define DX7_BENCH_SYSTEM_CALLS_H

#include <functional>

namespace dx7bench {

/// How many system calls `counted` makes. `prepare` runs first, in the same new process, and returns it.
/// Throws std::runtime_error when that fails, or when this process must not trace another.
long systemCalls(const std::function<std::function<void()>()>& prepare);

}  // namespace dx7bench

#endif

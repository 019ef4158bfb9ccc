/// \file
/// Measurements in processes of their own, so that a process's processor time is the measurement's alone.
#ifndef DX7_BENCH_WORKER_H
#define DX7_BENCH_WORKER_H

#include <functional>
#include <vector>

namespace dx7bench {

/// The figures that one measurement gives.
using Figures = std::vector<double>;

/// Measures in a process that ends with it. Throws std::runtime_error when that process fails.
Figures measureAlone(const std::function<Figures()>& measurement);

}  // namespace dx7bench

#endif

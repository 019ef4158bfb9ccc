/// \file
/// Figures from many measurements of the same thing.
#ifndef DX7_BENCH_SAMPLE_H
#define DX7_BENCH_SAMPLE_H

#include <random>
#include <vector>

namespace dx7bench {

/// The value below which `share` (0 to 1) of `values` lie; the nearest one that was measured. `values` must
/// not be empty.
double quantile(std::vector<double> values, double share);

/// The middle value; the mean of the two middle ones when their number is even. `values` must not be empty.
double median(std::vector<double> values);

/// `numerators` divided by `denominators`, pair by pair: what was measured in the same round is compared.
std::vector<double> ratios(const std::vector<double>& numerators, const std::vector<double>& denominators);

/// Random numbers that are the same in every run, so that runs can be compared.
std::mt19937 repeatableRandom();

}  // namespace dx7bench

#endif

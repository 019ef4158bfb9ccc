#include "sample.h"

#include <algorithm>
#include <cmath>

namespace dx7bench {

double quantile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    const double rank = std::ceil(share * static_cast<double>(values.size()));
    const auto index = static_cast<std::size_t>(std::max(rank, 1.0)) - 1;
    return values[std::min(index, values.size() - 1)];
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::vector<double> ratios(const std::vector<double>& numerators, const std::vector<double>& denominators) {
    std::vector<double> result;
    for (std::size_t i = 0; i < numerators.size() && i < denominators.size(); ++i) {
        result.push_back(numerators[i] / denominators[i]);
    }
    return result;
}

std::mt19937 repeatableRandom() {
    std::seed_seq seed{7};
    return std::mt19937(seed);
}

}  // namespace dx7bench

// Random numbers that a seed determines on every machine.
#ifndef DX7_TESTS_TRUTH_RANDOM_H
#define DX7_TESTS_TRUTH_RANDOM_H

#include <cstdint>

namespace truth {

// One step of splitmix64: well mixed bits of any number.
inline std::uint64_t mixed(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

class Random {
public:
    explicit Random(std::uint64_t seed) : state_(mixed(seed)) {}

    std::uint64_t next() { return state_ = mixed(state_); }
    /// From `low` to `high`, both included.
    int between(int low, int high) {
        return low + static_cast<int>(next() % static_cast<std::uint64_t>(high - low + 1));
    }
    bool chance(int percent) { return between(1, 100) <= percent; }

private:
    std::uint64_t state_;
};

}  // namespace truth

#endif

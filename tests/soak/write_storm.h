/// \file
/// Writes under faults: each lands or is reported as failed.
#ifndef DX7_TESTS_SOAK_WRITE_STORM_H
#define DX7_TESTS_SOAK_WRITE_STORM_H

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "soak_device.h"
#include "soak_result.h"

class WriteStorm {
public:
    WriteStorm(SoakDevice& device, SoakResult& result, unsigned seed)
        : device_(device), result_(result), number_(seed), random_(seed) {}

    /// One run of `dx7 write` with some writes, then a look at what the device holds.
    void batch();

private:
    struct Write {
        /// "F:8.0.20,2@1=1,2"
        std::string argument;
        /// "F:8.0.20@1", "F:8.0.21@1"
        std::vector<std::string> items;
        std::vector<int> values;
    };
    Write randomWrite();
    Write withValues(const std::string& type, int group, int first, int count, int station);
    void judge(const std::vector<Write>& writes, const std::string& output);
    void lookAtDevice(const std::vector<Write>& writes);
    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

    SoakDevice& device_;
    SoakResult& result_;
    /// Of its own.
    unsigned number_;
    std::mt19937 random_;
    /// What an item may hold; not there: anything.
    std::map<std::string, std::set<int>> possible_;
};

#endif

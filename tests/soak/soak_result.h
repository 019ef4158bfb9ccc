/// \file
/// What a soak run found.
#ifndef DX7_TESTS_SOAK_SOAK_RESULT_H
#define DX7_TESTS_SOAK_SOAK_RESULT_H

#include <algorithm>
#include <map>
#include <string>
#include <vector>

/// Resident memory of one program in KB.
struct Memory {
    /// When a tenth of its work was done.
    long early = 0;
    long end = 0;
    long highest = 0;

    void sample(long kb, bool warm) {
        early = warm && early == 0 ? kb : early;
        end = kb;
        highest = std::max(highest, kb);
    }
};

struct SoakResult {
    /// Each a sentence; empty when all is well.
    std::vector<std::string> failures;

    long transactions = 0;
    std::map<std::string, long> faults;
    /// dx7's own, of the monitor.
    std::map<std::string, long> statistics;

    /// Shown while the device had them.
    long valuesRight = 0;
    /// Shown later, by oldestSteps steps of 0.25 s at most.
    long valuesStale = 0;
    int oldestSteps = 0;
    /// Shown as bad, with the last good value.
    long valuesBad = 0;

    long writesLanded = 0;
    /// Reported as failed.
    long writesFailed = 0;
    /// From the first step after the faults ended until every item showed it.
    double recoverySeconds = 0;
    /// What was not good when that was given up.
    std::string notRecovered;
    /// The same by mix of faults, also where it is not judged.
    std::map<std::string, long> recoveryMs;
    /// The same, at the slowest of the steps after that.
    double steadySeconds = 0;
    /// By carrier: marked bad without faults, after everything was good.
    std::map<std::string, long> badAgain;
    Memory dx7;
    Memory device;

    void fail(const std::string& what) {
        if (failures.size() < 20) {
            failures.push_back(what);
        }
    }
};

#endif

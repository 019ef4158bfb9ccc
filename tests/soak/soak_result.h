// What a soak run found.
#ifndef DX7_TESTS_SOAK_SOAK_RESULT_H
#define DX7_TESTS_SOAK_SOAK_RESULT_H

#include <algorithm>
#include <map>
#include <string>
#include <vector>

// Resident memory of one program in KB.
struct Memory {
    long early = 0;  // When a tenth of its work was done.
    long end = 0;
    long highest = 0;

    void sample(long kb, bool warm) {
        early = warm && early == 0 ? kb : early;
        end = kb;
        highest = std::max(highest, kb);
    }
};

struct SoakResult {
    std::vector<std::string> failures;  // Each a sentence; empty when all is well.

    long transactions = 0;
    std::map<std::string, long> faults;
    std::map<std::string, long> statistics;  // dx7's own, of the monitor.

    long valuesRight = 0;  // Shown while the device had them.
    long valuesStale = 0;  // Shown later, by oldestSteps steps of 0.25 s at most.
    int oldestSteps = 0;
    long valuesBad = 0;  // Shown as bad, with the last good value.

    long writesLanded = 0;
    long writesFailed = 0;       // Reported as failed.
    double recoverySeconds = 0;  // From the first step after the faults ended until every item showed it.
    std::string notRecovered;    // What was not good when that was given up.
    std::map<std::string, long> recoveryMs;  // The same by mix of faults, also where it is not judged.
    double steadySeconds = 0;                // The same, at the slowest of the steps after that.
    std::map<std::string, long>
        badAgain;  // By carrier: marked bad without faults, after everything was good.
    Memory dx7;
    Memory device;

    void fail(const std::string& what) {
        if (failures.size() < 20) {
            failures.push_back(what);
        }
    }
};

#endif

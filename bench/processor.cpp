#include "processor.h"

#include <sched.h>
#include <sys/resource.h>

#include <vector>

namespace dx7bench {

namespace {

/// In ascending order. Asked once, before this process gives up any of them.
const std::vector<int>& processors() {
    static const std::vector<int> numbers = [] {
        std::vector<int> found;
        cpu_set_t set;
        CPU_ZERO(&set);
        ::sched_getaffinity(0, sizeof set, &set);
        for (int i = 0; i < CPU_SETSIZE; ++i) {
            if (CPU_ISSET(static_cast<unsigned>(i), &set)) {
                found.push_back(i);
            }
        }
        return found;
    }();
    return numbers;
}

void runOn(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<unsigned>(processor), &set);
    ::sched_setaffinity(0, sizeof set, &set);
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

}  // namespace

Effort effortSoFar() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime), static_cast<double>(usage.ru_nvcsw)};
}

bool processorsSuffice() {
    return processors().size() > 1;
}

void runAsClient() {
    if (processorsSuffice()) {
        runOn(processors().front());
    }
}

void runAsDevice() {
    if (processorsSuffice()) {
        runOn(processors().back());
    }
}

}  // namespace dx7bench

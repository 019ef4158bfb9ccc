/// \file
/// Heap that a monitored item takes, with every item of 247 stations monitored.
///
/// Three figures: the data areas and what finds them, the polling plan (a record of more than a kilobyte per
/// block), and both. The list that the host handed over is the host's and does not count.
#include <malloc.h>

#include <cstdint>

#include "device_items.h"
#include "link.h"
#include "options.h"
#include "record.h"
#include "worker.h"

namespace {

using namespace dx7bench;

/// Bytes in use, the allocator's own administration included.
double heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

Figures measure(int count) {
    const Link link(&countReport);
    const double before = heapInUse();
    {
        QList<KEY_ADDRESS> list = keyAddresses(deviceItems(count));
        intf_addrMerge(list);
    }
    const double both = heapInUse() - before;
    const int blocks = driver.pollList.size();
    driver.pollList = QList<VARIABLE>();
    const double areas = heapInUse() - before;
    return {static_cast<double>(driver.dataAreas.size()), static_cast<double>(blocks), areas, both};
}

void run(const Options& options) {
    const int count = options.quick ? 5000 : allItems();
    const Figures figures = measureAlone([count] { return measure(count); });
    Record("memory")
        .number("pointer_bits", 8 * sizeof(void*))
        .number("items", count)
        .number("areas", figures.at(0))
        .number("blocks", figures.at(1))
        .number("areas_per_item", figures.at(2) / count)
        .number("plan_per_item", (figures.at(3) - figures.at(2)) / count)
        .number("both_per_item", figures.at(3) / count);
}

}  // namespace

int main(int argc, char** argv) {
    return dx7bench::runProgram(argc, argv, run);
}

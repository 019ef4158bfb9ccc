/// \file
/// Heap that a monitored item takes, with 10,000 of them: the data areas and what finds them, and the polling
/// plan (a record of more than a kilobyte per block). The list that the host handed over does not count.
#include <malloc.h>

#include <cstdio>

#include "device_items.h"
#include "link.h"

namespace {

const int ITEMS = 10000;

/// Bytes in use, the allocator's own administration included.
double heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

}  // namespace

int main() {
    using namespace dx7bench;
    const Link link(&ignoreReport);
    const double before = heapInUse();
    {
        QList<KEY_ADDRESS> list = keyAddresses(deviceItems(ITEMS));
        intf_addrMerge(list);
    }
    const double both = heapInUse() - before;
    driver.pollList = QList<VARIABLE>();
    const double areas = heapInUse() - before;
    std::printf(R"({"pointer_bits": %d, "items": %d, "areas_per_item": %.1f, "plan_per_item": %.1f})"
                "\n",
                static_cast<int>(8 * sizeof(void*)), ITEMS, areas / ITEMS, (both - areas) / ITEMS);
    return 0;
}

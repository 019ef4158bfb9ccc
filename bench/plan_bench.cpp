/// \file
/// What planning costs: time and memory of intf_addrMerge for 32,000 to 256,000 entries, already sorted,
/// reversed, shuffled, and few entries of many items each.
///
/// Every measurement has a process of its own, whose heap is as large as it will need and in memory before
/// the clock runs, so that neither page faults nor the allocator's history are measured.
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "device_items.h"
#include "heap_meter.h"
#include "link.h"
#include "options.h"
#include "record.h"
#include "sample.h"
#include "worker.h"

namespace {

using namespace dx7bench;

enum Shape { SORTED, REVERSED, SHUFFLED, LONG_RUNS, SHAPES };

const char* const SHAPE_NAMES[SHAPES] = {"sorted", "reversed", "shuffled", "runs of 60"};
// Of what a list of KEY_ADDRESS takes; above the most that planning may take.
const std::size_t HEAP_PER_ENTRY = 4800;

/// Makes the heap grow once and keeps what it has.
void touchHeap(int entries) {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
    const std::size_t bytes = HEAP_PER_ENTRY * static_cast<std::size_t>(entries) + (16U << 20);
    void* const whole = std::malloc(bytes);
    if (whole == nullptr) {
        throw std::runtime_error("not enough memory");
    }
    std::memset(whole, 1, bytes);
    // Told to the compiler as used, which else leaves all of this out.
    asm volatile("" : : "r"(whole) : "memory");
    std::free(whole);
}

QList<KEY_ADDRESS> longRuns(int items) {
    QList<KEY_ADDRESS> list;
    for (const Item& item : deviceItems(items)) {
        if (item.address % 60 == 0) {
            list.append(keyAddress(item.station, item.regType, item.address, 60));
        }
    }
    return list;
}

/// The items in the order of the plan: a type step weighs a fifth of a station step.
std::vector<Item> inPollingOrder(const std::vector<Item>& items) {
    std::vector<std::pair<long long, std::size_t>> order;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const Item& item = items[i];
        const int type = driver.regNames.indexOf(item.regType) + 1;
        order.emplace_back(327675LL * item.station + 65535LL * type + item.address, i);
    }
    std::sort(order.begin(), order.end());
    std::vector<Item> sorted;
    sorted.reserve(items.size());
    for (const auto& entry : order) {
        sorted.push_back(items[entry.second]);
    }
    return sorted;
}

QList<KEY_ADDRESS> entriesOf(int count, Shape shape) {
    if (shape == LONG_RUNS) {
        return longRuns(count);
    }
    std::vector<Item> items = inPollingOrder(deviceItems(count));
    if (shape == REVERSED) {
        std::reverse(items.begin(), items.end());
    } else if (shape == SHUFFLED) {
        std::shuffle(items.begin(), items.end(), repeatableRandom());
    }
    return keyAddresses(items);
}

/// Milliseconds of the first plan of a link.
Figures planningTime(int items, Shape shape) {
    touchHeap(items);
    const Link link(&countReport);
    QList<KEY_ADDRESS> list = entriesOf(items, shape);
    const auto start = std::chrono::steady_clock::now();
    intf_addrMerge(list);
    const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - start;
    return {spent.count()};
}

/// Bytes of the list; of list and driver together, the most while it is planned and what stays.
Figures planningMemory(int items, Shape shape) {
    const Link link(&countReport);
    const QList<KEY_ADDRESS> made = entriesOf(items, shape);
    // Entry by entry, so that the list shares nothing with the one that was made before.
    startHeapMeter();
    QList<KEY_ADDRESS> list;
    list.reserve(made.size());
    for (const KEY_ADDRESS& key : made) {
        list.append(key);
    }
    const double listBytes = static_cast<double>(stopHeapMeter().liveBytes);
    startHeapMeter();
    intf_addrMerge(list);
    const HeapFigures planning = stopHeapMeter();
    return {listBytes, listBytes + static_cast<double>(planning.peakBytes),
            listBytes + static_cast<double>(planning.liveBytes)};
}

struct Row {
    int items;
    Shape shape;
    std::vector<double> milliseconds;
};

void print(const Row& row, const Row& smallest) {
    const Figures memory = measureAlone([&] { return planningMemory(row.items, row.shape); });
    Record("plan")
        .text("shape", SHAPE_NAMES[row.shape])
        .number("items", row.items)
        .number("ms", median(row.milliseconds))
        .number("growth", median(ratios(row.milliseconds, smallest.milliseconds)))
        .number("list_bytes", memory.at(0))
        .number("peak_ratio", memory.at(1) / memory.at(0))
        .number("after_ratio", memory.at(2) / memory.at(0));
}

void run(const Options& options) {
    std::vector<int> sizes = {32000, 64000, 128000, 256000};
    if (options.quick) {
        sizes = {2000, 8000};
    }
    for (int shape = 0; shape < SHAPES; ++shape) {
        std::vector<Row> rows;
        rows.reserve(sizes.size());
        for (const int size : sizes) {
            rows.push_back({size, static_cast<Shape>(shape), {}});
        }
        say(std::string("plan: ") + SHAPE_NAMES[shape]);
        for (int round = 0; round < options.rounds; ++round) {
            for (Row& row : rows) {
                const Figures time = measureAlone([&] { return planningTime(row.items, row.shape); });
                row.milliseconds.push_back(time.at(0));
            }
        }
        for (const Row& row : rows) {
            print(row, rows.front());
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    return dx7bench::runProgram(argc, argv, run);
}

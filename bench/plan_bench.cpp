/// \file
/// What intf_addrMerge costs for 1,000 and 10,000 items: the first plan of a link, and the same list planned
/// again. Entries of one item each are sorted, reversed or shuffled; others have 60 items each.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "device_items.h"
#include "link.h"
#include "sample.h"

namespace {

using namespace dx7bench;

enum Shape { SORTED, REVERSED, SHUFFLED, RUNS };

/// The whole runs of 60 that the items have: only F is long enough for more than one.
QList<KEY_ADDRESS> runsOf60(int items) {
    const QString type = QString::fromLatin1("F");
    QList<KEY_ADDRESS> list;
    for (const Item& item : deviceItems(items)) {
        if (item.regType == type && item.address % 60 == 0 && item.address + 60 <= 16 * 56) {
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
    for (const auto& entry : order) {
        sorted.push_back(items[entry.second]);
    }
    return sorted;
}

QList<KEY_ADDRESS> entriesOf(int count, Shape shape) {
    if (shape == RUNS) {
        return runsOf60(count);
    }
    std::vector<Item> items = inPollingOrder(deviceItems(count));
    if (shape == REVERSED) {
        std::reverse(items.begin(), items.end());
    } else if (shape == SHUFFLED) {
        std::shuffle(items.begin(), items.end(), repeatableRandom());
    }
    return keyAddresses(items);
}

/// Seconds that planning takes. Planning changes the list, so it gets a copy, made before the clock runs.
double planned(QList<KEY_ADDRESS> list) {
    list.detach();
    const auto start = std::chrono::steady_clock::now();
    intf_addrMerge(list);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void first(benchmark::State& state, Shape shape) {
    const QList<KEY_ADDRESS> entries = entriesOf(static_cast<int>(state.range(0)), shape);
    for (auto _ : state) {
        const Link link(&ignoreReport);
        state.SetIterationTime(planned(entries));
    }
}

void again(benchmark::State& state, Shape shape) {
    const QList<KEY_ADDRESS> entries = entriesOf(static_cast<int>(state.range(0)), shape);
    const Link link(&ignoreReport);
    planned(entries);
    for (auto _ : state) {
        state.SetIterationTime(planned(entries));
    }
}

void registerShape(const char* name, Shape shape) {
    for (const auto& planning : {std::make_pair("first", &first), std::make_pair("again", &again)}) {
        benchmark::RegisterBenchmark((std::string(name) + "/" + planning.first).c_str(), planning.second,
                                     shape)
            ->ArgName("items")
            ->Arg(1000)
            ->Arg(10000)
            ->UseManualTime();
    }
}

}  // namespace

int main(int argc, char** argv) {
    // The heap keeps what it has, so that page faults are not measured.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
    registerShape("sorted", SORTED);
    registerShape("reversed", REVERSED);
    registerShape("shuffled", SHUFFLED);
    registerShape("runs of 60", RUNS);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

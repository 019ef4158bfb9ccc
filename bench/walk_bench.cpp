/// \file
/// What an item costs, however many are monitored: walks over 60, 1,000 and 10,000 of them, in the order in
/// which they are polled and shuffled. Replies are shuffled as a whole, not the items within them.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <vector>

#include "device_items.h"
#include "link.h"
#include "sample.h"

namespace {

using namespace dx7bench;

const int WORDS = 60;
const int BITS = 64;
// Frames that are put on the line before the clock runs, so that it sees the decoding alone.
const std::size_t FRAMES_AT_ONCE = 64;
const std::size_t FIRST_REPLIES = 12;
const char* const BIT_TYPES[] = {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI"};

double secondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

FRAME_PRO readFrame(int dataBytes, int dataCount, int count) {
    FRAME_PRO frame;
    frame.expectLen = dataBytes + 5;
    frame.dataOffset = 3;
    frame.dataCount = dataCount;
    frame.count = count;
    return frame;
}

struct Reply {
    FRAME_PRO frame;
    QByteArray bytes;
};

Reply wordReply(char value) {
    return {readFrame(2 * WORDS, 2 * WORDS, WORDS), readReply(1, 3, QByteArray(2 * WORDS, value))};
}

Reply bitReply() {
    return {readFrame(BITS / 8, BITS, BITS), readReply(1, 1, QByteArray(BITS / 8, 0))};
}

/// The driver from the start of a link, with as many items planned as the benchmark's first argument says.
class Monitored {
public:
    explicit Monitored(const benchmark::State& state) : link_(&ignoreReport) {
        const std::vector<Item> chosen = deviceItems(static_cast<int>(state.range(0)));
        QList<KEY_ADDRESS> list = keyAddresses(chosen);
        intf_addrMerge(list);
        for (const VARIABLE& block : driver.pollList) {
            for (int i = 0; i < block.count; ++i) {
                items.push_back({block.station, block.regType, block.address + i});
            }
        }
        if (items.size() != chosen.size()) {
            throw std::runtime_error("the plan does not hold every item once");
        }
        findReads(chosen);
    }

    /// Gives every item its area, as the first replies do, and the lists the order of the second argument.
    void settle(const benchmark::State& state) {
        decode(bitReads, bitReply());
        get();
        if (state.range(1) != 0) {
            for (std::vector<Item>* list : {&items, &wordReads, &bitReads}) {
                std::shuffle(list->begin(), list->end(), repeatableRandom());
            }
        }
    }

    /// Seconds that the driver takes for a good reply to each of `reads`.
    static double decode(const std::vector<Item>& reads, const Reply& reply) {
        double spent = 0;
        QString info;
        QByteArray bytes = reply.bytes;
        for (std::size_t next = 0; next < reads.size();) {
            const std::size_t end = std::min(next + FRAMES_AT_ONCE, reads.size());
            const std::size_t frames = end - next;
            for (; next < end; ++next) {
                FRAME_PRO frame = reply.frame;
                frame.station = reads[next].station;
                frame.regType = reads[next].regType;
                frame.address = reads[next].address;
                driver.frameList.append(frame);
            }
            driver.opKind = OP_NONE;
            const double start = secondsNow();
            for (std::size_t i = 0; i < frames; ++i) {
                intf_dealRcvFrame(bytes, info);
            }
            spent += secondsNow() - start;
            if (!driver.frameList.isEmpty()) {
                throw std::runtime_error("a reply was refused");
            }
        }
        return spent;
    }

    void get() {
        unsigned char value[2] = {0, 0};
        for (Item& item : items) {
            intf_getData(item.station, item.regType, item.address, 1, value);
        }
    }

    /// Every value is new. The write leaves the queue at once, as when the line carries it before the next.
    void set() {
        ++written_;
        unsigned char value[2] = {written_, 0};
        for (Item& item : items) {
            intf_setData(item.station, item.regType, item.address, 1, value, OP_WRITE);
            if (!driver.writeList.isEmpty()) {
                driver.writeList.removeFirst();
            }
        }
    }

    /// In polling order, or shuffled.
    std::vector<Item> items;
    /// The first item of each block of 60 words.
    std::vector<Item> wordReads;
    /// The first item of each block of 64 bits.
    std::vector<Item> bitReads;

private:
    void findReads(const std::vector<Item>& chosen) {
        for (std::size_t i = 0; i < chosen.size(); ++i) {
            const Item& first = chosen[i];
            if (first.regType != QLatin1String("F") || first.address % WORDS != 0) {
                continue;
            }
            if (i + WORDS <= chosen.size() && chosen[i + WORDS - 1].address == first.address + WORDS - 1) {
                wordReads.push_back(first);
            }
            if (first.address == 0) {
                for (const char* type : BIT_TYPES) {
                    bitReads.push_back({first.station, QString::fromLatin1(type), 0});
                }
            }
        }
    }

    Link link_;
    unsigned char written_ = 0;
};

/// Repeats `walk`, which returns the seconds that `count` items took. The first one is not counted: it brings
/// values and caches into the state that later walks find.
template <typename Walk>
void repeat(benchmark::State& state, std::size_t count, const Walk& walk) {
    walk();
    for (auto _ : state) {
        state.SetIterationTime(walk());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

void decodeSame(benchmark::State& state) {
    Monitored monitored(state);
    monitored.settle(state);
    const Reply reply = wordReply(0x11);
    repeat(state, WORDS * monitored.wordReads.size(),
           [&] { return monitored.decode(monitored.wordReads, reply); });
}

void decodeChanged(benchmark::State& state) {
    Monitored monitored(state);
    monitored.settle(state);
    const Reply replies[2] = {wordReply(0x11), wordReply(0x22)};
    int walks = 0;
    repeat(state, WORDS * monitored.wordReads.size(),
           [&] { return monitored.decode(monitored.wordReads, replies[++walks % 2]); });
}

void decodeBits(benchmark::State& state) {
    Monitored monitored(state);
    monitored.settle(state);
    const Reply reply = bitReply();
    repeat(state, BITS * monitored.bitReads.size(),
           [&] { return monitored.decode(monitored.bitReads, reply); });
}

/// Bits get areas of their own by their first reply. That happens once in the life of a link.
void firstReply(benchmark::State& state) {
    std::size_t bits = 0;
    for (auto _ : state) {
        Monitored monitored(state);
        monitored.bitReads.resize(std::min(monitored.bitReads.size(), FIRST_REPLIES));
        state.SetIterationTime(monitored.decode(monitored.bitReads, bitReply()));
        bits += BITS * monitored.bitReads.size();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(bits));
}

template <void (Monitored::*CALLS)()>
void callByItem(benchmark::State& state) {
    Monitored monitored(state);
    monitored.settle(state);
    repeat(state, monitored.items.size(), [&] {
        const double start = secondsNow();
        (monitored.*CALLS)();
        return secondsNow() - start;
    });
}

void sizesAndOrders(benchmark::internal::Benchmark* walk) {
    walk->ArgsProduct({{60, 1000, 10000}, {0, 1}})->ArgNames({"items", "random"})->UseManualTime();
}

BENCHMARK(decodeSame)->Name("decode 60 words, nothing changed")->Apply(&sizesAndOrders);
BENCHMARK(decodeChanged)->Name("decode 60 words, all changed")->Apply(&sizesAndOrders);
BENCHMARK(decodeBits)->Name("decode 64 bits")->Apply(&sizesAndOrders);
BENCHMARK(callByItem<&Monitored::get>)->Name("intf_getData")->Apply(&sizesAndOrders);
BENCHMARK(callByItem<&Monitored::set>)->Name("intf_setData")->Apply(&sizesAndOrders);
BENCHMARK(firstReply)
    ->Name("first reply of 64 bits, which makes their areas")
    ->ArgsProduct({{60, 1000, 10000}, {0}})
    ->ArgNames({"items", "random"})
    ->UseManualTime()
    ->Iterations(3);

}  // namespace

BENCHMARK_MAIN();

// What a running line takes from the heap once it has begun: what the driver takes for a frame and the text
// about it, and nothing else.
#include <gtest/gtest.h>

#include "bench/heap_meter.h"
#include "host/exchange/rtu_frame.h"
#include "rig.h"

using namespace dx7;

namespace {

const int WARM_UP = 200;
const int MEASURED = 200;
const int SILENT = 9;
// The driver's for each transaction: the record of its frame, and four numbers and the text they are put
// together to.
const int DRIVERS_OWN = 6;

// Counts what the host takes, and leaves out what the scripted other end does.
class Meter {
public:
    void start() {
        running_ = true;
        dx7bench::startHeapMeter();
    }
    void pause() {
        if (running_) {
            allocations_ += dx7bench::stopHeapMeter();
        }
    }
    void goOn() {
        if (running_) {
            dx7bench::startHeapMeter();
        }
    }
    long long stop() {
        pause();
        running_ = false;
        return allocations_;
    }

private:
    bool running_ = false;
    long long allocations_ = 0;
};

// Its own bookkeeping does not count.
class UnmeteredLine : public ScriptedLine {
public:
    UnmeteredLine(VirtualClock& clock, Meter& meter) : ScriptedLine(clock), meter_(meter) {}

    bool send(const QByteArray& bytes) override {
        meter_.pause();
        // Not shared: the host would have to part from what is kept here.
        const bool sent = ScriptedLine::send(QByteArray(bytes.constData(), bytes.size()));
        meter_.goOn();
        return sent;
    }
    bool receive(QByteArray* bytes) override {
        meter_.pause();
        const bool open = ScriptedLine::receive(bytes);
        meter_.goOn();
        return open;
    }

private:
    Meter& meter_;
};

struct Load {
    const char* what;
    const char* items;
    // Every register differs each time it is read.
    bool changing;
    // Allocations that the host is allowed: a probe of a dead station costs one, and so does each turn's list
    // without its items.
    int most;
};
void PrintTo(const Load& load, std::ostream* out) {
    *out << load.what;
}

class Allocations : public testing::TestWithParam<Load> {
protected:
    Allocations() : line(rig.clock, meter), runner(rig.engine, line, rig.poller) {
        line.script = [this](ScriptedLine& answering, const QByteArray& request) {
            for (auto& value : device.registers) {
                value.second = (value.second + (GetParam().changing ? 1 : 0)) & 0xFFFF;
            }
            if (byteAt(request, 0) != SILENT) {
                answer(answering, rig.settings, device, request);
            }
        };
        EngineEvents events;
        events.value = [this](int) { ++told; };
        events.transaction = [this](const Transaction& transaction) { good += transaction.good() ? 1 : 0; };
        rig.engine.setEvents(events);
        rig.watch(GetParam().items);
    }

    void run(int transactions) {
        const int enough = good + transactions;
        for (int turns = 0; good < enough && turns < 100 * transactions; ++turns) {
            runner.turn(rig.clock.nowUs() + 50000);
        }
        EXPECT_GE(good, enough);
    }

    Meter meter;
    Rig rig;
    UnmeteredLine line;
    LineRunner runner;
    ScriptedDevice device;
    int good = 0;
    int told = 0;
};

TEST_P(Allocations, AreTheDriversInTheSteadyState) {
    run(WARM_UP);
    const qint64 queries = rig.engine.statistics().all().queries;
    const int toldBefore = told;
    meter.start();
    run(MEASURED);
    EXPECT_LE(meter.stop(), GetParam().most + DRIVERS_OWN * MEASURED);
    EXPECT_GT(rig.engine.statistics().all().queries, queries) << "replies have been proven meanwhile";
    EXPECT_EQ(told > toldBefore, GetParam().changing);
}

INSTANTIATE_TEST_SUITE_P(Loads, Allocations,
                         testing::Values(Load{"one block", "F:0.0.00,10", false, 0},
                                         Load{"changing values", "F:0.0.00,10 F:1.0.00/u32", true, 0},
                                         Load{"two stations", "F:0.0.00,10@1 AI:0,4@2", true, 0},
                                         Load{"a dead station", "F:0.0.00,10@1 AI:0,4@9", true, 5 + MEASURED},
                                         Load{"bits", "SDO:1,8 DI:1,4", false, 0}));

// The meter does see what the host takes.
TEST(AllocationMeter, SeesAnAllocation) {
    Meter meter;
    meter.start();
    const QByteArray bytes(100, 'x');
    meter.pause();
    const QByteArray unseen(200, 'x');
    meter.goOn();
    EXPECT_EQ(meter.stop(), 1);
    EXPECT_NE(bytes, unseen);
}

}  // namespace

// The host's parts over the real driver and a scripted line, on a virtual clock.
#ifndef DX7_TESTS_HOST_RIG_H
#define DX7_TESTS_HOST_RIG_H

#include <functional>

#include "host/poll/line_runner.h"
#include "simulated_poller.h"

// Settings of a serial line of 9600 baud with a timeout of 300 ms.
dx7::LineSettings serialSettings();

// A communication loop without an engine: requests one after the other, without proofs of their replies.
class LoopRig {
public:
    explicit LoopRig(const dx7::LineSettings& lineSettings = serialSettings());

    // Takes the driver's next request to its end. False when there is none, or the line was lost.
    bool step();
    // Does what is due, and waits until the next moment, `untilUs` at most.
    void turn(qint64 untilUs);
    void runFor(qint64 durationUs);
    // Begins the driver's next request as soon as the line is clear. False when there is none.
    bool begin();

    const dx7::LineSettings settings;
    VirtualClock clock;
    ScriptedLine line;
    SimulatedPoller poller;
    dx7::DriverSession session;
    dx7::CommLoop loop;
    QVector<dx7::Transaction> seen;
    std::vector<dx7::ExchangeNote> notes;
};

// A whole running line.
class Rig {
public:
    explicit Rig(const dx7::LineSettings& lineSettings = serialSettings());

    void watch(const char* items);
    void write(const char* text, const std::function<void(const dx7::Transaction&)>& done = {});
    void runFor(qint64 durationUs) {
        runUntil([] { return false; }, durationUs);
    }
    // Runs until that is so. False when it is not within the time, or time stands still.
    bool runUntil(const std::function<bool()>& reached, qint64 limitUs = 60000000);
    bool runOperations() {
        return runUntil([this] { return engine.pendingOperations() == 0; });
    }
    // Runs until everything is told that can be told of what has come.
    bool conclude();
    const dx7::PointState& told(int point) const { return engine.table().told(point); }

    const dx7::LineSettings settings;
    VirtualClock clock;
    ScriptedLine line;
    SimulatedPoller poller;
    dx7::DriverSession session;
    dx7::CommLoop loop;
    dx7::PollEngine engine;
    dx7::LineRunner runner;
};

// Answers with what `device` says when request and reply have passed a paced line, and 2 ms.
void answer(ScriptedLine& line, const dx7::LineSettings& settings, ScriptedDevice& device,
            const QByteArray& request);

#endif

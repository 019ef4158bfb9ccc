// What happens in one run: the plan, the stations, the line and what goes wrong on it.
#ifndef DX7_TESTS_TRUTH_SCENARIO_H
#define DX7_TESTS_TRUTH_SCENARIO_H

#include <QString>
#include <QVector>
#include <cstdint>

#include "host/line/line_settings.h"

namespace truth {

struct Fault {
    enum Kind {
        Delay,         // Replies take `a` ms more.
        GrowingDelay,  // `a` ms more, and up to `b` with time.
        RandomDelay,   // Up to `a` ms more, each reply anew.
        Double,        // `percent` of the replies come again `a` ms after.
        OneBehind,     // Between `a` and `b` ms each frame waits for the next one.
        SecondMaster,  // Asks every `a` ms or so; `b`: see MasterFlag.
        Echo,          // `percent` of the requests come back.
        Loss,          // `percent` of the frames get lost: `a` 0 = requests, 1 = replies, 2 = both.
        Damage,        // `percent` of the replies are damaged: `a` 0 = bits, 1 = cut, 2 = noise, 3 = any.
        LeftOver,      // The reply to an earlier program's request, `a` ms after the first request; `b`: see
                       // LeftOverFlag.
        Stall          // `percent` of the requests take `a` ms more.
    };
    enum LeftOverFlag { OfTheItem = 1, Status = 2, Diagnostic = 4 };  // The answers to its queries follow.
    enum MasterFlag { Visible = 1, JustBefore = 2, JustAfter = 4, SameItem = 8, Queries = 16, Writes = 32 };
    Kind kind = Delay;
    int a = 0;
    int b = 0;
    int percent = 100;
    std::uint64_t seed = 0;
};

struct Item {
    int station = 1;
    QString type;
    int address = 0;
};

struct StationKind {
    bool ignores7 = false;
    bool ignores8 = false;
    bool refuses8 = false;
    bool pipelined = false;
    int workMs = 5;  // From the end of a request to its reply.
};

struct Scenario {
    std::uint64_t seed = 0;
    QString name;
    dx7::LineSettings settings;
    QVector<StationKind> stations;  // Of station 1, 2, ...
    QVector<Item> items;
    QVector<Fault> faults;
    bool watch = true;
    bool exceptions = false;
    int reads = 0;   // One-shot reads of all items.
    int writes = 0;  // Of one or several items.
    int chunk = 0;   // Bytes that are read at a time; 0 = whole frames.
    qint64 durationUs = 0;
    // Every item must be shown as good again and again, at least once in `lifeUs`.
    bool mustLive = false;
    qint64 lifeUs = 15000000;
};

/// The scenario of a seed: any faults, or none.
Scenario scenarioOf(std::uint64_t seed);
/// Scenarios with one fault that must be survived: their number, and each of them.
int survivableCount();
Scenario survivable(int index);

/// The scenarios that lack a little of this one, for shrinking.
QVector<Scenario> simpler(const Scenario& scenario);

QString faultText(const Fault& fault);
QString scenarioText(const Scenario& scenario);

}  // namespace truth

#endif

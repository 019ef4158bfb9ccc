// A station that is dead does not slow the others down, and is back soon after it answers again.
#include <csignal>
#include <cstdio>

#include "rig.h"

namespace {

using Clock = std::chrono::steady_clock;

enum { STATIONS = 10, DEAD = 7 };

Words monitorWords(bool withDead, const char* seconds) {
    Words words{"monitor", "--json", "--stats", "--seconds", seconds, "--timeout", "300", "--baud", "9600"};
    for (int station = 1; station <= STATIONS; ++station) {
        if (withDead || station != DEAD) {
            words.push_back("F:3.0.20,8@" + std::to_string(station));
        }
    }
    return words;
}

struct Measured {
    Json statistics;
    bool takenOut = false;  ///< The dead station left the plan.
};

Measured collect(Process& monitor) {
    Measured measured;
    const Json end = nextJson(monitor, [&](const Json& object) {
        if (object.contains("alive")) {
            EXPECT_EQ(int(DEAD), object.at("station"));
            EXPECT_EQ(false, object.at("alive"));
            measured.takenOut = true;
        }
        return object.contains("statistics");
    });
    EXPECT_FALSE(end.is_null());
    measured.statistics = end.is_null() ? Json() : end.at("statistics");
    EXPECT_EQ(0, monitor.finish().exitCode);
    return measured;
}

TEST(DeadStation, SlowsTheCycleOfTheLivingByAtMostATenth) {
    const Words stations{"--baud",     "9600",
                         "--stations", "1,2,3,4,5,6,7,8,9,10",
                         "--fault",    "silent=" + std::to_string(int(DEAD))};
    // Both at the same time, so that whatever else the computer does concerns both.
    Rig with(Carrier::PseudoTerminal, stations);
    Rig without(Carrier::PseudoTerminal, stations);
    Process withDead(with.command(monitorWords(true, "9")));
    Process withoutDead(without.command(monitorWords(false, "9")));
    const Measured living = collect(withoutDead);
    const Measured mixed = collect(withDead);

    const double alone = living.statistics.at("cycles").at("median_ms");
    const double beside = mixed.statistics.at("cycles").at("median_ms");
    std::printf(
        "cycle of %d stations at 9600 baud: median %.1f ms without the dead one, %.1f ms beside it (%+.1f "
        "%%); "
        "longest %.1f and %.1f ms\n",
        STATIONS - 1, alone, beside, 100 * (beside / alone - 1),
        living.statistics.at("cycles").at("max_ms").get<double>(),
        mixed.statistics.at("cycles").at("max_ms").get<double>());
    // 9 requests and replies of 8 and 21 characters and the silence before each: what the line needs at
    // least.
    const double floorMs = (STATIONS - 1) * (8 + 21 + 3.5) * 10 / 9.6;
    EXPECT_GE(alone, floorMs * 0.95) << "the line is paced";
    EXPECT_GT(beside, 0);
    EXPECT_LE(beside, 1.1 * alone);
    EXPECT_TRUE(mixed.takenOut);
    const Json& dead = mixed.statistics.at("stations")[std::to_string(int(DEAD))];
    EXPECT_EQ(0, dead.at("good"));
    // Two cycles of three attempts, then a request per probe.
    EXPECT_LE(dead.at("requests"), 6 + 5);
    EXPECT_GE(dead.at("requests"), 6 + 2);
}

TEST(DeadStation, IsBackWithinOneProbeOfAnswering) {
    Rig rig(Carrier::PseudoTerminal, {"--stations", "1,2"});
    Process monitor(rig.command({"monitor", "--json", "--timeout", "100", "F:3.0.25@1", "F:3.0.25@2"}));
    const auto is = [](int station, bool alive) {
        return [=](const Json& o) {
            return o.contains("alive") && has(o, "station", station) && has(o, "alive", alive);
        };
    };
    ASSERT_FALSE(nextJson(monitor, [](const Json& o) { return has(o, "item", "F:3.0.25@2"); }).is_null());
    rig.tell("silence 2");
    ASSERT_FALSE(nextJson(monitor, is(2, false)).is_null());
    const auto unanswered = [&] {
        rig.device().type("summary\n");
        long count = -1;
        for (std::string line = rig.device().readLine(); line.rfind("faults made", 0) != 0 && !line.empty();
             line = rig.device().readLine()) {
            if (line.rfind("station 2", 0) == 0) {
                count = numberBehind(line, "exceptions, ");
            }
        }
        return count;
    };
    // Revived right after the first probe, 0.5 s after it was taken out: the next one follows 1 s later.
    const long atOut = unanswered();
    ASSERT_TRUE(eventually([&] { return unanswered() > atOut; }));
    EXPECT_EQ("station 2 answers", rig.tell("revive 2"));
    rig.tell("set F:3.0.25@2=77");
    const auto revived = Clock::now();
    Json value;
    ASSERT_FALSE(nextJson(monitor, [&](const Json& o) {
                     // The probe brings a value already.
                     value = o.contains("item") ? o : value;
                     return is(2, true)(o);
                 }).is_null());
    const std::chrono::duration<double> took = Clock::now() - revived;
    ASSERT_TRUE(value.is_object());
    EXPECT_EQ("F:3.0.25@2", value.at("item"));
    EXPECT_EQ(77, value.at("value"));
    EXPECT_EQ("good", value.at("quality"));
    std::printf("revived: back in the plan after %.2f s (the probe interval is 1 s)\n", took.count());
    EXPECT_LE(took.count(), 1.0 + 0.6) << "one probe interval, and a busy computer";
    monitor.signal(SIGINT);
    EXPECT_EQ(0, monitor.finish().exitCode);
}

}  // namespace

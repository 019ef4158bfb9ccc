#include "fault_mix.h"

#include <initializer_list>

namespace {

// A late reply holds up the line's others, which may be late, too: what is owed for 10 s is forgotten.
constexpr double FORGOTTEN_SECONDS = 10;
// A reply that is in time comes within three times 0.5 s. Computers that are busy add what they add.
constexpr double IN_TIME_SECONDS = 1.5;
constexpr double BUSY_SECONDS = 1;
// What a station refused may have been asked for again just before the faults end. A probe of a slow station
// takes as long as a reply that is in time, and the next one follows 12 times as long after it. Its reply is
// good when the station has answered up to three queries, one a second.
constexpr double RECOVERY_SECONDS = 13 * IN_TIME_SECONDS + 3 + BUSY_SECONDS;
// Shorter, for nothing follows from it.
constexpr double LOOK_SECONDS = 22;

std::string each(std::initializer_list<const char*> names, double share) {
    std::string list;
    for (const char* name : names) {
        list += std::string(list.empty() ? "" : ",") + name + "=" + std::to_string(share);
    }
    return list;
}

FaultMix plainMix(int line, double share, int latestMs) {
    FaultMix mix;
    const std::string visible = each({"exception", "truncate", "corrupt", "foreign"}, share);
    const std::string lossy = visible + "," + each({"drop"}, share);
    const std::string late = "," + each({"late"}, share);
    const std::string twice = "," + each({"duplicate"}, 2 * share);
    const bool odd = line % 2 == 1;
    switch (line / 2 % 6) {
        case 0:
            mix = {"late", lossy + late, latestMs};
            break;
        case 1:
            mix = {"copies at once", lossy + late + twice, latestMs / 2};
            break;
        case 2:
            mix = {odd ? "copies soon" : "copies later", visible + twice, 0, odd ? 40 : 700};
            // After each reply dx7 waits for a copy that may come as late as the last did.
            mix.recovers = false;
            break;
        case 3:
            mix = {"delay", lossy + (odd ? ",delay=800" : ",delay=120")};
            break;
        case 4:
            // An adapter does not begin or cease to echo: what echoes now and then does not, and is judged
            // so.
            mix = {odd ? "echo now and then" : "echo", lossy + late + (odd ? ",echo=0.1" : ",echo"),
                   latestMs / 3};
            mix.lasting = odd ? "none" : "echo";
            mix.recovers = !odd;
            break;
        // A reply that is lost while another frame of its shape comes in its place looks like neither: these
        // two lose nothing.
        default:
            mix = odd ? FaultMix{"answer before",
                                 each({"exception", "corrupt", "late"}, share) + ",answer-before", latestMs}
                      : FaultMix{"second master", visible + late + "," + each({"second-master"}, 4 * share),
                                 latestMs};
            mix.recovers = false;
            break;
    }
    return mix;
}

}  // namespace

FaultMix mixOfLine(int line, double share, int latestMs) {
    FaultMix mix = plainMix(line, share, latestMs);
    const bool behind = mix.lateByMs > 0 || mix.name == "delay";
    mix.oldestSeconds = (behind ? FORGOTTEN_SECONDS : IN_TIME_SECONDS) + BUSY_SECONDS;
    // A reply that is late when the faults end holds the line up.
    mix.recoverySeconds = RECOVERY_SECONDS + mix.lateByMs / 1000.0;
    mix.patienceSeconds = mix.recovers ? mix.recoverySeconds + BUSY_SECONDS : LOOK_SECONDS;
    return mix;
}

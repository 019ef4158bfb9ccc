/// \file
/// What is wrong with each line of the soak.
#ifndef DX7_TESTS_SOAK_FAULT_MIX_H
#define DX7_TESTS_SOAK_FAULT_MIX_H

#include <string>

struct FaultMix {
    std::string name;
    /// As dx7-device takes them.
    std::string faults;
    /// 0 = no reply is late.
    int lateByMs = 0;
    /// 0 = copies follow at once.
    int copyAfterMs = 0;
    /// What goes on when the faults end, as it is the way of the line; as dx7-device takes it.
    std::string lasting = "none";
    /// After the faults end, everything must be good again in time. Where frames look like replies to what
    /// was not asked, values may be doubtful all the time, and only the truth of what is good is judged.
    bool recovers = true;
    /// How long after its making a reply may come that is shown as good.
    double oldestSeconds = 0;
    /// How soon after the faults end everything is good again, where it recovers.
    double recoverySeconds = 0;
    /// How long that is waited for.
    double patienceSeconds = 0;
};

/// Of the line with this number, from 0 on; the mixes repeat, and lines 0 and 1, 2 and 3, ... have the same
/// kind of mix. `share` is that of the replies that suffer each fault.
FaultMix mixOfLine(int line, double share, int latestMs);

#endif

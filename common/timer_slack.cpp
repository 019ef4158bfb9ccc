#include "common/timer_slack.h"

#include <sys/prctl.h>

namespace dx7common {

void useExactTimers() {
    // In nanoseconds; 0 would mean the default.
    const unsigned long slack = 1;
    ::prctl(PR_SET_TIMERSLACK, slack, 0UL, 0UL, 0UL);
}

}  // namespace dx7common

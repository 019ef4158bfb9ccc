/// \file
/// How exactly a program's sleeps end.
#ifndef DX7_COMMON_TIMER_SLACK_H
#define DX7_COMMON_TIMER_SLACK_H

namespace dx7common {

/// Waits of the calling thread, and of threads that it starts later, end when they are due and not up to 50
/// us after that. A program calls it once, first thing. Where the system refuses it, nothing changes.
void useExactTimers();

}  // namespace dx7common

#endif

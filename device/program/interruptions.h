/// \file
/// Calls that do not block for ever.
#ifndef DX7_DEVICE_PROGRAM_INTERRUPTIONS_H
#define DX7_DEVICE_PROGRAM_INTERRUPTIONS_H

namespace dx7sim {

/// While one of these exists, a call that blocks is interrupted every 100 ms (EINTR). A descriptor that is
/// ready may still block: other programs may read or write it, too. It takes SIGALRM and the real-time timer
/// of the process, so there is one of these at a time, in a program with one thread.
class Interruptions {
public:
    Interruptions();
    ~Interruptions();
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
};

}  // namespace dx7sim

#endif

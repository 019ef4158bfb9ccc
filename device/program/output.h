/// \file
/// What the device prints. Nothing that it prints can keep it from ending.
#ifndef DX7_DEVICE_PROGRAM_OUTPUT_H
#define DX7_DEVICE_PROGRAM_OUTPUT_H

#include <sys/types.h>

#include <chrono>
#include <set>
#include <string>

namespace dx7sim {

/// Standard output and standard error. It waits until what is written is taken; but once the device is to
/// end, an output that takes nothing for 400 ms, or that is not done after 3 s, is given up. The one thread
/// of the program uses it: see Interruptions.
class Output {
public:
    /// `signals` is readable when the device is to end; -1 when the signals end it by themselves.
    explicit Output(int signals) : signals_(signals) {}

    /// Lines on standard output, each ended; made printable.
    void print(const std::string& lines);
    /// A line on standard error; made printable.
    void trace(const std::string& line);
    /// "dx7-device: ..." on standard error.
    void printError(const std::string& what);

private:
    using Clock = std::chrono::steady_clock;

    void write(int descriptor, const std::string& text);
    bool waitUntilWritable(int descriptor, Clock::time_point lastTaken);

    int signals_;
    bool ending_ = false;
    Clock::time_point endingSince_;
    std::set<int> givenUp_;
};

}  // namespace dx7sim

#endif

/// \file
/// A device on a line of its own, whose command channel is the witness.
#ifndef DX7_TESTS_SOAK_SOAK_DEVICE_H
#define DX7_TESTS_SOAK_SOAK_DEVICE_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fault_mix.h"
#include "tests/kit/device_process.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

using Words = std::vector<std::string>;

struct SoakSettings {
    /// With faults.
    int seconds = 600;
    /// At the same time; every second one over TCP, the others on pseudo-terminals.
    int lines = 24;
    unsigned seed = 1;
    /// Of the replies that suffer each fault.
    double share = 0.03;
    /// How late the latest replies are.
    int latestMs = 3000;
};

/// How far the wall clock is ahead of the device's clock.
struct ClockOffset {
    double seconds = 0;
    /// It may be more or less by so much, when it is measured and later.
    double error = 0;
    double measuredAt = 0;
};

class SoakDevice {
public:
    SoakDevice(const SoakSettings& settings, int line);

    bool overTcp() const { return port_.has_value(); }
    const FaultMix& mix() const { return mix_; }
    /// The command line of dx7 for this line.
    Words dx7(const Words& words) const;

    /// A place for a file that goes with the device.
    std::string file(const std::string& name) const { return directory_.file(name); }

    std::string tell(const std::string& command);
    /// Its clock, and how much later the computer's wall clock is.
    double seconds();
    ClockOffset wallClockOffset();
    /// Requests it has received.
    long requests();
    /// Faults it has made, by name.
    std::map<std::string, long> faults();
    long residentKb() const { return process_->residentKb(); }
    /// Ends it; true when it ended well.
    bool stop();

private:
    std::vector<std::string> summary();

    FaultMix mix_;
    TemporaryDirectory directory_;
    std::optional<int> port_;
    std::unique_ptr<DeviceProcess> process_;
};

/// The wall clock in seconds.
double wallClock();
/// The number after `label`; throws std::runtime_error when it is not there.
long numberBehind(const std::string& text, const std::string& label);

#endif

// A device on a line of its own, whose command channel is the witness.
#ifndef DX7_TESTS_SOAK_SOAK_DEVICE_H
#define DX7_TESTS_SOAK_SOAK_DEVICE_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fault_mix.h"
#include "tests/kit/device_process.h"
#include "tests/kit/temporary_directory.h"

using namespace kit;

using Words = std::vector<std::string>;

struct SoakSettings {
    int seconds = 600;  // With faults.
    int lines = 24;     // At the same time; every second one over TCP, the others on pseudo-terminals.
    unsigned seed = 1;
    double share = 0.03;  // Of the replies that suffer each fault.
    int latestMs = 3000;  // How late the latest replies are.
};

class SoakDevice {
public:
    SoakDevice(const SoakSettings& settings, int line);

    bool overTcp() const { return m_port >= 0; }
    const FaultMix& mix() const { return m_mix; }
    // The command line of dx7 for this line.
    Words dx7(const Words& words) const;

    // A place for a file that goes with the device.
    std::string file(const std::string& name) const { return m_directory.file(name); }

    std::string tell(const std::string& command);
    // Its clock, and how much later the computer's wall clock is.
    double seconds();
    double wallClockOffset();
    // Requests it has received.
    long requests();
    // Faults it has made, by name.
    std::map<std::string, long> faults();
    long residentKb() const { return m_process->residentKb(); }
    // Ends it; true when it ended well.
    bool stop();

private:
    std::vector<std::string> summary();

    FaultMix m_mix;
    TemporaryDirectory m_directory;
    int m_port = -1;
    std::unique_ptr<DeviceProcess> m_process;
};

// The wall clock in seconds.
double wallClock();
// The number behind `label`; throws std::runtime_error when it is not there.
long numberBehind(const std::string& text, const std::string& label);

#endif

/// \file
/// Reads along with `dx7 monitor --json` and proves every value it shows.
#ifndef DX7_TESTS_SOAK_MONITOR_WATCH_H
#define DX7_TESTS_SOAK_MONITOR_WATCH_H

#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "moving_values.h"
#include "soak_device.h"
#include "soak_result.h"

class MonitorWatch {
public:
    MonitorWatch(SoakDevice& device, SoakResult& result);

    /// Watches for so long.
    void forSeconds(double seconds);
    /// Ends the faults and measures how long it takes until everything is shown new and good, and how long
    /// that takes in each of the steps after it.
    void recover();
    /// Ends the monitor and takes its statistics over.
    void finish();

private:
    struct Shown {
        MovingItem item;
        int value = -1;
        /// The last value that was shown as doubtful.
        int doubtful = -1;
        /// The newest step that was shown, of a good value.
        long step = -1;
        bool good = false;
        std::string quality;
    };

    bool readLine();
    void takeGood(Shown& shown, int value, const nlohmann::json& line, double deviceSeconds);
    void take(const nlohmann::json& line);
    void takeValue(Shown& shown, const nlohmann::json& line, double deviceSeconds);
    void sampleMemory(bool warm);
    /// By how much the time of a line may differ from the device's.
    double clockError() const;
    /// Seconds from the step's begin until the last item showed it or a later one; at least the mix's
    /// patience when one does not.
    double secondsUntilShown(long step);

    SoakDevice& device_;
    SoakResult& result_;
    const ClockOffset offset_;
    std::map<std::string, Shown> shown_;
    std::unique_ptr<Process> monitor_;
    /// The device's time at the last line.
    double lineSeconds_ = 0;
    double heardSeconds_ = wallClock();
};

#endif

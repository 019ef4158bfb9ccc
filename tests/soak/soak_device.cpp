#include "soak_device.h"

#include <chrono>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace {

// The last line of a summary: "faults made: drop 0, exception 0, ...".
const std::string FAULTS_MADE = "faults made:";

}  // namespace

double wallClock() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

long numberBehind(const std::string& text, const std::string& label) {
    const std::size_t at = text.find(label);
    if (at == std::string::npos) {
        throw std::runtime_error("no \"" + label + "\" in: " + text);
    }
    return std::strtol(text.c_str() + at + label.size(), nullptr, 10);
}

SoakDevice::SoakDevice(const SoakSettings& settings, int line)
    : mix_(mixOfLine(line, settings.share, settings.latestMs)) {
    const bool tcp = line % 2 == 0;
    // No station follows another, so that the reply of a wrong station is never one that was asked.
    Words options{"--stations",
                  "1,3,5",
                  "--move-all",
                  "--fault",
                  mix_.faults,
                  "--seed",
                  std::to_string(settings.seed + static_cast<unsigned>(line))};
    if (mix_.lateByMs > 0) {
        options.insert(options.end(), {"--late-by", std::to_string(mix_.lateByMs)});
    }
    options.insert(options.end(), {"--copy-after", std::to_string(mix_.copyAfterMs)});
    process_ = std::make_unique<DeviceProcess>(
        tcp ? Words{"--tcp", "0"} : Words{"--pty", directory_.file("line")}, options);
    if (tcp) {
        port_ = process_->tcpPort();
    }
}

Words SoakDevice::dx7(const Words& words) const {
    Words all{DX7_PROGRAM};
    all.insert(all.end(), words.begin(), words.end());
    const Words place = overTcp()
                            ? Words{"--tcp", "127.0.0.1:" + std::to_string(*port_)}
                            : Words{"--serial", directory_.file("line"), "--baud", "115200", "--gap", "0"};
    all.insert(all.end(), place.begin(), place.end());
    all.insert(all.end(), {"--json", "--driver", DX7_LIBRARY});
    return all;
}

std::string SoakDevice::tell(const std::string& command) {
    process_->type(command + "\n");
    const std::string answer = process_->readLine();
    if (answer.empty()) {
        throw std::runtime_error("the device does not answer \"" + command + "\"");
    }
    return answer;
}

double SoakDevice::seconds() {
    return std::stod(tell("time").substr(5));
}

// The best of several readings: the one with the shortest way, somewhere on which the device read its clock.
ClockOffset SoakDevice::wallClockOffset() {
    ClockOffset best;
    best.error = std::numeric_limits<double>::max();
    for (int i = 0; i < 20; ++i) {
        const double before = wallClock();
        const double device = seconds();
        const double after = wallClock();
        const double error = (after - before) / 2;
        if (error < best.error) {
            best = ClockOffset{before + error - device, error, after};
        }
    }
    return best;
}

std::vector<std::string> SoakDevice::summary() {
    std::vector<std::string> lines{tell("summary")};
    while (lines.back().rfind(FAULTS_MADE, 0) != 0) {
        lines.push_back(process_->readLine());
        if (lines.back().empty()) {
            throw std::runtime_error("the device's summary has no end");
        }
    }
    return lines;
}

long SoakDevice::requests() {
    long sum = 0;
    for (const std::string& line : summary()) {
        sum += line.rfind("station ", 0) == 0 ? numberBehind(line, ": ") : 0;
    }
    return sum;
}

std::map<std::string, long> SoakDevice::faults() {
    std::istringstream words(summary().back().substr(FAULTS_MADE.size()));
    std::map<std::string, long> counts;
    for (std::string name, count; words >> name >> count;) {
        counts[name] = std::stol(count);
    }
    return counts;
}

bool SoakDevice::stop() {
    return process_->stop().exitCode == 0;
}

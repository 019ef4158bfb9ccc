#include "monitor_watch.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <ctime>

namespace {

using Json = nlohmann::json;

// Blocks of one station, as dx7 plans them. Two of them have replies that only their order tells apart.
const Words ITEMS{"F:3.0.20,4", "F:4.0.20,4", "F:5.0.30,3", "D:0.0.10,5", "AI:0,2", "DI:1,6"};

constexpr int STEADY_STEPS = 4;
constexpr double MEMORY_SECONDS = 0.5;
constexpr double STEP_SECONDS = 0.25;
// The values begin anew then: all that an item ever has.
constexpr int ALL_STEPS = 256;
// While replies are owed, nothing is shown.
constexpr int SILENCE_MS_AT_MOST = 30000;
constexpr int LOOK_MS = 500;
// The computer's clocks are read at different moments, and lines carry milliseconds.
constexpr double CLOCK_ERROR = 0.003;
// The wall clock may be slewed while the device's goes on: by so much of the time (adjtime(3) of Linux).
constexpr double SLEW = 0.0005;

// Seconds of a time as "2026-11-21T13:04:05.678+01:00" or "...Z".
double secondsOf(const std::string& text) {
    std::tm when{};
    int milliseconds = 0;
    int zoneHours = 0;
    int zoneMinutes = 0;
    char sign = 'Z';
    std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%d.%d%c%d:%d", &when.tm_year, &when.tm_mon, &when.tm_mday,
                &when.tm_hour, &when.tm_min, &when.tm_sec, &milliseconds, &sign, &zoneHours, &zoneMinutes);
    when.tm_year -= 1900;
    when.tm_mon -= 1;
    const int zone = (sign == '-' ? -1 : 1) * (3600 * zoneHours + 60 * zoneMinutes);
    return static_cast<double>(::timegm(&when) - zone) + milliseconds / 1000.0;
}

Words monitorWords() {
    Words words{"monitor", "--stats"};
    for (const char* station : {"1", "3", "5"}) {
        for (const std::string& item : ITEMS) {
            words.push_back(item + "@" + station);
        }
    }
    return words;
}

}  // namespace

MonitorWatch::MonitorWatch(SoakDevice& device, SoakResult& result)
    : device_(device), result_(result), offset_(device.wallClockOffset()) {
    monitor_ = std::make_unique<Process>(device.dx7(monitorWords()));
}

// A line, or none for a while.
bool MonitorWatch::readLine() {
    const std::string line = monitor_->readLine(LOOK_MS);
    if (!line.empty()) {
        heardSeconds_ = wallClock();
        take(Json::parse(line));
    } else if (wallClock() - heardSeconds_ > SILENCE_MS_AT_MOST / 1000.0 || monitor_->residentKb() == 0) {
        result_.fail("dx7 monitor has fallen silent on line \"" + device_.mix().name + "\"");
        return false;
    }
    return true;
}

double MonitorWatch::clockError() const {
    return CLOCK_ERROR + offset_.error + SLEW * (wallClock() - offset_.measuredAt);
}

void MonitorWatch::take(const Json& line) {
    if (line.contains("time")) {
        lineSeconds_ = secondsOf(line.at("time")) - offset_.seconds;
    }
    if (line.contains("item")) {
        const std::string notation = line.at("item");
        const auto known = shown_.find(notation);
        Shown& shown = known != shown_.end() ? known->second : shown_[notation];
        if (known == shown_.end()) {
            shown.item = movingItem(notation);
        }
        takeValue(shown, line, lineSeconds_);
    } else if (line.at("event") == "line") {
        result_.fail("dx7 lost its line: " + line.dump());
    } else if (line.at("event") == "statistics") {
        for (const auto& [name, count] : line.at("all").items()) {
            if (count.is_number_integer()) {
                result_.statistics[name] = count;
            }
        }
    }
}

void MonitorWatch::takeValue(Shown& shown, const Json& line, double deviceSeconds) {
    shown.quality = line.at("quality");
    shown.good = shown.quality == "good";
    const int value = line.at("value").is_null() ? -1 : line.at("value").get<int>();
    if (!shown.good) {
        ++result_.valuesBad;
        // What is doubtful is new, and told apart from what is good: it may be anything, and stays when no
        // reply follows.
        const bool doubtful = shown.quality == "doubtful";
        const bool had = stepsSince(shown.item, value, stepAt(deviceSeconds + clockError()), ALL_STEPS) >= 0;
        if (!doubtful && value != shown.value && value != shown.doubtful && !had) {
            result_.fail("shown as bad with a value that was not shown before: " + line.dump());
        }
        shown.doubtful = doubtful ? value : shown.doubtful;
        return;
    }
    takeGood(shown, value, line, deviceSeconds);
}

void MonitorWatch::takeGood(Shown& shown, int value, const Json& line, double deviceSeconds) {
    const double oldest = device_.mix().oldestSeconds;
    const long step = stepAt(deviceSeconds + clockError());
    const int back = stepsSince(shown.item, value, step, static_cast<int>(std::ceil(oldest / STEP_SECONDS)));
    const std::string place = " at " + std::to_string(deviceSeconds) + " s of the device (step " +
                              std::to_string(step) + ") on line \"" + device_.mix().name +
                              "\": " + line.dump();
    if (back < 0) {
        result_.fail("wrong value" + place);
        return;
    }
    // A word tells its step.
    if (!shown.item.bit && step - back < shown.step) {
        result_.fail("older than step " + std::to_string(shown.step) + ", which was shown before" + place);
    }
    const bool right = back == 0 || stepAt(deviceSeconds - clockError()) == step - back;
    ++(right ? result_.valuesRight : result_.valuesStale);
    result_.oldestSteps = right ? result_.oldestSteps : std::max(result_.oldestSteps, back);
    shown.value = value;
    shown.step = std::max(shown.step, step - back);
}

void MonitorWatch::sampleMemory(bool warm) {
    result_.dx7.sample(monitor_->residentKb(), warm);
    result_.device.sample(device_.residentKb(), warm);
}

void MonitorWatch::forSeconds(double seconds) {
    const double began = wallClock();
    double next = 0;
    while (wallClock() - began < seconds && readLine()) {
        if (wallClock() >= next) {
            sampleMemory(wallClock() - began > seconds / 10);
            next = wallClock() + MEMORY_SECONDS;
        }
    }
    std::vector<MovingItem> items;
    for (const auto& [notation, shown] : shown_) {
        items.push_back(shown.item);
    }
    requireDistinct(items);
}

double MonitorWatch::secondsUntilShown(long step) {
    const auto behind = [&](const auto& entry) {
        // A bit shows nothing new in most steps.
        return !entry.second.good || (!entry.second.item.bit && entry.second.step < step);
    };
    const double begin = static_cast<double>(step) * STEP_SECONDS;
    const auto passed = [&] { return wallClock() - offset_.seconds - begin; };
    while (std::any_of(shown_.begin(), shown_.end(), behind) && passed() < device_.mix().patienceSeconds &&
           readLine()) {
    }
    return passed();
}

void MonitorWatch::recover() {
    device_.tell("fault " + device_.mix().lasting);
    const double ended = device_.seconds();
    const long step = stepAt(ended) + 1;
    double seconds = secondsUntilShown(step);
    result_.recoverySeconds = seconds;
    for (const auto& [notation, shown] : shown_) {
        if (!shown.good || (!shown.item.bit && shown.step < step)) {
            result_.notRecovered +=
                (result_.notRecovered.empty() ? "" : ", ") + notation + " " + shown.quality;
        }
    }
    const long bad = result_.valuesBad;
    // Steps that begin after the recovery, so that a slow one does not make them look slow.
    for (int i = 0; i < STEADY_STEPS && seconds < device_.mix().patienceSeconds; ++i) {
        seconds = secondsUntilShown(stepAt(wallClock() - offset_.seconds) + 1);
        result_.steadySeconds = std::max(result_.steadySeconds, seconds);
    }
    result_.badAgain[device_.overTcp() ? "over TCP" : "on pseudo-terminals"] = result_.valuesBad - bad;
}

void MonitorWatch::finish() {
    monitor_->signal(SIGINT);
    // What is proven at the end is more than a pipe holds.
    for (std::string line = monitor_->readLine(SILENCE_MS_AT_MOST); !line.empty();
         line = monitor_->readLine(SILENCE_MS_AT_MOST)) {
        take(Json::parse(line));
    }
    const Finished end = monitor_->finish(SILENCE_MS_AT_MOST);
    std::istringstream lines(end.output);
    for (std::string line; std::getline(lines, line);) {
        take(Json::parse(line));
    }
    if (end.exitCode != 0) {
        result_.fail("dx7 monitor ended with " + std::to_string(end.exitCode) + ": " + end.errors);
    }
}

#include "monitor_watch.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <ctime>

namespace {

using Json = nlohmann::json;

// Blocks of one station, as dx7 plans them. Two of them have replies that only their order tells apart.
const Words ITEMS{"F:3.0.20,4", "F:4.0.20,4", "F:5.0.30,3", "D:0.0.10,5", "AI:0,2", "DI:1,6"};

const int STEADY_STEPS = 4;
const double MEMORY_SECONDS = 0.5;
const double STEP_SECONDS = 0.25;
const double PATIENCE_SECONDS = 60;
// The computer's clocks are read at different moments, and lines carry milliseconds.
const double CLOCK_ERROR = 0.003;

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

MonitorWatch::MonitorWatch(SoakDevice& device, const SoakSettings& settings, SoakResult& result)
    : m_device(device), m_settings(settings), m_result(result), m_offset(device.wallClockOffset()) {
    m_monitor = std::make_unique<Process>(device.dx7(monitorWords()));
}

bool MonitorWatch::readLine() {
    const std::string line = m_monitor->readLine();
    if (line.empty()) {
        m_result.fail("dx7 monitor has fallen silent");
        return false;
    }
    take(Json::parse(line));
    return true;
}

void MonitorWatch::take(const Json& line) {
    if (line.contains("time")) {
        m_lineSeconds = secondsOf(line.at("time")) - m_offset;
    }
    if (line.contains("item")) {
        const std::string notation = line.at("item");
        const auto known = m_shown.find(notation);
        Shown& shown = known != m_shown.end() ? known->second : m_shown[notation];
        if (known == m_shown.end()) {
            shown.item = movingItem(notation);
        }
        takeValue(shown, line, m_lineSeconds);
    } else if (line.at("event") == "line") {
        m_result.fail("dx7 lost its line: " + line.dump());
    } else if (line.at("event") == "statistics") {
        for (const auto& [name, count] : line.at("all").items()) {
            if (count.is_number_integer()) {
                m_result.statistics[name] = count;
            }
        }
    }
}

void MonitorWatch::takeValue(Shown& shown, const Json& line, double deviceSeconds) {
    shown.good = line.at("quality") == "good";
    const int value = line.at("value").is_null() ? -1 : line.at("value").get<int>();
    if (!shown.good) {
        ++m_result.valuesBad;
        // What is doubtful is new, and told apart from what is good: it may be anything, and stays when no
        // reply follows.
        const bool doubtful = line.at("quality") == "doubtful";
        const bool had = stepsSince(shown.item, value, stepAt(deviceSeconds + CLOCK_ERROR), 60) >= 0;
        if (!doubtful && value != shown.value && value != shown.doubtful && !had) {
            m_result.fail("shown as bad with a value that was not shown before: " + line.dump());
        }
        shown.doubtful = doubtful ? value : shown.doubtful;
        return;
    }
    // Not older than a reply that came at the end of the time for its operation, in a busy computer.
    const double oldest = 3 * m_settings.timeoutMs / 1000.0 + 1;
    const long step = stepAt(deviceSeconds + CLOCK_ERROR);
    const int back = stepsSince(shown.item, value, step, static_cast<int>(std::ceil(oldest / STEP_SECONDS)));
    if (back < 0) {
        m_result.fail("wrong value at " + std::to_string(deviceSeconds) + " s of the device (step " +
                      std::to_string(step) + "): " + line.dump());
    } else {
        const bool right = back == 0 || stepAt(deviceSeconds - CLOCK_ERROR) == step - back;
        ++(right ? m_result.valuesRight : m_result.valuesStale);
        m_result.oldestSteps = right ? m_result.oldestSteps : std::max(m_result.oldestSteps, back);
    }
    shown.value = value;
    shown.step = std::max(shown.step, step - std::max(back, 0));
}

void MonitorWatch::sampleMemory(bool warm) {
    m_result.dx7.sample(m_monitor->residentKb(), warm);
    m_result.device.sample(m_device.residentKb(), warm);
}

void MonitorWatch::untilRequests(long requests) {
    const long first = m_device.requests();
    double next = 0;
    for (long now = first; now < requests && readLine();) {
        if (wallClock() >= next) {
            now = m_device.requests();
            sampleMemory(now - first > (requests - first) / 10);
            next = wallClock() + MEMORY_SECONDS;
        }
    }
    std::vector<MovingItem> items;
    for (const auto& [notation, shown] : m_shown) {
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
    while (std::any_of(m_shown.begin(), m_shown.end(), behind) && m_lineSeconds - begin < PATIENCE_SECONDS &&
           readLine()) {
    }
    return m_lineSeconds - begin;
}

void MonitorWatch::recover() {
    m_device.tell("fault none");
    const double ended = m_device.seconds();
    const long step = stepAt(ended) + 1;
    double seconds = secondsUntilShown(step);
    m_result.recoverySeconds = seconds;
    const long bad = m_result.valuesBad;
    // Steps that begin after the recovery, so that a slow one does not make them look slow.
    for (int i = 0; i < STEADY_STEPS && seconds < PATIENCE_SECONDS; ++i) {
        seconds = secondsUntilShown(stepAt(m_lineSeconds) + 1);
        m_result.steadySeconds = std::max(m_result.steadySeconds, seconds);
    }
    m_result.badAgain[m_device.overTcp() ? "over TCP" : "on pseudo-terminals"] = m_result.valuesBad - bad;
}

void MonitorWatch::finish() {
    m_monitor->signal(SIGINT);
    const Finished end = m_monitor->finish();
    std::istringstream lines(end.output);
    for (std::string line; std::getline(lines, line);) {
        take(Json::parse(line));
    }
    if (end.exitCode != 0) {
        m_result.fail("dx7 monitor ended with " + std::to_string(end.exitCode) + ": " + end.errors);
    }
}

#include "device/commands.h"

#include <iomanip>
#include <map>
#include <sstream>

#include "device/line/usage_error.h"
#include "device/station/text.h"

namespace dx7sim {

namespace {

constexpr const char* HELP =
    "set TYPE:ADDRESS[@STATION]=VALUE  give an item a value, which then holds (all stations without "
    "@STATION)\n"
    "get TYPE:ADDRESS[@STATION]        show an item's value\n"
    "silence STATION                   the station does not answer any more\n"
    "revive STATION                    the station answers again\n"
    "fault LIST                        make other faults from now on, as drop=0.01,late=0.1; fault none ends "
    "them\n"
    "time                              show the device's time in seconds\n"
    "summary                           show what the device saw\n"
    "help                              show this\n"
    "quit                              end the device\n"
    "A LIST of faults has these, separated by commas: ";

enum class CommandKind { Nothing, Set, Get, Silence, Revive, Fault, Clock, Summary, Help, Quit };

struct Command {
    CommandKind kind = CommandKind::Nothing;
    // Of Set and Get.
    Target target{{RegisterType::CW, 0}, {}};
    // Of Set.
    std::uint16_t value = 0;
    // Of Silence and Revive.
    int station = 0;
    // Of Fault.
    FaultPlan faults;
};

const std::map<std::string, CommandKind> WORDS = {
    {"set", CommandKind::Set},         {"get", CommandKind::Get},     {"silence", CommandKind::Silence},
    {"revive", CommandKind::Revive},   {"help", CommandKind::Help},   {"quit", CommandKind::Quit},
    {"summary", CommandKind::Summary}, {"fault", CommandKind::Fault}, {"time", CommandKind::Clock},
};

void parseSet(const std::string& text, Command& command) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) {
        throw UsageError("\"set\" needs an item and a value: write set TYPE:ADDRESS[@STATION]=VALUE");
    }
    command.target = parseTarget(trimmed(text.substr(0, equals)));
    command.value = parseValue(command.target.item.type, trimmed(text.substr(equals + 1)));
}

// Reads one line. An empty line is Nothing. Throws UsageError for what is not a command.
Command parseCommand(const std::string& line) {
    const std::string text = trimmed(line);
    Command command;
    if (text.empty()) {
        return command;
    }
    const std::size_t wordEnd = text.find_first_of(" \t");
    const std::string word = text.substr(0, wordEnd);
    const std::string rest = wordEnd == std::string::npos ? "" : trimmed(text.substr(wordEnd));
    const auto known = WORDS.find(word);
    if (known == WORDS.end()) {
        throw UsageError("\"" + word + "\" is not a command: \"help\" shows them all");
    }
    command.kind = known->second;
    switch (command.kind) {
        case CommandKind::Set:
            parseSet(rest, command);
            break;
        case CommandKind::Get:
            command.target = parseTarget(rest);
            break;
        case CommandKind::Fault:
            if (rest.empty()) {
                throw UsageError("\"fault\" needs a list: write fault drop=0.01,late=0.1 or fault none");
            }
            parseFaults(rest, command.faults);
            break;
        case CommandKind::Silence:
        case CommandKind::Revive:
            command.station = parseStation(rest);
            break;
        default:
            if (!rest.empty()) {
                throw UsageError("\"" + word + "\" takes no arguments, not \"" + rest + "\"");
            }
    }
    return command;
}

std::string valuesText(const Target& target, const Device& device, Time now) {
    std::string text;
    for (const auto& [station, value] : device.values(target, now)) {
        text += itemText(target.item) + "@" + std::to_string(station) + " = " + std::to_string(value) + "\n";
    }
    return text;
}

std::string timeText(Time now) {
    std::ostringstream text;
    text << "time " << std::fixed << std::setprecision(6) << std::chrono::duration<double>(now).count()
         << '\n';
    return text.str();
}

CommandResult run(const Command& command, Device& device, Time now, std::size_t droppedBytes) {
    switch (command.kind) {
        case CommandKind::Set:
            device.set(command.target, command.value, now);
            return {valuesText(command.target, device, now)};
        case CommandKind::Get:
            return {valuesText(command.target, device, now)};
        case CommandKind::Silence:
            device.setSilent(command.station, true);
            return {"station " + std::to_string(command.station) + " is silent\n"};
        case CommandKind::Revive:
            device.setSilent(command.station, false);
            return {"station " + std::to_string(command.station) + " answers\n"};
        case CommandKind::Fault:
            device.setFaults(command.faults);
            return {"faults changed\n"};
        case CommandKind::Clock:
            return {timeText(now)};
        case CommandKind::Summary:
            return {summaryText(device.statistics(), droppedBytes)};
        case CommandKind::Help:
            return {HELP + faultForms() + "\n"};
        case CommandKind::Quit:
            return {"", true};
        case CommandKind::Nothing:
            break;
    }
    return {};
}

}  // namespace

CommandResult runCommand(const std::string& line, Device& device, Time now, std::size_t droppedBytes) {
    try {
        return run(parseCommand(line), device, now, droppedBytes);
    } catch (const UsageError& error) {
        return {std::string("error: ") + error.what() + "\n"};
    }
}

}  // namespace dx7sim

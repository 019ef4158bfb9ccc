#include "write_storm.h"

#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

namespace {

using Json = nlohmann::json;

// A write whose acknowledgement is lost takes seconds.
constexpr int WRITES_PER_BATCH = 5;
constexpr int STATIONS = 3;
constexpr int BATCH_MS = 120000;

std::string itemText(const std::string& type, int group, int index, int station) {
    const std::string address =
        type == "F" ? std::to_string(group) + ".0." + std::to_string(index) : std::to_string(index);
    return type + ":" + address + "@" + std::to_string(station);
}

}  // namespace

WriteStorm::Write WriteStorm::withValues(const std::string& type, int group, int first, int count,
                                         int station) {
    Write write;
    write.argument = itemText(type, group, first, station);
    if (count > 1) {
        write.argument.insert(write.argument.find('@'), "," + std::to_string(count));
    }
    write.argument += "=";
    for (int i = 0; i < count; ++i) {
        const int value = below(type == "DO" || type == "SDO" ? 2 : 65536);
        write.argument += (i == 0 ? "" : ",") + std::to_string(value);
        write.items.push_back(itemText(type, group, first + i, station));
        write.values.push_back(value);
    }
    return write;
}

// Function codes 5, 6 and 16; few places, so that a write often follows another to the same place.
WriteStorm::Write WriteStorm::randomWrite() {
    const int station = 1 + 2 * below(STATIONS);
    switch (below(5)) {
        case 0:
            return withValues("SDO", 0, 1 + below(8), 1, station);
        case 1:
            return withValues("DO", 0, 1 + below(2), 1, station);
        case 2:
            return withValues("MOD", 0, 1, 1 + below(2), station);
        case 3:
            return withValues("F", 7, 20 + below(4), 1, station);
        default:
            return withValues("F", 8 + below(2), 20, 4, station);
    }
}

void WriteStorm::batch() {
    std::vector<Write> writes;
    Words words{"write"};
    while (writes.size() < WRITES_PER_BATCH) {
        writes.push_back(randomWrite());
        words.push_back(writes.back().argument);
        if (below(2) == 0) {
            // At once the same place with other values: its acknowledgement looks the same for function
            // code 16.
            const std::string& argument = writes.back().argument;
            const std::string place = argument.substr(0, argument.find('='));
            Write other = writes.back();
            other.argument = place + "=";
            for (std::size_t i = 0; i < other.values.size(); ++i) {
                other.values[i] = other.values[i] < 2 ? 1 - other.values[i] : below(65536);
                other.argument += (i == 0 ? "" : ",") + std::to_string(other.values[i]);
            }
            writes.push_back(other);
            words.push_back(other.argument);
        }
    }
    const std::string record = device_.file("record.pcap");
    std::filesystem::remove(record);
    // A late reply to an earlier batch is not another master.
    words.insert(words.end(), {"--record", record, "--anyway"});
    const Finished run = runToEnd(device_.dx7(words), BATCH_MS);
    const std::size_t failures = result_.failures.size();
    if (run.exitCode < 0 || run.exitCode > 1) {
        result_.fail("dx7 write ended with " + std::to_string(run.exitCode) + ": " + run.errors);
        return;
    }
    judge(writes, run.output);
    lookAtDevice(writes);
    if (result_.failures.size() > failures) {
        const std::string kept =
            std::filesystem::temp_directory_path() /
            ("dx7-soak-" + std::to_string(::getpid()) + "-" + std::to_string(number_) + ".pcap");
        std::filesystem::copy_file(record, kept, std::filesystem::copy_options::overwrite_existing);
        result_.fail("that was on line \"" + device_.mix().name + "\"; its frames are in " + kept +
                     ", and dx7 said:\n" + run.output + run.errors);
    }
}

void WriteStorm::judge(const std::vector<Write>& writes, const std::string& output) {
    std::istringstream lines(output);
    std::string line;
    for (const Write& write : writes) {
        for (std::size_t i = 0; i < write.items.size(); ++i) {
            if (!std::getline(lines, line)) {
                result_.fail("dx7 write reported nothing about " + write.items[i]);
                return;
            }
            const bool written = Json::parse(line).at("written") == true;
            result_.writesLanded += written ? 1 : 0;
            result_.writesFailed += written ? 0 : 1;
            const auto known = possible_.find(write.items[i]);
            if (written) {
                possible_[write.items[i]] = {write.values[i]};
            } else if (known != possible_.end()) {
                known->second.insert(write.values[i]);
            }
        }
    }
}

void WriteStorm::lookAtDevice(const std::vector<Write>& writes) {
    std::set<std::string> items;
    for (const Write& write : writes) {
        items.insert(write.items.begin(), write.items.end());
    }
    for (const std::string& item : items) {
        const std::string answer = device_.tell("get " + item);
        const int held = static_cast<int>(numberBehind(answer, " = "));
        const auto known = possible_.find(item);
        if (known != possible_.end() && known->second.count(held) == 0) {
            result_.fail("the device holds " + answer +
                         ", which dx7 reported neither as written nor as failed");
        }
        // What was never written moves on.
        if (known != possible_.end()) {
            known->second = {held};
        }
    }
}

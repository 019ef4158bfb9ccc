#include "device/values_file.h"

#include <toml++/toml.h>
#include <algorithm>

#include "common/file_content.h"
#include "common/toml_limits.h"
#include "device/line/usage_error.h"

namespace dx7sim {

namespace {

class ValuesReader {
public:
    ValuesReader(const std::string& name, const std::vector<int>& stations)
        : name_(name), stations_(stations) {}

    std::vector<InitialValue> read(const toml::table& document) const;

private:
    [[noreturn]] void fail(const toml::source_region& place, const std::string& what) const;
    // A number, or a bit as true or false.
    long long numberIn(const toml::node& node, RegisterType type) const;
    InitialValue readValue(const toml::key& key, const toml::node& node) const;

    const std::string& name_;
    const std::vector<int>& stations_;
};

void ValuesReader::fail(const toml::source_region& place, const std::string& what) const {
    throw UsageError(name_ + ":" + std::to_string(place.begin.line) + ":" +
                     std::to_string(place.begin.column) + ": " + what);
}

std::vector<InitialValue> ValuesReader::read(const toml::table& document) const {
    std::vector<InitialValue> values;
    for (const auto& [key, node] : document) {
        if (key.str() != "values" || !node.is_table()) {
            fail(key.source(),
                 "\"" + std::string(key.str()) + "\" is not expected here: write a table [values]");
        }
        for (const auto& [item, value] : *node.as_table()) {
            values.push_back(readValue(item, value));
        }
    }
    std::stable_sort(values.begin(), values.end(), [](const InitialValue& a, const InitialValue& b) {
        return !a.target.station && b.target.station;
    });
    return values;
}

long long ValuesReader::numberIn(const toml::node& node, RegisterType type) const {
    if (node.is_integer()) {
        return node.as_integer()->get();
    }
    if (node.is_boolean() && isBit(type)) {
        return node.as_boolean()->get() ? 1 : 0;
    }
    fail(node.source(), std::string("this is not a value for ") + typeInfo(type).name +
                            ": write a whole number" + (isBit(type) ? " 0 or 1, true or false" : ""));
}

InitialValue ValuesReader::readValue(const toml::key& key, const toml::node& node) const {
    InitialValue result{};
    try {
        result.target = parseTarget(std::string(key.str()));
    } catch (const UsageError& error) {
        fail(key.source(), error.what());
    }
    const auto station = result.target.station;
    if (station && std::find(stations_.begin(), stations_.end(), *station) == stations_.end()) {
        fail(key.source(), "station " + std::to_string(*station) + " is not simulated");
    }
    const RegisterType type = result.target.item.type;
    const long long number = numberIn(node, type);
    try {
        result.value = checkValue(type, number, std::to_string(number));
    } catch (const UsageError& error) {
        fail(node.source(), error.what());
    }
    return result;
}

}  // namespace

std::vector<InitialValue> parseValues(const std::string& text, const std::string& name,
                                      const std::vector<int>& stations) {
    const auto place = [&name](std::size_t line, std::size_t column) {
        return name + ":" + std::to_string(line) + ":" + std::to_string(column) + ": ";
    };
    if (const auto excess = dx7common::findTomlExcess(text)) {
        throw UsageError(place(excess->line, excess->column) + excess->what);
    }
    try {
        return ValuesReader(name, stations).read(toml::parse(text));
    } catch (const toml::parse_error& error) {
        const toml::source_position at = error.source().begin;
        throw UsageError(place(at.line, at.column) + std::string(error.description()));
    }
}

std::vector<InitialValue> readValuesFile(const std::string& path, const std::vector<int>& stations) {
    const dx7common::FileContent content = dx7common::readFileContent(path, dx7common::TOML_MAX_BYTES);
    if (!content.fault.empty()) {
        throw UsageError("cannot read the values file \"" + path + "\": " + content.fault);
    }
    return parseValues(content.bytes, path, stations);
}

}  // namespace dx7sim

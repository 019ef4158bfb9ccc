#include "host/cli/json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace dx7::cli {

/// Makes what the JSON library prints.
struct JsonText {
    using Text = nlohmann::ordered_json;

    static Text of(const Json& json) { return std::visit(JsonText(), json.value_); }

    template <typename Value>
    Text operator()(const Value& value) const {
        return value;
    }
    Text operator()(const std::vector<Json>& elements) const {
        Text list = Text::array();
        for (const Json& element : elements) {
            list.push_back(of(element));
        }
        return list;
    }
    Text operator()(const std::vector<Json::Member>& members) const {
        Text object = Text::object();
        for (const Json::Member& member : members) {
            object[member.name] = of(member.value);
        }
        return object;
    }
};

Json::Json(std::vector<Json> elements) : value_(std::move(elements)) {}

Json::Json(std::initializer_list<Member> members) : value_(std::vector<Member>(members)) {}

Json& Json::operator[](const std::string& name) {
    auto& members = std::get<std::vector<Member>>(value_);
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&name](const Member& member) { return member.name == name; });
    return found != members.end() ? found->value : members.emplace_back(Member{name, nullptr}).value;
}

std::string Json::dump() const {
    return JsonText::of(*this).dump();
}

}  // namespace dx7::cli

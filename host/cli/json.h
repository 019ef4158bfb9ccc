/// \file
/// JSON to print: values, lists, and objects that keep the order of their members.
#ifndef DX7_CLI_JSON_H
#define DX7_CLI_JSON_H

#include <QtGlobal>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace dx7::cli {

class Json {
public:
    struct Member;

    Json(std::nullptr_t) {}
    Json(bool value) : value_(value) {}
    template <typename Whole, typename = std::enable_if_t<std::is_integral_v<Whole>>>
    Json(Whole value) : value_(static_cast<qint64>(value)) {}
    Json(double value) : value_(value) {}
    Json(const char* value) : value_(std::string(value)) {}
    Json(std::string value) : value_(std::move(value)) {}
    /// A list.
    Json(std::vector<Json> elements);
    /// An object.
    Json(std::initializer_list<Member> members);

    static Json object() { return Json(std::initializer_list<Member>{}); }
    /// The member of this name, which is added as null where there is none. Of objects only.
    Json& operator[](const std::string& name);

    bool isNull() const { return std::holds_alternative<std::nullptr_t>(value_); }
    /// In one line.
    std::string dump() const;

private:
    friend struct JsonText;

    std::variant<std::nullptr_t, bool, qint64, double, std::string, std::vector<Json>, std::vector<Member>>
        value_;
};

struct Json::Member {
    std::string name;
    Json value;
};

}  // namespace dx7::cli

#endif

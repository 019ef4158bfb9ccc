#include "common/toml_limits.h"

#include <array>

namespace dx7common {

namespace {

// Walks through a text and knows what the parser will be inside of. Where the text is not TOML any more the
// two may disagree; the parser does not go beyond such a place.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    std::optional<TomlExcess> run();

private:
    // What a bracket or brace opened; the first one is the file itself.
    struct Level {
        // A dot here belongs to a key.
        bool keys = true;
        // After the key's "=".
        bool value = false;
        // Of the key, or of the last element.
        std::size_t dots = 0;
    };

    bool at(std::string_view what) const { return text_.substr(at_, what.size()) == what; }
    char now() const { return text_[at_]; }
    TomlExcess excess(const std::string& what) const { return {line_, at_ - lineBegin_ + 1, what}; }
    bool tooDeep() const { return depth_ + dots_ > TOML_MAX_LEVELS; }

    void skipComment();
    void skipString();
    void skipLongString(char quote);
    void newLine();
    void endElement();
    void open(bool braces);
    void close();
    bool takeDot();

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t line_ = 1;
    std::size_t lineBegin_ = 0;
    std::array<Level, TOML_MAX_LEVELS + 2> levels_{};
    std::size_t depth_ = 0;
    // Of all levels.
    std::size_t dots_ = 0;
    std::size_t dottedKeys_ = 0;
};

void Scanner::skipComment() {
    while (at_ + 1 < text_.size() && text_[at_ + 1] != '\n') {
        ++at_;
    }
}

// To the last quote of the string, or to the last character of its line where it does not end.
void Scanner::skipString() {
    const char quote = now();
    const char threeQuotes[] = {quote, quote, quote};
    if (at(std::string_view(threeQuotes, sizeof threeQuotes))) {
        skipLongString(quote);
        return;
    }
    while (at_ + 1 < text_.size() && text_[at_ + 1] != '\n') {
        ++at_;
        if (now() == quote) {
            return;
        }
        if (quote == '"' && now() == '\\' && at_ + 1 < text_.size() && text_[at_ + 1] != '\n') {
            ++at_;
        }
    }
}

// One or two quotes of its content may come before the three that end it.
void Scanner::skipLongString(char quote) {
    constexpr std::size_t QUOTES = 3;
    constexpr std::size_t MOST_QUOTES = 5;
    std::size_t quotes = 0;
    for (at_ += QUOTES; at_ < text_.size(); ++at_) {
        if (now() == quote) {
            ++quotes;
            if (quotes == MOST_QUOTES) {
                return;
            }
            continue;
        }
        if (quotes >= QUOTES) {
            break;
        }
        quotes = 0;
        if (now() == '\\' && quote == '"') {
            ++at_;
        }
        if (at_ < text_.size() && now() == '\n') {
            ++line_;
            lineBegin_ = at_ + 1;
        }
    }
    --at_;
}

// What belongs to a key or an element ends here.
void Scanner::endElement() {
    Level& level = levels_[depth_];
    dots_ -= level.dots;
    level.dots = 0;
    level.value = false;
}

void Scanner::newLine() {
    ++line_;
    lineBegin_ = at_ + 1;
    if (depth_ == 0) {
        endElement();
    }
}

void Scanner::open(bool braces) {
    const bool header = depth_ == 0 && !levels_[0].value;
    ++depth_;
    levels_[depth_] = Level();
    levels_[depth_].keys =
        braces || header || (depth_ == 2 && levels_[1].keys && !levels_[1].value && !braces);
}

void Scanner::close() {
    endElement();
    if (depth_ > 0) {
        --depth_;
    }
}

// False when there are too many dotted keys.
bool Scanner::takeDot() {
    Level& level = levels_[depth_];
    ++level.dots;
    ++dots_;
    if (level.keys && !level.value && level.dots == 1) {
        ++dottedKeys_;
    }
    return dottedKeys_ <= TOML_MAX_DOTTED_KEYS;
}

std::optional<TomlExcess> Scanner::run() {
    for (; at_ < text_.size(); ++at_) {
        switch (now()) {
            case '#':
                skipComment();
                break;
            case '"':
            case '\'':
                skipString();
                break;
            case '\n':
                newLine();
                break;
            case ',':
                endElement();
                break;
            case '=':
                levels_[depth_].value = true;
                break;
            case '[':
            case '{':
                open(now() == '{');
                break;
            case ']':
            case '}':
                close();
                break;
            case '.':
                if (!takeDot()) {
                    return excess("there are more than " + std::to_string(TOML_MAX_DOTTED_KEYS) +
                                  " keys with dots");
                }
                break;
            default:
                break;
        }
        if (tooDeep()) {
            return excess("keys and values are nested more than " + std::to_string(TOML_MAX_LEVELS) +
                          " levels deep");
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<TomlExcess> findTomlExcess(std::string_view text) {
    if (text.size() > TOML_MAX_BYTES) {
        return TomlExcess{1, 1, "the text has more than " + std::to_string(TOML_MAX_BYTES) + " bytes"};
    }
    return Scanner(text).run();
}

}  // namespace dx7common

#include "common/completion.h"

#include <algorithm>
#include <sstream>

namespace dx7common {

namespace {

bool beginsWith(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

std::vector<std::string> namesOf(const CommandOption& option) {
    std::vector<std::string> names;
    std::istringstream all(option.names);
    for (std::string one; std::getline(all, one, ',');) {
        names.push_back(one);
    }
    return names;
}

bool isArgument(const CommandOption& option) {
    return !beginsWith(option.names, "-");
}

bool takesValue(const CommandOption& option) {
    return !std::holds_alternative<bool*>(option.target);
}

bool takesSeveral(const CommandOption& option) {
    return std::holds_alternative<std::vector<std::string>*>(option.target);
}

std::vector<const CommandOption*> optionsOf(const CommandLine& line) {
    std::vector<const CommandOption*> all;
    for (const Alternatives& alternatives : line.alternatives()) {
        for (const CommandOption& option : alternatives.options()) {
            all.push_back(&option);
        }
    }
    for (const CommandOption& option : line.options()) {
        all.push_back(&option);
    }
    return all;
}

const CommandOption* optionNamed(const CommandLine& line, const std::string& name) {
    for (const CommandOption* option : optionsOf(line)) {
        const std::vector<std::string> names = namesOf(*option);
        if (!isArgument(*option) && std::find(names.begin(), names.end(), name) != names.end()) {
            return option;
        }
    }
    return nullptr;
}

Offer offerOf(const CommandOption& option, const Typed& typed) {
    if (option.offer) {
        return option.offer(typed);
    }
    Offer offer;
    offer.files = option.valueName == "FILE" || option.valueName == "PATH" || option.valueName == "DEVICE";
    for (const std::string& word : option.choices.empty() ? option.suggestions : option.choices) {
        offer.words.push_back({word, {}});
    }
    return offer;
}

// A command line that is read up to the word that is begun.
class Reader {
public:
    explicit Reader(const CommandLine& program) : line_(&program) {}

    void take(const std::string& word) {
        if (pending_ != nullptr) {
            note(*pending_, word);
            pending_ = nullptr;
        } else if (!onlyArguments_ && word == "--") {
            onlyArguments_ = true;
        } else if (!onlyArguments_ && word.size() > 1 && word[0] == '-') {
            takeOption(word);
        } else if (const CommandLine* command = line_->command(word)) {
            line_ = command;
        } else {
            ++arguments_;
        }
    }

    Offer last(const std::string& word) {
        typed_.word = word;
        if (pending_ != nullptr) {
            return offerOf(*pending_, typed_);
        }
        const std::size_t equals = word.find('=');
        if (!onlyArguments_ && beginsWith(word, "--") && equals != std::string::npos) {
            return valueBehindEquals(word.substr(0, equals + 1), word.substr(equals + 1));
        }
        if (!onlyArguments_ && beginsWith(word, "-")) {
            return {optionNames(), false};
        }
        Offer offer;
        if (!line_->commands().empty()) {
            // Nothing follows a command that is unknown.
            if (arguments_ > 0) {
                return offer;
            }
            for (const CommandLine& command : line_->commands()) {
                offer.words.push_back({command.name(), command.about()});
            }
            return offer;
        }
        const CommandOption* const argument = currentArgument();
        return argument == nullptr ? Offer() : offerOf(*argument, typed_);
    }

private:
    void note(const CommandOption& option, const std::string& value) {
        typed_.values[namesOf(option).back()] = value;
    }

    void takeOption(const std::string& word) {
        const std::size_t equals = beginsWith(word, "--") ? word.find('=') : std::string::npos;
        const CommandOption* const option = optionNamed(*line_, word.substr(0, equals));
        if (option == nullptr) {
            return;
        }
        if (equals != std::string::npos) {
            note(*option, word.substr(equals + 1));
        } else if (takesValue(*option)) {
            pending_ = option;
        } else {
            note(*option, {});
        }
    }

    Offer valueBehindEquals(const std::string& name, const std::string& value) {
        const CommandOption* const option = optionNamed(*line_, name.substr(0, name.size() - 1));
        if (option == nullptr || !takesValue(*option)) {
            return {};
        }
        typed_.word = value;
        Offer offer = offerOf(*option, typed_);
        for (Candidate& candidate : offer.words) {
            candidate.text.insert(0, name);
        }
        return offer;
    }

    // Those that can still be given.
    std::vector<Candidate> optionNames() const {
        std::vector<Candidate> names;
        for (const CommandOption* option : optionsOf(*line_)) {
            const std::vector<std::string> own = namesOf(*option);
            const bool given = typed_.values.count(own.back()) != 0 && !takesSeveral(*option);
            for (const std::string& name : own) {
                if (!isArgument(*option) && !option->section.empty() && !given) {
                    names.push_back({name, option->help});
                }
            }
        }
        for (const char* name : {"-h", "--help", "--version"}) {
            if (line_->hasOption(name)) {
                names.push_back({name, {}});
            }
        }
        return names;
    }

    // The last one takes all that are left, if it takes several.
    const CommandOption* currentArgument() const {
        int before = 0;
        for (const CommandOption* option : optionsOf(*line_)) {
            if (isArgument(*option) && (before++ == arguments_ || takesSeveral(*option))) {
                return option;
            }
        }
        return nullptr;
    }

    const CommandLine* line_;
    Typed typed_;
    /// Whose value comes next.
    const CommandOption* pending_ = nullptr;
    int arguments_ = 0;
    bool onlyArguments_ = false;
};

bool isPlain(const std::string& text) {
    return std::none_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < ' ' || character == '\x7f';
    });
}

}  // namespace

Offer complete(const CommandLine& program, const std::vector<std::string>& words) {
    const std::string begun = words.empty() ? std::string() : words.back();
    Reader reader(program);
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        reader.take(words[i]);
    }
    Offer offer = reader.last(begun);
    offer.words.erase(std::remove_if(offer.words.begin(), offer.words.end(),
                                     [&](const Candidate& one) { return !beginsWith(one.text, begun); }),
                      offer.words.end());
    return offer;
}

std::string completionText(const Offer& offer) {
    std::string text = offer.files ? "files\n" : "words\n";
    for (const Candidate& candidate : offer.words) {
        if (isPlain(candidate.text)) {
            text += candidate.text;
            text += isPlain(candidate.about) && !candidate.about.empty() ? '\t' + candidate.about : "";
            text += '\n';
        }
    }
    return text;
}

std::optional<std::string> answerToShell(const CommandLine& program, int argc, const char* const* argv) {
    if (argc < 2 || std::string(argv[1]) != COMPLETION_ARGUMENT) {
        return std::nullopt;
    }
    return completionText(complete(program, std::vector<std::string>(argv + 2, argv + argc)));
}

}  // namespace dx7common

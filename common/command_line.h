/// \file
/// The command line of a program: what it takes, as data that can be walked, and the reading of it.
#ifndef DX7_COMMON_COMMAND_LINE_H
#define DX7_COMMON_COMMAND_LINE_H

#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "common/value_offer.h"

namespace dx7common {

/// Where a value goes, and so what is taken; borrowed until CommandLine::read() has returned. A bool is a
/// flag, a vector takes any number of values, and an optional tells whether one was given.
using ValueTarget = std::variant<bool*, std::string*, std::optional<std::string>*, std::vector<std::string>*,
                                 int*, std::optional<int>*, unsigned*, std::uint64_t*, long long*,
                                 std::optional<long long>*, double*, std::optional<double>*>;

/// What is wrong with the text given as a value; empty when nothing is.
using ValueCheck = std::function<std::string(const std::string& given)>;

/// Bounds that are allowed themselves.
struct WholeRange {
    int lowest;
    int highest;
};
struct NumberRange {
    double lowest;
    double highest;
};

/// An option, or one of the remaining arguments. The functions set one property each, and return the option
/// so that calls can follow each other.
struct CommandOption {
    /// "-c,--config"; a name without a dash is a remaining argument.
    std::string names;
    ValueTarget target;
    std::string help;
    /// Of the value in the help, as "FILE"; the kind of value when empty.
    std::string valueName;
    /// Of the help; not in the help when empty.
    std::string section = "Options";
    std::vector<ValueCheck> checks;
    std::vector<std::string> choices;
    std::variant<std::monostate, WholeRange, NumberRange> range;
    std::vector<const CommandOption*> excluded;
    bool required = false;
    /// What the target holds beforehand is in the help.
    bool defaultShown = false;
    /// A vector takes several values by naming the option several times only.
    bool oneValueEach = false;
    /// Common values, which a shell offers where there are no choices.
    std::vector<std::string> suggestions;
    /// What a shell offers instead. Without any of these, the names of files for a value called FILE, PATH or
    /// DEVICE.
    ValueOffer offer;

    /// The name of the value in the help.
    CommandOption& named(std::string value) { return valueName = std::move(value), *this; }
    /// The title of the section of the help.
    CommandOption& in(std::string title) { return section = std::move(title), *this; }
    /// Keeps the option out of the help.
    CommandOption& hide() { return section.clear(), *this; }
    /// Adds a check, which sees the text before it is converted.
    CommandOption& check(ValueCheck taken) { return checks.push_back(std::move(taken)), *this; }
    /// Takes these words alone.
    CommandOption& oneOf(std::vector<std::string> words) { return choices = std::move(words), *this; }
    /// Has a shell offer these values, or those of a function.
    CommandOption& suggest(std::vector<std::string> words) { return suggestions = std::move(words), *this; }
    CommandOption& suggest(ValueOffer function) { return offer = std::move(function), *this; }
    /// Takes numbers from `lowest` to `highest` alone.
    CommandOption& within(int lowest, int highest) { return range = WholeRange{lowest, highest}, *this; }
    CommandOption& within(double lowest, double highest) {
        return range = NumberRange{lowest, highest}, *this;
    }
    /// Refuses both together. `other` must have been added before.
    CommandOption& excludes(const CommandOption& other) { return excluded.push_back(&other), *this; }
    /// Must be given.
    CommandOption& demand() { return required = true, *this; }
    /// Shows what the target holds beforehand in the help.
    CommandOption& showDefault() { return defaultShown = true, *this; }
    /// Takes one value each time that the option is named; for a vector.
    CommandOption& takeOneEach() { return oneValueEach = true, *this; }
};

/// Options in the order of the help. What add() returns stays where it is.
class CommandOptions {
public:
    CommandOption& add(std::string names, ValueTarget target, std::string help);
    const std::deque<CommandOption>& options() const { return options_; }

private:
    std::deque<CommandOption> options_;
};

/// Options of which exactly one must be given; a section of the help.
struct Alternatives : CommandOptions {
    std::string title;
    std::string about;
};

/// The command line cannot be read; the text says why.
class CommandLineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A program or one of its commands. It has -h and --help by itself. It owns its options and commands. One
/// thread at a time.
class CommandLine : public CommandOptions {
public:
    /// What a command line led to.
    struct Reading {
        /// The help or version, when the user asked for it instead.
        std::optional<std::string> asked;
        /// The one chosen; the program itself when it has no commands.
        const CommandLine* command = nullptr;
    };

    CommandLine(std::string name, std::string about) : name_(std::move(name)), about_(std::move(about)) {}
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// What --version shows; without it there is no such option.
    void version(std::string text) { version_ = std::move(text); }
    /// What the help ends with: examples, exit codes.
    void footer(std::string text) { footer_ = std::move(text); }
    /// What run() calls.
    void action(std::function<int()> whenChosen) { action_ = std::move(whenChosen); }
    Alternatives& addAlternatives(std::string title, std::string about);
    /// Where there are commands, one must be given.
    CommandLine& addCommand(std::string name, std::string about);

    const std::string& name() const { return name_; }
    const std::string& about() const { return about_; }
    const std::string& version() const { return version_; }
    const std::string& footer() const { return footer_; }
    const std::list<Alternatives>& alternatives() const { return alternatives_; }
    const std::list<CommandLine>& commands() const { return commands_; }
    /// Null when there is none of this name.
    const CommandLine* command(const std::string& name) const;
    /// Whether one of its own options outside of alternatives(), --help and --version among them, has this
    /// name, with its dashes.
    bool hasOption(const std::string& name) const;

    /// Puts what is given into the targets of the program and of the command chosen. Throws CommandLineError.
    Reading read(int argc, const char* const* argv) const;
    /// The exit code that action() gives. Throws std::bad_function_call when none was set.
    int run() const { return action_(); }

private:
    std::string name_;
    std::string about_;
    std::string version_;
    std::string footer_;
    std::function<int()> action_;
    std::list<Alternatives> alternatives_;
    std::list<CommandLine> commands_;
};

}  // namespace dx7common

#endif

#include "common/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <sstream>
#include <type_traits>

namespace dx7common {

namespace {

constexpr const char* HELP_NAMES = "-h,--help";
constexpr const char* VERSION_NAME = "--version";

bool isAmong(const std::string& names, const std::string& name) {
    std::istringstream all(names);
    for (std::string one; std::getline(all, one, ',');) {
        if (one == name) {
            return true;
        }
    }
    return false;
}

// The parser made of a definition.
class Parser {
public:
    explicit Parser(const CommandLine& program) : program_(program), app_(program.about(), program.name()) {
        define(app_, program);
    }

    CommandLine::Reading read(int argc, const char* const* argv) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            if (error.get_exit_code() != 0) {
                throw CommandLineError(error.what());
            }
            std::ostringstream asked;
            app_.exit(error, asked, asked);
            return {asked.str(), &program_};
        }
        return {std::nullopt, chosen()};
    }

private:
    void define(CLI::App& app, const CommandLine& line) {
        app.set_help_flag(HELP_NAMES, "Print this help message and exit");
        if (!line.version().empty()) {
            app.set_version_flag(VERSION_NAME, line.version());
        }
        app.footer(line.footer());
        for (const Alternatives& alternatives : line.alternatives()) {
            CLI::Option_group* group = app.add_option_group(alternatives.title, alternatives.about);
            group->require_option(1);
            addOptions(*group, alternatives);
        }
        addOptions(app, line);
        for (const CommandLine& command : line.commands()) {
            define(*app.add_subcommand(command.name(), command.about()), command);
        }
        if (!line.commands().empty()) {
            app.require_subcommand(1);
        }
    }

    void addOptions(CLI::App& app, const CommandOptions& options) {
        for (const CommandOption& option : options.options()) {
            made_[&option] = make(app, option);
        }
    }

    CLI::Option* make(CLI::App& app, const CommandOption& option) const {
        CLI::Option* made = std::visit(
            [&](auto* target) -> CLI::Option* {
                if constexpr (std::is_same_v<decltype(target), bool*>) {
                    return app.add_flag(option.names, *target, option.help);
                } else {
                    return app.add_option(option.names, *target, option.help);
                }
            },
            option.target);
        if (!option.valueName.empty()) {
            made->type_name(option.valueName);
        }
        made->group(option.section)->required(option.required);
        if (option.oneValueEach) {
            made->allow_extra_args(false);
        }
        addChecks(*made, option);
        for (const CommandOption* other : option.excluded) {
            made->excludes(made_.at(other));
        }
        if (option.defaultShown) {
            made->capture_default_str();
        }
        return made;
    }

    static void addChecks(CLI::Option& made, const CommandOption& option) {
        if (const auto* whole = std::get_if<WholeRange>(&option.range)) {
            made.check(CLI::Range(whole->lowest, whole->highest));
        } else if (const auto* number = std::get_if<NumberRange>(&option.range)) {
            made.check(CLI::Range(number->lowest, number->highest));
        }
        if (!option.choices.empty()) {
            made.check(CLI::IsMember(option.choices));
        }
        for (const ValueCheck& check : option.checks) {
            made.check(CLI::Validator([&check](std::string& given) { return check(given); }, ""));
        }
    }

    const CommandLine* chosen() const {
        const CommandLine* line = &program_;
        for (const CLI::App* app = &app_; !app->get_subcommands().empty();) {
            app = app->get_subcommands().front();
            line = line->command(app->get_name());
        }
        return line;
    }

    const CommandLine& program_;
    CLI::App app_;
    std::map<const CommandOption*, CLI::Option*> made_;
};

}  // namespace

CommandOption& CommandOptions::add(std::string names, ValueTarget target, std::string help) {
    CommandOption option;
    option.names = std::move(names);
    option.target = target;
    option.help = std::move(help);
    return options_.emplace_back(std::move(option));
}

Alternatives& CommandLine::addAlternatives(std::string title, std::string about) {
    Alternatives& added = alternatives_.emplace_back();
    added.title = std::move(title);
    added.about = std::move(about);
    return added;
}

CommandLine& CommandLine::addCommand(std::string name, std::string about) {
    return commands_.emplace_back(std::move(name), std::move(about));
}

const CommandLine* CommandLine::command(const std::string& name) const {
    const auto found = std::find_if(commands_.begin(), commands_.end(),
                                    [&name](const CommandLine& command) { return command.name_ == name; });
    return found == commands_.end() ? nullptr : &*found;
}

bool CommandLine::hasOption(const std::string& name) const {
    return isAmong(HELP_NAMES, name) || (!version_.empty() && name == VERSION_NAME) ||
           std::any_of(options().begin(), options().end(),
                       [&name](const CommandOption& option) { return isAmong(option.names, name); });
}

CommandLine::Reading CommandLine::read(int argc, const char* const* argv) const {
    return Parser(*this).read(argc, argv);
}

}  // namespace dx7common

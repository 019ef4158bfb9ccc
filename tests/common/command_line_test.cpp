#include "common/command_line.h"

#include <gtest/gtest.h>

using dx7common::CommandLine;
using dx7common::CommandLineError;
using dx7common::CommandOption;

namespace {

using Texts = std::vector<std::string>;
using Words = std::vector<const char*>;

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

CommandLine::Reading read(const CommandLine& program, Words words) {
    words.insert(words.begin(), "program");
    return program.read(static_cast<int>(words.size()), words.data());
}

std::string errorOf(const CommandLine& program, const Words& words) {
    try {
        read(program, words);
    } catch (const CommandLineError& error) {
        return error.what();
    }
    return "no error";
}

std::string helpOf(const CommandLine& program, const Words& words) {
    return read(program, words).asked.value_or("no help");
}

std::string even(const std::string& given) {
    return given.back() % 2 == 0 ? std::string() : given + " is odd";
}

}  // namespace

TEST(CommandLine, PutsValuesIntoTheirPlaces) {
    CommandLine program("program", "About it.");
    bool flag = false;
    std::string word;
    std::optional<std::string> open;
    std::optional<long long> number;
    std::vector<std::string> rest;
    program.add("-f,--flag", &flag, "");
    program.add("--word", &word, "");
    program.add("--open", &open, "");
    program.add("--number", &number, "");
    program.add("rest", &rest, "");
    EXPECT_FALSE(read(program, {"a", "--word", "w", "-f", "b", "--number=-7", "--", "--open"}).asked);
    EXPECT_TRUE(flag);
    EXPECT_EQ("w", word);
    EXPECT_EQ(std::nullopt, open);
    EXPECT_EQ(-7, number);
    EXPECT_EQ((Texts{"a", "b", "--open"}), rest);
}

TEST(CommandLine, RefusesWhatIsNotTaken) {
    CommandLine program("program", "About it.");
    int number = 0;
    double share = 0;
    std::string word;
    std::string name;
    program.add("--number", &number, "").check(even).within(1, 8);
    program.add("--share", &share, "").within(0.0, 0.5);
    program.add("--word", &word, "").oneOf({"yes", "no"});
    program.add("name", &name, "").demand();
    EXPECT_EQ("no error", errorOf(program, {"n", "--number", "4", "--share", "0.5", "--word", "no"}));
    EXPECT_PRED2(contains, errorOf(program, {"n", "--number", "3"}), "3 is odd");
    EXPECT_PRED2(contains, errorOf(program, {"n", "--number", "10"}), "10 not in range 1 to 8");
    EXPECT_PRED2(contains, errorOf(program, {"n", "--share", "0.6"}), "0.6 not in range");
    EXPECT_PRED2(contains, errorOf(program, {"n", "--word", "so"}), "so not in {yes,no}");
    EXPECT_PRED2(contains, errorOf(program, {}), "name is required");
    EXPECT_PRED2(contains, errorOf(program, {"n", "--none"}), "--none");
}

TEST(CommandLine, OfOptionsThatExcludeEachOtherTakesOne) {
    CommandLine program("program", "About it.");
    std::string a;
    std::string b;
    const CommandOption& first = program.add("--a", &a, "");
    program.add("--b", &b, "").excludes(first);
    EXPECT_EQ("no error", errorOf(program, {"--b", "1"}));
    EXPECT_EQ("--a excludes --b", errorOf(program, {"--a", "1", "--b", "2"}));
}

TEST(CommandLine, OfAlternativesDemandsExactlyOne) {
    CommandLine program("program", "About it.");
    std::string a;
    std::string b;
    dx7common::Alternatives& either = program.addAlternatives("Either", "one of these");
    either.add("--a", &a, "");
    either.add("--b", &b, "");
    EXPECT_EQ("no error", errorOf(program, {"--b", "1"}));
    EXPECT_PRED2(contains, errorOf(program, {}), "Exactly 1 option from [--a,--b] is required");
    EXPECT_PRED2(contains, errorOf(program, {"--a", "1", "--b", "2"}), "required and 2 were given");
}

TEST(CommandLine, OneValueEachLeavesTheNextWordAlone) {
    CommandLine program("program", "About it.");
    std::vector<std::string> list;
    std::string rest;
    program.add("--list", &list, "").takeOneEach();
    program.add("rest", &rest, "");
    read(program, {"--list", "1", "r", "--list", "2"});
    EXPECT_EQ((Texts{"1", "2"}), list);
    EXPECT_EQ("r", rest);
}

TEST(CommandLine, RunsTheCommandChosen) {
    CommandLine program("program", "About it.");
    CommandLine& outer = program.addCommand("outer", "Has others.");
    outer.addCommand("first", "The first.").action([] { return 1; });
    outer.addCommand("second", "The second.").action([] { return 2; });
    program.addCommand("third", "The third.").action([] { return 3; });
    EXPECT_EQ(2, read(program, {"outer", "second"}).command->run());
    EXPECT_EQ(3, read(program, {"third"}).command->run());
    EXPECT_PRED2(contains, errorOf(program, {}), "subcommand is required");
    EXPECT_PRED2(contains, errorOf(program, {"outer"}), "subcommand is required");
}

TEST(CommandLine, ShowsHelpAndVersionWhenAsked) {
    CommandLine program("program", "About it.");
    program.version("program 1.2");
    program.footer("Examples:\n  program --seen 1");
    int seen = 7;
    int hidden = 0;
    program.add("--seen", &seen, "What is seen").named("N").in("Section").showDefault();
    program.add("--hidden", &hidden, "").hide();
    program.addCommand("command", "A command.");
    EXPECT_EQ("program 1.2\n", helpOf(program, {"--version"}));
    const std::string help = helpOf(program, {"--help"});
    EXPECT_EQ(help, helpOf(program, {"-h"}));
    EXPECT_PRED2(contains, help, "About it.\nUsage: program [OPTIONS] SUBCOMMAND\n");
    EXPECT_PRED2(contains, help, "Section:\n  --seen N=7 ");
    EXPECT_PRED2(contains, help, "What is seen");
    EXPECT_FALSE(contains(help, "hidden"));
    EXPECT_PRED2(contains, help, "\nExamples:\n  program --seen 1\n");
    EXPECT_PRED2(contains, helpOf(program, {"command", "--help"}), "A command.\nUsage: program command");
}

TEST(CommandLine, IsDataThatCanBeWalked) {
    CommandLine program("program", "About it.");
    bool flag = false;
    program.add("-f,--flag", &flag, "A flag");
    program.addCommand("command", "A command.").footer("An example.");
    EXPECT_EQ("-f,--flag", program.options().front().names);
    EXPECT_EQ("A flag", program.options().front().help);
    EXPECT_EQ("command", program.commands().front().name());
    EXPECT_EQ("An example.", program.command("command")->footer());
    EXPECT_EQ(nullptr, program.command("other"));
}

TEST(CommandLine, KnowsItsOptionsByTheirNames) {
    CommandLine program("program", "About it.");
    bool flag = false;
    program.add("-f,--flag", &flag, "");
    for (const char* name : {"-f", "--flag", "-h", "--help"}) {
        EXPECT_TRUE(program.hasOption(name)) << name;
    }
    for (const char* name : {"--version", "flag", "-flag", "--f", "-", ""}) {
        EXPECT_FALSE(program.hasOption(name)) << name;
    }
    program.version("1");
    EXPECT_TRUE(program.hasOption("--version"));
}

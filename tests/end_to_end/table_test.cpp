// The live table of dx7 monitor and the progress bars, on a terminal: tmux keeps the screen, the test types
// keys and looks at what stands there.
#include <algorithm>
#include <chrono>
#include <regex>

#include "terminal.h"
#include "tests/host/full_listener.h"

namespace {

class LiveTable : public testing::TestWithParam<Carrier> {
protected:
    Terminal monitor(const Words& items, int columns = 100, int rows = 20) {
        // However the test ends, nothing is left running for long.
        Words words{"monitor", "--seconds", "50"};
        words.insert(words.end(), items.begin(), items.end());
        return Terminal(rig.file("tmux"), rig.command(words), columns, rows);
    }

    Rig rig{GetParam(), {"--stations", "1,2"}};
};
INSTANTIATE_TEST_SUITE_P(Lines, LiveTable, testing::Values(Carrier::PseudoTerminal, Carrier::Tcp),
                         carrierName);

TEST_P(LiveTable, ShowsAndUpdatesValuesUntilQ) {
    rig.tell("set AI:0=-12");
    const Terminal terminal = monitor({"F:3.0.25", "AI:0/signed/scale=0.1/unit=Hz", "DO:1@2"});
    EXPECT_TRUE(terminal.shows("NAME +ADDRESS +VALUE +QUALITY +AGE +CHANGES")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("F:3\\.0\\.25@1 +F:3\\.0\\.25@1 +325 +good +0\\.[0-9] s"))
        << terminal.screen();
    EXPECT_TRUE(terminal.shows("-1\\.2 Hz +good")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("DO:1@2 +DO:1@2 +0 +good")) << terminal.screen();
    rig.tell("set F:3.0.25@1=4321");
    EXPECT_TRUE(terminal.shows("F:3\\.0\\.25@1 +4321 +good")) << terminal.screen();
    terminal.type({"q"});
    EXPECT_TRUE(terminal.shows("exit code 0")) << terminal.screen();
    EXPECT_FALSE(std::regex_search(terminal.screen(), std::regex("NAME +ADDRESS")))
        << "the screen is as before";
}

TEST_P(LiveTable, WritesTheSelectedValue) {
    const Terminal terminal = monitor({"AI:0", "F:3.0.25"});
    ASSERT_TRUE(terminal.shows("F:3\\.0\\.25@1 +325 +good")) << terminal.screen();
    terminal.type({"w"});
    EXPECT_TRUE(terminal.shows("AI is read-only")) << terminal.screen();
    terminal.type({"Down", "w"});
    EXPECT_TRUE(terminal.shows("F:3\\.0\\.25@1 = _")) << terminal.screen();
    terminal.type({"6", "5", "5", "3", "6", "Enter"});
    EXPECT_TRUE(terminal.shows("\nvalue 65536 for F is out of range, it must be -32768 to 65535"))
        << terminal.screen();
    // It has been read when the next key comes.
    terminal.type({"Escape"});
    EXPECT_TRUE(terminal.shows("\nq quit +w write")) << terminal.screen();
    terminal.type({"w", "5", "1", "3", "BSpace", "2", "Enter"});
    EXPECT_TRUE(terminal.shows("F:3\\.0\\.25@1 +512 +good")) << terminal.screen();
    EXPECT_EQ("F:3.0.25@1 = 512", rig.tell("get F:3.0.25@1"));
    EXPECT_TRUE(terminal.shows("F:3\\.0\\.25@1 was acknowledged")) << terminal.screen();
    terminal.type({"w", "9", "Escape"});
    EXPECT_TRUE(eventually([&] { return terminal.screen().find("= 9_") == std::string::npos; }));
    terminal.type({"q"});
    EXPECT_TRUE(terminal.shows("exit code 0")) << terminal.screen();
    EXPECT_EQ("F:3.0.25@1 = 512", rig.tell("get F:3.0.25@1"));
}

// One value, in the form in which it is typed elsewhere; and none for what is only read.
TEST_P(LiveTable, TakesOneValueForWhatCanBeWritten) {
    const Terminal terminal = monitor({"F:3.0.25/scale=0.1/unit=s", "F:10.0.00"});
    ASSERT_TRUE(terminal.shows("F:3\\.0\\.25@1 +32\\.5 s +good")) << terminal.screen();
    terminal.type({"w", "1", "2", ",", "3", "Enter"});
    EXPECT_TRUE(terminal.shows("value \"12,3\" for F is not a number")) << terminal.screen();
    terminal.type({"w", "-", "1", "Enter"});
    EXPECT_TRUE(terminal.shows("value -1 for F is out of range, it must be 0\\.0 to 6553\\.5 s"))
        << terminal.screen();
    terminal.type({"w", "Space", "5", "Enter"});
    EXPECT_TRUE(terminal.shows("value \" 5\" for F is not a number")) << terminal.screen();
    // A minus sign, a fraction, a Tab: what is left of them would be another number.
    for (const char* value : {"\u22125", "12\u00bd", "1\u06635"}) {
        terminal.type({"w"});
        terminal.type({"-l", value});
        terminal.type({"Enter"});
        EXPECT_TRUE(terminal.shows("value \"[^\"]+\" for F is not")) << value << '\n' << terminal.screen();
    }
    terminal.type({"w", "5", "Tab", "6", "Enter"});
    EXPECT_TRUE(terminal.shows("value \"5[^\"]+6\" for F is not")) << terminal.screen();
    terminal.type({"Down", "w"});
    EXPECT_TRUE(terminal.shows("F:10\\.0\\.00 is beyond the end of F")) << terminal.screen();
    terminal.type({"q"});
    EXPECT_TRUE(terminal.shows("exit code 0")) << terminal.screen();
    EXPECT_EQ("F:3.0.25@1 = 325", rig.tell("get F:3.0.25@1"));
}

// With a second of silence before each request, keys come during it. The write may wait for a status query
// and the silence after it, and must not wait for a poll as well.
TEST_P(LiveTable, WritesWhatIsTypedDuringTheSilenceWithTheNextRequest) {
    const Terminal terminal = monitor({"F:3.0.25", "--gap", "1000", "--echo", "off"});
    ASSERT_TRUE(terminal.shows("F:3\\.0\\.25@1 +325 +good")) << terminal.screen();
    for (const std::string digit : {"1", "2", "3", "4"}) {
        const auto typed = std::chrono::steady_clock::now();
        terminal.type({"w", digit, "Enter"});
        EXPECT_TRUE(eventually([&] { return rig.tell("get F:3.0.25@1") == "F:3.0.25@1 = " + digit; }));
        const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - typed;
        EXPECT_LT(waited.count(), 2.3);
    }
}

TEST_P(LiveTable, ShowsTheStatisticsAndTheTableAgain) {
    const Terminal terminal = monitor({"F:3.0.25@1", "F:3.0.25@2"}, 100, 30);
    ASSERT_TRUE(terminal.shows("F:3\\.0\\.25@2 +325 +good")) << terminal.screen();
    terminal.type({"s"});
    EXPECT_TRUE(terminal.shows("station 1 +station 2 +all")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("timeouts +0 +0 +0")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("line busy: [0-9.]+ %")) << terminal.screen();
    terminal.type({"s"});
    EXPECT_TRUE(terminal.shows("F:3\\.0\\.25@2 +325 +good")) << terminal.screen();
}

TEST_P(LiveTable, ScrollsStatisticsThatDoNotFit) {
    const Terminal terminal = monitor({"F:3.0.25@1", "F:3.0.25@2"}, 50, 9);
    ASSERT_TRUE(terminal.shows("F:3\\.0\\.25@2")) << terminal.screen();
    terminal.type({"s"});
    EXPECT_TRUE(terminal.shows("station 1 +station 2\n[^]*wrong CRC +0 +0\n")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("Up/Down more")) << terminal.screen();
    EXPECT_EQ(std::string::npos, terminal.screen().find("line busy"));
    terminal.type({"Right"});
    EXPECT_TRUE(terminal.shows("station 2 +all\n")) << terminal.screen();
    terminal.type({"NPage", "NPage", "NPage", "NPage"});
    EXPECT_TRUE(terminal.shows("cycle: [^\n]*\n[^\n]*line busy")) << terminal.screen();
    // Beyond the end there is nothing to come back from.
    terminal.type({"Left", "Up"});
    EXPECT_TRUE(eventually([&] { return terminal.screen().find("line busy") == std::string::npos; }))
        << terminal.screen();
    terminal.type({"q"});
    EXPECT_TRUE(terminal.shows("exit code 0")) << terminal.screen();
}

TEST_P(LiveTable, TakesNoWriteWhileTheLineIsLost) {
    const Terminal terminal = monitor({"F:3.0.25"});
    ASSERT_TRUE(terminal.shows("325 +good")) << terminal.screen();
    terminal.type({"w", "9", "9"});
    EXPECT_TRUE(terminal.shows("= 99_")) << terminal.screen();
    rig.stopDevice();
    EXPECT_TRUE(terminal.shows("325 +bad")) << terminal.screen();
    terminal.type({"Enter"});
    EXPECT_TRUE(terminal.shows("nothing is written while there is no line")) << terminal.screen();
    terminal.type({"s", "s", "w"});
    EXPECT_TRUE(terminal.shows("nothing is written while there is no line")) << terminal.screen();
    rig.startDevice();
    EXPECT_TRUE(terminal.shows("325 +good")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("\nq quit +w write")) << terminal.screen();
    EXPECT_EQ("F:3.0.25@1 = 325", rig.tell("get F:3.0.25@1"));
}

TEST_P(LiveTable, AMessageTakesAsManyLinesAsItNeeds) {
    const Terminal terminal = monitor({"F:3.0.25"}, 40, 8);
    ASSERT_TRUE(terminal.shows("325 +good")) << terminal.screen();
    terminal.type({"w", "7", "0", "0", "0", "0", "Enter"});
    EXPECT_TRUE(terminal.shows("\nvalue 70000 for F is out of range, it\nmust be -32768 to 65535"))
        << terminal.screen();
}

TEST_P(LiveTable, FollowsTheSizeOfTheTerminal) {
    const Terminal terminal = monitor({"F:0.0.00,30"}, 100, 40);
    ASSERT_TRUE(terminal.shows("F:0\\.0\\.29@1 +29 +good")) << terminal.screen();
    terminal.resize(80, 10);
    EXPECT_TRUE(eventually([&] {
        const std::string screen = terminal.screen();
        return std::count(screen.begin(), screen.end(), '\n') == 10 &&
               std::regex_search(screen, std::regex("NAME")) &&
               std::regex_search(screen, std::regex("q quit")) &&
               screen.find("F:0.0.29") == std::string::npos;
    })) << terminal.screen();
    // Seven rows are left for items: the last one comes into sight when it is selected.
    terminal.type(Words(29, "Down"));
    EXPECT_TRUE(terminal.shows("F:0\\.0\\.29@1 +29 +good")) << terminal.screen();
    terminal.resize(120, 45);
    EXPECT_TRUE(terminal.shows("F:0\\.0\\.29@1 +29 +good[^]*q quit")) << terminal.screen();
    terminal.type({"q"});
    EXPECT_TRUE(terminal.shows("exit code 0")) << terminal.screen();
}

// A narrow terminal shows fewer columns, and no part of a number.
TEST_P(LiveTable, ShowsWholeValuesIn40Columns) {
    rig.tell("set AI:0=499");
    const Terminal terminal = monitor({"AI:0/signed/scale=0.1/unit=Hz", "F:3.0.25/hex"}, 40, 8);
    EXPECT_TRUE(terminal.shows("\nAI:0@1 +AI:0@1 +49\\.9 Hz +good")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("\nF:3\\.0\\.25… +F:3\\.0\\.25@1 +0x0145 +good")) << terminal.screen();
}

TEST_P(LiveTable, ShowsTheValueOfALongNameIn80Columns) {
    const std::string file = rig.file("names.toml");
    const std::string name(81, 'n');
    writeFile(file, "[[tag]]\nname = \"" + name + "\"\ntype = \"F\"\naddress = \"3.0.25\"\n" +
                        "[[tag]]\nname = \"b\"\ntype = \"F\"\naddress = \"3.0.26\"\n");
    const Terminal terminal = monitor({"-c", file}, 80, 8);
    EXPECT_TRUE(terminal.shows("\nn+… +F:3\\.0\\.25@1 +325 +good")) << terminal.screen();
    EXPECT_TRUE(terminal.shows("\nb +F:3\\.0\\.26@1 +326 +good")) << terminal.screen();
    terminal.type({"w", "1", "2"});
    EXPECT_TRUE(terminal.shows("\nn+… = 12_")) << terminal.screen();
}

// A row names the cause as far as it has room, and the foot that of the selected item whole.
TEST_P(LiveTable, NamesTheCauseOfABadValue) {
    const Terminal terminal = monitor({"AI:0", "F:10.0.00"}, 80);
    EXPECT_TRUE(terminal.shows("F:10\\.0\\.00@1 +- +bad +exception 2 \\(illegal")) << terminal.screen();
    EXPECT_FALSE(terminal.shows("\nF:10\\.0\\.00@1: exception")) << "another one is selected";
    terminal.type({"Down"});
    EXPECT_TRUE(terminal.shows(
        "\nF:10\\.0\\.00@1: exception 2 \\(illegal data address\\), for [0-9.]+ s *\nq quit +w write"))
        << terminal.screen();
}

TEST_P(LiveTable, TurnsNoLineAndRecovers) {
    const Terminal terminal = monitor({"F:3.0.25"});
    ASSERT_TRUE(terminal.shows("325 +good")) << terminal.screen();
    rig.stopDevice();
    EXPECT_TRUE(terminal.shows("325 +bad +[0-9.]+ s[^\\n]* no line")) << terminal.screen();
    rig.startDevice();
    EXPECT_TRUE(terminal.shows("325 +good")) << terminal.screen();
    rig.tell("silence 1");
    EXPECT_TRUE(terminal.shows("325 +stale +[0-9.]+ s[^\\n]* no reply")) << terminal.screen();
}

TEST_P(LiveTable, EndsOnCtrlC) {
    const Terminal terminal = monitor({"F:3.0.25"});
    ASSERT_TRUE(terminal.shows("325 +good")) << terminal.screen();
    terminal.type({"C-c"});
    EXPECT_TRUE(terminal.shows("good and 0 bad replies[^]*exit code 0")) << terminal.screen();
}

// An attempt to connect where nobody answers lasts 3 s, the pauses between two of them less than one at
// first: a table that waited for it would let one of the keys wait for most of that time.
TEST(LiveTableOverTcp, AnswersKeysWhileConnectingTakesItsTime) {
    Rig rig(Carrier::Tcp);
    const Terminal terminal(rig.file("tmux"), rig.command({"monitor", "--seconds", "50", "F:3.0.25"}), 100,
                            20);
    ASSERT_TRUE(terminal.shows("325 +good")) << terminal.screen();
    rig.stopDevice();
    {
        const FullListener nobody(rig.port());
        ASSERT_TRUE(terminal.shows("325 +bad")) << terminal.screen();
        for (int i = 0; i < 10; ++i) {
            const auto start = std::chrono::steady_clock::now();
            terminal.type({"s"});
            EXPECT_TRUE(terminal.shows(i % 2 == 0 ? "timeouts" : "NAME +ADDRESS")) << terminal.screen();
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
        }
        EXPECT_TRUE(terminal.shows("NO LINE[^]*325 +bad")) << terminal.screen();
    }
    rig.startDevice();
    EXPECT_TRUE(terminal.shows("325 +good")) << terminal.screen();
    terminal.type({"q"});
    EXPECT_TRUE(terminal.shows("exit code 0")) << terminal.screen();
}

// Whatever cannot show the table gets the lines, and is told why.
TEST_P(LiveTable, PrintsChangesOnATerminalThatCannotShowIt) {
    const std::pair<const char*, const char*> terminals[] = {{"nosuchterm", "\"nosuchterm\" is unknown"},
                                                             {"dumb", "\"dumb\" cannot show a table"}};
    for (const auto& [name, complaint] : terminals) {
        Words words{"env", std::string("TERM=") + name};
        const Words command = rig.command({"monitor", "F:3.0.25", "--seconds", "0.2"});
        words.insert(words.end(), command.begin(), command.end());
        const Terminal terminal(rig.file("tmux"), words, 100, 20);
        EXPECT_TRUE(terminal.shows(std::string("dx7: the terminal ") + complaint +
                                   ", so changes are printed line by line\n[^\n]*F:3\\.0\\.25@1 +325\n"
                                   "[^\n]*0 bad replies[^\n]*\nexit code 0"))
            << terminal.screen();
    }
}

TEST(ProgressBar, OfAScanShowsTheShareDoneAndTheTimeLeft) {
    const Rig rig(Carrier::PseudoTerminal);
    const Terminal terminal(rig.file("tmux"), rig.command({"scan", "--stations", "1-40", "--timeout", "100"}),
                            100, 10);
    EXPECT_TRUE(terminal.shows("#+\\.* +[0-9]+ % +[0-9]+ s left +station [0-9]+, 1 found"))
        << terminal.screen();
    EXPECT_TRUE(terminal.shows("1 of 40 asked stations answered\nexit code 0")) << terminal.screen();
}

/// How many percent a progress bar with this text behind it shows; -1 when there is none on the screen.
int percentShown(const std::string& screen, const std::string& what) {
    std::smatch found;
    return std::regex_search(screen, found, std::regex("#*\\.* +([0-9]+) %( +[0-9]+ s left)? +" + what))
               ? std::stoi(found[1])
               : -1;
}

TEST(ProgressBar, OfParametersGrowsAndLeavesNothingBehind) {
    Rig rig(Carrier::PseudoTerminal, {"--baud", "9600"});
    const std::string file = rig.file("parameters.toml");
    // Waits until two different shares were seen, in their order.
    const auto grows = [](const Terminal& terminal, const std::string& what) {
        int first = -1;
        return eventually([&] {
            const int percent = percentShown(terminal.screen(), what);
            first = first < 0 ? percent : first;
            return first >= 0 && percent > first && percent < 100;
        });
    };
    {
        const Terminal save(rig.file("save"), rig.command({"params", "save", file, "--groups", "0-9"}), 120,
                            10);
        EXPECT_TRUE(grows(save, "reading F:[0-9.]+")) << save.screen();
        EXPECT_TRUE(save.shows("^560 parameters of station 1 saved in [^\n]+\nexit code 0")) << save.screen();
    }
    writeFile(file, std::regex_replace(readFile(file), std::regex("(\"3\\.0\\.[0-9]+\" = )[0-9]+"), "$017"));
    const Terminal load(rig.file("load"), rig.command({"params", "load", file, "--accept-altered"}), 120, 10);
    EXPECT_TRUE(grows(load, "writing F:3\\.0\\.[0-9]+")) << load.screen();
    EXPECT_TRUE(
        load.shows("^560 parameters: 504 were right already, 56 written and verified, 0 not\nexit code 0"))
        << load.screen();
}

}  // namespace

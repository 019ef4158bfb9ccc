// However the live table ends, the terminal is as it was before.
#include "terminal.h"

#include <csignal>
#include <memory>

#include "fragile_device.h"

namespace {

/// How the table ends.
struct Ending {
    const char* name;
    Words keys;                ///< Typed into it.
    std::vector<int> numbers;  ///< Sent to it.
    std::string told;          ///< What the shell says after it; a pattern.
};
void PrintTo(const Ending& ending, std::ostream* out) {
    *out << ending.name;
}

std::string endingName(const testing::TestParamInfo<Ending>& ending) {
    return ending.param.name;
}

/// dx7 monitor in a shell of its own in a terminal, which writes the terminal's modes before and after into
/// files.
class TerminalTest : public testing::TestWithParam<Ending> {
protected:
    /// `after` is what the shell does when the table has left the terminal.
    std::unique_ptr<Terminal> monitor(const std::string& after) {
        std::string line = "sh -c 'echo $$ >" + file("pid") + "; exec \"$@\"' monitor";
        for (const std::string& word : rig.command({"monitor", "--seconds", "50", "F:3.0.25"})) {
            line += " '" + word + "'";
        }
        writeFile(file("script"), "set -m\nstty -a >" + file("before") + "\n" + line + "\n" + after);
        return std::make_unique<Terminal>(rig.file("tmux"), Words{"/bin/sh", file("script")}, 160, 12);
    }
    std::string atEnd() const {
        return "echo \"ended with $?\"\nstty -a >" + file("after") + ".new\nmv " + file("after") + ".new " +
               file("after") + "\n";
    }
    std::string file(const std::string& name) const { return rig.file(name); }
    /// Sends a signal and waits until it has arrived: two of a kind that wait are one.
    void send(int number) const {
        const std::string pid = readFile(file("pid"));
        ::kill(std::stoi(pid), number);
        const std::string status = "/proc/" + pid.substr(0, pid.find('\n')) + "/status";
        EXPECT_TRUE(eventually([&] {
            const std::string text = readFile(status);
            return text.empty() || text.find("ShdPnd:\t0000000000000000") != std::string::npos;
        }));
    }
    void expectAsBefore(const Terminal& terminal) const {
        ASSERT_TRUE(eventually([&] { return !readFile(file("after")).empty(); })) << terminal.screen();
        EXPECT_EQ(readFile(file("before")), readFile(file("after")));
        EXPECT_EQ("1", terminal.says("cursor_flag")) << "the cursor is visible";
        EXPECT_EQ("0", terminal.says("alternate_on")) << "the screen is the one before";
        EXPECT_EQ("0", terminal.says("keypad_flag")) << "the keys send what they sent before";
    }

    Rig rig{Carrier::Tcp, {"--stations", "1"}};
};

TEST_P(TerminalTest, IsAsItWas) {
    const std::unique_ptr<Terminal> terminal = monitor(atEnd());
    ASSERT_TRUE(terminal->shows("325 +good")) << terminal->screen();
    ASSERT_EQ("1", terminal->says("alternate_on"));
    if (!GetParam().keys.empty()) {
        terminal->type(GetParam().keys);
    }
    for (const int number : GetParam().numbers) {
        send(number);
    }
    EXPECT_TRUE(terminal->shows(GetParam().told)) << terminal->screen();
    expectAsBefore(*terminal);
}

INSTANTIATE_TEST_SUITE_P(Endings, TerminalTest,
                         testing::Values(Ending{"q", {"q"}, {}, "ended with 0"},
                                         Ending{"CtrlC", {"C-c"}, {}, "ended with 0"},
                                         Ending{"Interrupt", {}, {SIGINT}, "ended with 0"},
                                         Ending{"Termination", {}, {SIGTERM}, "ended with 0"},
                                         Ending{"HangUp", {}, {SIGHUP}, "ended with 0"},
                                         Ending{"Quit", {}, {SIGQUIT}, "ended with 131"},
                                         Ending{"CtrlBackslash", {"C-\\"}, {}, "ended with 131"}),
                         endingName);

// Ctrl-S holds what the table draws, and with it the table; a second signal ends it at once.
TEST_F(TerminalTest, IsAsItWasAfterASecondSignal) {
    const std::unique_ptr<Terminal> terminal = monitor(atEnd());
    ASSERT_TRUE(terminal->shows("325 +good")) << terminal->screen();
    terminal->type({"C-s"});
    // It polls no more when it is held.
    long requests = -1;
    ASSERT_TRUE(eventually([&] {
        const long before = requests;
        rig.device().type("summary\n");
        std::string line;
        while ((line = rig.device().readLine()).rfind("station 1: ", 0) != 0) {
        }
        requests = numberBehind(line, "station 1: ");
        return before == requests;
    }));
    send(SIGTERM);
    EXPECT_TRUE(readFile(file("after")).empty());
    send(SIGTERM);
    EXPECT_TRUE(terminal->shows("ended with 143")) << terminal->screen();
    expectAsBefore(*terminal);
}

TEST_F(TerminalTest, IsAsItWasWhileTheTableIsSuspendedAndAfterIt) {
    const std::unique_ptr<Terminal> terminal =
        monitor("stty -a >" + file("stopped") + "\nread line\nfg\n" + atEnd());
    ASSERT_TRUE(terminal->shows("325 +good")) << terminal->screen();
    terminal->type({"C-z"});
    ASSERT_TRUE(eventually([&] { return !readFile(file("stopped")).empty(); })) << terminal->screen();
    EXPECT_EQ(readFile(file("before")), readFile(file("stopped")));
    EXPECT_EQ("0", terminal->says("alternate_on"));
    EXPECT_EQ("1", terminal->says("cursor_flag"));
    rig.tell("set F:3.0.25=326");
    terminal->type({"Enter"});
    EXPECT_TRUE(terminal->shows("326 +good")) << terminal->screen();
    terminal->type({"q"});
    EXPECT_TRUE(terminal->shows("ended with 0")) << terminal->screen();
    expectAsBefore(*terminal);
}

// What cannot be recorded any more ends the table with a line that can be read.
TEST_F(TerminalTest, IsAsItWasAfterAnError) {
    std::string line = "trap '' XFSZ\nulimit -f 8\nstty -a >" + file("before") + "\n";
    for (const std::string& word :
         rig.command({"monitor", "--seconds", "50", "F:3.0.25", "--record", file("line.pcap")})) {
        line += " '" + word + "'";
    }
    writeFile(file("script"), line + "\n" + atEnd());
    const Terminal terminal(rig.file("tmux"), {"/bin/sh", file("script")}, 160, 12);
    EXPECT_TRUE(terminal.shows("cannot be written any more: File too large[^]*ended with 1"))
        << terminal.screen();
    expectAsBefore(terminal);
}

// A write that is out when the table ends is said to be unknown.
TEST(TerminalOfAWrite, TellsWhatTheTableDidNotLiveToSee) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.answer = request[1] != WRITE;
        return reaction;
    });
    const TemporaryDirectory directory;
    const Terminal terminal(
        directory.file("tmux"),
        dx7Words({"monitor", "F:3.0.25", "--timeout", "60000", "--tcp", device.address()}), 160, 12);
    ASSERT_TRUE(terminal.shows("7 +good")) << terminal.screen();
    terminal.type({"w", "5", "Enter"});
    ASSERT_TRUE(eventually([&] { return device.requests(WRITE) == 1; }));
    terminal.type({"q"});
    EXPECT_TRUE(
        terminal.shows("dx7: F:3\\.0\\.25@1 = 5: unknown: sent, but the table ended before the "
                       "acknowledgement; read it back[^]*exit code 1"))
        << terminal.screen();
}

// The terminal is gone, and with it both outputs.
TEST(TerminalThatGoesAway, EndsTheTable) {
    Rig rig(Carrier::Tcp, {"--stations", "1"});
    const std::string pid = rig.file("pid");
    std::string line = "echo $$ >" + pid + "; exec";
    for (const std::string& word : rig.command({"monitor", "F:3.0.25"})) {
        line += " '" + word + "'";
    }
    writeFile(rig.file("script"), line);
    {
        const Terminal terminal(rig.file("tmux"), {"/bin/sh", rig.file("script")}, 90, 12);
        ASSERT_TRUE(terminal.shows("325 +good")) << terminal.screen();
    }
    EXPECT_TRUE(eventually([&] { return ::kill(std::stoi(readFile(pid)), 0) != 0; }));
}

}  // namespace

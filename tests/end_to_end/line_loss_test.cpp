// The line disappears and comes back while dx7 runs.
#include <algorithm>
#include <csignal>
#include <regex>

#include "rig.h"

namespace {

class LineLoss : public testing::TestWithParam<Carrier> {
protected:
    Rig rig{GetParam(), {"--stations", "1"}};
};
INSTANTIATE_TEST_SUITE_P(Lines, LineLoss,
                         testing::Values(Carrier::PseudoTerminal, Carrier::Tcp, Carrier::ModbusTcp),
                         carrierName);

TEST_P(LineLoss, EverythingTurnsNoLineAndRecoversByItself) {
    rig.tell("set F:3.0.25=500");
    Process monitor(rig.command({"monitor", "--json", "--timeout", "200", "F:3.0.25", "DI:6"}));
    ASSERT_FALSE(nextJson(monitor, [](const Json& o) { return has(o, "value", 500); }).is_null());
    for (int round = 0; round < 2; ++round) {
        rig.stopDevice();
        const Json off = nextJson(
            monitor, [](const Json& o) { return has(o, "item", "F:3.0.25@1") && has(o, "quality", "bad"); });
        ASSERT_FALSE(off.is_null());
        EXPECT_EQ("no line", off.at("fault"));
        EXPECT_EQ(round == 0 ? 500 : 600, off.at("value")) << "the last good value stays";
        rig.startDevice();
        rig.tell("set F:3.0.25=600");
        EXPECT_FALSE(nextJson(monitor, [](const Json& o) {
                         return has(o, "event", "line") && has(o, "state", "open");
                     }).is_null());
        const Json back = nextJson(monitor, [](const Json& o) {
            return has(o, "item", "F:3.0.25@1") && has(o, "quality", "good") && has(o, "value", 600);
        });
        EXPECT_FALSE(back.is_null());
    }
    monitor.signal(SIGINT);
    EXPECT_EQ(0, monitor.finish().exitCode);
}

TEST_P(LineLoss, SaysSoAsText) {
    Process monitor(rig.command({"monitor", "--timeout", "200", "F:3.0.25"}));
    ASSERT_NE("", monitor.readLine());
    rig.stopDevice();
    std::string printed;
    for (std::string line = monitor.readLine(); !line.empty(); line = monitor.readLine()) {
        printed += line + '\n';
        if (printed.find("lost") != std::string::npos && printed.find("(bad since ") != std::string::npos) {
            break;
        }
    }
    EXPECT_NE(std::string::npos, printed.find("lost")) << printed;
    EXPECT_TRUE(std::regex_search(printed, std::regex(" \\(bad since [0-9:.]{12}: no line\\)\n"))) << printed;
    monitor.signal(SIGINT);
    EXPECT_EQ(0, monitor.finish().exitCode);
}

TEST_P(LineLoss, ACommandOnItEndsWithExitCode1) {
    Process scan(rig.command({"scan", "--json", "--stations", "1,100-200", "--timeout", "300"}));
    ASSERT_NE("", scan.readLine());
    rig.stopDevice();
    const Finished run = scan.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("lost")) << run.errors;
    EXPECT_EQ(1, std::count(run.errors.begin(), run.errors.end(), '\n')) << run.errors;
}

}  // namespace

// Lines on which replies come twice, late, for another master or not at all, and adapters that echo: what dx7
// shows as good or written is so, and where it can be known it is shown. The device's own values are the
// witness.
#include <algorithm>
#include <regex>
#include <set>
#include <sstream>

#include "fragile_device.h"
#include "rig.h"

namespace {

struct LineFault {
    const char* name;
    Words options;
    bool known;          ///< Values can be proven all the same.
    Words counters;      ///< One of them counts it in the statistics.
    const char* notice;  ///< What is said of it; empty when nothing is.
};
void PrintTo(const LineFault& fault, std::ostream* out) {
    *out << fault.name;
}

const LineFault FAULTS[] = {
    {"plain", {}, true, {}, ""},
    {"duplicate", {"--fault", "duplicate=1", "--copy-after", "0"}, true, {"copies"}, "replies arrive twice"},
    {"duplicate_30", {"--fault", "duplicate=1", "--copy-after", "30"}, true, {"copies"}, "arrive twice"},
    {"duplicate_300", {"--fault", "duplicate=1", "--copy-after", "300"}, true, {"copies"}, "arrive twice"},
    {"delay_600", {"--fault", "delay=600"}, true, {"late"}, "raise --timeout"},
    {"delay_800", {"--fault", "delay=800"}, true, {"late"}, "raise --timeout"},
    {"echo", {"--fault", "echo"}, true, {"echoes"}, "its echo is taken out"},
    {"echo_silent", {"--fault", "echo,silent=1"}, false, {"echoes"}, "its echo is taken out"},
    {"second_master", {"--fault", "second-master=0.3"}, false, {"foreign", "surplus", "copies"}, ""},
    {"answer_before", {"--fault", "answer-before"}, false, {"late", "surplus"}, ""},
    {"late_800", {"--fault", "late=1", "--late-by", "800"}, true, {"late"}, "raise --timeout"},
    {"late_3000", {"--fault", "late=1", "--late-by", "3000"}, false, {}, ""},
};

class LineFaults : public testing::TestWithParam<std::tuple<LineFault, Carrier>> {
protected:
    static const LineFault& fault() { return std::get<0>(GetParam()); }
    static bool silent() { return std::string(fault().name) == "echo_silent"; }

    /// What the device holds.
    int held(const std::string& item) {
        const std::string answer = rig.tell("get " + item);
        return std::stoi(answer.substr(answer.rfind(' ') + 1));
    }
    /// Every object that is shown as good has the device's value. How many are.
    std::size_t expectTrue(const std::vector<Json>& objects) {
        std::size_t good = 0;
        for (const Json& object : objects) {
            if (has(object, "event", "value") && has(object, "quality", "good")) {
                EXPECT_EQ(held(object.at("item")), object.at("value")) << object;
                ++good;
            }
        }
        return good;
    }
    /// Each notice is said once.
    static void expectNotices(const std::string& errors) {
        std::multiset<std::string> lines;
        std::istringstream stream(errors);
        for (std::string line; std::getline(stream, line);) {
            lines.insert(line);
            EXPECT_EQ(1U, lines.count(line)) << errors;
        }
    }

    Rig rig{std::get<1>(GetParam()), fault().options};
};
INSTANTIATE_TEST_SUITE_P(Line, LineFaults,
                         testing::Combine(testing::ValuesIn(FAULTS),
                                          testing::Values(Carrier::PseudoTerminal, Carrier::Tcp)),
                         [](const auto& instance) {
                             return std::string(std::get<0>(instance.param).name) +
                                    (std::get<1>(instance.param) == Carrier::Tcp ? "_tcp" : "_pty");
                         });

// Three reads whose replies nothing but their order tells apart.
TEST_P(LineFaults, ShowNoWrongValueInARead) {
    const Finished run = rig.dx7({"read", "--json", "F:3.0.20,4", "F:4.0.20,4", "F:5.0.20,4"});
    const std::size_t good = expectTrue(jsonLines(run.output));
    EXPECT_EQ(good == 12, run.exitCode == 0) << run.errors;
    if (fault().known) {
        EXPECT_EQ(12U, good) << run.output << run.errors;
    }
    expectNotices(run.errors);
}

TEST_P(LineFaults, ShowNoWrongValueInAMonitor) {
    const Finished run = runToEnd(rig.command({"monitor", "--json", "--stats", "--seconds", "9", "F:3.0.20,4",
                                               "F:4.0.20,4", "F:5.0.20,4"}),
                                  30000);
    const std::vector<Json> objects = jsonLines(run.output);
    const std::size_t good = expectTrue(objects);
    const Json all = ofEvent(objects, "statistics").at("all");
    if (fault().known) {
        EXPECT_LE(12U, good) << run.output << run.errors;
        EXPECT_EQ(0, run.exitCode) << run.errors;
    }
    long counted = 0;
    for (const std::string& counter : fault().counters) {
        counted += all.at(counter).get<long>();
    }
    EXPECT_EQ(!fault().counters.empty(), counted > 0) << all;
    EXPECT_GT(all.at("status_queries"), 0);
    expectNotices(run.errors);
    EXPECT_TRUE(says(run.errors, fault().notice)) << run.errors;
}

// A save reads six blocks: on a slow line it takes longer than the rig waits.
class SaveOnALineWithFaults : public LineFaults {};
INSTANTIATE_TEST_SUITE_P(Line, SaveOnALineWithFaults,
                         testing::Combine(testing::Values(FAULTS[0], FAULTS[1], FAULTS[2], FAULTS[4],
                                                          FAULTS[6], FAULTS[7], FAULTS[9]),
                                          testing::Values(Carrier::PseudoTerminal, Carrier::Tcp)),
                         [](const auto& instance) {
                             return std::string(std::get<0>(instance.param).name) +
                                    (std::get<1>(instance.param) == Carrier::Tcp ? "_tcp" : "_pty");
                         });
TEST_P(SaveOnALineWithFaults, SavesNoWrongParameter) {
    const std::string file = rig.file("parameters.toml");
    writeFile(file, "as it was");
    Words words{"params", "save", "--force", file, "--groups", "3"};
    if (std::string(fault().name) == "answer_before") {
        // Each attempt ends with a time-out.
        words.insert(words.end(), {"--timeout", "150"});
    }
    const Finished run = rig.dx7(words);
    if (run.exitCode != 0) {
        EXPECT_FALSE(fault().known) << run.errors;
        EXPECT_EQ("as it was", readFile(file));
        EXPECT_TRUE(std::regex_search(run.errors, std::regex("F:3\\.0\\.[0-9]+@1 [^\\n]*was left as it was")))
            << run.errors;
        return;
    }
    const std::string text = readFile(file);
    const std::regex line("\"(3\\.0\\.[0-9]+)\" = ([0-9]+)");
    int count = 0;
    for (std::sregex_iterator found(text.begin(), text.end(), line), end; found != end; ++found, ++count) {
        EXPECT_EQ(held("F:" + (*found)[1].str()), std::stoi((*found)[2])) << (*found)[0];
    }
    EXPECT_EQ(56, count) << text;
}

TEST_P(LineFaults, ReportNoWriteThatIsNot) {
    const int before = held("F:4.0.21");
    // Four requests with their proofs, where each answer may take 0.8 s.
    const Finished run =
        runToEnd(rig.command({"write", "--verify", "--json", "F:3.0.20=11", "F:4.0.21=22"}), 30000);
    bool done = true;
    for (const Json& object : jsonLines(run.output)) {
        const std::string item = object.at("item");
        if (has(object, "written", true) || object.at("verified") == true) {
            EXPECT_EQ(object.at("value"), held(item)) << object;
        }
        if (item == "F:4.0.21@1" && has(object, "written", false) && !silent()) {
            EXPECT_EQ(before, held(item)) << object;
        }
        done = done && has(object, "written", true) && object.at("verified") == true;
    }
    EXPECT_EQ(done, run.exitCode == 0) << run.output << run.errors;
    if (fault().known) {
        EXPECT_TRUE(done) << run.output << run.errors;
    }
    if (silent()) {
        EXPECT_TRUE(says(run.errors, "not sent")) << run.errors;
    }
}

}  // namespace

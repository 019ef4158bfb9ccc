// dx7 monitor over both lines, where its output is not a terminal: a line per change, limits, the summary and
// the statistics.
#include <csignal>
#include <regex>

#include "rig.h"

namespace {

class Monitor : public testing::TestWithParam<Carrier> {
protected:
    Rig rig{GetParam(), {"--stations", "1,2"}};
};
INSTANTIATE_TEST_SUITE_P(Lines, Monitor,
                         testing::Values(Carrier::PseudoTerminal, Carrier::Tcp, Carrier::ModbusTcp),
                         carrierName);

TEST_P(Monitor, StopsAfterCountLinesOfValues) {
    const Finished run = rig.dx7({"monitor", "--json", "--count", "5", "AI:0", "F:0.0.00@2"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const std::vector<Json> objects = jsonLines(run.output);
    ASSERT_EQ(6U, objects.size()) << run.output;
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ("value", objects[i].at("event")) << objects[i];
        EXPECT_TRUE(objects[i].contains("time")) << objects[i];
        EXPECT_EQ("good", objects[i].at("quality"));
    }
    EXPECT_EQ("summary", objects[5].at("event")) << objects[5];
}

TEST_P(Monitor, StopsAfterSeconds) {
    const auto start = std::chrono::steady_clock::now();
    const Finished run = rig.dx7({"monitor", "--json", "--seconds", "0.7", "DE:1"});
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_GE(took.count(), 0.7);
    const Json summary = ofEvent(jsonLines(run.output), "summary");
    EXPECT_GE(summary.at("seconds").get<double>(), 0.7);
    EXPECT_EQ(0, summary.at("changes")) << "a first value is no change";
    EXPECT_EQ(summary.at("requests"), summary.at("good"));
}

TEST_P(Monitor, ShowsAChangeOfTheDeviceAsALine) {
    Process monitor(rig.command({"monitor", "--json", "F:3.0.25", "DO:1@2"}));
    EXPECT_FALSE(nextJson(monitor, [](const Json& o) { return has(o, "item", "DO:1@2"); }).is_null());
    rig.tell("set F:3.0.25@1=4321");
    const Json word = nextJson(monitor, [](const Json& o) { return has(o, "value", 4321); });
    EXPECT_EQ("F:3.0.25@1", word.at("item"));
    rig.tell("set DO:1@2=1");
    const Json bit = nextJson(monitor, [](const Json& o) { return has(o, "value", 1); });
    EXPECT_EQ("DO:1@2", bit.at("item"));
    monitor.signal(SIGINT);
    const Finished run = monitor.finish();
    EXPECT_EQ(0, run.exitCode) << run.errors;
}

TEST_P(Monitor, ShowsValuesInTheirFormatsAsText) {
    rig.tell("set AI:0=-12");
    const Finished run = rig.dx7({"monitor", "--count", "2", "AI:0/signed/scale=0.1/unit=Hz", "AI:0@2/hex"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(std::regex_search(run.output, std::regex("[0-9:.]+  AI:0@1 +-1\\.2 Hz\n"))) << run.output;
    EXPECT_TRUE(std::regex_search(run.output, std::regex("[0-9:.]+  AI:0@2 +0xfff4\n"))) << run.output;
}

TEST_P(Monitor, CountsWhatHappenedOnTheLine) {
    const Finished run = rig.dx7({"monitor", "--json", "--stats", "--seconds", "1", "F:0.0.00,3", "DI:1,6",
                                  "F:0.0.00@2", "F:10.0.00@2"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    const Json statistics = ofEvent(jsonLines(run.output), "statistics");
    const Json& all = statistics.at("all");
    const Json& first = statistics.at("stations").at("1");
    const Json& second = statistics.at("stations").at("2");
    ASSERT_EQ(2U, statistics.at("stations").size());
    EXPECT_EQ(all.at("requests"), first.at("requests").get<long>() + second.at("requests").get<long>());
    EXPECT_EQ(first.at("requests"), first.at("good"));
    EXPECT_GT(first.at("requests"), 10);
    EXPECT_EQ(second.at("requests"),
              second.at("good").get<long>() + second.at("exceptions").at("2").get<long>());
    EXPECT_GT(second.at("failed_operations"), 0);
    EXPECT_LE(second.at("exceptions").at("2"), 3) << "after pauses of half a second and more";
    EXPECT_EQ(0, second.at("retries")) << "a refusal is not repeated at once";
    for (const char* clean : {"timeouts", "wrong_crc", "wrong_length", "foreign"}) {
        EXPECT_EQ(0, all[clean]) << clean;
    }
    const Json& response = all.at("response_ms");
    EXPECT_GT(response.at("max"), 0);
    EXPECT_LE(response.at("min"), response.at("median"));
    EXPECT_LE(response.at("median"), response.at("p99"));
    EXPECT_LE(response.at("p99"), response.at("max"));
    EXPECT_GT(statistics.at("cycles").at("count"), 1);
    EXPECT_GT(statistics.at("cycles").at("median_ms"), 0);
    EXPECT_GT(statistics.at("line_busy"), 0);
    EXPECT_LE(statistics.at("line_busy"), 1);

    const std::string seen = rig.stopDevice();
    EXPECT_EQ(all.at("requests").get<long>() + all.at("status_queries").get<long>(),
              numberBehind(seen, "station 1: ") + numberBehind(seen, "station 2: "))
        << seen;
}

TEST_P(Monitor, PrintsTheStatisticsAsATable) {
    const Finished run = rig.dx7({"monitor", "--stats", "--seconds", "0.5", "AI:0@1", "F:10.0.00@2"});
    for (const char* label :
         {"station 1", "station 2", "all", "requests", "good", "timeouts", "wrong CRC", "wrong length",
          "foreign", "exception 2", "illegal data address", "retries", "failed operations", "response min",
          "response median", "response 99 %", "response max", "cycle", "line busy"}) {
        EXPECT_NE(std::string::npos, run.output.find(label)) << label << " in:\n" << run.output;
    }
}

TEST_P(Monitor, EndsWithExitCode1WhenNothingWasGood) {
    const Finished run = rig.dx7({"monitor", "--json", "--seconds", "0.5", "--timeout", "50", "AI:0@9"});
    EXPECT_EQ(1, run.exitCode);
    const Json bad = withKey(jsonLines(run.output), "quality");
    EXPECT_EQ("bad", bad.at("quality")) << run.output;
    EXPECT_TRUE(bad.at("value").is_null()) << run.output;
}

}  // namespace

// dx7 params save, diff and load over both lines; interrupted, and with values that do not take.
#include <csignal>
#include <regex>

#include "rig.h"
#include "stubborn_device.h"

namespace {

enum { GROUP_ITEMS = 56 };

class Params : public testing::TestWithParam<Carrier> {
protected:
    Rig rig{GetParam(), {"--stations", "1,2"}};
    std::string file = rig.file("parameters.toml");
};
INSTANTIATE_TEST_SUITE_P(Lines, Params,
                         testing::Values(Carrier::PseudoTerminal, Carrier::Tcp, Carrier::ModbusTcp),
                         carrierName);

TEST_P(Params, SavesTheGroupsWantedReadably) {
    rig.tell("set F:1.0.07@1=4711");
    const Finished run = rig.dx7({"params", "save", "--force", file, "--groups", "1-2"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_NE(std::string::npos, run.output.find("112 parameters of station 1")) << run.output;
    const std::string saved = readFile(file);
    EXPECT_NE(std::string::npos, saved.find("station = 1\n")) << saved;
    EXPECT_NE(std::string::npos, saved.find("\"1.0.07\" = 4711\n")) << saved;
    EXPECT_NE(std::string::npos, saved.find("\"2.0.55\" = 255\n")) << saved;
    EXPECT_EQ(std::string::npos, saved.find("\"0.0.")) << saved;
    EXPECT_EQ(std::string::npos, saved.find("\"3.0.")) << saved;
}

TEST_P(Params, ShowsWhatDiffersAndLoadsIt) {
    ASSERT_EQ(0, rig.dx7({"params", "save", "--force", file, "--groups", "3"}).exitCode);
    const Finished equal = rig.dx7({"params", "diff", file});
    EXPECT_EQ(0, equal.exitCode) << equal.errors;
    EXPECT_EQ("0 of 56 parameters differ\n", equal.output);

    rig.tell("set F:3.0.10@1=1");
    rig.tell("set F:3.0.25@1=2");
    rig.tell("set F:3.0.25@2=3");
    const Finished differ = rig.dx7({"params", "diff", file});
    EXPECT_TRUE(std::regex_search(differ.output, std::regex("F:3\\.0\\.10[^\n]*310[^\n]*1\n"
                                                            "F:3\\.0\\.25[^\n]*325[^\n]*2\n"
                                                            "2 of 56 parameters differ\n")))
        << differ.output;
    const std::vector<Json> objects = jsonLines(rig.dx7({"params", "diff", file, "--json"}).output);
    ASSERT_LE(2U, objects.size());
    EXPECT_EQ("F:3.0.25@1", objects[1].at("item"));
    EXPECT_EQ(325, objects[1].at("file"));
    EXPECT_EQ(2, objects[1].at("device"));

    const Finished load = rig.dx7({"params", "load", file});
    EXPECT_EQ(0, load.exitCode) << load.errors;
    EXPECT_NE(std::string::npos, load.output.find("2 written and verified")) << load.output;
    {
        const std::unique_ptr<Client> client = rig.client();
        EXPECT_EQ(310, client->holding(0xF310));
        EXPECT_EQ(325, client->holding(0xF325));
    }
    EXPECT_EQ(3, rig.client(2)->holding(0xF325)) << "the file is of station 1";

    const Finished other = rig.dx7({"params", "load", file, "--station", "2"});
    EXPECT_EQ(0, other.exitCode) << other.errors;
    EXPECT_EQ(325, rig.client(2)->holding(0xF325));
}

Json loadSum(int parameters, int right, int written, int notWritten) {
    return {{"event", "summary"},
            {"command", "params load"},
            {"station", 1},
            {"parameters", parameters},
            {"right", right},
            {"written", written},
            {"not_written", notWritten},
            {"unknown", 0}};
}

TEST_P(Params, SpeakJson) {
    const auto only = [this](const Words& words, int exitCode) {
        const Finished run = rig.dx7(words);
        EXPECT_EQ(exitCode, run.exitCode) << run.errors;
        return jsonLines(run.output);
    };
    EXPECT_EQ(Json({{"event", "saved"},
                    {"file", file},
                    {"station", 1},
                    {"saved", 56},
                    {"read", 56},
                    {"refused", 0}}),
              only({"params", "save", "--force", file, "--groups", "3", "--json"}, 0).at(0));
    writeFile(file, "station = 1\n[F]\n\"3.0.25\" = 9\n\"3.0.24\" = 324\n");
    const std::vector<Json> load = only({"params", "load", file, "--accept-altered", "--json"}, 0);
    ASSERT_EQ(1U, load.size());
    EXPECT_EQ(loadSum(2, 1, 1, 0), load[0]);
}

TEST_P(Params, AFailedSaveLeavesTheFileThatWasThere) {
    writeFile(file, "as it was");
    const Finished run = rig.dx7({"params", "save", "--force", file, "--station", "9", "--timeout", "30"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("no reply")) << run.errors;
    EXPECT_EQ("as it was", readFile(file));
}

TEST(ParamsLoad, ListsWhatTheStationRefusesAndGoesOn) {
    const StubbornDevice device(0xF324);
    const TemporaryDirectory directory;
    const std::string file = directory.file("parameters.toml");
    writeFile(file, "station = 1\n[F]\n\"3.0.24\" = 1\n\"3.0.25\" = 500\n\"3.0.26\" = 7\n");
    const auto only = [&](const Words& words, int exitCode) {
        const Finished run = runToEnd(dx7Words(words));
        EXPECT_EQ(exitCode, run.exitCode) << run.errors;
        return jsonLines(run.output);
    };
    const std::vector<Json> load =
        only({"params", "load", file, "--accept-altered", "--json", "--tcp", device.address()}, 1);
    ASSERT_EQ(3U, load.size());
    EXPECT_EQ("F:3.0.24@1", load[0].at("item"));
    EXPECT_EQ("exception 2 (illegal data address)", load[0].at("fault"));
    EXPECT_EQ("F:3.0.25@1", load[1].at("item")) << "the next one was written all the same";
    EXPECT_EQ(loadSum(3, 1, 0, 2), load[2]);
    const std::vector<Json> diff =
        only({"params", "diff", file, "--accept-altered", "--json", "--tcp", device.address()}, 1);
    ASSERT_EQ(3U, diff.size());
    EXPECT_TRUE(diff[0].at("device").is_null());
    EXPECT_EQ(7, diff[1].at("device"));
    EXPECT_EQ(Json({{"event", "summary"},
                    {"command", "params diff"},
                    {"parameters", 3},
                    {"differ", 2},
                    {"not_read", 0}}),
              diff[2]);
}

TEST(ParamsLoad, AValueThatDidNotTakeIsListed) {
    const StubbornDevice device;
    const TemporaryDirectory directory;
    const std::string file = directory.file("parameters.toml");
    writeFile(file, "station = 1\n[F]\n\"3.0.24\" = 7\n\"3.0.25\" = 500\n");
    const Finished run =
        runToEnd(dx7Words({"params", "load", file, "--accept-altered", "--tcp", device.address()}));
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(std::regex_search(run.errors, std::regex("dx7: F:3\\.0\\.25[^\n]*500[^\n]*reads 7\n")))
        << run.errors;
    EXPECT_NE(std::string::npos, run.output.find("1 were right already, 0 written")) << run.output;
}

class Interrupted : public testing::TestWithParam<Carrier> {
protected:
    long written() {
        rig.device().type("summary\n");
        std::string text;
        for (std::string line = rig.device().readLine(); !line.empty(); line = rig.device().readLine()) {
            text += line;
            if (line.rfind("faults made", 0) == 0) {
                break;
            }
        }
        return numberBehind(text, "FC 6: ");
    }
    int parametersAt(int value) const {
        const std::unique_ptr<Client> client = rig.client();
        int count = 0;
        for (int index = 0; index < GROUP_ITEMS; ++index) {
            count += client->holding(0xF300 + index / 10 * 16 + index % 10) == value ? 1 : 0;
        }
        return count;
    }
    void writeTarget() const {
        std::string text = "station = 1\n[F]\n";
        for (int index = 0; index < GROUP_ITEMS; ++index) {
            text += "\"3.0." + std::to_string(index / 10) + std::to_string(index % 10) + "\" = 9000\n";
        }
        writeFile(file, text);
    }

    Rig rig{GetParam(), {"--baud", "38400"}};
    std::string file = rig.file("parameters.toml");
};
INSTANTIATE_TEST_SUITE_P(Lines, Interrupted,
                         testing::Values(Carrier::PseudoTerminal, Carrier::Tcp, Carrier::ModbusTcp),
                         carrierName);

TEST_P(Interrupted, ALoadIsFinishedByASecondRun) {
    writeTarget();
    const std::string before = readFile(file);
    Process first(rig.command({"params", "load", file, "--accept-altered", "--baud", "38400"}));
    ASSERT_TRUE(eventually([this] { return written() >= 5; }));
    first.signal(SIGINT);
    const Finished stopped = first.finish();
    EXPECT_EQ(1, stopped.exitCode) << stopped.output;
    EXPECT_NE(std::string::npos, stopped.errors.find("run it again")) << stopped.errors;
    EXPECT_EQ(before, readFile(file));
    const int done = parametersAt(9000);
    EXPECT_GE(done, 4);
    ASSERT_LT(done, GROUP_ITEMS) << "it was stopped in the middle";

    const Finished second = rig.dx7({"params", "load", file, "--accept-altered", "--baud", "38400"});
    EXPECT_EQ(0, second.exitCode) << second.errors;
    EXPECT_NE(std::string::npos,
              second.output.find(std::to_string(GROUP_ITEMS - done) + " written and verified"))
        << second.output;
    EXPECT_EQ(int(GROUP_ITEMS), parametersAt(9000));
}

TEST_P(Interrupted, ASaveLeavesTheFileThatWasThere) {
    writeFile(file, "as it was");
    Process save(rig.command({"params", "save", "--force", file, "--baud", "38400"}));
    ASSERT_TRUE(eventually([this] {
        rig.device().type("summary\n");
        return numberBehind(rig.device().readLine(), "FC 3: ") > 3;
    }));
    save.signal(SIGINT);
    const Finished stopped = save.finish();
    EXPECT_EQ(1, stopped.exitCode) << stopped.output << stopped.errors;
    EXPECT_EQ("as it was", readFile(file));
}

}  // namespace

// What params load, diff and save say when they are broken off in the middle.
#include <csignal>
#include <memory>
#include <set>

#include "fragile_device.h"
#include "rig.h"

namespace {

enum { PARAMETERS = 13, RIGHT = 1, ATTEMPTS = 3 };

FragileDevice::Script breakAt(int function, int number, bool carryOut, bool answer) {
    return [=](const FragileDevice::Frame& request, int count) {
        Reaction reaction;
        if (request[1] == function && count == number) {
            reaction.carryOut = carryOut;
            reaction.answer = answer;
            reaction.close = true;
        }
        return reaction;
    };
}

/// From the n-th write on the device gives no sign of life.
FragileDevice::Script silentAfterWrites(int writes) {
    const auto silent = std::make_shared<bool>(false);
    return [=](const FragileDevice::Frame& request, int count) {
        *silent = *silent || (request[1] == WRITE && count > writes);
        Reaction reaction;
        reaction.answer = reaction.carryOut = !*silent;
        return reaction;
    };
}

class BrokenParams : public testing::Test {
protected:
    BrokenParams() {
        // The device holds 7 everywhere: all but the last one differ.
        std::string text = "station = 1\n[F]\n";
        for (int i = 0; i < PARAMETERS; ++i) {
            text += "\"3.0." + std::to_string(i / 10) + std::to_string(i % 10) +
                    (i == PARAMETERS - 1 ? "\" = 7\n" : "\" = 50\n");
        }
        writeFile(file, text);
    }
    Finished params(const FragileDevice& device, const Words& more) const {
        Words words{"params"};
        words.insert(words.end(), more.begin(), more.end());
        words.insert(words.end(), {file, "--tcp", device.address(), "--timeout", "50"});
        if (more.front() != "save") {
            words.push_back("--accept-altered");  // the file is not one that was saved
        }
        return runToEnd(dx7Words(words));
    }
    TemporaryDirectory directory;
    /// A file with so many parameters that all differ.
    void differing(int count) const {
        std::string text = "station = 1\n[F]\n";
        for (int i = 0; i < count; ++i) {
            text += "\"3.0." + std::to_string(i / 10) + std::to_string(i % 10) + "\" = 50\n";
        }
        writeFile(file, text);
    }
    std::string file = directory.file("parameters.toml");
};

/// Every parameter of the file is right, written, unknown or not written, and named unless it is one of the
/// first two.
void expectSum(const std::vector<Json>& objects, int written, int unknown) {
    ASSERT_FALSE(objects.empty());
    const Json& sum = objects.back();
    const int left = PARAMETERS - RIGHT - written - unknown;
    EXPECT_EQ(PARAMETERS, sum.at("parameters"));
    EXPECT_EQ(RIGHT, sum.at("right"));
    EXPECT_EQ(written, sum.at("written"));
    EXPECT_EQ(left, sum.at("not_written"));
    EXPECT_EQ(unknown, sum.at("unknown"));
    EXPECT_TRUE(sum.contains("fault"));
    ASSERT_EQ(std::size_t(left + unknown + 1), objects.size());
    std::set<std::string> names;
    for (std::size_t i = 0; i + 1 < objects.size(); ++i) {
        names.insert(objects[i].at("item").get<std::string>());
        EXPECT_EQ(i < std::size_t(unknown), objects[i].at("written").is_null()) << objects[i];
        EXPECT_TRUE(objects[i].contains("fault"));
    }
    EXPECT_EQ(objects.size() - 1, names.size()) << "each once";
}

TEST_F(BrokenParams, ALoadSaysWhatIsWrittenUnknownAndNot) {
    for (const bool carriedOut : {false, true}) {
        const FragileDevice device(breakAt(WRITE, 3, carriedOut, false));
        const Finished run = params(device, {"load"});
        EXPECT_EQ(1, run.exitCode);
        EXPECT_EQ(
            "13 parameters: 1 were right already, 2 written and verified, 1 unknown (F:3.0.02@1), "
            "9 not written\n",
            run.output);
        EXPECT_TRUE(says(run.errors,
                         "F:3.0.02@1 = 50: unknown: sent, but the line was lost before the "
                         "acknowledgement; read it back\n"))
            << run.errors;
        EXPECT_TRUE(says(run.errors,
                         "was lost: it was closed at the other end; run it again to go on: it compares "
                         "first and writes only what differs\n"))
            << run.errors;
        const Finished second = params(device, {"load"});
        EXPECT_EQ(0, second.exitCode) << second.errors;
        EXPECT_TRUE(says(second.output, std::to_string(carriedOut ? 9 : 10) + " written and verified, 0 not"))
            << second.output;
    }
}

TEST_F(BrokenParams, ALoadSaysItAsJson) {
    const FragileDevice device(breakAt(WRITE, 3, false, false));
    const Finished run = params(device, {"load", "--json"});
    EXPECT_EQ(1, run.exitCode);
    expectSum(jsonLines(run.output), 2, 1);
}

TEST_F(BrokenParams, WhatWasAcknowledgedAndNotReadBackIsUnknown) {
    // Two requests compare, then one reads each value back.
    const FragileDevice device(breakAt(READ, 5, false, false));
    const Finished run = params(device, {"load", "--json"});
    const std::vector<Json> objects = jsonLines(run.output);
    expectSum(objects, 2, 1);
    EXPECT_TRUE(says(objects.at(0).at("fault"),
                     "unknown: sent, but the line was lost before the acknowledgement was proven"))
        << objects.at(0);
}

TEST_F(BrokenParams, ALoadThatLosesTheLineWhileComparingWritesNothing) {
    const FragileDevice device(breakAt(READ, 2, false, false));
    const Finished run = params(device, {"load"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("", run.output);
    EXPECT_TRUE(says(run.errors, "; 10 of 13 parameters were compared, nothing was written; run it again"))
        << run.errors;
    EXPECT_EQ(0, device.requests(WRITE));
}

TEST_F(BrokenParams, ALoadStopsWhenItsStationHasFallenSilent) {
    const FragileDevice device(silentAfterWrites(2));
    const Finished run = params(device, {"load"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.output, "2 written and verified, 1 unknown (F:3.0.02@1), 9 not written\n"))
        << run.output;
    EXPECT_TRUE(says(run.errors, "station 1 does not answer any more; run it again to go on")) << run.errors;
    EXPECT_EQ(3, device.requests(WRITE)) << "one write in vain";
    EXPECT_EQ(4, device.requests(READ)) << "it is not read back while its reply may still come";
    const FragileDevice again(silentAfterWrites(2));
    expectSum(jsonLines(params(again, {"load", "--json"}).output), 2, 1);
}

// An acknowledgement that is lost each time leaves what the device holds as the judge.
TEST_F(BrokenParams, AValueThatReadsRightIsVerifiedWithoutItsAcknowledgement) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.answer = request[1] != WRITE;
        return reaction;
    });
    const Finished run = params(device, {"load"});
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(says(run.output, "12 written and verified, 0 not\n")) << run.output;
}

// What fails of a station that does not fall silent altogether.
struct Half {
    const char* name;
    FragileDevice::Script script;  ///< Good up to the second write.
    int written;
    int unknown;
};
void PrintTo(const Half& half, std::ostream* out) {
    *out << half.name;
}
/// What happens to writes, or to all that is not one, from the third write on.
FragileDevice::Script fromThirdWrite(const Reaction& write, const Reaction& read) {
    const auto broken = std::make_shared<bool>(false);
    return [=](const FragileDevice::Frame& request, int count) {
        *broken = *broken || (request[1] == WRITE && count > 2);
        return !*broken ? Reaction() : request[1] == WRITE ? write : read;
    };
}
Reaction cutReply() {
    Reaction reaction;
    reaction.keptBytes = 4;
    return reaction;
}
Reaction silence(bool carryOut) {
    Reaction reaction;
    reaction.carryOut = carryOut;
    reaction.answer = false;
    return reaction;
}
Reaction alteredReply() {
    Reaction reaction;
    reaction.carryOut = false;
    reaction.altered = true;
    return reaction;
}

class HalfBroken : public BrokenParams, public testing::WithParamInterface<Half> {};
INSTANTIATE_TEST_SUITE_P(
    Ways, HalfBroken,
    testing::Values(Half{"replies_cut", fromThirdWrite(cutReply(), cutReply()), 2, 1},
                    Half{"reading_back_silent", fromThirdWrite(Reaction(), silence(true)), 2, 1},
                    Half{"reading_back_cut", fromThirdWrite(Reaction(), cutReply()), 2, 1},
                    Half{"writes_lost", fromThirdWrite(silence(false), Reaction()), 2, 0},
                    Half{"echoes_wrong", fromThirdWrite(alteredReply(), Reaction()), 2, 0}),
    [](const auto& half) { return std::string(half.param.name); });

TEST_P(HalfBroken, EndsALoadAfterTwoParameters) {
    const FragileDevice device(GetParam().script);
    const Finished run = params(device, {"load", "--json"});
    EXPECT_EQ(1, run.exitCode);
    // One that answers no query either owes a reply: the second parameter is not sent.
    const std::string reason = GetParam().unknown > 0 ? "station 1 does not answer any more"
                                                      : "station 1 gives no valid answer any more";
    EXPECT_TRUE(says(run.errors, reason + "; run it again to go on")) << run.errors;
    EXPECT_EQ(GetParam().unknown > 0, says(run.errors, "F:3.0.03@1 = 50: not sent: the station still owes"))
        << run.errors;
    EXPECT_EQ(std::string(GetParam().name) == "replies_cut",
              says(run.errors, "F:3.0.02@1 = 50: wrong length (4 of 8 bytes); it is unknown"))
        << run.errors;
    EXPECT_GE(2 + 2 * ATTEMPTS, device.requests(WRITE)) << "two parameters in vain";
    const Json sum = jsonLines(run.output).back();
    EXPECT_EQ(GetParam().written, sum.at("written")) << sum;
    EXPECT_EQ(GetParam().unknown, sum.at("unknown")) << sum;
    EXPECT_EQ(reason, sum.at("fault"));
}

// Each costs its time-outs: a long file would take the better part of an hour.
TEST_F(BrokenParams, ALoadStopsWhenNothingIsAcknowledgedAnyMore) {
    differing(30);
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        return request[1] == WRITE ? silence(true) : Reaction();
    });
    const Finished run = params(device, {"load"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.output, "20 written and verified, 10 not written\n")) << run.output;
    EXPECT_TRUE(says(run.errors, "station 1 has not acknowledged 20 writes in a row; run it again to go on"))
        << run.errors;
    const Finished second = params(device, {"load"});
    EXPECT_EQ(0, second.exitCode) << second.errors;
    EXPECT_TRUE(says(second.output, "20 were right already, 10 written and verified")) << second.output;
}

TEST_F(BrokenParams, WhatDoesNotTakeStopsNothing) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.carryOut = request[1] != WRITE;
        return reaction;
    });
    const Finished run = params(device, {"load"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.output, "0 written and verified, 12 not\n")) << run.output;
    EXPECT_EQ(12, device.requests(WRITE));
}

TEST_F(BrokenParams, CutRepliesEndTheReadingWithTheFirstRun) {
    for (const char* action : {"save", "diff", "load"}) {
        const FragileDevice device([](const FragileDevice::Frame&, int) { return cutReply(); });
        const bool save = std::string(action) == "save";
        const Finished run = params(device, save ? Words{action, "--force"} : Words{action});
        EXPECT_EQ(std::string(action) == "diff" ? 2 : 1, run.exitCode) << action;
        EXPECT_EQ(1, device.requests(READ)) << action << ": it owes the reply";
        EXPECT_TRUE(says(run.errors, "could not be read: wrong length (4 of ")) << run.errors;
        writeFile(file, "station = 1\n[F]\n\"3.0.00\" = 50\n");
    }
}

// Output that is full hides neither the loss nor how far it came.
TEST_F(BrokenParams, AFullOutputDoesNotHideTheLoss) {
    struct Row {
        Words words;
        int lost;  ///< The read that loses the line.
        std::string text;
    };
    const Row rows[] = {
        {{"diff", file, "--accept-altered", "--json"}, 2, "; 10 of 13 parameters were compared, 10 of them"},
        {{"diff", file, "--accept-altered"}, 2, "; 10 of 13 parameters were compared, 10 of them"},
        {{"save", "--force", file, "--groups", "3", "--json"}, 3, "; 10 of 56 parameters were read"}};
    for (const Row& row : rows) {
        const FragileDevice device(breakAt(READ, row.lost, false, false));
        Words words{"/bin/sh", "-c", "exec \"$@\" >/dev/full", "sh"};
        Words command{"params"};
        command.insert(command.end(), row.words.begin(), row.words.end());
        command.insert(command.end(), {"--tcp", device.address()});
        for (const std::string& word : dx7Words(command)) {
            words.push_back(word);
        }
        const Finished run = runToEnd(words);
        EXPECT_EQ(1, run.exitCode);
        EXPECT_TRUE(says(run.errors, "was lost")) << run.errors;
        EXPECT_TRUE(says(run.errors, row.text)) << run.errors;
    }
}

TEST_F(BrokenParams, RefusalsAreAnswersAndStopNothing) {
    const FragileDevice device([](const FragileDevice::Frame& request, int) {
        Reaction reaction;
        reaction.exception = request[1] == WRITE ? 3 : 0;
        return reaction;
    });
    const Finished run = params(device, {"load"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.output, "0 written and verified, 12 not\n")) << run.output;
    EXPECT_EQ(12, device.requests(WRITE)) << "a refusal is not repeated at once";
}

TEST_F(BrokenParams, ADiffPrintsWhatItHasCompared) {
    const FragileDevice device(breakAt(READ, 2, false, false));
    const Finished run = params(device, {"diff"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_TRUE(says(run.output, "F:3.0.09@1      file    50  device 7\n")) << run.output;
    EXPECT_FALSE(says(run.output, "parameters")) << run.output;
    EXPECT_TRUE(says(run.errors, "; 10 of 13 parameters were compared, 10 of them differ; the same command"))
        << run.errors;
    EXPECT_TRUE(says(run.errors, "was lost")) << run.errors;
    const FragileDevice again(breakAt(READ, 2, false, false));
    const std::vector<Json> objects = jsonLines(params(again, {"diff", "--json"}).output);
    ASSERT_EQ(std::size_t(PARAMETERS + 1), objects.size());
    EXPECT_EQ(10, objects.back().at("differ"));
    EXPECT_EQ(3, objects.back().at("not_read"));
    EXPECT_TRUE(objects.at(12).at("device").is_null());
    EXPECT_TRUE(says(objects.at(12).at("fault"), "lost"));
}

TEST_F(BrokenParams, ASaveSaysHowFarItCameAndLeavesTheFile) {
    writeFile(file, "as it was");
    const FragileDevice device(breakAt(READ, 3, false, false));
    const Finished run = params(device, {"save", "--force", "--groups", "3"});
    EXPECT_EQ(1, run.exitCode);
    // The second run was read, too, and not proven.
    EXPECT_TRUE(says(run.errors, "10 of 56 parameters were read")) << run.errors;
    EXPECT_TRUE(says(run.errors, "was left as it was; run it again")) << run.errors;
    EXPECT_EQ("as it was", readFile(file));
    const FragileDevice again(breakAt(READ, 3, false, false));
    const Json sum = jsonLines(params(again, {"save", "--force", "--groups", "3", "--json"}).output).at(0);
    EXPECT_EQ(0, sum.at("saved"));
    EXPECT_EQ(10, sum.at("read"));
    EXPECT_TRUE(says(sum.at("fault"), "lost"));
}

// A run that is refused is read item by item; a station that falls silent then has not refused those.
TEST_F(BrokenParams, ASilentStationIsNotTakenForOneWithoutTheParameter) {
    writeFile(file, "as it was");
    const FragileDevice device([](const FragileDevice::Frame& request, int count) {
        Reaction reaction;
        // Five runs are read, the last one is refused, and of its items two are read.
        reaction.exception = request[1] == READ && count > 5 && count <= 5 + ATTEMPTS ? 2 : 0;
        reaction.answer = count <= 5 + ATTEMPTS + 2;
        return reaction;
    });
    const Finished run = params(device, {"save", "--force", "--groups", "3"});
    EXPECT_EQ(1, run.exitCode) << run.output;
    EXPECT_TRUE(says(run.errors, "no reply")) << run.errors;
    EXPECT_EQ("as it was", readFile(file));
}

class SignalledLoad : public BrokenParams, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Numbers, SignalledLoad, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_P(SignalledLoad, SaysWhatIsWrittenUnknownAndNot) {
    const FragileDevice device(silentAfterWrites(2));
    Process load(dx7Words({"params", "load", file, "--accept-altered", "--json", "--tcp", device.address(),
                           "--timeout", "60000"}));
    ASSERT_TRUE(eventually([&] { return device.requests(WRITE) == 3; }));
    load.signal(GetParam());
    const Finished run = load.finish();
    EXPECT_EQ(1, run.exitCode);
    expectSum(jsonLines(run.output), 2, 1);
    EXPECT_TRUE(says(run.errors, "stopped; run it again to go on")) << run.errors;
}

TEST_P(SignalledLoad, NamesTheStationsThatWereNotBegun) {
    const FragileDevice device(silentAfterWrites(2));
    Process load(dx7Words({"params", "load", file, "--accept-altered", "--json", "--stations", "1-3", "--tcp",
                           device.address(), "--timeout", "60000"}));
    ASSERT_TRUE(eventually([&] { return device.requests(WRITE) == 3; }));
    load.signal(GetParam());
    const Finished run = load.finish();
    EXPECT_EQ(1, run.exitCode);
    std::vector<Json> objects = jsonLines(run.output);
    ASSERT_FALSE(objects.empty());
    EXPECT_EQ(Json({{"event", "total"},
                    {"command", "params load"},
                    {"stations", 3},
                    {"complete", 0},
                    {"not_begun", 2}}),
              objects.back());
    objects.pop_back();
    expectSum(objects, 2, 1);
    EXPECT_TRUE(says(run.errors, "stations that were not begun: 2, 3")) << run.errors;
}

}  // namespace

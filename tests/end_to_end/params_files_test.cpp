// Parameter files beside each other: what save keeps, what diff says, what load would do, and for how many
// stations.
#include <regex>

#include "fragile_device.h"
#include "rig.h"

namespace {

class ParamsFiles : public testing::Test {
protected:
    Finished save(const Words& more = {}) {
        Words words{"params", "save", file, "--groups", "3"};
        words.insert(words.end(), more.begin(), more.end());
        return rig.dx7(words);
    }
    long requests() {
        rig.device().type("summary\n");
        return numberBehind(rig.device().readLine(), "FC 3: ");
    }

    Rig rig{Carrier::Tcp, {"--stations", "1,2,3"}};
    std::string file = rig.file("pump.toml");
    std::string other = rig.file("other.toml");
};

TEST_F(ParamsFiles, AFileThatIsThereIsNotOverwritten) {
    writeFile(file, "as it was");
    const Finished run = save();
    EXPECT_EQ(2, run.exitCode);
    EXPECT_TRUE(says(run.errors, "dx7: " + file + " exists already")) << run.errors;
    EXPECT_TRUE(says(run.errors, "--force")) << run.errors;
    EXPECT_EQ("as it was", readFile(file));
    EXPECT_GE(0, requests()) << "nothing is sent";
}

// Neither is one that appears while the parameters are read.
TEST_F(ParamsFiles, AFileThatAppearsMeanwhileIsNotOverwritten) {
    Rig slow(Carrier::PseudoTerminal, {"--baud", "19200"});
    Process run(slow.command({"params", "save", file, "--baud", "19200"}));
    ASSERT_TRUE(eventually([&] {
        slow.device().type("summary\n");
        return numberBehind(slow.device().readLine(), "FC 3: ") > 3;
    }));
    writeFile(file, "as it was");
    const Finished end = run.finish();
    EXPECT_NE(0, end.exitCode);
    EXPECT_EQ("as it was", readFile(file));
}

TEST_F(ParamsFiles, ForceKeepsEveryFileBeforeIt) {
    writeFile(file, "first");
    for (const char* number : {"1", "2"}) {
        const Finished run = save({"--force"});
        EXPECT_EQ(0, run.exitCode) << run.errors;
        EXPECT_TRUE(says(run.output, "; the one before is " + file + ".~" + number + "~\n")) << run.output;
    }
    EXPECT_EQ("first", readFile(file + ".~1~"));
    EXPECT_NE("first", readFile(file + ".~2~"));
    const Json saved = jsonLines(save({"--force", "--json"}).output).at(0);
    EXPECT_EQ(file + ".~3~", saved.at("backup"));
}

TEST_F(ParamsFiles, ADiffSaysByItsExitCodeWhetherAllIsEqual) {
    ASSERT_EQ(0, save().exitCode);
    EXPECT_EQ(0, rig.dx7({"params", "diff", file}).exitCode);
    rig.tell("set F:3.0.25@1=7");
    EXPECT_EQ(1, rig.dx7({"params", "diff", file}).exitCode);
    const Finished none = rig.dx7({"params", "diff", file, "--station", "9", "--timeout", "50"});
    EXPECT_EQ(2, none.exitCode) << "nothing could be compared";
    EXPECT_TRUE(says(none.errors, "0 of 56 parameters were compared")) << none.errors;
}

TEST_F(ParamsFiles, TwoFilesAreComparedWithoutALine) {
    writeFile(file, "station = 1\n[F]\n\"3.0.24\" = 324\n\"3.0.25\" = 325\n");
    writeFile(other, "station = 2\n[F]\n\"3.0.24\" = 324\n\"3.0.25\" = 7\n\"3.0.26\" = 8\n");
    const auto diff = [](const Words& words) {
        Words all{"params", "diff", "--accept-altered"};
        all.insert(all.end(), words.begin(), words.end());
        return runToEnd(dx7Words(all));
    };
    const Finished differ = diff({file, other});
    EXPECT_EQ(1, differ.exitCode) << differ.errors;
    EXPECT_EQ(
        "F:3.0.25@1        325  other 7\n"
        "F:3.0.26@1          -  other 8\n"
        "2 of 3 parameters differ\n",
        differ.output);
    EXPECT_EQ(0, diff({file, file}).exitCode);
    const std::vector<Json> objects = jsonLines(diff({other, file, "--json"}).output);
    ASSERT_EQ(3U, objects.size());
    EXPECT_EQ("file_difference", objects[1].at("event"));
    EXPECT_EQ(8, objects[1].at("file"));
    EXPECT_TRUE(objects[1].at("other").is_null());
    writeFile(other, "station = 1\n[F]\n\"5.0.00\" = 1\n");
    EXPECT_EQ(2, diff({file, other}).exitCode) << "no parameter in common";
    for (const Words& useless : {Words{"--station", "3"}, Words{"--tcp", "127.0.0.1:1"},
                                 Words{"--serial", "/dev/null"}, Words{"--record", rig.file("line.pcap")}}) {
        const Finished run = diff({file, file, useless[0], useless[1]});
        EXPECT_EQ(2, run.exitCode) << useless[0];
        EXPECT_TRUE(says(run.errors, useless[0] + " is of no use between two files")) << run.errors;
    }
    EXPECT_EQ(2, diff({file, rig.file("none.toml")}).exitCode);
}

TEST_F(ParamsFiles, ADryRunShowsWhatALoadWouldWriteAndWritesNothing) {
    writeFile(file, "station = 1\n[F]\n\"3.0.24\" = 324\n\"3.0.25\" = 500\n");
    const Words dry{"params", "load", file, "--accept-altered", "--dry-run"};
    const Finished run = rig.dx7(dry);
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(
        "F:3.0.25@1        325 -> 500\n"
        "station 1: 1 of 2 parameters would be written; nothing was\n",
        run.output);
    EXPECT_EQ("F:3.0.25@1 = 325", rig.tell("get F:3.0.25@1"));
    Words json = dry;
    json.push_back("--json");
    const std::vector<Json> objects = jsonLines(rig.dx7(json).output);
    ASSERT_EQ(2U, objects.size());
    EXPECT_EQ(Json({{"event", "change"}, {"item", "F:3.0.25@1"}, {"device", 325}, {"file", 500}}),
              objects[0]);
    EXPECT_EQ(1, objects[1].at("would_write"));
}

TEST_F(ParamsFiles, AreLoadedIntoSeveralStations) {
    writeFile(file, "station = 1\n[F]\n\"3.0.24\" = 324\n\"3.0.25\" = 500\n");
    const Words load{"params", "load", file, "--accept-altered", "--stations", "2-3", "--timeout", "100"};
    const Finished run = rig.dx7(load);
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(
        "station 2: 2 parameters: 1 were right already, 1 written and verified, 0 not\n"
        "station 3: 2 parameters: 1 were right already, 1 written and verified, 0 not\n"
        "2 of 2 stations have all parameters of the file\n",
        run.output);
    EXPECT_EQ("F:3.0.25@1 = 325", rig.tell("get F:3.0.25@1"));
    EXPECT_EQ("F:3.0.25@3 = 500", rig.tell("get F:3.0.25@3"));
    EXPECT_EQ(
        2,
        rig.dx7({"params", "load", file, "--accept-altered", "--stations", "2", "--station", "3"}).exitCode);
}

TEST_F(ParamsFiles, AStationThatIsSilentDoesNotEndTheOthers) {
    writeFile(file, "station = 1\n[F]\n\"3.0.25\" = 500\n");
    const Words load{"params",  "load",      file, "--accept-altered", "--json", "--stations",
                     "1-2,9,3", "--timeout", "50"};
    const Finished run = rig.dx7(load);
    EXPECT_EQ(1, run.exitCode);
    const Json total = ofEvent(jsonLines(run.output), "total");
    EXPECT_EQ(Json({{"event", "total"},
                    {"command", "params load"},
                    {"stations", 4},
                    {"complete", 3},
                    {"not_begun", 0}}),
              total);
    EXPECT_EQ("F:3.0.25@3 = 500", rig.tell("get F:3.0.25@3"));
}

TEST_F(ParamsFiles, NamesAndUnitsOfTagsAppear) {
    const std::string line = rig.file("line.toml");
    writeFile(line,
              "[[tag]]\nname = \"speed\"\ntype = \"F\"\naddress = \"3.0.25\"\nscale = 0.1\nunit = \"Hz\"\n"
              "[[tag]]\nname = \"mode\"\ntype = \"F\"\naddress = \"3.0.26\"\nenum = { 326 = \"auto\" }\n"
              "[[tag]]\nname = \"energy\"\ntype = \"F\"\naddress = \"3.0.28\"\nformat = \"u32\"\n");
    ASSERT_EQ(0, save({"-c", line}).exitCode);
    const std::string saved = readFile(file);
    EXPECT_TRUE(says(saved, "\"3.0.25\" = 325  # speed: 32.5 Hz\n")) << saved;
    EXPECT_TRUE(says(saved, "\"3.0.26\" = 326  # mode: auto\n")) << saved;
    EXPECT_TRUE(says(saved, "\"3.0.29\" = 329  # energy, word 2 of 2: 329\n")) << saved;
    EXPECT_EQ(0, rig.dx7({"params", "diff", file}).exitCode) << "the comments are part of what was saved";
    rig.tell("set F:3.0.25@2=500");
    const Finished diff = rig.dx7({"params", "diff", file, "-c", line, "--station", "2"});
    EXPECT_TRUE(says(diff.output, "speed (F:3.0.25@2)  file 32.5 Hz (325)  device 50.0 Hz (500)\n"))
        << diff.output;
    const Json object =
        jsonLines(rig.dx7({"params", "diff", file, "-c", line, "--station", "2", "--json"}).output).at(0);
    EXPECT_EQ("speed", object.at("name"));
    EXPECT_EQ("Hz", object.at("unit"));
    EXPECT_EQ("32.5", object.at("file_text"));
    EXPECT_EQ("50.0", object.at("device_text"));
}

}  // namespace

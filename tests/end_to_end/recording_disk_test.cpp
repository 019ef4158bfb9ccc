// A recording is whole on the disk, or the exit code says so; and it overwrites nothing that is in use.
#include <sys/stat.h>

#include <csignal>
#include <regex>
#include <set>

#include "disk.h"

namespace {

namespace fs = std::filesystem;

class RecordingFile : public Disk {
protected:
    const std::string recording = disk("line.pcap");
    const std::string saved = disk("p.toml");
};

class FailingRecording : public FailingDisk {
protected:
    const std::string recording = disk("line.pcap");
};
INSTANTIATE_TEST_SUITE_P(Faults, FailingRecording, diskFaults());

TEST_P(FailingRecording, ARecordingIsWholeOrTheCommandFails) {
    const Words read = rig.command({"read", "AI:0,4", "F:3.0.20", "DI:1", "--record", recording});
    ASSERT_EQ(0, runToEnd(read).exitCode);
    const Words replay = dx7Words({"replay", "--json", recording});
    const std::size_t frames = jsonLines(runToEnd(replay).output).size();
    ASSERT_LE(8U, frames) << "three requests, a status query, and what answers them";
    std::set<std::string> failed;
    for (int step = 1; step < 100; ++step) {
        emptyDisk();
        if (GetParam().oldFile) {
            writeFile(recording, "as it was");
        }
        Finished run;
        const std::string what = runFailing(read, step, GetParam().error, &run);
        SCOPED_TRACE(what + " of step " + std::to_string(step) + ": " + run.errors);
        if (run.exitCode == 0) {
            EXPECT_EQ("", run.errors);
            EXPECT_EQ(frames, jsonLines(runToEnd(replay).output).size());
        } else {
            EXPECT_TRUE(std::regex_match(
                run.errors, std::regex("(dx7: [^\n]* (could not be read|is not certain): [^\n]+\n)*"
                                       "dx7: the recording [^\n]*line\\.pcap [^\n]+\n")));
            EXPECT_FALSE(isRepeated(what));
            if (run.exitCode == 1) {
                EXPECT_EQ(0, runToEnd(replay).exitCode) << "what was recorded ends with a whole frame";
            }
        }
        if (what.empty()) {
            EXPECT_EQ(0, run.exitCode);
            break;
        }
        if (run.exitCode != 0) {
            failed.insert(what);
        }
    }
    if (!isPassing()) {
        for (const char* step : {"create", "write", "fsync", "close", "ftruncate"}) {
            EXPECT_EQ(1U, failed.count(step)) << step << " may fail unseen";
        }
    }
}

TEST_F(RecordingFile, ARecordingMayGoIntoAPipe) {
    ASSERT_EQ(0, ::mkfifo(disk("pipe").c_str(), 0600));
    const std::string taking = "cat " + disk("pipe") + " > " + recording + " & cat=$!; ";
    Words command = rig.command({"read", "AI:0", "--record", disk("pipe")});
    Words words{"/bin/bash", "-c", taking + "\"$@\"; code=$?; wait $cat; exit $code", "bash"};
    words.insert(words.end(), command.begin(), command.end());
    const Finished run = runToEnd(words);
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_EQ(8U, jsonLines(runToEnd(dx7Words({"replay", "--json", recording})).output).size())
        << "a read and three status queries";
}

TEST_F(RecordingFile, ARecordingWhoseReaderLeavesEndsTheCommand) {
    ASSERT_EQ(0, ::mkfifo(disk("pipe").c_str(), 0600));
    const Words monitor =
        rig.command({"monitor", "--lines", "--seconds", "20", "AI:0", "--record", disk("pipe")});
    const Finished run = runToEnd(inShell("head -c 100 " + disk("pipe") + " >/dev/null &", monitor));
    EXPECT_EQ(1, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("cannot be written any more: Broken pipe")) << run.errors;
}

TEST_F(RecordingFile, ARecordingThatCannotBeginSendsNothing) {
    for (const std::string& path : {std::string("/dev/full"), folder, disk("none/line.pcap")}) {
        const Finished run = rig.dx7({"read", "AI:0", "--record", path});
        EXPECT_EQ(2, run.exitCode) << path;
        EXPECT_EQ(0U, run.errors.find("dx7: the recording " + path + " cannot be written: ")) << run.errors;
    }
    expectNothingSent();
}

TEST_F(RecordingFile, ARecordingThatIsRemovedMeanwhileIsNotDone) {
    Process monitor(rig.command({"monitor", "--lines", "--seconds", "20", "AI:0", "--record", recording}));
    ASSERT_NE("", monitor.readLine());
    fs::remove(recording);
    monitor.signal(SIGINT);
    const Finished run = monitor.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("may be incomplete: it was removed meanwhile"))
        << run.errors;
}

TEST_F(RecordingFile, ARecordingNeverOverwritesWhatTheCommandUses) {
    const std::string line = disk("line.toml");
    const std::string driver = disk("driver.so");
    writeFile(line, "[line]\nserial = \"" + rig.file("line") + "\"\n");
    fs::copy_file(driverLibrary, driver);
    ASSERT_EQ(0, rig.dx7({"params", "save", "--force", saved, "--groups", "3"}).exitCode);
    rig.stopDevice();
    rig.startDevice();
    fs::create_symlink("line.toml", disk("link"));
    fs::create_hard_link(line, disk("second"));
    fs::create_hard_link(saved, disk("second.toml"));
    fs::create_symlink("../disk/new.toml", disk("new-link"));
    const std::string before = readFile(line) + readFile(driver) + readFile(saved);
    const std::string spelled = folder + "/./../disk/new.toml";
    const std::vector<Words> commands{
        {"read", "AI:0", "-c", line, "--driver", driverLibrary, "--record", line},
        {"read", "AI:0", "-c", line, "--driver", driverLibrary, "--record", disk("link")},
        {"read", "AI:0", "-c", disk("link"), "--driver", driverLibrary, "--record", disk("second")},
        {"monitor", "AI:0", "-c", line, "--driver", driver, "--record", driver},
        {"scan", "-c", line, "--driver", driverLibrary, "--record", rig.file("line")},
        {"params", "load", saved, "-c", line, "--driver", driverLibrary, "--record", saved},
        {"params", "diff", saved, "-c", line, "--driver", driverLibrary, "--record", disk("second.toml")},
        {"params", "save", "--force", saved, "-c", line, "--driver", driverLibrary, "--record",
         disk("second.toml")},
        {"params", "save", "--force", spelled, "-c", line, "--driver", driverLibrary, "--record",
         disk("new.toml")},
        {"params", "save", "--force", disk("new.toml"), "-c", line, "--driver", driverLibrary, "--record",
         disk("new-link")},
        {"params", "save", "--force", line, "-c", line, "--driver", driverLibrary},
        {"params", "save", "--force", disk("second"), "-c", disk("link"), "--driver", driverLibrary},
        {"params", "save", "--force", driver, "-c", line, "--driver", driver}};
    for (const Words& words : commands) {
        Words command{dx7Program};
        command.insert(command.end(), words.begin(), words.end());
        const Finished run = runToEnd(command);
        EXPECT_EQ(2, run.exitCode) << words.back() << run.errors;
        EXPECT_NE(std::string::npos, run.errors.find(" would overwrite ")) << words.back() << run.errors;
        EXPECT_EQ(before, readFile(line) + readFile(driver) + readFile(saved)) << words.back();
    }
    const Finished byVariable = runToEnd(
        inShell("export DX7_DRIVER=" + driver, {dx7Program, "read", "AI:0", "-c", line, "--record", driver}));
    EXPECT_EQ(2, byVariable.exitCode) << byVariable.errors;
    const Finished printed =
        runToEnd(inShell("exec >" + disk("out"), rig.command({"read", "AI:0", "--record", disk("out")})));
    EXPECT_EQ(2, printed.exitCode) << printed.errors;
    const Finished said =
        runToEnd(inShell("exec 2>" + disk("said"), rig.command({"read", "AI:0", "--record", disk("said")})));
    EXPECT_EQ(2, said.exitCode) << said.output;
    EXPECT_NE(std::string::npos, readFile(disk("said")).find("where error messages go"));
    EXPECT_EQ(before, readFile(line) + readFile(driver) + readFile(saved));
    EXPECT_FALSE(fs::exists(disk("new.toml")));
    expectNothingSent();
}

}  // namespace

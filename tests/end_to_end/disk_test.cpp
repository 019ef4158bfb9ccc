// What is written is on the disk, or the exit code is not 0 and the old file is there: with a disk whose n-th
// step fails (failing_disk.cpp), a limit of the file's size, devices and pipes.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <regex>
#include <set>

#include "rig.h"

namespace {

namespace fs = std::filesystem;

enum { ONE_BYTE_AT_A_TIME = -1, KILLED = -2 };

/// The command in a shell that takes a setting first.
Words inShell(const std::string& setting, const Words& command) {
    Words words{"/bin/bash", "-c", setting + "\nexec \"$@\"", "bash"};
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

std::string withoutFirstAndLastLine(const std::string& text) {
    const std::size_t first = text.find('\n');
    const std::size_t last = text.rfind('\n', text.size() - 2);
    return first == std::string::npos || last <= first ? text : text.substr(first, last - first);
}

class Disk : public testing::Test {
protected:
    Disk() { fs::create_directory(folder); }

    /// What the step did that failed; empty when the run had fewer steps.
    std::string runFailing(const Words& command, int step, int error, Finished* run) const {
        const std::string hit = rig.file("hit");
        fs::remove(hit);
        Words all{"/usr/bin/env", "LD_PRELOAD=" DX7_FAILING_DISK, "DX7_DISK_FOLDER=" + folder,
                  "DX7_DISK_HIT=" + hit, "DX7_DISK_STEP=" + std::to_string(step),
                  "DX7_DISK_ERROR=" + std::to_string(error),
                  // Of a build with that sanitizer, which wants to be the first.
                  "ASAN_OPTIONS=verify_asan_link_order=0"};
        all.insert(all.end(), command.begin(), command.end());
        *run = runToEnd(all);
        return readFile(hit);
    }
    std::string disk(const std::string& name) const { return folder + "/" + name; }
    long filesOnDisk() const {
        return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
    }
    void expectNothingSent() {
        const std::string seen = rig.stopDevice();
        EXPECT_EQ(0, numberBehind(seen, "station 1: ")) << seen;
    }

    Rig rig{Carrier::PseudoTerminal};
    std::string folder = rig.file("disk");
    std::string saved = disk("p.toml");
    std::string recording = disk("line.pcap");
};

struct Fault {
    int error;
    bool oldFile;
};
void PrintTo(const Fault& fault, std::ostream* out) {
    *out << (fault.error < 0 ? "one byte" : std::strerror(fault.error))
         << (fault.oldFile ? ", old file" : "");
}

class FailingDisk : public Disk, public testing::WithParamInterface<Fault> {
protected:
    /// A signal, or few bytes at a time, are no reason to give up what can be repeated.
    static bool isRepeated(const std::string& step) {
        const std::set<std::string> repeated{"create", "open", "write", "fsync", "close", "unlink"};
        return GetParam().error < 0 || (GetParam().error == EINTR && repeated.count(step) > 0);
    }
    static bool isPassing() { return GetParam().error < 0 || GetParam().error == EINTR; }
};
INSTANTIATE_TEST_SUITE_P(Faults, FailingDisk,
                         testing::Values(Fault{ENOSPC, true}, Fault{EIO, true}, Fault{EDQUOT, true},
                                         Fault{EINTR, true}, Fault{ONE_BYTE_AT_A_TIME, true},
                                         Fault{ENOSPC, false}, Fault{EIO, false}));

TEST_P(FailingDisk, ASaveIsWholeOrLeavesTheFileThatWasThere) {
    const Words save = rig.command({"params", "save", "--force", saved, "--groups", "3"});
    ASSERT_EQ(0, runToEnd(save).exitCode);
    const std::string expected = withoutFirstAndLastLine(readFile(saved));
    std::set<std::string> failed;
    for (int step = 1; step < 100; ++step) {
        fs::remove_all(folder);
        fs::create_directory(folder);
        if (GetParam().oldFile) {
            writeFile(saved, "as it was");
        }
        Finished run;
        const std::string what = runFailing(save, step, GetParam().error, &run);
        SCOPED_TRACE(what + " of step " + std::to_string(step) + ": " + run.errors);
        if (run.exitCode == 0) {
            EXPECT_EQ("", run.errors);
            EXPECT_NE(std::string::npos, run.output.find("56 parameters of station 1 saved")) << run.output;
            EXPECT_EQ(expected, withoutFirstAndLastLine(readFile(saved)));
            EXPECT_EQ("0 of 56 parameters differ\n", rig.dx7({"params", "diff", saved}).output);
        } else {
            EXPECT_TRUE(std::regex_match(run.errors, std::regex("dx7: [^\n]*p\\.toml [^\n]+\n")));
            EXPECT_EQ("", run.output);
            EXPECT_EQ(GetParam().oldFile, fs::exists(saved));
            EXPECT_EQ(GetParam().oldFile ? "as it was" : "", readFile(saved));
            EXPECT_FALSE(isRepeated(what));
        }
        const bool kept = GetParam().oldFile && run.exitCode == 0;
        if (what != "unlink") {
            EXPECT_LE(filesOnDisk(), kept ? 2 : 1) << "no other file is left";
        }
        if (kept) {
            EXPECT_EQ("as it was", readFile(saved + ".~1~"));
            EXPECT_NE(std::string::npos, run.output.find("; the one before is " + saved + ".~1~\n"))
                << run.output;
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
        for (const char* step : {"create", "write", "fsync", "close", "rename", "open"}) {
            EXPECT_EQ(1U, failed.count(step)) << step << " may fail unseen";
        }
    }
}

class KilledSave : public Disk, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(, KilledSave, testing::Bool(), [](const auto& given) {
    return given.param ? std::string("WithoutHardLinks") : std::string("WithHardLinks");
});

// At each of its steps; the file is never missing, and is what it was or new with the old one beside it.
TEST_P(KilledSave, LeavesOneWholeFileOrBoth) {
    Words save = rig.command({"params", "save", "--force", saved, "--groups", "3"});
    ASSERT_EQ(0, runToEnd(save).exitCode);
    const std::string expected = withoutFirstAndLastLine(readFile(saved));
    if (GetParam()) {
        save.insert(save.begin(), {"/usr/bin/env", "DX7_DISK_PLAIN=1"});
    }
    int before = 0;
    int after = 0;
    for (int step = 1; step < 100; ++step) {
        fs::remove_all(folder);
        fs::create_directory(folder);
        writeFile(saved, "as it was");
        Finished run;
        const std::string what = runFailing(save, step, KILLED, &run);
        SCOPED_TRACE(what + " of step " + std::to_string(step) + ": " + run.errors);
        ASSERT_TRUE(fs::exists(saved));
        if (readFile(saved) == "as it was") {
            ++before;
        } else {
            ++after;
            EXPECT_EQ(expected, withoutFirstAndLastLine(readFile(saved)));
            EXPECT_EQ("as it was", readFile(saved + ".~1~"));
        }
        EXPECT_EQ(what.empty(), run.exitCode == 0);
        if (what.empty()) {
            break;
        }
    }
    EXPECT_LE(7, before) << "create, write, fsync, close, link, fsync and rename";
    EXPECT_LE(2, after) << "a folder that is synchronised, and the end";
}

TEST_F(Disk, WithoutHardLinksTheOldFileIsCopied) {
    const Words save = rig.command({"params", "save", "--force", disk("new.toml"), "--groups", "3"});
    const Words plain{"/usr/bin/env", "DX7_DISK_PLAIN=1"};
    Words command = plain;
    command.insert(command.end(), save.begin(), save.end());
    for (const char* number : {"", "1", "2"}) {
        const std::string backup = disk("new.toml.~") + number + "~";
        const std::string old = readFile(disk("new.toml"));
        Finished run;
        EXPECT_EQ("", runFailing(command, 0, EIO, &run));
        EXPECT_EQ(0, run.exitCode) << run.errors;
        if (*number != 0) {
            EXPECT_EQ(old, readFile(backup));
        }
    }
    EXPECT_EQ(3, filesOnDisk());
}

TEST_F(Disk, ALaterBackupHasAHigherNumber) {
    writeFile(saved, "third");
    writeFile(saved + ".~2~", "second");
    writeFile(saved + ".~03~", "no number of ours");
    writeFile(saved + ".~9", "nor this");
    const Finished run = rig.dx7({"params", "save", "--force", saved, "--groups", "3"});
    EXPECT_NE(std::string::npos, run.output.find("; the one before is " + saved + ".~3~\n")) << run.output;
    EXPECT_EQ("third", readFile(saved + ".~3~"));
    EXPECT_FALSE(fs::exists(saved + ".~1~"));
}

TEST_P(FailingDisk, ARecordingIsWholeOrTheCommandFails) {
    const Words read = rig.command({"read", "AI:0,4", "F:3.0.20", "DI:1", "--record", recording});
    ASSERT_EQ(0, runToEnd(read).exitCode);
    const Words replay = dx7Words({"replay", "--json", recording});
    const std::size_t frames = jsonLines(runToEnd(replay).output).size();
    ASSERT_LE(8U, frames) << "three requests, a status query, and what answers them";
    std::set<std::string> failed;
    for (int step = 1; step < 100; ++step) {
        fs::remove_all(folder);
        fs::create_directory(folder);
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

TEST_F(Disk, AFullDiskLeavesTheOldBackup) {
    ASSERT_EQ(0, rig.dx7({"params", "save", "--force", saved}).exitCode);
    const std::string before = readFile(saved);
    ASSERT_LT(5120U, before.size());
    for (const char* setting : {"trap '' XFSZ; ulimit -f 5", "ulimit -f 5"}) {
        const Finished run = runToEnd(inShell(setting, rig.command({"params", "save", "--force", saved})));
        EXPECT_EQ(1, run.exitCode) << setting;
        EXPECT_EQ("", run.output);
        EXPECT_EQ("dx7: " + saved + " could not be saved: File too large; the file was left as it was\n",
                  run.errors);
        EXPECT_EQ(before, readFile(saved));
        EXPECT_EQ(1, filesOnDisk());
    }
}

TEST_F(Disk, ASavedFileKeepsItsModeAndItsLinks) {
    writeFile(disk("real.toml"), "old");
    fs::permissions(disk("real.toml"), fs::perms(0640));
    fs::create_symlink("real.toml", saved);
    ASSERT_EQ(0, rig.dx7({"params", "save", "--force", saved, "--groups", "3"}).exitCode);
    EXPECT_TRUE(fs::is_symlink(saved));
    EXPECT_EQ(fs::perms(0640), fs::status(saved).permissions());
    EXPECT_NE(std::string::npos, readFile(disk("real.toml")).find("\"3.0.25\" = 325\n"));
    fs::create_symlink("not/../new.toml", disk("nowhere"));
    fs::create_symlink("new.toml", disk("dangling"));
    EXPECT_EQ(2, rig.dx7({"params", "save", "--force", disk("nowhere"), "--groups", "3"}).exitCode);
    const Finished run =
        runToEnd(inShell("umask 027", rig.command({"params", "save", "--force", disk("dangling")})));
    EXPECT_EQ(0, run.exitCode) << run.errors;
    EXPECT_TRUE(fs::is_symlink(disk("dangling")));
    EXPECT_EQ(fs::perms(0640), fs::status(disk("new.toml")).permissions());
}

TEST_F(Disk, OnlyRegularFilesAreSavedTo) {
    // Root, who might replace the real one, gets one to lose.
    const std::string own = disk("null");
    const bool mayMakeOne = ::mknod(own.c_str(), S_IFCHR | 0600, ::makedev(1, 3)) == 0;
    const std::string null = mayMakeOne ? own : "/dev/null";
    ASSERT_EQ(0, ::mkfifo(disk("pipe").c_str(), 0600));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    disk("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(0, ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    fs::create_symlink(folder, disk("link"));
    fs::create_symlink("circle", disk("circle"));
    for (const std::string& path :
         {folder, folder + "/", disk("pipe"), disk("socket"), disk("link"), disk("circle"), null,
          std::string("/dev/stdout"), disk("none/p.toml"), disk("none/")}) {
        const Finished run = rig.dx7({"params", "save", "--force", path, "--groups", "3"});
        EXPECT_EQ(2, run.exitCode) << path << run.errors;
        EXPECT_EQ(0U, run.errors.find("dx7: " + path + " cannot be written: ")) << path << run.errors;
    }
    ::close(listener);
    EXPECT_TRUE(fs::is_fifo(disk("pipe")));
    EXPECT_TRUE(fs::is_character_file(null));
    EXPECT_EQ(mayMakeOne ? 5 : 4, filesOnDisk());
    expectNothingSent();
}

TEST_F(Disk, ARecordingMayGoIntoAPipe) {
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

TEST_F(Disk, ARecordingWhoseReaderLeavesEndsTheCommand) {
    ASSERT_EQ(0, ::mkfifo(disk("pipe").c_str(), 0600));
    const Words monitor =
        rig.command({"monitor", "--lines", "--seconds", "20", "AI:0", "--record", disk("pipe")});
    const Finished run = runToEnd(inShell("head -c 100 " + disk("pipe") + " >/dev/null &", monitor));
    EXPECT_EQ(1, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("cannot be written any more: Broken pipe")) << run.errors;
}

TEST_F(Disk, ARecordingThatCannotBeginSendsNothing) {
    for (const std::string& path : {std::string("/dev/full"), folder, disk("none/line.pcap")}) {
        const Finished run = rig.dx7({"read", "AI:0", "--record", path});
        EXPECT_EQ(2, run.exitCode) << path;
        EXPECT_EQ(0U, run.errors.find("dx7: the recording " + path + " cannot be written: ")) << run.errors;
    }
    expectNothingSent();
}

TEST_F(Disk, ARecordingThatIsRemovedMeanwhileIsNotDone) {
    Process monitor(rig.command({"monitor", "--lines", "--seconds", "20", "AI:0", "--record", recording}));
    ASSERT_NE("", monitor.readLine());
    fs::remove(recording);
    monitor.signal(SIGINT);
    const Finished run = monitor.finish();
    EXPECT_EQ(1, run.exitCode);
    EXPECT_NE(std::string::npos, run.errors.find("may be incomplete: it was removed meanwhile"))
        << run.errors;
}

TEST_F(Disk, ARecordingNeverOverwritesWhatTheCommandUses) {
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

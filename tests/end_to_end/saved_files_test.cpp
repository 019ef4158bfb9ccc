// A parameter file that dx7 says it has saved is on the disk; else the old file is there.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <regex>
#include <set>

#include "disk.h"

namespace {

namespace fs = std::filesystem;

std::string withoutFirstAndLastLine(const std::string& text) {
    const std::size_t first = text.find('\n');
    const std::size_t last = text.rfind('\n', text.size() - 2);
    return first == std::string::npos || last <= first ? text : text.substr(first, last - first);
}

class SavedFile : public Disk {
protected:
    const std::string saved = disk("p.toml");
};

class FailingSave : public FailingDisk {
protected:
    const std::string saved = disk("p.toml");
};
INSTANTIATE_TEST_SUITE_P(Faults, FailingSave, diskFaults());

TEST_P(FailingSave, ASaveIsWholeOrLeavesTheFileThatWasThere) {
    const Words save = rig.command({"params", "save", "--force", saved, "--groups", "3"});
    ASSERT_EQ(0, runToEnd(save).exitCode);
    const std::string expected = withoutFirstAndLastLine(readFile(saved));
    std::set<std::string> failed;
    for (int step = 1; step < 100; ++step) {
        emptyDisk();
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

class KilledSave : public SavedFile, public testing::WithParamInterface<bool> {};
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
        emptyDisk();
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

TEST_F(SavedFile, WithoutHardLinksTheOldFileIsCopied) {
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

TEST_F(SavedFile, ALaterBackupHasAHigherNumber) {
    writeFile(saved, "third");
    writeFile(saved + ".~2~", "second");
    writeFile(saved + ".~03~", "no number of ours");
    writeFile(saved + ".~9", "nor this");
    const Finished run = rig.dx7({"params", "save", "--force", saved, "--groups", "3"});
    EXPECT_NE(std::string::npos, run.output.find("; the one before is " + saved + ".~3~\n")) << run.output;
    EXPECT_EQ("third", readFile(saved + ".~3~"));
    EXPECT_FALSE(fs::exists(saved + ".~1~"));
}

TEST_F(SavedFile, AFullDiskLeavesTheOldBackup) {
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

TEST_F(SavedFile, ASavedFileKeepsItsModeAndItsLinks) {
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

TEST_F(SavedFile, OnlyRegularFilesAreSavedTo) {
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

}  // namespace

// One master per port, whatever the names it is opened by.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "rig.h"

namespace {

namespace fs = std::filesystem;

class OneMaster : public testing::Test {
protected:
    static Finished read(const std::string& name) {
        return runToEnd(dx7Words({"read", "F:3.0.25", "--serial", name}));
    }
    /// A master that has begun.
    static std::unique_ptr<Process> monitor(const std::string& name) {
        auto process =
            std::make_unique<Process>(dx7Words({"monitor", "--json", "F:3.0.25", "--serial", name}));
        EXPECT_NE(process->readLine(), "");
        return process;
    }

    Rig rig{Carrier::PseudoTerminal};
    std::string link = rig.file("line");
    std::string port = fs::canonical(link).string();
};

TEST_F(OneMaster, HasThePortUnderAllItsNames) {
    const std::string second = rig.file("second");
    fs::create_symlink(link, second);
    const std::string relative = fs::relative(link, fs::current_path()).string();
    const std::string names[] = {port, link, second, relative, "/dev/./pts/" + port.substr(9)};
    for (const std::string& held : names) {
        const auto master = monitor(held);
        for (const std::string& name : names) {
            const Finished run = read(name);
            EXPECT_EQ(run.exitCode, 2) << held << " and " << name;
            EXPECT_EQ(run.output, "");
            EXPECT_NE(run.errors.find("it is in use by dx7 (process " + std::to_string(master->id()) +
                                      "); end it first\n"),
                      std::string::npos)
                << run.errors;
        }
        master->signal(SIGINT);
        EXPECT_EQ(master->finish().exitCode, 0);
    }
    EXPECT_EQ(read(link).exitCode, 0);
}

TEST_F(OneMaster, IsWhereAWriteCanBeTyped) {
    const auto master = monitor(port);
    const Finished run = rig.dx7({"write", "F:3.0.25=5"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.errors.find("it is in use by dx7 (process " + std::to_string(master->id()) +
                              "); where that is dx7 monitor with its live table, the key w writes there"),
              std::string::npos)
        << run.errors;
}

// A simulated device has no table.
TEST_F(OneMaster, ThatIsAnotherProgramHasNoKeyToWrite) {
    const std::string second = rig.file("second");
    fs::create_symlink(port, second);
    Process device({deviceProgram, "--serial", second});
    ASSERT_NE(device.readLine(), "");
    const Finished run = rig.dx7({"write", "F:3.0.25=5"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.errors.find("it is in use by dx7-device (process "), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find("end it first"), std::string::npos) << run.errors;
}

TEST_F(OneMaster, LeavesThePortFreeWhenItIsKilled) {
    const auto master = monitor(port);
    master->signal(SIGKILL);
    master->finish();
    EXPECT_TRUE(eventually([&] { return read(link).exitCode == 0; }));
}

// The folder of lock files is sticky: what a user leaves there, another one cannot remove.
TEST_F(OneMaster, OfAnotherUserThatWasKilledIsNamed) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "to be another user takes root";
    }
    ASSERT_EQ(::chmod(port.c_str(), 0666), 0);
    const auto asOther = [&] {
        Words words{"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        for (const std::string& word : dx7Words({"read", "F:3.0.25", "--serial", port})) {
            words.push_back(word);
        }
        return runToEnd(words);
    };
    const Finished free = asOther();
    if (free.exitCode != 0) {
        GTEST_SKIP() << "another user cannot run dx7 here: " << free.errors;
    }
    const auto master = monitor(port);
    const std::string process = std::to_string(master->id());
    master->signal(SIGKILL);
    master->finish();
    const Finished run = asOther();
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(std::regex_search(
        run.errors,
        std::regex("the lock file /[a-z/]+/LCK\\.\\.pts_[0-9]+ of a program that has ended \\(process " +
                   process + "\\) is left and cannot be removed: remove it as root or as its owner\n")))
        << run.errors;
    EXPECT_EQ(read(port).exitCode, 0) << "its owner";
    EXPECT_EQ(asOther().exitCode, 0);
}

// A lock file as programs with QSerialPort write it.
TEST_F(OneMaster, RespectsTheLockFileOfAProgramThatLives) {
    const std::string lockFile = "/var/lock/LCK..pts_" + port.substr(9);
    char host[256] = "";
    ::gethostname(host, sizeof host - 1);
    std::ofstream(lockFile) << ::getpid() << "\nend_to_end_tests\n" << host << "\n";
    if (readFile(lockFile).empty()) {
        GTEST_SKIP() << lockFile << " cannot be written here";
    }
    const Finished run = read(link);
    EXPECT_EQ(::unlink(lockFile.c_str()), 0);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(std::regex_search(
        run.errors, std::regex("it is in use by [^\n]+ \\(process " + std::to_string(::getpid()) +
                               "\\), as the lock file " + lockFile + " says\n")))
        << run.errors;
    EXPECT_EQ(read(link).exitCode, 0);
}

TEST_F(OneMaster, OfAPortThatIsMissingSaysSoToAll) {
    std::vector<std::unique_ptr<Process>> all;
    const std::string missing = rig.file("missing");
    for (int i = 0; i < 12; ++i) {
        all.push_back(std::make_unique<Process>(dx7Words({"read", "F:3.0.25", "--serial", missing})));
    }
    for (const auto& one : all) {
        const Finished run = one->finish();
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_NE(run.errors.find("could not be opened: No such file or directory\n"), std::string::npos)
            << run.errors;
    }
}

TEST_F(OneMaster, IsNotTheDeviceToo) {
    const std::string second = rig.file("second");
    fs::create_symlink(port, second);
    const auto master = monitor(port);
    const Finished run = runToEnd({deviceProgram, "--serial", second});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.errors.find("it is in use by dx7 (process " + std::to_string(master->id()) + ")\n"),
              std::string::npos)
        << run.errors;
}

TEST_F(OneMaster, OfAnotherPortIsNotInTheWay) {
    const Rig other{Carrier::PseudoTerminal};
    const auto master = monitor(port);
    EXPECT_EQ(other.dx7({"read", "F:3.0.25"}).exitCode, 0);
}

}  // namespace

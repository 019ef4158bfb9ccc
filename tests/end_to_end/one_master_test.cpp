// One master per port, whatever the names it is opened by.
#include <signal.h>

#include <filesystem>
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
            EXPECT_NE(run.errors.find("it is in use by dx7 (process " + std::to_string(master->id()) + ")\n"),
                      std::string::npos)
                << run.errors;
        }
        master->signal(SIGINT);
        EXPECT_EQ(master->finish().exitCode, 0);
    }
    EXPECT_EQ(read(link).exitCode, 0);
}

TEST_F(OneMaster, LeavesThePortFreeWhenItIsKilled) {
    const auto master = monitor(port);
    master->signal(SIGKILL);
    master->finish();
    EXPECT_TRUE(eventually([&] { return read(link).exitCode == 0; }));
}

TEST_F(OneMaster, IsNotTheDeviceToo) {
    const std::string second = rig.file("second");
    fs::create_symlink(port, second);
    const auto master = monitor(port);
    const Finished run = runToEnd({DX7_DEVICE_PROGRAM, "--serial", second});
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

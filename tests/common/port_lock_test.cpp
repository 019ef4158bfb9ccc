// One lock per device number, whatever the names that lead to it.
#include "common/port_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

#include <QTemporaryDir>

using namespace dx7common;

namespace {

// A pseudo-terminal.
struct Pty {
    int master = -1;
    int slave = -1;
    std::string path;

    Pty() {
        char name[64] = {};
        EXPECT_EQ(openpty(&master, &slave, name, nullptr, nullptr), 0);
        path = name;
    }
    ~Pty() {
        ::close(master);
        ::close(slave);
    }
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;
};

class PortLockTest : public testing::Test {
protected:
    std::string file(const char* name) const {
        return folder.filePath(QString::fromLatin1(name)).toStdString();
    }
    static bool taken(PortLock& lock, const std::string& path) {
        std::string why;
        const bool got = lock.take(path, &why);
        EXPECT_EQ(got, why.empty()) << why;
        return got;
    }

    QTemporaryDir folder;
    Pty pty;
    std::string why;
};

TEST_F(PortLockTest, IsHeldByOneAtATime) {
    PortLock first;
    PortLock second;
    EXPECT_TRUE(taken(first, pty.path));
    EXPECT_FALSE(second.take(pty.path, &why));
    EXPECT_NE(why.find(" (process " + std::to_string(getpid()) + ")"), std::string::npos) << why;
    EXPECT_EQ(why.find("it is in use by common_tests"), 0U) << why;
    EXPECT_FALSE(taken(second, pty.path)) << "asking does not change anything";
    EXPECT_TRUE(taken(first, pty.path)) << "taking it again is no conflict";
    first.release();
    EXPECT_TRUE(taken(second, pty.path));
}

TEST_F(PortLockTest, EndsWithItsObject) {
    auto first = std::make_unique<PortLock>();
    PortLock second;
    EXPECT_TRUE(taken(*first, pty.path));
    first.reset();
    EXPECT_TRUE(taken(second, pty.path));
}

TEST_F(PortLockTest, EndsWithAProgramThatIsKilled) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        PortLock lock;
        std::string ignored;
        const char answer = lock.take(pty.path, &ignored) ? 'y' : 'n';
        if (::write(ready[1], &answer, 1) == 1) {
            ::pause();
        }
        ::_exit(0);
    }
    char answer = 0;
    ASSERT_EQ(::read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    PortLock lock;
    EXPECT_FALSE(lock.take(pty.path, &why));
    EXPECT_NE(why.find("(process " + std::to_string(child) + ")"), std::string::npos) << why;
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(taken(lock, pty.path));
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(PortLockTest, IsFoundThroughLinks) {
    std::filesystem::create_symlink(pty.path, file("one"));
    std::filesystem::create_symlink(file("one"), file("two"));
    PortLock first;
    PortLock second;
    EXPECT_TRUE(taken(first, file("two")));
    for (const std::string& name :
         {pty.path, file("one"), file("two"), "/dev/./pts/../" + pty.path.substr(5)}) {
        EXPECT_FALSE(taken(second, name)) << name;
    }
}

TEST_F(PortLockTest, IsFoundThroughAnotherNode) {
    // Majors from 240 are for local use; nothing need be there to be locked.
    const auto number = [](unsigned offset) {
        return makedev(240, (static_cast<unsigned>(getpid()) * 2 + offset) % (1U << 20U));
    };
    const struct {
        const char* name;
        dev_t device;
    } nodes[] = {{"a", number(0)}, {"b", number(0)}, {"other", number(1)}};
    for (const auto& node : nodes) {
        if (::mknod(file(node.name).c_str(), S_IFCHR | 0600, node.device) != 0) {
            GTEST_SKIP() << "this user may not make device nodes";
        }
    }
    ASSERT_EQ(::link(file("a").c_str(), file("hard").c_str()), 0);
    PortLock first;
    PortLock second;
    PortLock other;
    EXPECT_TRUE(taken(first, file("a")));
    EXPECT_FALSE(taken(second, file("b")));
    EXPECT_FALSE(taken(second, file("hard")));
    EXPECT_TRUE(taken(other, file("other")));
}

TEST_F(PortLockTest, LeavesOtherPortsAlone) {
    const Pty neighbour;
    PortLock first;
    PortLock second;
    EXPECT_TRUE(taken(first, pty.path));
    EXPECT_TRUE(taken(second, neighbour.path));
}

TEST_F(PortLockTest, LetsPassWhatIsNoDevice) {
    PortLock first;
    PortLock second;
    for (const std::string& name :
         {std::string("/no/such/port"), folder.path().toStdString(), std::string()}) {
        EXPECT_TRUE(taken(first, name));
        EXPECT_TRUE(taken(second, name));
    }
}

TEST_F(PortLockTest, ConfirmsTheOpenedPort) {
    const Pty other;
    PortLock lock;
    EXPECT_TRUE(taken(lock, pty.path));
    EXPECT_TRUE(lock.confirm(pty.slave, &why)) << why;
    EXPECT_FALSE(lock.confirm(other.slave, &why));
    EXPECT_EQ(why, "another device has taken its name");
}

TEST_F(PortLockTest, HonoursAndShowsALockOfThePortItself) {
    PortLock lock;
    EXPECT_TRUE(taken(lock, pty.path));
    const int elsewhere = ::open(pty.path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(::flock(elsewhere, LOCK_EX | LOCK_NB), 0);
    EXPECT_FALSE(lock.confirm(pty.slave, &why));
    EXPECT_EQ(why, "another program has locked it");
    ASSERT_EQ(::flock(elsewhere, LOCK_UN), 0);
    EXPECT_TRUE(lock.confirm(pty.slave, &why));
    EXPECT_NE(::flock(elsewhere, LOCK_EX | LOCK_NB), 0) << "others see it";
    ::close(elsewhere);
}

}  // namespace

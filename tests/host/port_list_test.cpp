// Ports in a tree of the system's files that the test makes.
#include "host/line/port_list.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cerrno>
#include <csignal>

#include "common/file_descriptor.h"
#include "host/error.h"
#include "host/line/serial_port.h"
#include "line_ends.h"

using namespace dx7;

namespace {

class PortListTest : public testing::Test {
protected:
    PortListTest() {
        for (const char* name :
             {"dev/serial/by-id", "tty", "proc", "usb", "drivers/serial8250", "bus/serial-base"}) {
            QDir(root()).mkpath(QString::fromLatin1(name));
        }
    }
    QString root() const { return folder.path(); }
    QString path(const QString& name) const { return root() + QLatin1Char('/') + name; }
    void write(const QString& name, const QByteArray& content) const {
        QDir(root()).mkpath(QFileInfo(name).path());
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << name.toStdString();
        file.write(content);
    }
    void link(const QString& target, const QString& name) const {
        QDir(root()).mkpath(QFileInfo(name).path());
        ASSERT_TRUE(QFile::link(path(target), path(name))) << name.toStdString();
    }
    // A port behind a USB adapter of this name.
    void plug(const QString& port, const QByteArray& maker, const QByteArray& product) const {
        write(QStringLiteral("dev/") + port, {});
        write(QStringLiteral("usb/1-") + port + QStringLiteral("/manufacturer"), maker + '\n');
        write(QStringLiteral("usb/1-") + port + QStringLiteral("/product"), product + '\n');
        const QString device = QStringLiteral("usb/1-%1/1-%1:1.0/%1").arg(port);
        write(device + QStringLiteral("/latency_timer"), "16\n");
        link(device, QStringLiteral("tty/%1/device").arg(port));
    }
    QVector<PortInfo> ports() const {
        PortPlaces places;
        places.devices = path(QStringLiteral("dev"));
        places.terminals = path(QStringLiteral("tty"));
        places.processes = path(QStringLiteral("proc"));
        return serialPorts(places);
    }

    const QTemporaryDir folder;
};

TEST_F(PortListTest, AComputerWithoutPortsHasNone) {
    EXPECT_TRUE(ports().isEmpty());
}

TEST_F(PortListTest, AnAdapterHasItsNamesAndItsLatency) {
    plug(QStringLiteral("ttyUSB0"), "FTDI", "FT232R USB UART");
    link(QStringLiteral("dev/ttyUSB0"), QStringLiteral("dev/serial/by-id/usb-FTDI_FT232R-if00-port0"));
    const QVector<PortInfo> found = ports();
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found[0].path, path(QStringLiteral("dev/ttyUSB0")));
    EXPECT_EQ(found[0].adapter, QStringLiteral("FTDI FT232R USB UART"));
    EXPECT_EQ(found[0].byId, path(QStringLiteral("dev/serial/by-id/usb-FTDI_FT232R-if00-port0")));
    EXPECT_EQ(found[0].latencyMs, 16);
    EXPECT_TRUE(found[0].access.permitted);
    EXPECT_TRUE(found[0].holders.isEmpty());
}

TEST_F(PortListTest, TheOrderIsThatOfTheNumbers) {
    for (const char* name : {"ttyUSB10", "ttyUSB2", "ttyACM0"}) {
        plug(QString::fromLatin1(name), "A", "B");
    }
    QStringList names;
    for (const PortInfo& port : ports()) {
        names += QFileInfo(port.path).fileName();
    }
    EXPECT_EQ(names.join(QLatin1Char(' ')), QStringLiteral("ttyACM0 ttyUSB2 ttyUSB10"));
}

TEST_F(PortListTest, TerminalsWithoutHardwareAreNoPorts) {
    write(QStringLiteral("tty/tty1/dev"), "4:1\n");
    write(QStringLiteral("dev/tty1"), {});
    plug(QStringLiteral("ttyS1"), "", "");
    write(QStringLiteral("tty/ttyS1/type"), "0\n");
    EXPECT_TRUE(ports().isEmpty());
}

TEST_F(PortListTest, APortOfTheBoardHasTheNameOfItsDriver) {
    write(QStringLiteral("dev/ttyS0"), {});
    write(QStringLiteral("board/00:00/00:00:0/00:00:0.0/uevent"), {});
    link(QStringLiteral("board/00:00/00:00:0/00:00:0.0"), QStringLiteral("tty/ttyS0/device"));
    QDir(root()).mkpath(QStringLiteral("drivers/port"));
    for (const char* inner : {"board/00:00/00:00:0/00:00:0.0", "board/00:00/00:00:0"}) {
        link(QStringLiteral("bus/serial-base"), QString::fromLatin1(inner) + QStringLiteral("/subsystem"));
        link(QStringLiteral("drivers/port"), QString::fromLatin1(inner) + QStringLiteral("/driver"));
    }
    link(QStringLiteral("drivers/serial8250"), QStringLiteral("board/00:00/driver"));
    ASSERT_EQ(ports().size(), 1);
    EXPECT_EQ(ports()[0].adapter, QStringLiteral("serial8250"));
    EXPECT_FALSE(ports()[0].latencyMs);
}

TEST_F(PortListTest, WhoHasAPortOpenIsNamed) {
    plug(QStringLiteral("ttyUSB0"), "A", "B");
    // This test's parent lives as long as the test, and has a name.
    const QString process = QString::number(::getppid());
    link(QStringLiteral("dev/ttyUSB0"), QStringLiteral("proc/%1/fd/3").arg(process));
    link(QStringLiteral("dev/serial"), QStringLiteral("proc/1/fd/3"));
    link(QStringLiteral("dev/ttyUSB0"), QStringLiteral("proc/self/fd/3"));
    const QVector<PortInfo> found = ports();
    ASSERT_EQ(found.size(), 1);
    ASSERT_EQ(found[0].holders.size(), 1);
    EXPECT_EQ(found[0].holders[0].process, ::getppid());
    EXPECT_FALSE(found[0].holders[0].program.isEmpty());
    EXPECT_EQ(holdersText({{4711, QStringLiteral("minicom")}, {12, {}}}),
              QStringLiteral("minicom (process 4711), a program (process 12)"));
}

// The system's own tree: this process is not named to itself.
TEST(PortAccess, AProgramDoesNotHoldItsPortAgainstItself) {
    const PseudoTerminal terminal;
    const QFile own(QString::fromStdString(terminal.path));
    OpenedPort opened = openSerialPort(terminal.settings());
    ASSERT_TRUE(opened.port) << opened.failure.toStdString();
    EXPECT_TRUE(holdersOf(own.fileName()).isEmpty());
}

TEST(PortAccess, APortInExclusiveUseNamesItsHolder) {
    const PseudoTerminal terminal;
    const QString path = QString::fromStdString(terminal.path);
    EXPECT_TRUE(refusedPortText(path, EBUSY).startsWith(systemReason(EBUSY)));
    EXPECT_TRUE(refusedPortText(path, EBUSY).contains(QStringLiteral("names it to root")));
    const pid_t child = ::fork();
    if (child == 0) {
        const dx7common::FileDescriptor held(terminal.path.c_str(), O_RDWR | O_NOCTTY);
        ::pause();
        ::_exit(0);
    }
    QString text;
    for (int i = 0; i < 500 && !text.contains(QStringLiteral("it is held by")); ++i) {
        ::usleep(10000);
        text = refusedPortText(path, EBUSY);
    }
    EXPECT_EQ(text,
              systemReason(EBUSY) + QStringLiteral("; it is held by host_tests (process %1)").arg(child));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

// As terminal programs do that know flock() alone.
TEST(PortAccess, AProgramThatHasLockedThePortIsNamed) {
    const PseudoTerminal terminal;
    const pid_t child = ::fork();
    if (child == 0) {
        const dx7common::FileDescriptor held(terminal.path.c_str(), O_RDWR | O_NOCTTY);
        ::flock(held.number(), LOCK_EX);
        ::pause();
        ::_exit(0);
    }
    OpenedPort opened;
    do {
        ::usleep(10000);
        opened = openSerialPort(terminal.settings());
    } while (opened.port);
    EXPECT_EQ(
        opened.failure.toStdString(),
        "another program has locked it; it is held by host_tests (process " + std::to_string(child) + ")");
    EXPECT_TRUE(opened.inUse);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

TEST(PortAccess, WhoMayUseAPortIsSaid) {
    EXPECT_EQ(permissionText({false, QStringLiteral("dialout"), true}),
              QStringLiteral("members of the group \"dialout\" may use it: sudo usermod -aG dialout $USER, "
                             "then log in again"));
    EXPECT_EQ(permissionText({false, QStringLiteral("tty"), false}),
              QStringLiteral("its permissions let neither this user nor a group of users use it"));
}

// As another user than the port's, or as its owner without a right.
TEST(PortAccess, OpeningWithoutPermissionNamesTheGroup) {
    const PseudoTerminal terminal;
    const uid_t before = ::geteuid();
    constexpr gid_t DIALOUT = 20;
    ASSERT_EQ(before == 0 ? ::chown(terminal.path.c_str(), 0, DIALOUT) : 0, 0);
    ASSERT_EQ(::chmod(terminal.path.c_str(), before == 0 ? 0660 : 0060), 0);
    ASSERT_EQ(before == 0 ? ::seteuid(65534) : 0, 0);
    const OpenedPort opened = openSerialPort(terminal.settings());
    const PortAccess access = accessOf(QString::fromStdString(terminal.path));
    ASSERT_EQ(::seteuid(before), 0);
    EXPECT_FALSE(opened.port);
    EXPECT_FALSE(opened.inUse);
    EXPECT_TRUE(access.groupMay);
    EXPECT_EQ(opened.failure, systemReason(EACCES) + QStringLiteral("; ") + permissionText(access));
    EXPECT_TRUE(opened.failure.contains(access.group)) << opened.failure.toStdString();
}

}  // namespace

// Over pseudo-terminals and over ports whose opening and closing take as long as the test says.
#include "host/line/serial_line.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <QDir>
#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>

#include "host/line/clock.h"
#include "line_ends.h"

using namespace dx7;

namespace {

const qint64 PATIENCE_US = 20000000;

// Looks again and again until the attempt has ended.
Line::Opening reopened(Line& line) {
    SystemClock clock;
    Line::Opening opening = line.reopen();
    for (const qint64 endUs = clock.nowUs() + PATIENCE_US;
         opening == Line::Opening::UnderWay && clock.nowUs() < endUs; opening = line.reopen()) {
        clock.sleepUntilUs(clock.nowUs() + 1000);
    }
    return opening;
}

class SerialLineTest : public testing::Test {
protected:
    // Those that the helper threads may still have are over with the test.
    ~SerialLineTest() override { EXPECT_TRUE(awaitPortTasks(10000)); }

    bool opens(Line& line) {
        const bool opened = line.open();
        why = line.failure();
        return opened;
    }
    // Takes what arrives until it is so much.
    static QByteArray received(Line& line, int count) {
        SystemClock clock;
        QByteArray bytes;
        for (const qint64 endUs = clock.nowUs() + PATIENCE_US;
             bytes.size() < count && clock.nowUs() < endUs;) {
            if (!line.receive(&bytes)) {
                break;
            }
        }
        return bytes;
    }

    SystemClock clock;
    QString why;
};

TEST_F(SerialLineTest, OpensAsideAndCarriesBytes) {
    const PseudoTerminal terminal;
    SerialLine line(terminal.settings());
    EXPECT_EQ(line.descriptor(), -1);
    EXPECT_FALSE(line.send("abc")) << "not before it is open";
    EXPECT_EQ(reopened(line), Line::Opening::Open);
    EXPECT_TRUE(line.isOpen());
    EXPECT_GE(line.descriptor(), 0);
    QByteArray bytes;
    EXPECT_TRUE(line.receive(&bytes)) << "nothing is no failure";
    EXPECT_TRUE(bytes.isEmpty());
    EXPECT_TRUE(line.send("abc"));
    EXPECT_FALSE(line.sending());
    EXPECT_TRUE(line.tookBytes());
    EXPECT_EQ(terminal.device.read(), QByteArray("abc"));
    terminal.device.write("defg");
    EXPECT_EQ(received(line, 4), QByteArray("defg"));
}

TEST_F(SerialLineTest, KnowsTheTimeOfACharacter) {
    const PseudoTerminal terminal;
    EXPECT_EQ(SerialLine(terminal.settings()).characterUs(), 1042);
}

TEST_F(SerialLineTest, NoticesTheEndOfThePort) {
    PseudoTerminal terminal;
    SerialLine line(terminal.settings());
    ASSERT_TRUE(opens(line)) << why.toStdString();
    terminal.device.write("abc");
    EXPECT_EQ(received(line, 3), QByteArray("abc"));
    terminal.device.close();
    EXPECT_EQ(received(line, 1), QByteArray());
    EXPECT_FALSE(line.isOpen());
    EXPECT_EQ(line.failure(), QStringLiteral("it was closed at the other end"));
    QByteArray bytes;
    EXPECT_FALSE(line.receive(&bytes));
}

TEST_F(SerialLineTest, LosesAPortThatIsGoneWhenItSends) {
    PseudoTerminal terminal;
    SerialLine line(terminal.settings());
    ASSERT_TRUE(opens(line)) << why.toStdString();
    terminal.device.close();
    EXPECT_FALSE(line.send("abc"));
    EXPECT_FALSE(line.isOpen());
    EXPECT_FALSE(line.tookBytes());
    EXPECT_EQ(line.failure(),
              QStringLiteral("Input/output error (it was unplugged, or closed at the other end)"));
}

TEST_F(SerialLineTest, SetsThePortUpAndBack) {
    const PseudoTerminal terminal;
    const End look(::open(terminal.path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios before{};
    ASSERT_EQ(::tcgetattr(look.number(), &before), 0);
    before.c_lflag |= ICANON | ECHO;
    before.c_iflag |= IXON | ICRNL;
    before.c_oflag |= OPOST;
    ::cfsetspeed(&before, B300);
    ASSERT_EQ(::tcsetattr(look.number(), TCSANOW, &before), 0);
    LineSettings settings = terminal.settings();
    settings.stopBits = 2;
    settings.baud = 19200;
    SerialLine line(settings);
    ASSERT_TRUE(opens(line)) << why.toStdString();
    termios during{};
    ASSERT_EQ(::tcgetattr(look.number(), &during), 0);
    EXPECT_EQ(during.c_lflag & (ICANON | ECHO | ISIG), 0U);
    EXPECT_EQ(during.c_iflag & (IXON | IXOFF | ICRNL | ISTRIP), 0U);
    EXPECT_EQ(during.c_oflag & OPOST, 0U);
    EXPECT_EQ(during.c_cflag & (CSTOPB | CLOCAL | CREAD), tcflag_t(CSTOPB | CLOCAL | CREAD));
    EXPECT_EQ(::cfgetospeed(&during), speed_t(B19200));
    EXPECT_EQ(during.c_cc[VMIN], 1);
    EXPECT_EQ(during.c_cc[VTIME], 0);
    line.close();
    EXPECT_TRUE(awaitPortTasks(10000));
    termios after{};
    ASSERT_EQ(::tcgetattr(look.number(), &after), 0);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(::cfgetospeed(&after), speed_t(B300));
}

TEST_F(SerialLineTest, TakesABaudRateWithoutAName) {
    const PseudoTerminal terminal;
    LineSettings settings = terminal.settings();
    settings.baud = 12345;
    SerialLine line(settings);
    EXPECT_TRUE(opens(line)) << why.toStdString();
}

TEST_F(SerialLineTest, HasThePortForItself) {
    const PseudoTerminal terminal;
    SerialLine first(terminal.settings());
    SerialLine second(terminal.settings());
    ASSERT_TRUE(opens(first)) << why.toStdString();
    EXPECT_FALSE(opens(second));
    EXPECT_EQ(why, QStringLiteral("it is in use by host_tests (process %1)").arg(::getpid()));
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(opens(second));
    }
    EXPECT_EQ(why, QStringLiteral("it is in use by host_tests (process %1)").arg(::getpid())) << "once more";
    EXPECT_EQ(reopened(second), Line::Opening::Failed);
    EXPECT_EQ(second.failure(), why);
    first.close();
    EXPECT_TRUE(awaitPortTasks(10000));
    EXPECT_TRUE(opens(second)) << why.toStdString();
    EXPECT_TRUE(opens(second)) << "once more";
}

TEST_F(SerialLineTest, ABareNameThatDevDoesNotHaveIsOfThePresentFolder) {
    const PseudoTerminal terminal;
    const QTemporaryDir folder;
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QFile::link(QString::fromStdString(terminal.path), folder.filePath(QStringLiteral("panel"))));
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    LineSettings settings = terminal.settings();
    settings.serialPort = QStringLiteral("panel");
    EXPECT_TRUE(opens(*std::make_unique<SerialLine>(settings))) << why.toStdString();
    QDir::setCurrent(before);
    settings.serialPort = QStringLiteral("null");
    EXPECT_FALSE(opens(*std::make_unique<SerialLine>(settings)));
    EXPECT_EQ(why, QStringLiteral("Inappropriate ioctl for device")) << "/dev/null";
}

TEST_F(SerialLineTest, SaysWhyItDidNotOpen) {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.serialPort = QStringLiteral("/no/such/port");
    EXPECT_FALSE(opens(*std::make_unique<SerialLine>(settings)));
    EXPECT_EQ(why, QStringLiteral("No such file or directory"));
    settings.serialPort = QStringLiteral("/dev/null");
    EXPECT_FALSE(opens(*std::make_unique<SerialLine>(settings)));
    EXPECT_EQ(why, QStringLiteral("Inappropriate ioctl for device"));
    const PseudoTerminal terminal;
    settings = terminal.settings();
    settings.rs485 = true;
    EXPECT_FALSE(opens(*std::make_unique<SerialLine>(settings)));
    EXPECT_TRUE(why.startsWith(QStringLiteral("the kernel has no RS-485 mode for it (")))
        << why.toStdString();
}

// A line whose port is a socket, and what its helper threads wait at.
class HangingLine : public SerialLineTest {
protected:
    ~HangingLine() override {
        opening.open();
        closing.open();
        EXPECT_TRUE(awaitPortTasks(10000));
    }
    SerialLine hangingLine() {
        return SerialLine(LineSettings(), [this](const LineSettings&) {
            ++attempts;
            opening.pass();
            int both[2];
            EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, both), 0);
            ::close(both[1]);
            OpenedPort opened;
            opened.port = std::make_unique<FakePort>(both[0], closing);
            return opened;
        });
    }
    static void awaitVisitor(const Gate& gate) {
        SystemClock time;
        for (const qint64 endUs = time.nowUs() + PATIENCE_US; gate.visitors() == 0 && time.nowUs() < endUs;) {
            time.sleepUntilUs(time.nowUs() + 1000);
        }
        EXPECT_EQ(gate.visitors(), 1);
    }

    Gate opening;
    Gate closing;
    std::atomic<int> attempts{0};
};

TEST_F(HangingLine, WhoseClosingHangsDelaysNothing) {
    opening.open();
    const qint64 startUs = clock.nowUs();
    {
        SerialLine line = hangingLine();
        ASSERT_TRUE(opens(line)) << why.toStdString();
        line.close();
        EXPECT_FALSE(line.isOpen());
        EXPECT_EQ(line.descriptor(), -1);
        awaitVisitor(closing);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(line.reopen(), Line::Opening::UnderWay) << "the port is not free yet";
        }
        line.close();
        EXPECT_EQ(attempts, 1);
        EXPECT_FALSE(awaitPortTasks(1));
        closing.open();
        EXPECT_EQ(reopened(line), Line::Opening::Open);
        EXPECT_EQ(attempts, 2);
    }
    EXPECT_LT(clock.nowUs() - startUs, PATIENCE_US / 2);
}

TEST_F(HangingLine, WhoseOpeningHangsDelaysNothing) {
    SerialLine line = hangingLine();
    EXPECT_EQ(line.reopen(), Line::Opening::UnderWay);
    awaitVisitor(opening);
    EXPECT_EQ(line.reopen(), Line::Opening::UnderWay);
    line.close();
    EXPECT_EQ(line.reopen(), Line::Opening::UnderWay);
    EXPECT_EQ(attempts, 1) << "one thread at a time";
    opening.open();
    awaitVisitor(closing);
    EXPECT_EQ(line.reopen(), Line::Opening::UnderWay) << "what was dropped is closed first";
    closing.open();
    EXPECT_EQ(reopened(line), Line::Opening::Open);
    EXPECT_EQ(attempts, 2);
}

TEST_F(HangingLine, EndsAloneWhenItsOpeningHangs) {
    {
        SerialLine line = hangingLine();
        line.reopen();
        awaitVisitor(opening);
    }
    EXPECT_EQ(closing.visitors(), 0);
    opening.open();
    closing.open();
    EXPECT_TRUE(awaitPortTasks(10000));
    EXPECT_EQ(closing.visitors(), 1) << "the port was closed";
}

// A port that says when it is closed, after a while.
class SlowPort : public OpenPort {
public:
    ~SlowPort() override {
        SystemClock clock;
        clock.sleepUntilUs(clock.nowUs() + 100000);
        std::fputs("closed\n", stderr);
    }
    int descriptor() const override { return 0; }
};

TEST_F(HangingLine, IsWaitedForAtTheEndOfTheProgram) {
    const auto run = [this] {
        SerialLine line(LineSettings(), [](const LineSettings&) {
            OpenedPort opened;
            opened.port = std::make_unique<SlowPort>();
            return opened;
        });
        opens(line);
        line.close();
        std::exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "closed");
}

TEST_F(HangingLine, DoesNotKeepTheProgramFromItsEnd) {
    const auto run = [this] {
        opening.open();
        SerialLine line = hangingLine();
        opens(line);
        line.close();
        std::exit(0);
    };
    const qint64 startUs = clock.nowUs();
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
    EXPECT_LT(clock.nowUs() - startUs, PATIENCE_US / 2);
}

TEST_F(HangingLine, ThatIsNoLongerAskedForIsNotWaitedFor) {
    SerialLine line = hangingLine();
    int questions = 0;
    line.setStopRequest([&] { return ++questions == 3; });
    EXPECT_FALSE(opens(line));
    EXPECT_EQ(questions, 3);
    EXPECT_EQ(why, QStringLiteral("the program was stopped before that was done"));
}

}  // namespace

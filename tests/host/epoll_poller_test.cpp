// On real descriptors and the real clock. What must not happen is waited for a short while; what must happen
// has ages.
#include "host/line/epoll_poller.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <thread>

#include "host/line/serial_line.h"
#include "line_ends.h"

using namespace dx7;

namespace {

const qint64 SHORT_US = 30000;
const qint64 AGES_US = 10000000;

// A terminal for a poller, which is a socket in fact: it has characters that take time.
class TerminalEnd {
public:
    std::unique_ptr<SerialLine> connect() {
        int both[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, both), 0);
        end.become(both[1]);
        auto line = std::make_unique<SerialLine>(LineSettings(), [=](const LineSettings&) {
            OpenedPort opened;
            opened.port = std::make_unique<FakePort>(both[0], gate);
            return opened;
        });
        EXPECT_TRUE(line->open());
        return line;
    }
    ~TerminalEnd() {
        gate.open();
        EXPECT_TRUE(awaitPortTasks(10000));
    }

    End end;
    Gate gate;
};

class EpollPollerTest : public testing::TestWithParam<EpollPoller::Calls> {
protected:
    // Waits for so long at most. True when the line was ready in time.
    bool becomesReady(const Line& line, qint64 us) {
        const qint64 endUs = poller.nowUs() + us;
        do {
            ++waits;
            poller.wait(endUs);
        } while (!poller.ready(line) && poller.nowUs() < endUs);
        return poller.ready(line);
    }
    static QByteArray received(Line& line) {
        QByteArray bytes;
        line.receive(&bytes);
        return bytes;
    }

    SystemClock clock;
    EpollPoller poller{GetParam()};
    int waits = 0;
};

// Two lines at the same poller.
class TerminalAndSocket : public EpollPollerTest {
protected:
    TerminalAndSocket() {
        poller.add(*line);
        poller.add(*other);
    }

    TerminalEnd terminal;
    TcpEnd tcp;
    const std::unique_ptr<SerialLine> line = terminal.connect();
    const std::unique_ptr<TcpLine> other = tcp.connect();
};

const auto everyKind = testing::Values(EpollPoller::Calls::Newest, EpollPoller::Calls::Everywhere);
std::string kindName(const testing::TestParamInfo<EpollPoller::Calls>& kind) {
    return kind.param == EpollPoller::Calls::Newest ? "Newest" : "Everywhere";
}
INSTANTIATE_TEST_SUITE_P(Calls, EpollPollerTest, everyKind, kindName);
INSTANTIATE_TEST_SUITE_P(Calls, TerminalAndSocket, everyKind, kindName);

TEST_P(EpollPollerTest, WaitsForTime) {
    for (const qint64 us : {-5, 0, 1, 1000, 20000}) {
        const qint64 untilUs = poller.nowUs() + us;
        poller.wait(untilUs);
        EXPECT_GE(poller.nowUs(), untilUs);
    }
}

TEST_P(EpollPollerTest, WakesForBytesOfTheirLine) {
    TcpEnd one;
    TcpEnd two;
    const auto first = one.connect();
    const auto second = two.connect();
    poller.add(*first);
    poller.add(*second);
    EXPECT_FALSE(becomesReady(*first, SHORT_US));
    one.end.write("abc");
    EXPECT_TRUE(becomesReady(*first, AGES_US));
    EXPECT_FALSE(poller.ready(*second));
    EXPECT_TRUE(becomesReady(*first, 0)) << "as long as it was not received";
    EXPECT_EQ(received(*first), QByteArray("abc"));
    EXPECT_FALSE(becomesReady(*first, SHORT_US));
    two.end.write("abc");
    EXPECT_TRUE(becomesReady(*second, AGES_US));
    poller.remove(*second);
    EXPECT_FALSE(becomesReady(*second, SHORT_US));
}

TEST_P(EpollPollerTest, ReceivesFourKilobytesAtMost) {
    TcpEnd tcp;
    const auto line = tcp.connect();
    poller.add(*line);
    line->expect(6000);
    tcp.end.write(QByteArray(6000, 'x'));
    EXPECT_TRUE(becomesReady(*line, AGES_US));
    EXPECT_EQ(received(*line).size(), 4096);
    EXPECT_EQ(received(*line).size(), 6000 - 4096);
}

TEST_P(EpollPollerTest, LetsBytesBelowTheExpectedNumberWait) {
    TcpEnd tcp;
    const auto line = tcp.connect();
    poller.add(*line);
    line->expect(5);
    tcp.end.write("abcd");
    waits = 0;
    EXPECT_FALSE(becomesReady(*line, SHORT_US));
    EXPECT_EQ(waits, 1) << "it was not even woken";
    tcp.end.write("e");
    EXPECT_TRUE(becomesReady(*line, AGES_US));
    EXPECT_EQ(received(*line), QByteArray("abcde"));
}

TEST_P(EpollPollerTest, WakesForBytesThatWereThereWhenFewerAreExpected) {
    TcpEnd tcp;
    const auto line = tcp.connect();
    poller.add(*line);
    line->expect(25);
    tcp.end.write("abcd");
    EXPECT_FALSE(becomesReady(*line, SHORT_US));
    line->expect(4);
    EXPECT_TRUE(becomesReady(*line, AGES_US));
    EXPECT_EQ(received(*line), QByteArray("abcd"));
}

TEST_P(EpollPollerTest, WakesForTheEndWhateverIsExpected) {
    TcpEnd tcp;
    for (const bool crash : {false, true}) {
        const auto line = tcp.connect();
        poller.add(*line);
        line->expect(5);
        tcp.end.write("ab");
        EXPECT_FALSE(becomesReady(*line, SHORT_US));
        crash ? tcp.reset() : tcp.end.close();
        EXPECT_TRUE(becomesReady(*line, AGES_US));
        QByteArray bytes;
        while (line->receive(&bytes)) {
        }
        EXPECT_EQ(bytes, QByteArray("ab")) << "what came before counts";
        EXPECT_FALSE(line->isOpen());
        poller.remove(*line);
    }
}

TEST_P(EpollPollerTest, TakesAReopenedLineOver) {
    TcpEnd tcp;
    const auto line = tcp.connect();
    poller.add(*line);
    EXPECT_FALSE(becomesReady(*line, 1000));
    for (int i = 0; i < 3; ++i) {
        const int number = line->descriptor();
        line->close();
        EXPECT_FALSE(becomesReady(*line, 1000));
        // The system gives the lowest number that is free.
        const auto other = i == 1 ? tcp.connect() : nullptr;
        tcp.reopen(*line);
        EXPECT_TRUE(i > 0 || line->descriptor() == number);
        poller.add(*line);
        EXPECT_FALSE(becomesReady(*line, 1000));
        tcp.end.write("a");
        EXPECT_TRUE(becomesReady(*line, AGES_US));
        EXPECT_EQ(received(*line), QByteArray("a"));
    }
}

// Lines are closed, and others get their numbers before the poller has seen that.
TEST_P(EpollPollerTest, KnowsWhoseADescriptorIsNow) {
    std::array<TcpEnd, 8> ends;
    std::array<std::unique_ptr<TcpLine>, 8> former;
    std::array<std::unique_ptr<TcpLine>, 8> present;
    for (size_t i = 0; i < ends.size(); ++i) {
        former[i] = ends[i].connect();
        poller.add(*former[i]);
    }
    EXPECT_FALSE(becomesReady(*former[0], 1000));
    int same = 0;
    for (size_t i = 0; i < ends.size(); ++i) {
        const int number = former[i]->descriptor();
        ends[i].end.close();
        former[i]->close();
        present[i] = ends[i].connect();
        same += present[i]->descriptor() == number;
        poller.add(*present[i]);
    }
    EXPECT_EQ(same, 8);
    EXPECT_FALSE(becomesReady(*present[0], 1000));
    for (size_t i = 0; i < ends.size(); ++i) {
        ends[i].end.write("a");
        ASSERT_TRUE(becomesReady(*present[i], AGES_US)) << i;
        poller.remove(*former[i]);
        ASSERT_TRUE(becomesReady(*present[i], AGES_US)) << i;
        received(*present[i]);
    }
}

TEST_P(TerminalAndSocket, LooksAgainAtATerminalAmongOthers) {
    for (int i = 0; i < 3; ++i) {
        terminal.end.write("a");
        ASSERT_TRUE(becomesReady(*line, AGES_US));
        ASSERT_TRUE(becomesReady(*line, AGES_US)) << "as long as it was not received";
        EXPECT_EQ(received(*line), QByteArray("a"));
        EXPECT_FALSE(becomesReady(*line, 1000));
    }
}

TEST_P(TerminalAndSocket, LooksAtAnIgnoredLineWhenItsTimeIsOver) {
    poller.remove(*other);
    for (const bool alone : {true, false}) {
        if (!alone) {
            poller.add(*other);
        }
        for (int i = 0; i < 3; ++i) {
            terminal.end.write("a");
            EXPECT_TRUE(becomesReady(*line, AGES_US));
            EXPECT_EQ(received(*line), QByteArray("a"));
            const qint64 untilUs = poller.nowUs() + SHORT_US;
            poller.ignoreUntil(*line, untilUs);
            terminal.end.write("bcd");
            poller.wait(untilUs + AGES_US);
            EXPECT_GE(poller.nowUs(), untilUs);
            EXPECT_LT(poller.nowUs(), untilUs + AGES_US);
            EXPECT_TRUE(poller.ready(*line));
            EXPECT_EQ(received(*line), QByteArray("bcd"));
            EXPECT_FALSE(becomesReady(*line, 1000)) << "once";
        }
    }
}

TEST_P(EpollPollerTest, LooksAgainWhenItIsToldTo) {
    TerminalEnd terminal;
    const auto line = terminal.connect();
    poller.add(*line);
    terminal.end.write("a");
    poller.ignoreUntil(*line, poller.nowUs() + AGES_US);
    EXPECT_FALSE(becomesReady(*line, SHORT_US));
    poller.ignoreUntil(*line, 0);
    EXPECT_TRUE(becomesReady(*line, AGES_US));
}

TEST_P(TerminalAndSocket, AnIgnoredLineNeitherWakesNorHoldsOthersBack) {
    EXPECT_FALSE(becomesReady(*other, 1000));
    poller.ignoreUntil(*line, poller.nowUs() + AGES_US);
    terminal.end.write("a");
    terminal.end.close();
    waits = 0;
    EXPECT_FALSE(becomesReady(*other, SHORT_US));
    EXPECT_EQ(waits, 1);
    tcp.end.write("a");
    EXPECT_TRUE(becomesReady(*other, AGES_US));
    EXPECT_FALSE(poller.ready(*line));
    poller.ignoreUntil(*line, 0);
    EXPECT_TRUE(becomesReady(*line, AGES_US));
}

// The descriptor is open until the helper thread gets through, and hung up.
TEST_P(TerminalAndSocket, IsNotWokenByALineThatIsBeingClosed) {
    EXPECT_FALSE(becomesReady(*line, 1000));
    line->close();
    terminal.end.close();
    waits = 0;
    EXPECT_FALSE(becomesReady(*line, SHORT_US));
    EXPECT_EQ(waits, 1);
    tcp.end.write("a");
    EXPECT_TRUE(becomesReady(*other, AGES_US));
}

TEST_P(EpollPollerTest, WakesWhenALineCanGoOnSending) {
    TcpEnd tcp;
    const auto line = tcp.connect();
    poller.add(*line);
    const QByteArray many(20000000, 'x');
    EXPECT_TRUE(line->send(many));
    EXPECT_TRUE(line->sending());
    int got = 0;
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            got += tcp.end.read().size();
        }
        // All of it is on its way, however slow this computer is.
        for (int more = 1; got < many.size() && more > 0; got += more) {
            more = tcp.end.read(many.size() - got).size();
        }
    });
    for (const qint64 endUs = poller.nowUs() + AGES_US; line->sending() && poller.nowUs() < endUs;) {
        EXPECT_TRUE(becomesReady(*line, AGES_US));
        ASSERT_TRUE(line->flush(poller.nowUs())) << line->failure().toStdString();
    }
    EXPECT_FALSE(line->sending());
    waits = 0;
    EXPECT_FALSE(becomesReady(*line, SHORT_US)) << "there is room, but nothing to send";
    EXPECT_EQ(waits, 1);
    done = true;
    reader.join();
    EXPECT_EQ(got, many.size());
}

TEST_P(EpollPollerTest, IsWokenByAnotherThread) {
    const qint64 startUs = poller.nowUs();
    poller.wake();
    poller.wait(startUs + AGES_US);
    TcpEnd tcp;
    const auto line = tcp.connect();
    poller.add(*line);
    poller.wake();
    poller.wait(startUs + AGES_US);
    EXPECT_FALSE(poller.ready(*line));
    std::thread waker([&] {
        clock.sleepUntilUs(clock.nowUs() + SHORT_US);
        poller.wake();
    });
    poller.wait(startUs + AGES_US);
    waker.join();
    EXPECT_LT(poller.nowUs(), startUs + AGES_US);
    const qint64 untilUs = poller.nowUs() + SHORT_US;
    poller.wait(untilUs);
    EXPECT_GE(poller.nowUs(), untilUs) << "each call counts once";
}

TEST_P(EpollPollerTest, IsWokenBySignals) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGALRM, &action, &before);
    TcpEnd tcp;
    const auto line = tcp.connect();
    for (const bool watching : {false, true}) {
        if (watching) {
            poller.add(*line);
        }
        const itimerval soon{{0, 0}, {0, SHORT_US}};
        ::setitimer(ITIMER_REAL, &soon, nullptr);
        const qint64 startUs = poller.nowUs();
        poller.wait(startUs + AGES_US);
        EXPECT_LT(poller.nowUs(), startUs + AGES_US);
    }
    ::sigaction(SIGALRM, &before, nullptr);
}

}  // namespace

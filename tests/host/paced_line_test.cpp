// How often a reply that comes byte by byte wakes the program, and how exactly waits end.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "common/port_lock.h"
#include "common/timer_slack.h"
#include "host/line/epoll_poller.h"
#include "host/line/serial_line.h"
#include "line_ends.h"

using namespace dx7;
using namespace dx7common;

namespace {

const int REPLY_BYTES = 25;
const int ROUNDS = 11;

// What was seen of a reply.
struct Seen {
    QByteArray bytes;
    int wakeUps = 0;
};

// As an exchange does it that knows how long the reply is.
Seen readReply(EpollPoller& poller, Line& line, qint64 patienceUs) {
    Seen seen;
    const qint64 endUs = poller.nowUs() + patienceUs;
    while (seen.bytes.size() < REPLY_BYTES && poller.nowUs() < endUs) {
        poller.wait(endUs);
        ++seen.wakeUps;
        if (!poller.ready(line)) {
            continue;
        }
        if (!line.receive(&seen.bytes)) {
            break;
        }
        poller.ignoreUntil(line, poller.nowUs() + (REPLY_BYTES - seen.bytes.size()) * line.characterUs());
    }
    return seen;
}

TEST(PacedLine, WakesAtMostFourTimesForAReply) {
    useExactTimers();
    const PseudoTerminal terminal;
    PseudoTerminal other;
    SystemClock clock;
    SerialLine line(terminal.settings());
    SerialLine second(other.settings());
    ASSERT_TRUE(line.open()) << line.failure().toStdString();
    ASSERT_TRUE(second.open()) << second.failure().toStdString();
    EpollPoller poller;
    poller.add(line);
    for (const bool alone : {true, false}) {
        if (!alone) {
            poller.add(second);
        }
        std::vector<int> wakeUps;
        for (int i = 0; i < ROUNDS; ++i) {
            std::thread device([&] {
                qint64 dueUs = clock.nowUs() + 5000;
                for (int sent = 0; sent < REPLY_BYTES; ++sent, dueUs += line.characterUs()) {
                    clock.sleepUntilUs(dueUs);
                    terminal.device.write("x");
                }
            });
            const Seen seen = readReply(poller, line, 10000000);
            device.join();
            EXPECT_EQ(seen.bytes.size(), REPLY_BYTES);
            EXPECT_GE(seen.wakeUps, 2);
            wakeUps.push_back(seen.wakeUps);
        }
        // In a round the device itself may be late.
        std::sort(wakeUps.begin(), wakeUps.end());
        EXPECT_LE(wakeUps[ROUNDS / 2], 4);
    }
}

TEST(PacedLine, WaitsEndWhenTheyAreDue) {
    useExactTimers();
    EpollPoller poller;
    qint64 bestUs = 1000000;
    for (int i = 0; i < 50; ++i) {
        const qint64 dueUs = poller.nowUs() + 500;
        poller.wait(dueUs);
        const qint64 lateUs = poller.nowUs() - dueUs;
        EXPECT_GE(lateUs, 0);
        bestUs = std::min(bestUs, lateUs);
    }
    EXPECT_LT(bestUs, 50) << "the slack that the system takes unless it is told otherwise";
}

TEST(PacedLine, APortWhoseProgramIsJustEndingIsWaitedFor) {
    const PseudoTerminal terminal;
    SystemClock clock;
    PortLock former;
    std::string holder;
    ASSERT_TRUE(former.take(terminal.path, &holder));
    SerialLine line(terminal.settings());
    std::thread ending([&] {
        clock.sleepUntilUs(clock.nowUs() + 60000);
        former.release();
    });
    EXPECT_TRUE(line.open()) << line.failure().toStdString();
    ending.join();
}

}  // namespace

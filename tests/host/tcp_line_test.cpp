// Over the loopback interface. What takes time here is connecting to a port that takes nobody in.
#include "host/line/tcp_line.h"

#include <gtest/gtest.h>

#include <functional>

#include "full_listener.h"
#include "host/line/clock.h"
#include "host/line/epoll_poller.h"
#include "host/poll/line_runner.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

// Below the 3 s after which an attempt to connect is given up, far above the time of anything that does not
// wait.
const qint64 AT_ONCE_US = 2500000;
const qint64 PATIENCE_US = 15000000;

class TcpLineTest : public testing::Test {
protected:
    std::unique_ptr<Line> lineTo(const QString& host, int port) {
        LineSettings settings;
        settings.carrier = Carrier::Tcp;
        settings.tcpHost = host;
        settings.tcpPort = port;
        return makeLine(settings);
    }
    std::unique_ptr<Line> lineTo(int port) { return lineTo(QStringLiteral("127.0.0.1"), port); }
    // Looks again and again until the attempt has ended.
    Line::Opening reopened(Line& line) {
        Line::Opening opening = line.reopen();
        for (const qint64 endUs = clock.nowUs() + PATIENCE_US;
             opening == Line::Opening::UnderWay && clock.nowUs() < endUs; opening = line.reopen()) {
            clock.sleepUntilUs(clock.nowUs() + 10000);
        }
        return opening;
    }
    qint64 took(const std::function<void()>& work) {
        const qint64 startUs = clock.nowUs();
        work();
        return clock.nowUs() - startUs;
    }

    SystemClock clock;
};

TEST_F(TcpLineTest, ARunnerOfALostLineGoesOnWhileConnectingTakesItsTime) {
    const FullListener listener;
    const std::unique_ptr<Line> line = lineTo(listener.port());
    const LineSettings settings;
    DriverSession session(driverFunctions(), propertyText(settings, 1));
    CommLoop loop(session, settings);
    PollEngine engine(session, loop, settings, clock.nowUs());
    EpollPoller poller;
    LineRunner runner(engine, *line, poller);
    QVector<bool> states;
    EngineEvents events;
    events.line = [&](bool open) { states += open; };
    engine.setEvents(events);
    // Half a second is longer than the first pause: an attempt is under way before it is over.
    const qint64 endUs = clock.nowUs() + 500000;
    while (clock.nowUs() < endUs) {
        EXPECT_LT(took([&] { runner.turn(endUs); }), AT_ONCE_US);
        EXPECT_FALSE(runner.lineOpen());
    }
    EXPECT_EQ(states, QVector<bool>{false});
}

TEST_F(TcpLineTest, OpensAtTheAttemptUnderWayOrALaterOne) {
    const FullListener listener;
    const std::unique_ptr<Line> line = lineTo(listener.port());
    EXPECT_EQ(line->reopen(), Line::Opening::UnderWay);
    EXPECT_FALSE(line->isOpen());
    EXPECT_FALSE(line->send("abc")) << "not before it is open";
    listener.makeRoom();
    Line::Opening opening = reopened(*line);
    if (opening == Line::Opening::Failed) {
        opening = reopened(*line);
    }
    EXPECT_EQ(opening, Line::Opening::Open);
    EXPECT_TRUE(line->isOpen());
    EXPECT_TRUE(line->failure().isEmpty()) << line->failure().toStdString();
    EXPECT_TRUE(line->send("abc"));
}

TEST_F(TcpLineTest, AnAttemptThatIsDroppedIsNotWaitedFor) {
    const FullListener listener;
    std::unique_ptr<Line> line = lineTo(listener.port());
    line->reopen();
    EXPECT_LT(took([&] { line->close(); }), AT_ONCE_US);
    line->reopen();
    EXPECT_LT(took([&] { line.reset(); }), AT_ONCE_US);
}

TEST_F(TcpLineTest, SaysWhyItDidNotOpen) {
    int freePort = 0;
    {
        const FullListener listener;
        freePort = listener.port();
        const std::unique_ptr<Line> line = lineTo(listener.port());
        EXPECT_FALSE(line->open());
        EXPECT_EQ(line->failure(), QStringLiteral("Connection timed out"));
    }
    const std::unique_ptr<Line> line = lineTo(freePort);
    EXPECT_FALSE(line->open());
    EXPECT_EQ(line->failure(), QStringLiteral("Connection refused"));
    EXPECT_EQ(reopened(*line), Line::Opening::Failed);
    EXPECT_EQ(line->failure(), QStringLiteral("Connection refused"));
    // A label of a name has 63 characters at most: no name server needs to be asked.
    const std::unique_ptr<Line> unnamed = lineTo(QString(64, QLatin1Char('a')), freePort);
    EXPECT_FALSE(unnamed->open());
    EXPECT_EQ(unnamed->failure(), QStringLiteral("Name or service not known"));
}

}  // namespace

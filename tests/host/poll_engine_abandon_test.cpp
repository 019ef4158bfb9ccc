// What is known of each operation when the host ends them all before their end.
#include <gtest/gtest.h>

#include "loaded_driver.h"
#include "one_shot_read.h"
#include "poll_engine.h"
#include "scripted_line.h"

using namespace dx7;

namespace {

class AbandonTest : public testing::Test {
protected:
    AbandonTest()
        : session(driverFunctions(), propertyText(settings, 1)),
          line(clock),
          loop(driverFunctions(), line, clock, settings),
          engine(session, loop, clock, settings) {
        settings.carrier = Carrier::Serial;
        line.script = [this](ScriptedLine& l, const QByteArray& request) {
            if (line.requests.size() == lastAnswered + 1) {
                l.close();
            } else {
                l.arrive(device.answer(request), 5000);
            }
        };
    }

    void write(const char* text) {
        engine.write(notation().write(QString::fromLatin1(text)),
                     [this](const Transaction& transaction) { ends += transaction; });
    }
    // Runs up to the loss of the line.
    void run() {
        CommLoop::Step step = CommLoop::Step::Request;
        for (int i = 0; i < 100 && step == CommLoop::Step::Request && engine.pendingOperations() > 0; ++i) {
            step = engine.step();
        }
        engine.abandonOperations(QStringLiteral("the line was lost"));
    }

    LineSettings settings;
    VirtualClock clock;
    DriverSession session;
    ScriptedLine line;
    CommLoop loop;
    PollEngine engine;
    ScriptedDevice device;
    int lastAnswered = 1;  // The request after this one finds the line closed when it has been sent.
    QVector<Transaction> ends;
};

TEST_F(AbandonTest, EachWriteIsDoneUnsettledOrNotSent) {
    write("F:0.0.08,3=1,2,3");  // two requests
    write("F:3.0.25=4");
    run();
    ASSERT_EQ(ends.size(), 3);
    EXPECT_TRUE(ends[0].good());
    EXPECT_EQ(ends[1].outcome, Outcome::CutShort);
    EXPECT_TRUE(ends[1].unsettled);
    EXPECT_TRUE(ends[1].sent);
    EXPECT_FALSE(ends[2].sent);
    EXPECT_EQ(ends[1].frame.address, 10);
    EXPECT_EQ(ends[1].frame.count, 1);
    EXPECT_EQ(ends[2].outcome, Outcome::CutShort);
    EXPECT_FALSE(ends[2].unsettled) << "it was not sent";
    EXPECT_EQ(ends[2].frame.address, 193);
    EXPECT_EQ(ends[2].info, QStringLiteral("the line was lost"));
    EXPECT_EQ(engine.pendingOperations(), 0);
}

TEST_F(AbandonTest, ALineThatIsClosedBeforeTheRequestGetsNothing) {
    line.close();
    line.refuseOpen = true;
    write("F:3.0.25=4");
    run();
    ASSERT_EQ(ends.size(), 1);
    EXPECT_FALSE(ends[0].unsettled);
    EXPECT_FALSE(ends[0].sent);
    EXPECT_FALSE(ends[0].good());
    EXPECT_TRUE(line.requests.isEmpty());
}

// The read that was sent before says nothing about the write that was not.
TEST_F(AbandonTest, AnUnansweredReadLeavesNoWriteUnsettled) {
    lastAnswered = 0;
    engine.read(notation().type(QStringLiteral("F")), 1, 193, 1, {});
    write("F:3.0.25=4");
    run();
    ASSERT_EQ(ends.size(), 1);
    EXPECT_FALSE(ends[0].unsettled);
}

TEST_F(AbandonTest, AReadKeepsWhatItHasAndSaysWhyNotTheRest) {
    OneShotRead read(session, engine, clock);
    read.queue(notation().points(QStringList{QStringLiteral("F:0.0.08,4")}));
    run();
    EXPECT_EQ(read.table().state(0).quality, Quality::Good);
    EXPECT_EQ(read.table().state(1).quality, Quality::Good);
    EXPECT_NE(read.table().state(2).quality, Quality::Good);
    EXPECT_TRUE(read.cutShort(2));
    EXPECT_FALSE(read.cutShort(1));
    EXPECT_EQ(read.fault(3), QStringLiteral("the line was lost before that"));
}

// An operation that brought no sign of life may end those after it, from its own end.
TEST_F(AbandonTest, AnEndMayEndTheOthers) {
    line.script = [](ScriptedLine&, const QByteArray&) {};
    engine.write(notation().write(QStringLiteral("F:3.0.25=4")), [this](const Transaction& transaction) {
        ends += transaction;
        engine.abandonOperations(QStringLiteral("station 1 did not answer"));
    });
    write("F:3.0.26=5");
    for (int i = 0; i < 20 && engine.pendingOperations() > 0; ++i) {
        engine.step();
    }
    ASSERT_EQ(ends.size(), 2);
    EXPECT_TRUE(ends[0].unsettled);
    EXPECT_FALSE(ends[0].heard);
    EXPECT_EQ(ends[1].outcome, Outcome::CutShort);
    EXPECT_FALSE(ends[1].unsettled);
    EXPECT_EQ(line.requests.size(), 3);
}

}  // namespace

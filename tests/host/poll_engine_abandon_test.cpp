// What is known of each operation when the host ends them all before their end.
#include <gtest/gtest.h>

#include "host/poll/one_shot_read.h"
#include "loaded_driver.h"
#include "rig.h"

using namespace dx7;

namespace {

// A line that is lost with one of its requests; it does not open again.
class AbandonTest : public testing::Test {
protected:
    AbandonTest() {
        rig.line.refuseOpen = true;
        rig.line.script = [this](ScriptedLine& line, const QByteArray& request) {
            if (!isQuery(request) && withoutQueries(line.requests).size() == lastAnswered + 1) {
                line.close();
            } else {
                line.arrive(device.answer(request), answerUs);
            }
        };
    }

    void write(const char* text) {
        rig.write(text, [this](const Transaction& transaction) { ends += transaction; });
    }
    // Runs up to the loss of the line.
    void run() {
        EXPECT_TRUE(
            rig.runUntil([this] { return !rig.runner.lineOpen() || rig.engine.pendingOperations() == 0; }));
        rig.engine.abandonOperations(QStringLiteral("the line was lost"));
        EXPECT_EQ(rig.engine.pendingOperations(), 0);
    }

    Rig rig;
    ScriptedDevice device;
    qint64 answerUs = 5000;
    int lastAnswered = 1;  // The data request after this one finds the line closed when it has been sent.
    QVector<Transaction> ends;
};

TEST_F(AbandonTest, EachWriteIsDoneUnsettledOrNotSent) {
    write("F:0.0.08,2=1,2");
    EXPECT_TRUE(rig.runOperations());
    write("F:0.0.10=3");
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
}

// The acknowledgement that was not proven when the line went may have been another's.
TEST_F(AbandonTest, AWriteWhoseAcknowledgementWasNotProvenIsUnsettled) {
    rig.line.script = [this](ScriptedLine& line, const QByteArray& request) {
        if (!withoutQueries(line.requests).isEmpty() && isQuery(request)) {
            line.close();
        } else {
            line.arrive(device.answer(request), 5000);
        }
    };
    write("F:3.0.25=4");
    run();
    ASSERT_EQ(ends.size(), 1);
    EXPECT_FALSE(ends[0].good());
    EXPECT_TRUE(ends[0].unsettled);
}

TEST_F(AbandonTest, ALineThatIsClosedBeforeTheRequestGetsNothing) {
    rig.line.close();
    write("F:3.0.25=4");
    run();
    ASSERT_EQ(ends.size(), 1);
    EXPECT_FALSE(ends[0].unsettled);
    EXPECT_FALSE(ends[0].sent);
    EXPECT_FALSE(ends[0].good());
    EXPECT_TRUE(rig.line.requests.isEmpty());
}

// The read that was sent before says nothing about the write that was not.
TEST_F(AbandonTest, AnUnansweredReadLeavesNoWriteUnsettled) {
    lastAnswered = 0;
    rig.engine.read(notation().type(QStringLiteral("F")), 1, 193, 1, {});
    write("F:3.0.25=4");
    run();
    ASSERT_EQ(ends.size(), 1);
    EXPECT_FALSE(ends[0].unsettled);
}

TEST_F(AbandonTest, AReadKeepsWhatItHasAndSaysWhyNotTheRest) {
    OneShotRead read(rig.engine);
    answerUs = 300000;
    lastAnswered = 8;  // of ten requests, with queries of both kinds between them
    read.queue(notation().points(QStringList{QStringLiteral("F:0.0.00,100")}));
    run();
    EXPECT_EQ(read.table().state(0).quality, Quality::Good);
    EXPECT_EQ(read.table().state(9).quality, Quality::Good);
    EXPECT_NE(read.table().state(80).quality, Quality::Good);
    EXPECT_TRUE(read.cutShort(80));
    EXPECT_FALSE(read.cutShort(9));
    EXPECT_EQ(read.fault(99), QStringLiteral("the line was lost before that"));
}

// An operation that brought no sign of life may end those after it, from its own end.
TEST_F(AbandonTest, AnEndMayEndTheOthers) {
    rig.line.script = [](ScriptedLine&, const QByteArray&) {};
    rig.write("F:3.0.25=4", [this](const Transaction& transaction) {
        ends += transaction;
        rig.engine.abandonOperations(QStringLiteral("station 1 did not answer"));
    });
    write("F:3.0.26=5");
    EXPECT_TRUE(rig.runOperations());
    ASSERT_EQ(ends.size(), 2);
    EXPECT_TRUE(ends[0].unsettled);
    EXPECT_FALSE(ends[0].heard);
    EXPECT_EQ(ends[1].outcome, Outcome::CutShort);
    EXPECT_FALSE(ends[1].unsettled);
    EXPECT_EQ(withoutQueries(rig.line.requests).size(), 1);
}

}  // namespace

// The stop request in every wait of the loop, and what is known of a write when its wait has ended.
#include <gtest/gtest.h>

#include "comm_loop.h"
#include "driver_session.h"
#include "loaded_driver.h"
#include "scripted_line.h"

using namespace dx7;

namespace {

const qint64 NOTICED_US = 200000;

LineSettings patientSettings() {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.timeoutMs = 60000;
    return settings;
}

// A loop that is stopped half a second after the test began, unless the test says otherwise.
class CommLoopStopTest : public testing::Test {
protected:
    CommLoopStopTest()
        : session(driverFunctions(), propertyText(settings, 1)), line(clock), stopUs(clock.nowUs() + 500000) {
        session.merge({ItemRange{1, QStringLiteral("F"), 193, 1}});
    }

    std::unique_ptr<CommLoop> makeLoop() {
        auto loop = std::make_unique<CommLoop>(driverFunctions(), line, clock, settings);
        loop->setStopRequest([this] { return clock.nowUs() >= stopUs; });
        loop->setObserver([this](const Transaction& transaction) { seen += transaction; });
        return loop;
    }
    // `bytes` every 10 ms for two minutes.
    void flood(const QByteArray& bytes) {
        for (int i = 0; i < 12000; ++i) {
            line.arrive(bytes, i * 10000);
        }
    }
    void expectPromptStop(CommLoop& loop) {
        EXPECT_EQ(loop.step(), CommLoop::Step::Stopped);
        EXPECT_LE(clock.nowUs(), stopUs + NOTICED_US);
    }

    LineSettings settings = patientSettings();
    VirtualClock clock;
    DriverSession session;
    ScriptedLine line;
    qint64 stopUs;
    QVector<Transaction> seen;
    const QByteArray foreign = framed(hex("02 03 02 00 63"));
    const QByteArray good = framed(hex("01 03 02 01 F4"));
};

TEST_F(CommLoopStopTest, EndsTheWaitForAReplyUnderAStreamOfForeignFrames) {
    line.script = [this](ScriptedLine&, const QByteArray&) { flood(foreign); };
    expectPromptStop(*makeLoop());
}

TEST_F(CommLoopStopTest, EndsTheWaitForAReplyUnderAStreamOfNoise) {
    line.script = [this](ScriptedLine&, const QByteArray&) { flood(hex("55")); };
    expectPromptStop(*makeLoop());
}

TEST_F(CommLoopStopTest, DoesNotTakeAReplyThatHasComeAway) {
    stopUs = clock.nowUs();
    line.script = [this](ScriptedLine& l, const QByteArray&) { l.arrive(good, 0); };
    EXPECT_EQ(makeLoop()->step(), CommLoop::Step::Request);
    EXPECT_EQ(seen.first().outcome, Outcome::Good);
}

TEST_F(CommLoopStopTest, EndsALongSilenceBeforeARequest) {
    settings.gapMs = 10000;
    const std::unique_ptr<CommLoop> loop = makeLoop();
    line.script = [this](ScriptedLine& l, const QByteArray&) { l.arrive(good, 1000); };
    line.arrive(foreign, 0);
    expectPromptStop(*loop);
    EXPECT_TRUE(line.requests.isEmpty());
}

TEST_F(CommLoopStopTest, EndsTheSilenceOfALineThatNeverFallsSilent) {
    settings.gapMs = 100;
    const std::unique_ptr<CommLoop> loop = makeLoop();
    for (int i = 0; i < 200; ++i) {
        line.arrive(hex("55"), i * 90000);
    }
    expectPromptStop(*loop);
    EXPECT_TRUE(line.requests.isEmpty());
}

TEST_F(CommLoopStopTest, EndsTheSilenceThatTheTableWaitsFor) {
    settings.gapMs = 10000;
    stopUs += 20000;
    const std::unique_ptr<CommLoop> loop = makeLoop();
    clock.sleepUntilUs(20000000);
    stopUs = clock.nowUs() + 500000;
    line.script = [this](ScriptedLine& l, const QByteArray&) { l.arrive(good, 1000); };
    EXPECT_EQ(loop->step(), CommLoop::Step::Request);
    loop->awaitSilence();
    EXPECT_LE(clock.nowUs(), stopUs + NOTICED_US);
    EXPECT_GE(clock.nowUs(), stopUs);
}

TEST_F(CommLoopStopTest, EndsTheHoldingBackUnderAStreamOfForeignFrames) {
    settings.timeoutMs = 300;
    settings.lateMs = 60000;
    stopUs = clock.nowUs() + 100000000;
    const std::unique_ptr<CommLoop> loop = makeLoop();
    session.merge({ItemRange{1, QStringLiteral("F"), 193, 1}, ItemRange{1, QStringLiteral("F"), 249, 1}});
    line.script = [this](ScriptedLine& l, const QByteArray&) {
        if (line.requests.size() == 2) {
            l.arrive(good, 5000);
        }
    };
    loop->step();
    loop->step();
    ASSERT_EQ(seen.last().outcome, Outcome::Good);
    flood(foreign);
    stopUs = clock.nowUs() + 500000;
    expectPromptStop(*loop);
    EXPECT_EQ(line.requests.size(), 2);
}

// A broadcast was sent, whatever ends the pause after it.
TEST_F(CommLoopStopTest, EndsThePauseAfterABroadcastAndTheBroadcastCounts) {
    settings.turnaroundMs = 60000;
    session.merge({});
    session.addWrite(ItemRange{0, QStringLiteral("RO"), 1, 1}, hex("01"));
    const std::unique_ptr<CommLoop> loop = makeLoop();
    EXPECT_EQ(loop->step(), CommLoop::Step::Request);
    EXPECT_LE(clock.nowUs(), stopUs + NOTICED_US);
    EXPECT_TRUE(seen.first().good());
    EXPECT_FALSE(loop->writeUnsettled());
}

TEST_F(CommLoopStopTest, ABroadcastWhoseLineGoesDuringThePauseIsUnsettled) {
    session.merge({});
    session.addWrite(ItemRange{0, QStringLiteral("RO"), 1, 1}, hex("01"));
    const std::unique_ptr<CommLoop> loop = makeLoop();
    QVector<bool> states;
    loop->setLineObserver([&](bool open) { states += open; });
    line.script = [](ScriptedLine& l, const QByteArray&) { l.close(); };
    EXPECT_EQ(loop->step(), CommLoop::Step::NoLine);
    EXPECT_EQ(states, QVector<bool>{false});
    EXPECT_TRUE(seen.isEmpty());
    EXPECT_TRUE(loop->writeUnsettled());
}

TEST_F(CommLoopStopTest, WhatComesAfterABroadcastIsDroppedAndEndsNoPause) {
    session.merge({});
    session.addWrite(ItemRange{0, QStringLiteral("RO"), 1, 1}, hex("01"));
    line.script = [this](ScriptedLine& l, const QByteArray&) { l.arrive(foreign, 20000); };
    const std::unique_ptr<CommLoop> loop = makeLoop();
    EXPECT_EQ(loop->step(), CommLoop::Step::Request);
    EXPECT_TRUE(seen.first().good());
    EXPECT_EQ(seen.first().endUs - seen.first().sentUs, lineTimeUs(settings, 8) + 100000);
    EXPECT_EQ(loop->staleBytes(), foreign.size());
}

// What each attempt of a write brings, and what is known after the last one.
struct Course {
    const char* what;
    std::vector<const char*>
        replies;  ///< Of each attempt, without CRC; "" is silence, "echo" the acknowledgement.
    bool unsettled;
    bool heard;
};
void PrintTo(const Course& course, std::ostream* out) {
    *out << course.what;
}

class WriteCourse : public CommLoopStopTest, public testing::WithParamInterface<Course> {
protected:
    WriteCourse() {
        settings.timeoutMs = 300;
        stopUs = clock.nowUs() + 100000000;
        session.merge({});
        session.addWrite(ItemRange{1, QStringLiteral("F"), 193, 1}, hex("F4 01"));
        line.script = [this](ScriptedLine& l, const QByteArray& request) {
            const QByteArray reply = GetParam().replies.at(attempt++);
            l.arrive(reply == "echo"   ? request
                     : reply.isEmpty() ? reply
                                       : framed(hex(reply.constData())),
                     5000);
        };
    }
    std::size_t attempt = 0;
};

TEST_P(WriteCourse, SettlesTheWriteOrNot) {
    const std::unique_ptr<CommLoop> loop = makeLoop();
    for (std::size_t i = 0; i < GetParam().replies.size(); ++i) {
        EXPECT_EQ(loop->step(), CommLoop::Step::Request);
    }
    ASSERT_TRUE(seen.last().finished());
    EXPECT_EQ(seen.last().unsettled, GetParam().unsettled);
    EXPECT_EQ(seen.last().heard, GetParam().heard);
    EXPECT_FALSE(loop->writeUnsettled()) << "it has ended";
}

INSTANTIATE_TEST_SUITE_P(
    Table, WriteCourse,
    testing::Values(Course{"acknowledged", {"echo"}, false, true},
                    Course{"silent", {"", "", ""}, true, false},
                    Course{"acknowledged late", {"", "", "echo"}, false, true},
                    Course{"refused", {"01 86 02", "01 86 02", "01 86 02"}, false, true},
                    Course{"refused after silence", {"", "01 86 06", "01 86 06"}, true, true},
                    Course{"silent after a refusal", {"01 86 06", "01 86 06", ""}, true, true},
                    Course{"being carried out", {"01 86 06", "01 86 05", "01 86 06"}, true, true},
                    Course{"lost behind a gateway", {"01 86 0B", "01 86 0B", "01 86 0B"}, true, true},
                    Course{"another's acknowledgement",
                           {"01 06 E3 26 01 F4", "01 06 E3 26 01 F4", "01 06 E3 26 01 F4"},
                           true,
                           true},
                    Course{"acknowledged with another value",
                           {"01 06 E3 25 00 63", "01 06 E3 25 00 63", "01 06 E3 25 00 63"},
                           true,
                           true},
                    Course{"another station's acknowledgement",
                           {"02 06 E3 25 01 F4", "02 06 E3 25 01 F4", "02 06 E3 25 01 F4"},
                           true,
                           false}));

// A part of a request is not nothing.
class HalfWritten : public CommLoopStopTest, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Bytes, HalfWritten, testing::Values(0, 1, 7, 8));

TEST_P(HalfWritten, IsUnsettledUnlessNoByteIsOut) {
    session.merge({});
    session.addWrite(ItemRange{1, QStringLiteral("F"), 193, 1}, hex("F4 01"));
    line.lostAfterBytes = GetParam();
    const std::unique_ptr<CommLoop> loop = makeLoop();
    EXPECT_EQ(loop->step(), CommLoop::Step::NoLine);
    EXPECT_EQ(loop->writeUnsettled(), GetParam() > 0);
    EXPECT_EQ(loop->requestOut(), GetParam() > 0);
}

TEST_F(CommLoopStopTest, AWriteWhoseFrameIsOutIsUnsettledAndOneThatIsNotIsNot) {
    session.merge({});
    session.addWrite(ItemRange{1, QStringLiteral("F"), 193, 1}, hex("F4 01"));
    const std::unique_ptr<CommLoop> loop = makeLoop();
    EXPECT_FALSE(loop->writeUnsettled());
    EXPECT_EQ(loop->step(), CommLoop::Step::Stopped);
    EXPECT_TRUE(loop->writeUnsettled());
}

// What comes to every attempt, and what is said of it after the last one.
struct Wrong {
    const char* what;
    bool write;
    const char* bytes;  // Of each attempt, without CRC.
    const char* text;
    bool heard;
};
void PrintTo(const Wrong& wrong, std::ostream* out) {
    *out << wrong.what;
}

class WrongAnswer : public CommLoopStopTest, public testing::WithParamInterface<Wrong> {
protected:
    WrongAnswer() {
        settings.timeoutMs = 300;
        stopUs = clock.nowUs() + 100000000;
        if (GetParam().write) {
            session.merge({});
            session.addWrite(ItemRange{1, QStringLiteral("F"), 193, 1}, hex("05 00"));
        }
        line.script = [](ScriptedLine& l, const QByteArray&) {
            l.arrive(framed(hex(GetParam().bytes)), 5000);
        };
    }
};

TEST_P(WrongAnswer, IsSaidAsWhatItIs) {
    const std::unique_ptr<CommLoop> loop = makeLoop();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(loop->step(), CommLoop::Step::Request);
    }
    ASSERT_TRUE(seen.last().finished());
    EXPECT_EQ(outcomeText(seen.last()), QString::fromLatin1(GetParam().text));
    EXPECT_EQ(seen.last().heard, GetParam().heard);
    EXPECT_EQ(seen.last().outcome, Outcome::Timeout) << "as the statistics count it";
    EXPECT_TRUE(seen.last().reply.isEmpty()) << "for the driver it is nothing";
    line.script = [](ScriptedLine&, const QByteArray&) {};
    for (int i = 0; i < 3; ++i) {
        session.addWrite(ItemRange{1, QStringLiteral("F"), 193, 1}, hex("05 00"));
        loop->step();
    }
    EXPECT_EQ(outcomeText(seen.last()), QStringLiteral("no reply")) << "of the next operation";
    EXPECT_FALSE(seen.last().heard);
}

INSTANTIATE_TEST_SUITE_P(
    Table, WrongAnswer,
    testing::Values(
        Wrong{"byte count", false, "01 03 04 01 F4", "wrong length (its byte count says 4, 2 were asked for)",
              true},
        Wrong{"other station", false, "02 03 02 01 F4", "no valid reply: 3 foreign frames", false},
        Wrong{"other function", false, "01 04 02 01 F4", "no valid reply: 3 foreign frames", true},
        Wrong{"other station's acknowledgement", true, "02 06 E3 25 00 05",
              "no valid reply: 3 foreign frames", false},
        Wrong{"value", true, "01 06 E3 25 00 63",
              "no valid reply: the acknowledgement repeats 99 instead of 5", true},
        Wrong{"address", true, "01 06 E3 26 00 05",
              "no valid reply: the acknowledgement repeats another address (0xe326 instead of 0xe325)",
              true}));

TEST_F(CommLoopStopTest, CountsTheNoiseOfAllAttempts) {
    settings.timeoutMs = 300;
    stopUs = clock.nowUs() + 100000000;
    line.script = [](ScriptedLine& l, const QByteArray&) { l.arrive(QByteArray(500, '\x55'), 5000); };
    const std::unique_ptr<CommLoop> loop = makeLoop();
    for (int i = 0; i < 3; ++i) {
        loop->step();
    }
    EXPECT_EQ(seen.last().outcome, Outcome::Timeout);
    EXPECT_EQ(outcomeText(seen.last()), QStringLiteral("no valid reply: 1500 bytes of noise"));
    line.script = [](ScriptedLine&, const QByteArray&) {};
    loop->step();
    EXPECT_EQ(outcomeText(seen.last()), QStringLiteral("no reply")) << "of the next operation";
}

}  // namespace

// What is known of an operation when its wait has ended, and what is said of it.
#include <gtest/gtest.h>

#include "host/exchange/comm_loop.h"
#include "rig.h"

using namespace dx7;

namespace {

// A loop over the real driver; the stations answer status queries unless they are silent.
class CommLoopOutcomeTest : public testing::Test {
protected:
    explicit CommLoopOutcomeTest(const LineSettings& settings = serialSettings()) : rig(settings) {
        rig.line.script = [this](ScriptedLine& line, const QByteArray& request) {
            if (!isQuery(request)) {
                answerData(line, request);
            } else if (!silent) {
                line.arrive(device.answer(request), 5000);
            }
        };
    }

    void polls() { rig.session.merge({ItemRange{1, QStringLiteral("F"), 193, 1}}); }
    void writes(const char* data) {
        rig.session.merge({});
        rig.session.addWrite(ItemRange{1, QStringLiteral("F"), 193, 1}, hex(data));
    }
    void writesToAll() {
        rig.session.merge({});
        rig.session.addWrite(ItemRange{0, QStringLiteral("RO"), 1, 1}, hex("01"));
    }
    // Runs one operation to its end.
    void operate() {
        do {
            ASSERT_TRUE(rig.step());
        } while (!rig.seen.last().finished());
    }

    LoopRig rig;
    ScriptedDevice device;
    bool silent = false;
    ScriptedLine::Script answerData = [](ScriptedLine&, const QByteArray&) {};
};

TEST_F(CommLoopOutcomeTest, ABroadcastWhoseLineGoesDuringThePauseIsUnsettled) {
    writesToAll();
    answerData = [](ScriptedLine& line, const QByteArray&) { line.close(); };
    EXPECT_FALSE(rig.step());
    EXPECT_TRUE(rig.seen.isEmpty());
    EXPECT_TRUE(rig.loop.writeUnsettled());
    EXPECT_TRUE(rig.loop.requestOut());
}

TEST_F(CommLoopOutcomeTest, WhatComesAfterABroadcastIsDroppedAndEndsNoPause) {
    writesToAll();
    answerData = [](ScriptedLine& line, const QByteArray&) {
        line.arrive(framed(hex("02 03 02 00 63")), 20000);
    };
    operate();
    EXPECT_TRUE(rig.seen.first().good());
    EXPECT_EQ(rig.seen.first().endUs - rig.seen.first().sentUs, lineTimeUs(rig.settings, 8) + 100000);
    EXPECT_EQ(rig.notes.size(), 1u);
    EXPECT_EQ(rig.notes.front().kind, ExchangeNote::Foreign);
}

// What each attempt of a write brings, and what is known after the last one.
struct Course {
    const char* what;
    bool silent;  ///< Status queries are not answered.
    std::vector<const char*>
        replies;  ///< Of each attempt, without CRC; "" is silence, "echo" the acknowledgement.
    bool unsettled;
    bool heard;
};
void PrintTo(const Course& course, std::ostream* out) {
    *out << course.what;
}

class WriteCourse : public CommLoopOutcomeTest, public testing::WithParamInterface<Course> {
protected:
    WriteCourse() {
        silent = GetParam().silent;
        writes("F4 01");
        answerData = [this](ScriptedLine& line, const QByteArray& request) {
            const QByteArray reply = GetParam().replies.at(attempt++);
            if (!reply.isEmpty()) {
                line.arrive(reply == "echo" ? request : framed(hex(reply.constData())), 5000);
            }
        };
    }
    std::size_t attempt = 0;
};

TEST_P(WriteCourse, SettlesTheWriteOrNot) {
    operate();
    EXPECT_EQ(attempt, GetParam().replies.size());
    EXPECT_EQ(rig.seen.last().unsettled, GetParam().unsettled);
    EXPECT_EQ(rig.seen.last().heard, GetParam().heard);
    EXPECT_FALSE(rig.loop.writeUnsettled()) << "it has ended";
}

INSTANTIATE_TEST_SUITE_P(
    Table, WriteCourse,
    testing::Values(Course{"acknowledged", false, {"echo"}, false, true},
                    Course{"silent", true, {""}, true, false},
                    Course{"silent but for queries", false, {"", "", ""}, true, true},
                    Course{"acknowledged at last", false, {"", "", "echo"}, false, true},
                    Course{"refused", false, {"01 86 02"}, false, true},
                    Course{"refused after silence", false, {"", "01 86 06"}, true, true},
                    Course{"busy", false, {"01 86 06"}, false, true},
                    Course{"being carried out", false, {"01 86 05"}, true, true},
                    Course{"lost behind a gateway", false, {"01 86 0B"}, true, true},
                    Course{"another's acknowledgement",
                           false,
                           {"01 06 E3 26 01 F4", "01 06 E3 26 01 F4", "01 06 E3 26 01 F4"},
                           true,
                           true},
                    Course{"acknowledged with another value",
                           false,
                           {"01 06 E3 25 00 63", "01 06 E3 25 00 63", "01 06 E3 25 00 63"},
                           true,
                           true},
                    Course{"another station's acknowledgement", true, {"02 06 E3 25 01 F4"}, true, false}));

// No query goes out before the write.
LineSettings withoutEcho() {
    LineSettings settings = serialSettings();
    settings.echo = EchoMode::Off;
    return settings;
}

// A part of a request is not nothing.
class HalfWritten : public CommLoopOutcomeTest, public testing::WithParamInterface<int> {
protected:
    HalfWritten() : CommLoopOutcomeTest(withoutEcho()) {}
};
INSTANTIATE_TEST_SUITE_P(Bytes, HalfWritten, testing::Values(0, 1, 7, 8));

TEST_P(HalfWritten, IsUnsettledUnlessNoByteIsOut) {
    writes("F4 01");
    rig.line.lostAfterBytes = GetParam();
    EXPECT_FALSE(rig.step());
    EXPECT_EQ(rig.loop.writeUnsettled(), GetParam() > 0);
    EXPECT_EQ(rig.loop.requestOut(), GetParam() > 0);
}

TEST_F(CommLoopOutcomeTest, AReadThatWasOutWhenTheLineWasLostLeavesNoWriteUnsettled) {
    polls();
    answerData = [](ScriptedLine& line, const QByteArray&) { line.close(); };
    EXPECT_FALSE(rig.step());
    EXPECT_TRUE(rig.loop.requestOut());
    EXPECT_FALSE(rig.loop.writeUnsettled());
}

// What comes to every attempt, and what is said of it after the last one.
struct Wrong {
    const char* what;
    bool write;
    bool silent;        // Status queries are not answered.
    const char* bytes;  // Of each attempt, without CRC.
    const char* text;
    bool heard;
};
void PrintTo(const Wrong& wrong, std::ostream* out) {
    *out << wrong.what;
}

class WrongAnswer : public CommLoopOutcomeTest, public testing::WithParamInterface<Wrong> {
protected:
    WrongAnswer() {
        silent = GetParam().silent;
        if (GetParam().write) {
            writes("05 00");
        } else {
            polls();
        }
        answerData = [](ScriptedLine& line, const QByteArray&) {
            line.arrive(framed(hex(GetParam().bytes)), 5000);
        };
    }
};

TEST_P(WrongAnswer, IsSaidAsWhatItIs) {
    operate();
    EXPECT_EQ(outcomeText(rig.seen.last()).toStdString(), GetParam().text);
    EXPECT_EQ(rig.seen.last().heard, GetParam().heard);
    EXPECT_TRUE(rig.seen.last().reply.isEmpty()) << "for the driver it is nothing";
    // Longer than anything is owed.
    rig.runFor(11000000);
    answerData = [](ScriptedLine&, const QByteArray&) {};
    silent = true;
    writes("05 00");
    operate();
    EXPECT_EQ(outcomeText(rig.seen.last()), QStringLiteral("no reply")) << "of the next operation";
    EXPECT_FALSE(rig.seen.last().heard);
}

INSTANTIATE_TEST_SUITE_P(
    Table, WrongAnswer,
    testing::Values(
        Wrong{"byte count", false, false, "01 03 04 01 F4",
              "wrong length (its byte count says 4, 2 were asked for)", true},
        Wrong{"other station", false, true, "02 03 02 01 F4", "no reply", false},
        Wrong{"other station thrice", false, false, "02 03 02 01 F4", "no valid reply: 3 foreign frames",
              true},
        Wrong{"other function", false, false, "01 04 02 01 F4", "no valid reply: 3 foreign frames", true},
        Wrong{"other station's acknowledgement", true, true, "02 06 E3 25 00 05", "no reply", false},
        Wrong{"value", true, false, "01 06 E3 25 00 63",
              "no valid reply: the acknowledgement repeats 99 instead of 5", true},
        Wrong{"address", true, false, "01 06 E3 26 00 05",
              "no valid reply: the acknowledgement repeats another address (0xe326 instead of 0xe325)",
              true}));

TEST_F(CommLoopOutcomeTest, CountsTheNoiseOfAllAttempts) {
    polls();
    answerData = [](ScriptedLine& line, const QByteArray&) { line.arrive(QByteArray(500, '\x55'), 5000); };
    operate();
    EXPECT_EQ(rig.seen.last().outcome, Outcome::Timeout);
    EXPECT_EQ(outcomeText(rig.seen.last()), QStringLiteral("no valid reply: 1500 bytes of noise"));
    answerData = [](ScriptedLine&, const QByteArray&) {};
    operate();
    EXPECT_EQ(outcomeText(rig.seen.last()), QStringLiteral("no reply")) << "of the next operation";
}

}  // namespace

// What is heard on a line, against what was said on it.
#include "host/exchange/bus_parser.h"

#include <gtest/gtest.h>

#include "exchange_rig.h"

using namespace dx7;
using namespace truth;

namespace {

// "exchange 8 7, damage 3": the kinds and lengths of what was heard.
std::string said(const std::vector<BusEvent>& events) {
    static const char* const names[] = {"exchange",      "doubtful",  "unanswered", "pending",
                                        "damaged-reply", "broadcast", "orphan",     "damage"};
    std::string text;
    for (const BusEvent& event : events) {
        text += (text.empty() ? "" : ", ") + std::string(names[event.kind]);
        for (const QByteArray& bytes : {event.request, event.reply, event.damaged}) {
            text += bytes.isEmpty() ? "" : ' ' + std::to_string(bytes.size());
        }
    }
    return text;
}

std::string heard(const QByteArray& bytes, int chunk = 1000) {
    BusParser parser(serialSettings());
    qint64 nowUs = 0;
    for (int i = 0; i < bytes.size(); i += chunk) {
        parser.feed(bytes.constData() + i, std::min(chunk, bytes.size() - i), nowUs += 1000);
    }
    parser.advance(nowUs + 50000);
    parser.finish();
    return said(parser.takeEvents());
}

const QByteArray WRITE = frameOf("01 06 E3 25 01 F4");
const QByteArray UNKNOWN = frameOf("05 2B 0E 01 00");

// Whatever pieces an adapter hands it over in.
TEST(BusParser, PairsRequestsAndReplies) {
    struct Row {
        QByteArray bytes;
        const char* heard;
    };
    const QByteArray read = readOf(1, 5);
    const QByteArray value = valueOf(1, 7);
    const QByteArray status = frameOf("01 07");
    const QByteArray toAll = frameOf("00 06 E3 25 01 F4");
    for (const Row& row :
         {Row{read + value + readOf(2, 5) + frameOf("02 83 02"), "exchange 8 7, exchange 8 5"},
          Row{WRITE + WRITE + WRITE + WRITE, "exchange 8 8, exchange 8 8"},
          Row{toAll + WRITE + WRITE, "broadcast 8, exchange 8 8"},
          Row{status + frameOf("01 07 11"), "exchange 4 5"},
          Row{read + read + value, "unanswered 8, exchange 8 7"},
          Row{read + readOf(2, 5) + valueOf(2, 7), "unanswered 8, exchange 8 7"},
          Row{read + valueOf(2, 7), "orphan 7, pending 8"},
          Row{value + read + value, "orphan 7, exchange 8 7"},
          Row{value.mid(3) + read + value, "exchange 8 7"}}) {
        for (const int chunk : {1, 3, 1000}) {
            EXPECT_EQ(heard(row.bytes, chunk), row.heard) << chunk;
        }
    }
}

TEST(BusParser, FindsItsWayBackAfterDamage) {
    const QByteArray read = readOf(1, 5);
    const QByteArray value = valueOf(1, 7);
    QByteArray flipped = value;
    flipped[4] = char(flipped[4] ^ 1);
    EXPECT_EQ(heard(read + flipped + read + value), "damaged-reply 8 7, exchange 8 7");
    EXPECT_EQ(heard(read + value.left(5) + read + value), "damaged-reply 8 5, exchange 8 7");
    EXPECT_EQ(heard(read.left(5) + read + value), "exchange 8 7") << "it began in the middle";
    EXPECT_EQ(heard(read + value + read.left(5) + read + value), "exchange 8 7, damage 5, exchange 8 7");
    EXPECT_EQ(heard(read + QByteArray(1, '\0') + value), "damage 1, exchange 8 7")
        << "a line that turns round";
    QByteArray other = readOf(2, 9);
    other[3] = char(other[3] ^ 1);
    EXPECT_EQ(heard(read + other + value), "unanswered 8, damage 8, orphan 7")
        << "it may be the reply to the damaged request";
}

TEST(BusParser, AFrameOfAnUnknownCodeEndsWhereAPieceDoes) {
    BusParser parser(serialSettings());
    const QByteArray reply = frameOf("05 2B 0E 01 01 00 00 01 00 03 41 42 43");
    parser.feed(UNKNOWN.constData(), UNKNOWN.size(), 1000);
    parser.feed(reply.constData(), 6, 20000);
    parser.feed(reply.constData() + 6, reply.size() - 6, 30000);
    parser.finish();
    EXPECT_EQ(said(parser.takeEvents()), "exchange 7 15");
}

// In damage its CRC would be found by chance: any length may be right.
TEST(BusParser, AFrameOfAnUnknownCodeBeginsBehindAFrameOrSilence) {
    const QByteArray read = readOf(1, 5);
    EXPECT_EQ(heard(read + valueOf(1, 7) + UNKNOWN), "exchange 8 7, pending 7");
    EXPECT_EQ(heard(read + QByteArray(3, '\x55') + UNKNOWN), "unanswered 8, damage 10");
}

TEST(BusParser, NoiseThatNeverEndsIsToldInParts) {
    EXPECT_EQ(heard(QByteArray(1000, '\xFF') + readOf(1, 5) + valueOf(1, 7)),
              "damage 256, damage 256, damage 232, exchange 8 7");
}

// The same bytes again are the acknowledgement as a rule; what comes after a timeout is the next attempt.
TEST(BusParser, AWriteThatIsRepeatedAfterATimeoutIsNoReply) {
    BusParser parser(serialSettings());
    qint64 nowUs = 0;
    const auto say = [&](const QByteArray& bytes, qint64 afterUs) {
        parser.feed(bytes.constData(), bytes.size(), nowUs += afterUs);
    };
    for (int i = 0; i < 10; ++i) {
        say(readOf(1, 5), 50000);
        say(valueOf(1, i), 12000);
    }
    say(WRITE, 50000);
    say(WRITE, 500000);
    say(WRITE, 15000);
    parser.finish();
    std::vector<BusEvent> events = parser.takeEvents();
    events.erase(events.begin(), events.begin() + 10);
    EXPECT_EQ(said(events), "unanswered 8, exchange 8 8");
}

// Two masters: nothing tells whose a reply is that fits both requests.
TEST(BusParser, AReplyThatFitsTwoRequestsIsDoubtful) {
    EXPECT_EQ(heard(readOf(1, 5) + readOf(1, 6) + valueOf(1, 7)), "unanswered 8, doubtful 8 7");
    EXPECT_EQ(heard(readOf(1, 5) + readOf(1, 5) + valueOf(1, 7)), "unanswered 8, exchange 8 7") << "the same";
    BusParser patient(serialSettings());
    const auto say = [&](const QByteArray& bytes, qint64 nowUs) {
        patient.feed(bytes.constData(), bytes.size(), nowUs);
    };
    say(readOf(1, 5), 10000);
    say(readOf(1, 6), 500000);
    say(valueOf(1, 7), 520000);
    EXPECT_EQ(said(patient.takeEvents()), "unanswered 8, exchange 8 7") << "nobody waits so long";
}

TEST(BusParser, SilenceDecidesWhatMoreBytesCouldNot) {
    BusParser parser(serialSettings());
    EXPECT_FALSE(parser.nextDueUs());
    const QByteArray half = readOf(1, 5).left(6);
    parser.feed(half.constData(), half.size(), 1000);
    parser.advance(*parser.nextDueUs());
    EXPECT_EQ(said(parser.takeEvents()), "") << "it may have begun in the middle";
    parser.feed(half.constData(), half.size(), 1000000);
    EXPECT_EQ(said(parser.takeEvents()), "");
    ASSERT_TRUE(parser.nextDueUs());
    parser.advance(*parser.nextDueUs());
    EXPECT_EQ(said(parser.takeEvents()), "damage 6");
    EXPECT_FALSE(parser.nextDueUs());
}

// What comes when listening ends is not to blame for that.
TEST(BusParser, TheEndDamagesNothing) {
    BusParser parser(serialSettings());
    const QByteArray read = readOf(1, 5);
    parser.feed(read.constData(), read.size(), 1000);
    const QByteArray half = valueOf(1, 7).left(4);
    parser.feed(half.constData(), half.size(), 9000);
    parser.finish();
    EXPECT_EQ(said(parser.takeEvents()), "pending 8");
    BusParser patient(serialSettings());
    patient.feed(read.constData(), read.size(), 1000);
    patient.advance(300000);
    patient.finish();
    EXPECT_EQ(said(patient.takeEvents()), "unanswered 8");
}

}  // namespace

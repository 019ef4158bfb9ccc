// What a listener makes of what it heard: what is polled, how often, and what is wrong with the line.
#include "host/exchange/bus_watch.h"

#include <gtest/gtest.h>

#include "exchange_rig.h"

using namespace dx7;
using namespace truth;

namespace {

// A line at 9600 baud, listened to.
class Listener : public testing::Test {
protected:
    // The last byte of the frame comes so long after that of the one before.
    void say(const QByteArray& frame, qint64 afterMs) {
        nowUs += afterMs * 1000;
        parser.feed(frame.constData(), frame.size(), nowUs);
        take();
    }
    void end() {
        parser.finish();
        take();
    }
    void take() {
        for (const BusEvent& event : parser.takeEvents()) {
            watch.take(event);
        }
    }
    const HeardRequest& requestOf(const QByteArray& frame) const {
        return watch.requests().at(requestKey(frame));
    }

    LineSettings settings = serialSettings();
    qint64 nowUs = 0;
    BusParser parser{settings};
    BusWatch watch{settings};
};

TEST_F(Listener, CountsWhatIsPolledAndHowOften) {
    for (int i = 0; i < 10; ++i) {
        say(readOf(1, 5), 80);
        say(valueOf(1, i), 20);
        say(readOf(2, 5), 300);
        say(i % 2 == 0 ? valueOf(2, i) : frameOf("02 83 02"), 20);
    }
    say(readOf(3, 5), 50);
    say(readOf(3, 5), 500);
    end();
    const HeardRequest& first = requestOf(readOf(1, 5));
    EXPECT_EQ(10, first.counts.answered);
    EXPECT_EQ(9, first.intervals.count());
    EXPECT_EQ(420000, first.intervals.minUs());
    EXPECT_EQ(420000, first.intervals.maxUs());
    EXPECT_EQ(20000 - lineTimeUs(settings, 7), first.counts.replyTimes.maxUs());
    const HeardRequest& second = requestOf(readOf(2, 5));
    EXPECT_EQ(5, second.counts.refused);
    EXPECT_EQ(10, second.counts.answered) << "a refusal is an answer";
    EXPECT_EQ(2, second.exceptionCode);
    EXPECT_EQ(2, watch.stations().at(3).counts.requests);
    EXPECT_EQ(1, watch.stations().at(3).counts.unanswered) << "the reply to the last one may still come";
    EXPECT_EQ(22, watch.all().requests);
    EXPECT_EQ(QStringList(), watch.signs());
}

TEST_F(Listener, AReplyWithoutItsRequestIsCountedUnlessItIsTheFirst) {
    for (int i = 0; i < 3; ++i) {
        say(valueOf(1, 7), 50);
    }
    EXPECT_EQ(2, watch.stations().at(1).orphans);
}

TEST_F(Listener, AWriteIsTheSameOneWhateverItWrites) {
    say(frameOf("01 06 E3 25 01 F4"), 50);
    say(frameOf("01 06 E3 25 01 F4"), 20);
    say(frameOf("01 06 E3 25 00 07"), 50);
    say(frameOf("01 06 E3 25 00 07"), 20);
    say(frameOf("00 06 E3 25 00 07"), 20);
    end();
    EXPECT_EQ(2U, watch.requests().size()) << "and a broadcast another one";
    EXPECT_EQ(2, requestOf(frameOf("01 06 E3 25 00 00")).counts.answered);
    EXPECT_EQ(1, watch.broadcasts());
    EXPECT_EQ(2, watch.all().requests);
}

// No master asks something else while it is being answered.
TEST_F(Listener, TwoMastersAreSeenByOneReplyThatCrosses) {
    say(readOf(2, 5), 50);
    say(valueOf(2, 7), 15);
    say(readOf(1, 5), 50);
    say(readOf(2, 5), 12);
    say(valueOf(1, 7), 15);
    say(valueOf(2, 7), 15);
    end();
    ASSERT_EQ(1, watch.signs().size());
    EXPECT_EQ(watch.signs().first(),
              QStringLiteral(
                  "two masters on this line? A request came while the one before was being answered, once"));
}

TEST_F(Listener, TwoMastersAreSeenByRequestsInAHurry) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(QStringList(), watch.signs());
        say(readOf(1, 5), 50);
        say(readOf(2, 5), 12);
        say(valueOf(2, 7), 15);
    }
    end();
    ASSERT_EQ(1, watch.signs().size());
    EXPECT_TRUE(watch.signs().first().startsWith(QStringLiteral("two masters on this line?")));
}

// Its time-out is short, and the reply comes late.
TEST_F(Listener, AMasterThatDoesNotWaitForALateReplyIsOne) {
    for (int i = 0; i < 5; ++i) {
        say(readOf(1, 5), 50);
        say(readOf(2, 5), 60);
        say(valueOf(1, 7), 15);
        say(valueOf(2, 7), 15);
    }
    end();
    EXPECT_EQ(QStringList(), watch.signs());
}

TEST_F(Listener, AnImpatientMasterIsOne) {
    for (int i = 0; i < 10; ++i) {
        say(readOf(1, 5), 100);
        say(readOf(2, 5), 40);
        say(valueOf(2, 7), 15);
    }
    end();
    EXPECT_EQ(10, watch.stations().at(1).counts.unanswered);
    EXPECT_EQ(QStringList(), watch.signs());
}

TEST_F(Listener, TwoStationsWithOneNumberAnswerTwice) {
    for (int i = 0; i < 3; ++i) {
        say(readOf(1, 5), 50);
        say(valueOf(1, 7), 15);
        say(valueOf(1, 9), 10);
    }
    end();
    EXPECT_EQ(3, watch.stations().at(1).doubled);
    ASSERT_EQ(1, watch.signs().size());
    EXPECT_TRUE(watch.signs().first().startsWith(QStringLiteral("two stations with the number 1?")));
}

TEST_F(Listener, TwoStationsThatSpeakAtOnceDamageTheirReplies) {
    for (int i = 0; i < 20; ++i) {
        say(readOf(1, 5), 50);
        QByteArray reply = valueOf(1, 7);
        if (i % 4 == 0) {
            reply[4] = char(reply[4] ^ 0x55);
        }
        say(reply, 15);
    }
    end();
    EXPECT_EQ(5, watch.stations().at(1).counts.damaged);
    ASSERT_EQ(1, watch.signs().size());
    EXPECT_TRUE(watch.signs().first().contains(QStringLiteral("5 of its 20 replies came damaged")));
}

TEST_F(Listener, ItsMemoryIsBounded) {
    const int more = 100;
    for (int i = 0; i < BusWatch::MOST_REQUESTS + more; ++i) {
        say(readOf(1, i), 20);
        say(valueOf(1, 7), 15);
    }
    end();
    EXPECT_EQ(std::size_t(BusWatch::MOST_REQUESTS), watch.requests().size());
    EXPECT_EQ(more, watch.unlisted());
    EXPECT_EQ(BusWatch::MOST_REQUESTS + more, watch.stations().at(1).counts.answered);
}

}  // namespace

// A line whose stations refuse some of what is polled.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "host/exchange/rtu_frame.h"
#include "host/poll/poll_engine.h"
#include "loaded_driver.h"
#include "rig.h"

using namespace dx7;

namespace {

const qint64 SECOND = 1000000;

bool readsF(const QByteArray& request) {
    return !isQuery(request) && wordAt(request, 2) >= 0xF000;
}

// A paced line; `refuses` gives the code with which a station refuses a read, or 0.
class PollEngineRefusals : public testing::Test {
protected:
    PollEngineRefusals() {
        rig.line.script = [this](ScriptedLine& line, const QByteArray& request) {
            const int station = byteAt(request, 0);
            const int code = isQuery(request) ? 0 : refuses(station, wordAt(request, 2), wordAt(request, 4));
            if (toLose > 0 && readsF(request)) {
                --toLose;
            } else if (code == 0) {
                answer(line, rig.settings, device, request);
            } else {
                ++refusals;
                const char function = static_cast<char>(byteAt(request, 1) | EXCEPTION_BIT);
                line.arriveInTurn(framed(QByteArray(request.left(1)) + function + static_cast<char>(code)),
                                  lineTimeUs(rig.settings, request.size() + 5) + 2000);
            }
        };
        EngineEvents events;
        events.notice = [this](const QString& notice) { notices += notice; };
        rig.engine.setEvents(events);
    }
    int refusalsIn(qint64 durationUs) {
        const int before = refusals;
        rig.runFor(durationUs);
        return refusals - before;
    }
    void expectGoodBut(const QVector<int>& points, const QString& fault) const {
        for (int i = 0; i < rig.engine.table().size(); ++i) {
            const bool bad = points.contains(i);
            EXPECT_EQ(rig.told(i).quality, bad ? Quality::Bad : Quality::Good) << i;
            EXPECT_EQ(rig.told(i).fault, bad ? fault : QString()) << i;
        }
    }

    Rig rig;
    ScriptedDevice device;
    std::function<int(int station, int start, int count)> refuses = [](int, int, int) { return 0; };
    int refusals = 0;
    // So many of the next reads of F get no reply.
    int toLose = 0;
    QStringList notices;
};

TEST_F(PollEngineRefusals, OneItemThatAStationDoesNotHaveLeavesItsNeighboursGood) {
    refuses = [](int, int start, int count) { return start <= 0xF005 && 0xF005 < start + count ? 2 : 0; };
    rig.watch("F:0.0.00,10 AI:0,4");
    rig.runFor(6 * SECOND);
    expectGoodBut({5}, QStringLiteral("exception 2 (illegal data address)"));
    rig.runFor(60 * SECOND);
    EXPECT_LE(refusalsIn(60 * SECOND), 7) << "after pauses of 10 s";
    expectGoodBut({5}, QStringLiteral("exception 2 (illegal data address)"));
    refuses = [](int, int, int) { return 0; };
    rig.runFor(13 * SECOND);
    expectGoodBut({}, QString());
}

// The neighbours of a refused item are not refused: nothing is said of them that is not so.
TEST_F(PollEngineRefusals, OnlyWhatIsRefusedIsToldAsRefused) {
    refuses = [](int, int start, int count) { return start <= 0xF005 && 0xF005 < start + count ? 2 : 0; };
    QVector<int> refusedPoints;
    EngineEvents events;
    events.value = [&](int point) {
        if (rig.told(point).fault.startsWith(QStringLiteral("exception"))) {
            refusedPoints += point;
        }
    };
    rig.engine.setEvents(events);
    rig.watch("F:0.0.00,10 AI:0,4");
    rig.runFor(20 * SECOND);
    EXPECT_EQ(refusedPoints, QVector<int>{5}) << "once";
}

TEST_F(PollEngineRefusals, ATypeThatAStationDoesNotHaveLeavesTheOthersGood) {
    refuses = [](int, int start, int) { return start >= 0xF000 ? 1 : 0; };
    rig.watch("F:0.0.00,4 F:3.0.00 AI:0,4");
    rig.runFor(6 * SECOND);
    expectGoodBut({0, 1, 2, 3, 4}, QStringLiteral("exception 1 (illegal function)"));
    rig.runFor(60 * SECOND);
    EXPECT_LE(refusalsIn(60 * SECOND), 7);
}

TEST_F(PollEngineRefusals, ABusyStationIsAskedEverMoreSeldom) {
    refuses = [](int station, int, int) { return station == 1 ? 6 : 0; };
    rig.watch("F:0.0.00,10@1 F:0.0.00,10@2");
    rig.runFor(60 * SECOND);
    EXPECT_LE(refusalsIn(60 * SECOND), 7);
    expectGoodBut({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, QStringLiteral("exception 6 (server device busy)"));
    EXPECT_TRUE(rig.engine.health().dead().isEmpty()) << "a refusal is an answer";
    refuses = [](int, int, int) { return 0; };
    rig.runFor(13 * SECOND);
    expectGoodBut({}, QString());
}

// A probe that is lost takes the line for one time-out, not for three: the next one is due the sooner.
TEST_F(PollEngineRefusals, AProbeThatIsLostIsNotRepeatedAtOnce) {
    refuses = [](int, int start, int) { return start >= 0xF000 ? 6 : 0; };
    rig.watch("F:0.0.00,10 AI:0,4");
    ASSERT_TRUE(rig.runUntil([this] { return refusals == 2; }));
    refuses = [](int, int, int) { return 0; };
    toLose = 1;
    ASSERT_TRUE(rig.runUntil([this] { return toLose == 0; }));
    const qint64 lostUs = rig.clock.nowUs();
    rig.line.requests.clear();
    const auto asked = [this] {
        return std::count_if(rig.line.requests.begin(), rig.line.requests.end(), readsF);
    };
    ASSERT_TRUE(rig.runUntil([&] { return asked() > 0; }));
    const qint64 pauseUs = rig.clock.nowUs() - lostUs;
    EXPECT_GT(pauseUs, 12 * 300000) << "repeated at once";
    EXPECT_LT(pauseUs, 18 * 300000);
    rig.runFor(3 * SECOND);
    expectGoodBut({}, QString());
}

TEST_F(PollEngineRefusals, AStationThatTakesShortRequestsAloneIsPolledInShortOnes) {
    refuses = [](int, int, int count) { return count > 4 ? 2 : 0; };
    rig.watch("SDO:1,8 AI:0,4 F:0.0.00,10");
    rig.runFor(8 * SECOND);
    expectGoodBut({}, QString());
    EXPECT_EQ(refusalsIn(60 * SECOND), 0);
    ASSERT_FALSE(notices.isEmpty());
    EXPECT_TRUE(notices.first().contains(QStringLiteral("station 1"))) << notices.first().toStdString();
}

TEST_F(PollEngineRefusals, WhereEverythingIsRefusedTheLineIsQuiet) {
    refuses = [](int, int, int) { return 2; };
    rig.watch("F:0.0.00,10");
    rig.runFor(60 * SECOND);
    EXPECT_TRUE(rig.engine.plan().blocks().isEmpty() || !rig.engine.plan().underWay());
    EXPECT_LE(refusalsIn(60 * SECOND), 70) << "ten items, each after 10 s";
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(rig.told(i).fault, QStringLiteral("exception 2 (illegal data address)"));
    }
}

TEST_F(PollEngineRefusals, ManyRefusedItemsTakeLessThanATenthOfTheLine) {
    refuses = [](int, int start, int) { return start >= 0xF000 ? 2 : 0; };
    rig.watch("F:0.0.00,56 F:1.0.00,56 F:2.0.00,56 AI:0,4");
    rig.runFor(60 * SECOND);
    const qint64 cycles = rig.engine.statistics().cycles().count();
    const int refused = refusalsIn(60 * SECOND);
    // A refusal takes 13 bytes, the station's 2 ms and a silence: 19 ms.
    EXPECT_LE(refused, 60000 / 19 / 10);
    EXPECT_GT(rig.engine.statistics().cycles().count() - cycles, 1200);
}

TEST_F(PollEngineRefusals, AWriteIsRefusedOnceAndNotRepeated) {
    refuses = [](int, int start, int) { return start >= 0xE000 ? 2 : 0; };
    QVector<Transaction> ends;
    rig.write("F:0.0.00=1", [&ends](const Transaction& transaction) { ends += transaction; });
    EXPECT_TRUE(rig.runOperations());
    ASSERT_EQ(ends.size(), 1);
    EXPECT_EQ(ends.first().outcome, Outcome::Exception);
    EXPECT_EQ(refusals, 1);
}

}  // namespace

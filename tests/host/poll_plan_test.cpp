#include "host/poll/poll_plan.h"

#include <gtest/gtest.h>

#include "host/exchange/transaction.h"
#include "loaded_driver.h"
#include "scripted_line.h"

using namespace dx7;

namespace {

QVector<Point> points(std::initializer_list<const char*> texts) {
    QStringList list;
    for (const char* text : texts) {
        list += QString::fromLatin1(text);
    }
    return notation().points(list);
}

QStringList texts(const QVector<ItemRange>& ranges) {
    QStringList list;
    for (const ItemRange& range : ranges) {
        list += QStringLiteral("%1#%2%3(%4)")
                    .arg(range.station)
                    .arg(range.regType)
                    .arg(range.address)
                    .arg(range.count);
    }
    return list;
}

class PollPlanTest : public testing::Test {
protected:
    PollPlanTest() : session(driverFunctions(), QByteArray("1#0#0#3#64")), plan(session) {}

    // The stations that the driver asks as long as no block is done.
    QVector<int> asked(int requests) {
        QVector<int> stations;
        for (int i = 0; i < requests; ++i) {
            FRAME_PRO frame;
            EXPECT_TRUE(session.nextRequest(&frame));
            stations += frame.station;
            QByteArray reply =
                device.answer(QByteArray(reinterpret_cast<const char*>(frame.sendBuf), frame.sendLen));
            QString info;
            EXPECT_EQ(session.takeReply(reply, info), DX7_REPLY_GOOD);
        }
        return stations;
    }

    DriverSession session;
    PollPlan plan;
    ScriptedDevice device;
};

TEST_F(PollPlanTest, EntriesAreSingleSortedAndUnique) {
    EXPECT_EQ(texts(pollEntries(points({"F:0.0.02,2", "F:0.0.01,2", "F:0.0.02/u32", "AI:0"}))),
              texts({{1, QStringLiteral("AI"), 0, 1},
                     {1, QStringLiteral("F"), 1, 1},
                     {1, QStringLiteral("F"), 2, 1},
                     {1, QStringLiteral("F"), 3, 1}}));
}

TEST_F(PollPlanTest, NeighboursAreOneBlockWithinTheirSubGroup) {
    plan.begin({pollEntries(points({"F:0.0.05,10"}))});
    EXPECT_EQ(texts(plan.blocks()), texts({{1, QStringLiteral("F"), 5, 5}, {1, QStringLiteral("F"), 10, 5}}));
}

TEST_F(PollPlanTest, TheSameItemsAtTwoStationsAreReadFromBoth) {
    plan.begin({pollEntries(points({"F:0.0.00,5@1", "F:0.0.00,5@2"}))});
    EXPECT_EQ(texts(plan.blocks()), texts({{1, QStringLiteral("F"), 0, 5}, {2, QStringLiteral("F"), 0, 5}}));
    EXPECT_EQ(asked(2), (QVector<int>{1, 1})) << "in one list the driver would join the two";
    plan.blockDone();
    EXPECT_EQ(asked(2), (QVector<int>{2, 2}));
}

TEST_F(PollPlanTest, OneHandOverIsEnoughWhereNothingWouldBeJoined) {
    plan.begin({pollEntries(points({"F:0.0.00@1", "F:3.0.00@2"}))});
    EXPECT_EQ(plan.blockCount(), 2);
    EXPECT_EQ(asked(2), (QVector<int>{1, 2}));
}

TEST_F(PollPlanTest, PartsTakeTurnsAndEndTheTurnTogether) {
    const EntryLists lists{pollEntries(points({"F:0.0.05,10@1", "F:0.0.05,10@2"}))};
    for (int turn = 0; turn < 2; ++turn) {
        plan.begin(lists);
        for (const bool last : {false, false, false, true}) {
            EXPECT_TRUE(plan.underWay());
            EXPECT_EQ(plan.blockDone(), last);
        }
        EXPECT_FALSE(plan.underWay());
        EXPECT_FALSE(plan.blockDone());
    }
}

TEST_F(PollPlanTest, ListsAreReadOneAfterTheOther) {
    plan.begin({pollEntries(points({"F:0.0.00,2", "F:0.0.04"})), pollEntries(points({"F:0.0.02,2"}))});
    EXPECT_EQ(texts(plan.blocks()), texts({{1, QStringLiteral("F"), 0, 2},
                                           {1, QStringLiteral("F"), 4, 1},
                                           {1, QStringLiteral("F"), 2, 2}}));
    for (const bool last : {false, false, true}) {
        EXPECT_EQ(plan.blockDone(), last);
    }
}

TEST_F(PollPlanTest, BetweenTurnsTheDriverHasNothingToSend) {
    plan.begin({pollEntries(points({"AI:0@1", "F:0.0.00@3"}))});
    EXPECT_EQ(asked(2), (QVector<int>{1, 3}));
    plan.blockDone();
    EXPECT_TRUE(plan.blockDone());
    plan.clear();
    FRAME_PRO frame;
    EXPECT_FALSE(session.nextRequest(&frame));
    plan.begin({pollEntries(points({"AI:0@1", "F:0.0.00@3"}))});
    EXPECT_EQ(asked(2), (QVector<int>{1, 3}));
}

// Whatever is watched, every item is read from its own station.
TEST_F(PollPlanTest, EveryItemIsCoveredByABlockOfItsOwnStation) {
    const char* patterns[] = {"%1:0,4@%2", "%1:0@%2", "%1:1,2@%2"};
    for (const char* pattern : patterns) {
        QStringList items;
        for (int station = 1; station <= 12; ++station) {
            for (const RegisterType& type : notation().types()) {
                const QString text = QString::fromLatin1(pattern).arg(type.name).arg(station);
                int address = 0;
                const QString start = text.section(QLatin1Char(':'), 1).section(QLatin1Char(','), 0, 0);
                const int count = text.contains(QLatin1Char(',')) ? (start == QLatin1String("0") ? 4 : 2) : 1;
                const QString plain = start.section(QLatin1Char('@'), 0, 0);
                const QString typed = type.grouped()
                                          ? QStringLiteral("0.0.") + plain.rightJustified(2, QLatin1Char('0'))
                                          : plain;
                if (driverFunctions().checkAddrValidity(type.name, typed, &address, count,
                                                        type.bit ? 0 : 1) == DX7_ADDRESS_VALID) {
                    items += QStringLiteral("%1:%2,%3@%4").arg(type.name, typed).arg(count).arg(station);
                }
            }
        }
        const QVector<ItemRange> entries = pollEntries(notation().points(items));
        ASSERT_GT(entries.size(), 12);
        plan.begin({entries});
        EXPECT_TRUE(coversAll(plan.blocks(), entries)) << pattern;
    }
}

// A block that begins far before an entry covers it, whatever shorter blocks begin between.
TEST(CoversAll, LooksAtEveryBlock) {
    const QString f = QStringLiteral("F");
    const QString d = QStringLiteral("D");
    const QVector<ItemRange> blocks{{1, f, 0, 20}, {1, f, 5, 2}, {1, d, 0, 3}, {2, f, 30, 5}};
    EXPECT_TRUE(
        coversAll(blocks, {{1, f, 10, 1}, {1, f, 19, 1}, {1, f, 0, 20}, {1, d, 2, 1}, {2, f, 30, 5}}));
    EXPECT_TRUE(coversAll(blocks, {}));
    for (const ItemRange& entry : {ItemRange{1, f, 20, 1}, ItemRange{1, f, 19, 2}, ItemRange{2, f, 29, 2},
                                   ItemRange{2, f, 10, 1}, ItemRange{2, d, 0, 1}, ItemRange{3, f, 0, 1}}) {
        EXPECT_FALSE(coversAll(blocks, {entry})) << entry.station << ' ' << entry.address;
    }
    EXPECT_FALSE(coversAll({}, {{1, f, 0, 1}}));
}

}  // namespace

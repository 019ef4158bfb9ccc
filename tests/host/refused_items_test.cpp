#include "host/poll/refused_items.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "host/poll/poll_plan.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

const qint64 SECOND = 1000000;
const QString F = QStringLiteral("F");

// What a station says to a read: 0 when it has the values, or the code of its refusal.
using Station = std::function<int(const ItemRange&)>;

bool touches(const ItemRange& range, int address) {
    return range.address <= address && address < range.address + range.count;
}

// A station that is polled, without a line: runs of neighbours are blocks of at most 60 items.
class Polling {
public:
    Polling(const QString& items, Station station)
        : station_(std::move(station)),
          entries_(pollEntries(notation().points(items.split(QLatin1Char(' '))))) {
        refused.watch(notation().points(items.split(QLatin1Char(' '))));
    }

    // One cycle of the plan, with the searches that it begins. The number of refusals in it.
    int cycle() {
        int refusals = 0;
        for (const QVector<ItemRange>& list : refused.lists(entries_)) {
            for (const ItemRange& block : blocksOf(list)) {
                const int code = ask(block);
                refusals += code == 0 ? 0 : 1;
                if (code == 0) {
                    refused.read(block);
                } else {
                    refused.refused(block, code, nowUs);
                }
            }
        }
        while (const auto part = refused.next({})) {
            refusals += askAlone(*part);
        }
        return refusals;
    }
    // Asks whatever is left out and due; how many those were.
    int askDue() {
        int times = 0;
        while (const auto range = refused.due({}, nowUs)) {
            askAlone(*range);
            ++times;
        }
        return times;
    }
    // Addresses of F that are left out.
    QVector<int> out() const {
        QVector<int> addresses;
        for (const ItemRange& entry : entries_) {
            if (refused.leftOut(entry)) {
                addresses += entry.address;
            }
        }
        return addresses;
    }
    QVector<ItemRange> blocks() const {
        QVector<ItemRange> all;
        for (const QVector<ItemRange>& list : refused.lists(entries_)) {
            all += blocksOf(list);
        }
        return all;
    }

    RefusedItems refused;
    qint64 nowUs = 0;
    int requests = 0;
    QVector<ItemRange> asked;

private:
    static QVector<ItemRange> blocksOf(const QVector<ItemRange>& list) {
        QVector<ItemRange> blocks;
        for (const ItemRange& entry : list) {
            const bool follows = !blocks.isEmpty() && blocks.last().station == entry.station &&
                                 blocks.last().regType == entry.regType && blocks.last().count < 60 &&
                                 blocks.last().address + blocks.last().count == entry.address;
            if (follows) {
                ++blocks.last().count;
            } else {
                blocks += entry;
            }
        }
        return blocks;
    }
    int ask(const ItemRange& range) {
        ++requests;
        asked += range;
        return station_(range);
    }
    int askAlone(const ItemRange& range) {
        const int code = ask(range);
        refused.asked(range, code == 0 ? ReadEnd{ReadEnd::Read, 0} : ReadEnd{ReadEnd::Refused, code}, nowUs);
        return code == 0 ? 0 : 1;
    }

    Station station_;
    QVector<ItemRange> entries_;
};

Station without(const QVector<int>& missing, int code = 2) {
    return [missing, code](const ItemRange& range) {
        const bool any =
            std::any_of(missing.begin(), missing.end(), [&](int address) { return touches(range, address); });
        return any ? code : 0;
    };
}

// An item that the station does not have, and what is left out for it.
struct Missing {
    const char* what;
    const char* items;
    QVector<int> missing;
    QVector<int> out;
    int mostRequests;
};
void PrintTo(const Missing& missing, std::ostream* out) {
    *out << missing.what;
}

class MissingItems : public testing::TestWithParam<Missing> {};

TEST_P(MissingItems, AreLeftOutAloneAndTheOthersArePolled) {
    Polling polling(QString::fromLatin1(GetParam().items), without(GetParam().missing));
    EXPECT_GT(polling.cycle(), 0);
    EXPECT_EQ(polling.out(), GetParam().out);
    EXPECT_LE(polling.requests, GetParam().mostRequests);
    for (int cycle = 0; cycle < 5; ++cycle) {
        EXPECT_EQ(polling.cycle(), 0) << "nothing that is polled is refused";
    }
    EXPECT_TRUE(polling.refused.takeNotices().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Table, MissingItems,
    testing::Values(Missing{"one of sixty", "F:0.0.00,56", {17}, {17}, 13},
                    Missing{"the first", "F:0.0.00,8", {0}, {0}, 7},
                    Missing{"the last", "F:0.0.00,8", {7}, {7}, 7},
                    Missing{"the only one", "F:0.0.05", {5}, {5}, 1},
                    Missing{"two apart", "F:0.0.00,16", {3, 12}, {3, 12}, 17},
                    Missing{"all", "F:0.0.00,4", {0, 1, 2, 3}, {0, 1, 2, 3}, 7},
                    Missing{"half of a value of two words", "F:0.0.00/u32 F:0.0.02/u32", {3}, {2, 3}, 3},
                    Missing{
                        "beside values of two words", "F:0.0.00/u32 F:0.0.02 F:0.0.03/s32", {2}, {2}, 6}));

TEST(RefusedItems, AValueOfTwoWordsIsNeverCut) {
    Polling polling(QStringLiteral("F:0.0.00,10/u32"), without({12}));
    polling.cycle();
    for (const ItemRange& range : qAsConst(polling.asked)) {
        EXPECT_EQ(range.address % 2, 0) << range.address;
        EXPECT_EQ(range.count % 2, 0) << range.address;
    }
    EXPECT_EQ(polling.out(), (QVector<int>{12, 13}));
}

TEST(RefusedItems, AreAskedAfterPausesAsLongAsThoseOfASilentStation) {
    Polling polling(QStringLiteral("F:0.0.00,8"), without({3}));
    polling.cycle();
    for (int pause = 1; pause <= 25; ++pause) {
        const qint64 longUs = std::min(pause * SECOND / 2, 10 * SECOND);
        ASSERT_EQ(polling.refused.nextDueUs({}), polling.nowUs + longUs) << pause;
        polling.nowUs += longUs - 1;
        EXPECT_EQ(polling.askDue(), 0);
        ++polling.nowUs;
        EXPECT_EQ(polling.askDue(), 1);
        EXPECT_EQ(polling.asked.last(), (ItemRange{1, F, 3, 1}));
    }
}

TEST(RefusedItems, ArePolledAgainWithTheirFirstAnswer) {
    bool has = false;
    Polling polling(QStringLiteral("F:0.0.00,8"),
                    [&has](const ItemRange& range) { return touches(range, 3) && !has ? 2 : 0; });
    polling.cycle();
    has = true;
    polling.nowUs = SECOND;
    EXPECT_EQ(polling.askDue(), 1);
    EXPECT_TRUE(polling.out().isEmpty());
    EXPECT_TRUE(polling.refused.empty());
    EXPECT_EQ(polling.blocks(), (QVector<ItemRange>{{1, F, 0, 8}}));
}

// Any other refusal says nothing of the items.
class OtherRefusals : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Codes, OtherRefusals, testing::Values(4, 5, 6, 7, 8, 10, 11, 99));

TEST_P(OtherRefusals, LeaveTheBlockAsItIsAndAskEverMoreSeldom) {
    const int code = GetParam();
    Polling polling(QStringLiteral("F:0.0.00,8"), [code](const ItemRange&) { return code; });
    EXPECT_EQ(polling.cycle(), 1);
    for (int pause = 1; pause <= 25; ++pause) {
        EXPECT_EQ(polling.cycle(), 0);
        const qint64 longUs = std::min(pause * SECOND / 2, 10 * SECOND);
        EXPECT_EQ(polling.refused.nextDueUs({}), polling.nowUs + longUs);
        polling.nowUs += longUs;
        EXPECT_EQ(polling.askDue(), 1);
    }
    for (const ItemRange& range : qAsConst(polling.asked)) {
        EXPECT_EQ(range, (ItemRange{1, F, 0, 8}));
    }
}

TEST(RefusedItems, IllegalFunctionHoldsForTheWholeTypeAtTheStation) {
    bool has = false;
    Polling polling(
        QStringLiteral("F:0.0.00,8@1 F:1.0.00@1/u32 AI:0,2@1 F:0.0.00,8@2"),
        [&has](const ItemRange& range) { return range.regType == F && range.station == 1 && !has; });
    EXPECT_EQ(polling.cycle(), 2) << "both blocks were in the turn";
    EXPECT_EQ(polling.cycle(), 0);
    EXPECT_TRUE(polling.refused.wholeType(1, F));
    EXPECT_FALSE(polling.refused.wholeType(2, F));
    EXPECT_EQ(polling.blocks(), (QVector<ItemRange>{{1, QStringLiteral("AI"), 0, 2}, {2, F, 0, 8}}));
    polling.nowUs = 10 * SECOND;
    EXPECT_EQ(polling.askDue(), 1) << "one item for the type";
    has = true;
    polling.nowUs = 30 * SECOND;
    EXPECT_EQ(polling.askDue(), 1);
    EXPECT_FALSE(polling.refused.wholeType(1, F));
    EXPECT_EQ(polling.cycle(), 0);
}

// A station that refuses the type in a block and takes the item that is asked alone.
TEST(RefusedItems, ATypeThatIsRefusedAgainIsAskedMoreSeldom) {
    Polling polling(QStringLiteral("F:0.0.00,8"),
                    [](const ItemRange& range) { return range.count > 1 ? 1 : 0; });
    for (int pause = 1; pause <= 5; ++pause) {
        EXPECT_EQ(polling.cycle(), 1);
        ASSERT_EQ(polling.refused.nextDueUs({}), polling.nowUs + pause * SECOND / 2);
        polling.nowUs += pause * SECOND / 2;
        EXPECT_EQ(polling.askDue(), 1);
        EXPECT_FALSE(polling.refused.wholeType(1, F));
    }
}

TEST(RefusedItems, WhereEachPartIsReadAloneTheStationsLengthIsKept) {
    for (const int code : {2, 3}) {
        Polling polling(QStringLiteral("F:0.0.00,50 F:1.0.00,50"),
                        [code](const ItemRange& range) { return range.count > 9 ? code : 0; });
        polling.cycle();
        EXPECT_EQ(polling.cycle(), 0);
        EXPECT_TRUE(polling.out().isEmpty());
        int items = 0;
        for (const ItemRange& block : polling.blocks()) {
            EXPECT_LE(block.count, 9);
            items += block.count;
        }
        EXPECT_EQ(items, 100);
        const QStringList notices = polling.refused.takeNotices();
        ASSERT_FALSE(notices.isEmpty());
        EXPECT_TRUE(notices.first().startsWith(QStringLiteral("station 1 refuses F in requests of")))
            << notices.first().toStdString();
        EXPECT_TRUE(notices.first().contains(QStringLiteral("--block"))) << notices.first().toStdString();
    }
}

TEST(RefusedItems, TheLengthKeptCutsNoValueOfTwoWords) {
    Polling polling(QStringLiteral("F:0.0.00,10/u32"),
                    [](const ItemRange& range) { return range.count > 7 ? 2 : 0; });
    polling.cycle();
    EXPECT_EQ(polling.cycle(), 0);
    for (const ItemRange& block : polling.blocks()) {
        EXPECT_EQ(block.address % 2, 0) << block.address;
        EXPECT_EQ(block.count % 2, 0) << block.address;
    }
}

// A request of the same length elsewhere is read: it is the place, not the length.
TEST(RefusedItems, ABoundaryThatNoRequestMayCrossIsNoLength) {
    Polling polling(QStringLiteral("F:0.0.00,8 F:1.0.00,40"),
                    [](const ItemRange& range) { return touches(range, 3) && touches(range, 4) ? 2 : 0; });
    polling.cycle();
    EXPECT_EQ(polling.cycle(), 0);
    EXPECT_TRUE(polling.out().isEmpty());
    int longest = 0;
    for (const ItemRange& block : polling.blocks()) {
        longest = std::max(longest, block.count);
    }
    EXPECT_EQ(longest, 40);
}

TEST(RefusedItems, ARefusalThatPassesTeachesNothing) {
    int refusals = 1;
    Polling polling(QStringLiteral("F:0.0.00,8"),
                    [&refusals](const ItemRange&) { return refusals-- > 0 ? 2 : 0; });
    polling.cycle();
    polling.nowUs = SECOND;
    polling.askDue();
    EXPECT_TRUE(polling.refused.empty());
    EXPECT_TRUE(polling.refused.takeNotices().isEmpty());
    EXPECT_EQ(polling.blocks(), (QVector<ItemRange>{{1, F, 0, 8}}));
}

// It may be what the station does not answer to; a search that began anew each time would take the whole
// line.
TEST(RefusedItems, APartThatIsNotAnsweredIsLeftOutAndThePlanAsksForTheRest) {
    RefusedItems refused;
    const QVector<Point> points = notation().points(QStringLiteral("F:0.0.00,8"));
    refused.watch(points);
    refused.refused(ItemRange{1, F, 0, 8}, 2, 0);
    const auto part = refused.next({});
    ASSERT_TRUE(part);
    EXPECT_FALSE(refused.next({1})) << "the station is silent";
    refused.asked(*part, ReadEnd{}, 0);
    EXPECT_FALSE(refused.next({}));
    EXPECT_EQ(refused.lists(pollEntries(points))[0].size(), 4);
    EXPECT_EQ(refused.nextDueUs({}), SECOND / 2);
    refused.asked(*part, ReadEnd{ReadEnd::Read, 0}, SECOND);
    EXPECT_TRUE(refused.empty());
}

TEST(RefusedItems, AreAskedAtOnceWhenTheLineIsBack) {
    Polling polling(QStringLiteral("F:0.0.00,8"), without({3}));
    polling.cycle();
    polling.refused.lineBack(SECOND / 10);
    EXPECT_EQ(polling.refused.nextDueUs({}), SECOND / 10);
    EXPECT_FALSE(polling.refused.nextDueUs({1})) << "a silent station is probed instead";
}

// Whatever stations lack, limit or part: in the end everything that they give is polled, nothing else is, and
// nothing that is polled is refused.
TEST(RefusedItems, AnyStationIsLearnt) {
    for (unsigned seed = 1; seed <= 500; ++seed) {
        std::mt19937 random(seed);
        QVector<int> missing;
        for (int address = 0; address < 100; ++address) {
            if (random() % 12 == 0) {
                missing += address;
            }
        }
        const int limit = random() % 2 == 0 ? 60 : 1 + static_cast<int>(random() % 20);
        const int boundary = static_cast<int>(random() % 120);
        const Station lacking = without(missing);
        const Station station = [&](const ItemRange& range) {
            const bool across = range.address < boundary && range.address + range.count > boundary;
            return range.count > limit || across ? 2 : lacking(range);
        };
        Polling polling(QStringLiteral("F:0.0.00,56 F:1.0.00,44"), station);
        int cycles = 0;
        while (polling.cycle() > 0 && cycles < 30) {
            // A pause is over before it may teach anything twice.
            polling.nowUs += 20 * SECOND;
            polling.askDue();
            ++cycles;
        }
        EXPECT_LT(cycles, 30) << seed;
        EXPECT_EQ(polling.out(), missing) << seed;
        EXPECT_LE(polling.requests, 1500) << seed;
    }
}

}  // namespace

// Merging of random lists, compared with the plain method: sort by exchanging neighbours, then walk twice.

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <climits>
#include <map>
#include <random>
#include <tuple>
#include <utility>

#include "polling_plan.h"
#include "support.h"

namespace dx7test {
namespace {

typedef QList<KEY_ADDRESS> Keys;

int wrapped(qint64 value) {
    return static_cast<int>(static_cast<quint32>(value));
}

quint32 plainWeight(const KEY_ADDRESS& key) {
    static const QStringList names = QString("CW_bit,SW_bit,DO,RO,SDO,DI,AI,FIN,F,D,DE,CW,FW,MOD").split(',');
    return static_cast<quint32>(327675LL * key.station + 65535LL * (names.indexOf(key.regType) + 1) +
                                key.address);
}

bool plainMayJoin(const KEY_ADDRESS& block, const KEY_ADDRESS& next) {
    if (block.regType != next.regType)
        return false;
    if (wrapped(static_cast<qint64>(next.address) -
                wrapped(static_cast<qint64>(block.address) + block.length)) > 0)
        return false;
    if (block.regType != "F" && block.regType != "D" && block.regType != "DE")
        return true;
    return next.address / 56 == block.address / 56 && next.address % 56 / 10 == block.address % 56 / 10;
}

/// One walk over `list`; the index of the first entry of each block goes to `starts`.
Keys plainPass(const Keys& list, QList<int>& starts) {
    Keys result;
    KEY_ADDRESS current = list.at(0);
    starts << 0;
    for (int i = 1; i < list.size(); ++i) {
        const KEY_ADDRESS& next = list.at(i);
        const int span = wrapped(static_cast<qint64>(next.address) + next.length - current.address);
        if (plainMayJoin(current, next) && span <= driver.maxBlockWords) {
            current.length = span;
            continue;
        }
        result << current;
        current = next;
        starts << i;
    }
    return result << current;
}

void plainSort(Keys& list) {
    for (int end = list.size() - 1; end > 0; --end) {
        for (int i = 0; i < end; ++i) {
            if (plainWeight(list.at(i)) > plainWeight(list.at(i + 1)))
                swapPlaces(list, i, i + 1);
        }
    }
}

/// What tells two entries apart, their host text included.
std::vector<std::pair<Items, QString>> identities(const Keys& list) {
    std::vector<std::pair<Items, QString>> all;
    for (const KEY_ADDRESS& key : list)
        all.emplace_back(itemsOf(key), key.hostText);
    return all;
}

/// How random entries are drawn.
struct Draw {
    const char* name;
    std::vector<const char*> types;
    std::vector<int> stations;
    int lowestAddress, highestAddress;
    int shortest, longest;
    /// Values of maxBlockWords.
    std::vector<int> limits;
};

void PrintTo(const Draw& draw, std::ostream* out) {
    *out << draw.name;
}

class RandomMerging : public DriverTest, public ::testing::WithParamInterface<Draw> {
protected:
    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
    template <typename T>
    T oneOf(const std::vector<T>& values) {
        return values[static_cast<size_t>(between(0, static_cast<int>(values.size()) - 1))];
    }

    Keys drawList() {
        const Draw& draw = GetParam();
        driver.maxBlockWords = oneOf(draw.limits);
        Keys list;
        const int size = between(1, 24);
        for (int i = 0; i < size; ++i) {
            list << entry(oneOf(draw.stations), oneOf(draw.types),
                          between(draw.lowestAddress, draw.highestAddress),
                          between(draw.shortest, draw.longest));
            list.last().hostText = "entry " + QString::number(i);
        }
        return list;
    }

    static const int rounds = 1500;

private:
    std::mt19937 random_{20240229};
};

TEST_P(RandomMerging, PlansLikeThePlainMethodInEveryModeButTwo) {
    for (int round = 0; round < rounds; ++round) {
        Keys list = drawList();
        Keys expected = list;
        QList<int> ignored;
        plainSort(expected);
        expected = plainPass(plainPass(expected, ignored), ignored);
        addrMerge(list, oneOf(std::vector<int>{1, 1, 1, 0, 3, -1, INT_MAX, INT_MIN}));
        ASSERT_EQ(identities(list), identities(expected)) << "round " << round;
        ASSERT_TRUE(driver.recipeBlockStart.isEmpty());
    }
}

TEST_P(RandomMerging, RecipeModeWalksOnceInTheHostsOrder) {
    for (int round = 0; round < rounds; ++round) {
        Keys list = drawList();
        QList<int> starts = driver.recipeBlockStart;
        const Keys expected = plainPass(list, starts);
        addrMerge(list, MERGE_RECIPE_BLOCKS);
        ASSERT_EQ(identities(list), identities(expected)) << "round " << round;
        ASSERT_EQ(driver.recipeBlockStart, starts) << "round " << round;
        if (round % 100 == 99)
            driver.recipeBlockStart.clear();
    }
}

/// Items that the address checks admit.
const Draw ordinaryDraws[] = {
    {"Words", {"CW", "AI"}, {1}, 0, 40, 1, 6, {1, 4, 10, 64}},
    {"Bits", {"DO", "DI", "CW_bit"}, {1, 2}, 0, 30, 1, 4, {2, 8, 16}},
    {"Groups", {"F", "D", "DE"}, {1}, 0, 130, 1, 12, {5, 10, 64}},
    {"EqualWeights", {"SW", "FAS", "XX", "YY"}, {0}, 0, 3, 0, 2, {1, 2, 64}},
    {"InterleavedStations", {"CW_bit", "SW_bit", "DI", "AI", "MOD"}, {0, 1, 2}, 0, 2, 1, 2, {2, 64}},
    {"StationsOfOneType", {"CW"}, {0, 1, 2, 247}, 0, 12, 1, 3, {3, 64}},
};
/// Items that only a careless host hands over.
const Draw extremeDraws[] = {
    {"NegativeLengthsAndAddresses", {"F", "CW"}, {1, -1}, -70, 70, -8, 8, {-5, 0, 8}},
    {"HugeLengths", {"F", "CW"}, {1}, -60, 60, INT_MIN, INT_MAX, {10, INT_MAX, INT_MIN}},
    {"HugeAddresses", {"D", "SW"}, {0, 6553, INT_MAX, INT_MIN}, INT_MIN, INT_MAX, -3, 30, {10, INT_MAX}},
    {"AddressesNearTheTop", {"DE", "CW"}, {1}, INT_MAX - 80, INT_MAX, 0, 12, {10, 64}},
    {"AddressesNearTheBottom", {"F", "MOD"}, {0, 1}, INT_MIN, INT_MIN + 80, -12, 12, {10, 64}},
};

std::string nameOf(const ::testing::TestParamInfo<Draw>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(OfOrdinary, RandomMerging, ::testing::ValuesIn(ordinaryDraws), nameOf);
INSTANTIATE_TEST_SUITE_P(OfExtreme, RandomMerging, ::testing::ValuesIn(extremeDraws), nameOf);

class RandomPlanning : public RandomMerging {};

INSTANTIATE_TEST_SUITE_P(OfOrdinary, RandomPlanning, ::testing::ValuesIn(ordinaryDraws), nameOf);

/// Monitor flags of one area: word flags and bit mask.
typedef std::map<std::tuple<int, QString, int>, std::pair<int, int>> Flags;

Flags storedFlags() {
    Flags flags;
    for (const _DATA_& data : std::as_const(driver.dataAreas)) {
        if (data.wordMonitorFlags != 0 || data.bitMonitorMask != 0)
            flags[std::make_tuple(data.station, data.regType, data.address)] = {data.wordMonitorFlags,
                                                                                data.bitMonitorMask};
    }
    return flags;
}

Flags plainFlags(const Keys& list) {
    const QStringList bits = {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI"};
    const QStringList words = {"AI", "FIN", "F", "D", "DE", "CW", "SW", "MOD"};
    Flags flags;
    for (const KEY_ADDRESS& key : list) {
        for (int address = key.address; address < key.address + key.length; ++address) {
            if (bits.contains(key.regType))
                flags[std::make_tuple(key.station, key.regType, address - address % 8)].second |=
                    1 << address % 8;
            if (words.contains(key.regType))
                flags[std::make_tuple(key.station, key.regType, address)].first = 1;
        }
    }
    return flags;
}

TEST_P(RandomPlanning, ThePlanHoldsTheBlocksAndTheFlagsHoldTheEntries) {
    for (int round = 0; round < 200; ++round) {
        Keys list = drawList();
        Keys blocks = list;
        addrMerge(blocks, MERGE_POLLING_PLAN);
        const Flags expected = plainFlags(list);
        ASSERT_EQ(intf_addrMerge(list), blocks.size());
        ASSERT_EQ(identities(list), identities(blocks));
        ASSERT_EQ(itemsOf(driver.pollList), itemsOf(blocks));
        ASSERT_EQ(storedFlags(), expected) << "round " << round;
        for (const VARIABLE& var : std::as_const(driver.pollList))
            ASSERT_EQ(var.opKind, 4);
    }
}

}  // namespace
}  // namespace dx7test

// Hosts and tests may edit driver.dataAreas directly. Whatever was done to the list, a lookup gives what a
// plain walk from its front gives; of two areas with one key in a long list it may give either.

#include <functional>
#include <ostream>
#include <utility>

#include "data_areas.h"
#include "support.h"
#include "twin_stores.h"

namespace dx7test {
namespace {

using CopiesOfTheStore = DriverTest;

struct Edit {
    const char* name;
    std::function<void(Areas&)> apply;
};
void PrintTo(const Edit& edit, std::ostream* out) {
    *out << edit.name;
}

class EditedStore : public DriverTest, public ::testing::WithParamInterface<Edit> {
protected:
    /// Eight areas that the edits work on.
    void makeAreas() {
        for (int address = 0; address < 8; ++address) {
            stores_.expectFound(area(1, address % 2 ? "CW" : "DO", address), Lookup::INDEX);
        }
    }

    /// Makes the list so long that the driver keeps hints, and has every item looked up, so that it has one.
    void lengthen() {
        stores_.lengthen();
        makeAreas();
    }

    /// Edits twice and each time looks up every key of a small world.
    void expectLookupsLikeTheWalk(Lookup lookup) {
        for (int round = 0; round < 2; ++round) {
            stores_.edit(GetParam().apply);
            lookUpAll(lookup);
            stores_.expectSame();
        }
    }

private:
    void lookUpAll(Lookup lookup) {
        for (int station = 1; station <= 2; ++station) {
            for (const char* type : {"CW", "DO"}) {
                // Blocks come upwards. The way back finds each item again.
                for (int step = 0; step < 20; ++step) {
                    stores_.expectFound(area(station, type, step < 10 ? step : 19 - step), lookup);
                }
            }
        }
        for (int address = 0; address < LONG_LIST; ++address) {
            stores_.expectFound(area(9, "F", address), lookup);
        }
    }

    TwinStores stores_;
};

TEST_P(EditedStore, IsFoundInAsByAWalkWhileItIsShort) {
    makeAreas();
    expectLookupsLikeTheWalk(Lookup::INDEX);
}

TEST_P(EditedStore, IsFoundInAsByAWalkWhenItIsLong) {
    makeAreas();
    lengthen();
    expectLookupsLikeTheWalk(Lookup::INDEX);
}

TEST_P(EditedStore, GivesTheAreasOfAWalkWhenItIsLong) {
    makeAreas();
    lengthen();
    expectLookupsLikeTheWalk(Lookup::AREA);
}

INSTANTIATE_TEST_SUITE_P(
    After, EditedStore,
    ::testing::Values(
        Edit{"NoEdit", [](Areas&) {}}, Edit{"Clear", [](Areas& a) { a.clear(); }},
        Edit{"RemovingTheFirst", [](Areas& a) { a.removeFirst(); }},
        Edit{"RemovingTheMiddle", [](Areas& a) { a.removeAt(3); }},
        Edit{"RemovingTheLast", [](Areas& a) { a.removeLast(); }},
        Edit{"AppendingANewKey", [](Areas& a) { a.append(area(2, "CW", 5)); }},
        Edit{"AppendingADuplicate", [](Areas& a) { a.append(area(1, "CW", 3)); }},
        Edit{"PrependingADuplicate", [](Areas& a) { a.prepend(area(1, "CW", 7)); }},
        Edit{"InsertingADuplicateInTheMiddle", [](Areas& a) { a.insert(2, area(1, "CW", 7)); }},
        Edit{"RemovingAndAppending",
             [](Areas& a) {
                 a.removeAt(1);
                 a.append(area(2, "DO", 6));
             }},
        Edit{"SwappingTwo", [](Areas& a) { swapPlaces(a, 1, 6); }}, Edit{"MovingOne", [](Areas& a) { a.move(6, 0); }},
        Edit{"ChangingAnAddressInPlace", [](Areas& a) { a[2].address = 9; }},
        Edit{"ChangingAnAddressToThatOfALaterArea", [](Areas& a) { a[1].address = 7; }},
        Edit{"ChangingAnAddressToThatOfAnEarlierArea", [](Areas& a) { a[7].address = 1; }},
        Edit{"ChangingATypeInPlace", [](Areas& a) { a[2].regType = "CW"; }},
        Edit{"ChangingATextCharacterByCharacter", [](Areas& a) { a[2].regType.replace(0, 2, "XX"); }},
        Edit{"ChangingAStationThroughAnIterator", [](Areas& a) { (a.begin() + 4)->station = 2; }},
        Edit{"ChangingTheFirstThroughFirst", [](Areas& a) { a.first().station = 2; }},
        Edit{"ExchangingTheKeysOfTwo", [](Areas& a) { std::swap(a[1].address, a[3].address); }},
        Edit{"ExchangingTwoRecords", [](Areas& a) { std::swap(a[1], a[3]); }},
        Edit{"ReplacingOne", [](Areas& a) { a.replace(5, area(2, "CW", 0)); }},
        Edit{"ChangingValuesInPlace",
             [](Areas& a) {
                 a[3].value[0] = 0x5A;
                 a[3].writePending = 1;
             }},
        Edit{"AssigningAnotherListOfTheSameSize",
             [](Areas& a) {
                 Areas other;
                 for (int i = 0; i < a.size(); ++i)
                     other << area(2, "DO", i);
                 a = other;
             }},
        Edit{"AssigningTheListReversed",
             [](Areas& a) {
                 Areas other;
                 for (const _DATA_& data : std::as_const(a))
                     other.prepend(data);
                 a = other;
             }},
        Edit{"SwappingWithAnotherList",
             [](Areas& a) {
                 Areas other = {area(1, "DO", 4), area(1, "CW", 1)};
                 a.swap(other);
             }},
        Edit{"AssigningAShortenedCopy",
             [](Areas& a) {
                 const Areas copy = a.mid(2, 4);
                 a = copy;
             }},
        Edit{"TakingACopyThatIsEditedInstead",
             [](Areas& a) {
                 Areas copy = a;
                 copy[0].address = 8;
                 copy.removeLast();
             }}),
    [](const auto& row) { return row.param.name; });

TEST_F(CopiesOfTheStore, ACopyOfTheStoreIsNotChangedByLaterLookups) {
    getIndexOfDataArea(1, "CW", 0, driver.dataAreas);
    const Areas copy = driver.dataAreas;
    getIndexOfDataArea(1, "CW", 1, driver.dataAreas);
    dataArea(1, "CW", 0).value[0] = 7;
    EXPECT_EQ(copy.size(), 1);
    EXPECT_EQ(copy.at(0).value[0], 0);
    EXPECT_EQ(driver.dataAreas.at(0).value[0], 7);
}

// The item that the older copy lacks has a hint, and another item is made in its place.
TEST_F(CopiesOfTheStore, AnItemThatAnOlderCopyLacksIsMadeAnewAfterTheCopyIsRestored) {
    for (int i = 0; i < LONG_LIST; ++i) {
        getIndexOfDataArea(1, "F", i, driver.dataAreas);
    }
    const Areas older = driver.dataAreas;
    EXPECT_EQ(LONG_LIST, getIndexOfDataArea(1, "CW", 1, driver.dataAreas));
    driver.dataAreas = older;
    EXPECT_EQ(LONG_LIST, getIndexOfDataArea(1, "CW", 2, driver.dataAreas));
    EXPECT_EQ(LONG_LIST + 1, getIndexOfDataArea(1, "CW", 1, driver.dataAreas));
    EXPECT_EQ(LONG_LIST, older.size());
}

// Hints of different items may overwrite each other; the items stay apart all the same.
struct KeyPair {
    const char* name;
    _DATA_ one;
    _DATA_ other;
};
void PrintTo(const KeyPair& pair, std::ostream* out) {
    *out << pair.name;
}

class KeysWithOneHint : public DriverTest, public ::testing::WithParamInterface<KeyPair> {};

TEST_P(KeysWithOneHint, StayApartInALongList) {
    TwinStores stores;
    stores.lengthen();
    for (const Lookup lookup : {Lookup::INDEX, Lookup::AREA}) {
        for (int round = 0; round < 3; ++round) {
            stores.expectFound(GetParam().one, lookup);
            stores.expectFound(area(1, "CW", 3), lookup);
            stores.expectFound(GetParam().other, lookup);
        }
    }
    EXPECT_EQ(LONG_LIST + 3, driver.dataAreas.size());
    stores.expectSame();
}

INSTANTIATE_TEST_SUITE_P(Of, KeysWithOneHint,
                         ::testing::Values(KeyPair{"TwoUnknownTypes", area(1, "XX", 0), area(1, "YY", 0)},
                                           KeyPair{"StationsWithTheSameLow24Bits", area(1, "AI", 0),
                                                   area(1 + (1 << 24), "AI", 0)}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace dx7test

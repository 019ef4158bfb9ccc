// Hosts and tests may edit driver.dataAreas directly. Whatever was done to the list, a lookup gives what a
// plain walk from its front gives.

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <algorithm>
#include <functional>
#include <random>
#include <utility>

#include "data_areas.h"
#include "support.h"

namespace dx7test {
namespace {

/// The plain walk.
int walk(QList<_DATA_>& areas, int station, const QString& regType, int address) {
    for (int i = 0; i < areas.size(); ++i) {
        if (areas.at(i).station == station && areas.at(i).regType == regType &&
            areas.at(i).address == address)
            return i;
    }
    areas.append(area(station, regType, address));
    return areas.size() - 1;
}

/// Everything a data area holds, as one comparable text.
QString textOf(const _DATA_& data) {
    QString text = QString("%1#%2%3 flags %4 %5 %6 %7 %8")
                       .arg(data.station)
                       .arg(data.regType)
                       .arg(data.address)
                       .arg(data.commError)
                       .arg(data.writePending)
                       .arg(data.pendingBits)
                       .arg(data.wordMonitorFlags)
                       .arg(data.bitMonitorMask);
    for (int i = 0; i < 4; ++i)
        text += QString(" %1/%2").arg(data.value[i]).arg(data.writtenValue[i]);
    return text;
}

QStringList textsOf(const QList<_DATA_>& areas) {
    QStringList texts;
    for (const _DATA_& data : areas)
        texts << textOf(data);
    return texts;
}

typedef QList<_DATA_> Areas;
using CopiesOfTheStore = DriverTest;
using RandomEdits = DriverTest;

struct Edit {
    const char* name;
    std::function<void(Areas&)> apply;
};
void PrintTo(const Edit& edit, std::ostream* out) {
    *out << edit.name;
}

class EditedStore : public DriverTest, public ::testing::WithParamInterface<Edit> {
protected:
    /// Looks up every key of a small world, in the driver and in the model, and compares.
    void expectLookupsLikeTheWalk(Areas& model) {
        for (int station = 1; station <= 2; ++station) {
            for (const char* type : {"CW", "DO"}) {
                for (int address = 9; address >= 0; --address)
                    ASSERT_EQ(getIndexOfDataArea(station, type, address, driver.dataAreas),
                              walk(model, station, type, address))
                        << station << '#' << type << address;
            }
        }
        ASSERT_EQ(textsOf(driver.dataAreas), textsOf(model));
    }
};

TEST_P(EditedStore, IsFoundAsItStands) {
    for (int address = 0; address < 8; ++address)
        getIndexOfDataArea(1, address % 2 ? "CW" : "DO", address, driver.dataAreas);
    // A copy that shares nothing with the driver's list, or an edit could be noticed by its sharing alone.
    Areas model;
    for (const _DATA_& data : std::as_const(driver.dataAreas))
        model << data;
    GetParam().apply(driver.dataAreas);
    GetParam().apply(model);
    expectLookupsLikeTheWalk(model);
    GetParam().apply(driver.dataAreas);
    GetParam().apply(model);
    expectLookupsLikeTheWalk(model);
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

TEST_F(CopiesOfTheStore, RestoringAnOlderCopyOfTheStoreIsNoticed) {
    getIndexOfDataArea(1, "CW", 0, driver.dataAreas);
    const Areas older = driver.dataAreas;
    EXPECT_EQ(getIndexOfDataArea(1, "CW", 1, driver.dataAreas), 1);
    driver.dataAreas = older;
    EXPECT_EQ(getIndexOfDataArea(1, "CW", 2, driver.dataAreas), 1);
    EXPECT_EQ(getIndexOfDataArea(1, "CW", 1, driver.dataAreas), 2);
    EXPECT_EQ(older.size(), 1);
}

// Wherever the new key falls in the index: into a bucket of its own, or behind any other area, the first
// included.
TEST_F(CopiesOfTheStore, AnAreaThatGetsAnotherKeyIsFoundByItWhateverItsBucket) {
    for (int address = 40; address < 40 + 2 * 64; ++address) {
        driver.dataAreas.clear();
        for (int item = 0; item < 40; ++item)
            getIndexOfDataArea(1, "F", item, driver.dataAreas);
        driver.dataAreas[5].address = address;
        ASSERT_EQ(getIndexOfDataArea(1, "F", address, driver.dataAreas), 5) << address;
        ASSERT_EQ(getIndexOfDataArea(1, "F", 5, driver.dataAreas), 40) << address;
    }
}

// Two areas with the same key, made by an edit: as long as the index still knows the first, it is found.
TEST_F(CopiesOfTheStore, TheFirstOfTwoEqualAreasIsFoundWhateverTheBucketOfTheSecond) {
    for (int address = 128; address < 384; ++address) {
        driver.dataAreas.clear();
        for (int item = 0; item < 100; ++item)
            getIndexOfDataArea(1, "CW", item == 70 ? address : item, driver.dataAreas);
        getIndexOfDataArea(1, "CW", 90, driver.dataAreas);
        driver.dataAreas[70].address = 10;
        ASSERT_EQ(getIndexOfDataArea(1, "CW", 90, driver.dataAreas), 90);
        ASSERT_EQ(getIndexOfDataArea(1, "CW", 10, driver.dataAreas), 10) << address;
    }
}

/// A random edit of a list that is not empty.
std::function<void(Areas&)> randomEdit(std::mt19937& random, int size, const _DATA_& data) {
    const int at = static_cast<int>(random() % static_cast<unsigned>(size));
    switch (random() % 12) {
        case 0:
            return [at](Areas& a) { a.removeAt(at); };
        case 1:
            return [at, data](Areas& a) { a.insert(at, data); };
        case 2:
            return [data](Areas& a) { a.append(data); };
        case 3:
            return [at](Areas& a) { swapPlaces(a, at, a.size() - 1); };
        case 4:
            return [at, data](Areas& a) { a[at].address = data.address; };
        case 5:
            return [at, data](Areas& a) { a[at].regType = data.regType; };
        case 6:
            return [at, data](Areas& a) { a[at].station = data.station; };
        case 7:
            return [at, data](Areas& a) { a[at] = data; };
        case 8:
            return [at](Areas& a) { a[at].value[0] = static_cast<unsigned char>(at + 1); };
        case 9:
            return [at](Areas& a) { a.move(at, 0); };
        case 10:
            return [at](Areas& a) { a = a.mid(at / 2); };
        default:
            return [](Areas& a) { a.size() > 30 ? a.clear() : std::reverse(a.begin(), a.end()); };
    }
}

TEST_F(RandomEdits, OfTheStoreGiveWhatThePlainWalkGives) {
    std::mt19937 random(4711);
    Areas model, savedStore, savedModel;
    for (int step = 0; step < 40000; ++step) {
        const _DATA_ key = area(1 + static_cast<int>(random() % 2), random() % 2 ? "CW" : "DO",
                                static_cast<int>(random() % 6));
        const unsigned kind = random() % 16;
        if (model.size() > 30) {
            driver.dataAreas.clear();
            model.clear();
        } else if (kind < 6 && !model.isEmpty()) {
            const auto edit = randomEdit(random, model.size(), key);
            edit(driver.dataAreas);
            edit(model);
        } else if (kind == 6) {
            savedStore = driver.dataAreas;
            savedModel = model;
        } else if (kind == 7) {
            driver.dataAreas = savedStore;
            model = savedModel;
        } else if (kind == 8) {
            dataArea(key.station, key.regType, key.address).value[1] = static_cast<unsigned char>(step);
            model[walk(model, key.station, key.regType, key.address)].value[1] =
                static_cast<unsigned char>(step);
        } else {
            const int found = getIndexOfDataArea(key.station, key.regType, key.address, driver.dataAreas);
            ASSERT_EQ(found, walk(model, key.station, key.regType, key.address)) << "step " << step;
        }
        ASSERT_EQ(driver.dataAreas.size(), model.size()) << "step " << step;
        if (step % 16 == 0) {
            ASSERT_EQ(textsOf(driver.dataAreas), textsOf(model)) << "step " << step;
        }
    }
}

/// A random edit of a long list that keeps its keys unique: `fresh` is a key that the list does not hold.
std::function<void(Areas&)> uniqueEdit(std::mt19937& random, int size, const _DATA_& fresh) {
    const int at = static_cast<int>(random() % static_cast<unsigned>(size));
    const int other = static_cast<int>(random() % static_cast<unsigned>(size));
    switch (random() % 9) {
        case 0:
            return [at](Areas& a) { a.removeAt(at); };
        case 1:
            return [at, fresh](Areas& a) { a.insert(at, fresh); };
        case 2:
            return [fresh](Areas& a) { a.append(fresh); };
        case 3:
            return [at, other](Areas& a) { swapPlaces(a, at, other); };
        case 4:
            return [at, fresh](Areas& a) { a[at].address = fresh.address; };
        case 5:
            return [at, fresh](Areas& a) { a[at] = fresh; };
        case 6:
            return [at, other](Areas& a) { a.move(at, other); };
        case 7:
            return [at, fresh](Areas& a) {
                a.removeAt(at);
                a.append(fresh);
            };
        default:
            return [](Areas& a) { std::reverse(a.begin(), a.end()); };
    }
}

TEST_F(RandomEdits, OfALongStoreGiveWhatThePlainWalkGives) {
    std::mt19937 random(1147);
    Areas model;
    for (int i = 0; i < 300; ++i) {
        getIndexOfDataArea(1, "CW", i, driver.dataAreas);
        walk(model, 1, "CW", i);
    }
    int freshAddress = 100000;
    for (int step = 0; step < 3000; ++step) {
        for (int edits = static_cast<int>(random() % 3); edits > 0; --edits) {
            const auto edit = uniqueEdit(random, model.size(), area(1, "CW", ++freshAddress));
            edit(driver.dataAreas);
            edit(model);
        }
        for (int lookups = 0; lookups < 4; ++lookups) {
            // Mostly keys that are there, sometimes ones that were, or never have been.
            const int at = static_cast<int>(random() % static_cast<unsigned>(model.size()));
            const int address = random() % 4 != 0 ? model.at(at).address : static_cast<int>(random() % 400);
            ASSERT_EQ(getIndexOfDataArea(1, "CW", address, driver.dataAreas), walk(model, 1, "CW", address))
                << "step " << step;
        }
    }
    EXPECT_EQ(textsOf(driver.dataAreas), textsOf(model));
    EXPECT_GT(model.size(), 200);
}

}  // namespace
}  // namespace dx7test

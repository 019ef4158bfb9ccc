// Random edits of driver.dataAreas: a lookup after them gives what a plain walk gives.

#include <algorithm>
#include <functional>
#include <random>

#include "data_areas.h"
#include "support.h"
#include "twin_stores.h"

namespace dx7test {
namespace {

using RandomlyEditedItems = DriverTest;

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
            return [](Areas& a) { std::reverse(a.begin(), a.end()); };
    }
}

/// Whether the list is kept long, or short.
class RandomlyEditedStore : public DriverTest, public ::testing::WithParamInterface<bool> {};

TEST_P(RandomlyEditedStore, IsFoundInAsByAWalk) {
    const int most = GetParam() ? 2 * LONG_LIST : SHORT_LIST - 2;
    std::mt19937 random(4711);
    TwinStores stores;
    for (int step = 0; step < 40000; ++step) {
        const _DATA_ key = area(1 + static_cast<int>(random() % 2), random() % 2 ? "CW" : "DO",
                                static_cast<int>(random() % 6));
        const unsigned kind = random() % 16;
        if (stores.size() > most) {
            stores.edit([](Areas& a) { a.clear(); });
        } else if (kind < 6 && stores.size() > 0) {
            stores.edit(randomEdit(random, stores.size(), key));
        } else if (kind == 6) {
            stores.save();
        } else if (kind == 7) {
            stores.restore();
        } else {
            stores.expectFound(key, kind % 2 == 0 ? Lookup::INDEX : Lookup::AREA);
        }
        if (GetParam()) {
            stores.lengthen();
        }
        ASSERT_FALSE(HasFatalFailure()) << "step " << step;
        if (step % 64 == 0) {
            stores.expectSame();
            ASSERT_FALSE(HasFailure()) << "step " << step;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(While, RandomlyEditedStore, ::testing::Bool(),
                         [](const auto& kind) { return kind.param ? "Long" : "Short"; });

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

TEST_F(RandomlyEditedItems, AreFoundAsByAWalkInALongList) {
    std::mt19937 random(1147);
    TwinStores stores;
    for (int i = 0; i < 300; ++i) {
        stores.expectFound(area(1, "CW", i), Lookup::INDEX);
    }
    int freshAddress = 100000;
    for (int step = 0; step < 3000; ++step) {
        for (int edits = static_cast<int>(random() % 3); edits > 0; --edits) {
            stores.edit(uniqueEdit(random, stores.size(), area(1, "CW", ++freshAddress)));
        }
        for (int lookups = 0; lookups < 4; ++lookups) {
            // Mostly keys that are there, sometimes ones that were, or never have been.
            const int at = static_cast<int>(random() % static_cast<unsigned>(stores.size()));
            const int address =
                random() % 4 != 0 ? stores.model().at(at).address : static_cast<int>(random() % 400);
            stores.expectFound(area(1, "CW", address), lookups % 2 == 0 ? Lookup::INDEX : Lookup::AREA);
            ASSERT_FALSE(HasFatalFailure()) << "step " << step;
        }
    }
    stores.expectSame();
    EXPECT_GT(stores.size(), 200);
}

}  // namespace
}  // namespace dx7test

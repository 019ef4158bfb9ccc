// Addresses of the copies of a screen object.

#include <QtCore/QString>
#include <QtCore/QVector>
#include <climits>

#include "register_types.h"
#include "support.h"

namespace dx7test {
namespace {

typedef QVector<QString> Texts;
typedef QVector<int> Addresses;

class MultiCopy : public DriverTest {
protected:
    int copy(const QString& regType, int start, int copies, int step) {
        texts.clear();
        addresses.clear();
        return intf_multiCopy(regType, start, copies, step, &texts, &addresses);
    }
    Texts texts;
    Addresses addresses;
};

TEST_F(MultiCopy, CopiesPastTheLastControlBitAreClamped) {
    EXPECT_EQ(copy("CW_bit", 14, 3, 1), 2);
    EXPECT_EQ(addresses, (Addresses{14, 15, 15}));
    EXPECT_EQ(texts, (Texts{"14", "15", "15"}));
}

TEST_F(MultiCopy, TheOnlyControlWordIsRepeated) {
    EXPECT_EQ(copy("CW", 0, 2, 5), 2);
    EXPECT_EQ(addresses, (Addresses{0, 0}));
    EXPECT_EQ(texts, (Texts{"0", "0"}));
}

TEST_F(MultiCopy, ClampedParametersGetTheTextOfTheTableInItsOwnCase) {
    EXPECT_EQ(copy("F", 894, 3, -2), 2);
    EXPECT_EQ(addresses, (Addresses{894, 895, 895}));
    EXPECT_EQ(texts, (Texts{"f.0.54", "F.#.55", "F.#.55"}));
    EXPECT_EQ(copy("D", 111, 2, 1), 2);
    EXPECT_EQ(addresses, (Addresses{111, 111}));
    EXPECT_EQ(texts, (Texts{"1.0.55", "1.#.55"}));
}

TEST_F(MultiCopy, GroupedAddressesAreWrittenInLowerCaseWithoutLeadingZeros) {
    EXPECT_EQ(copy("F", 600, 1, 1), 1);
    EXPECT_EQ(texts, (Texts{"a.0.40"}));
    EXPECT_EQ(copy("F", 63, 1, 1), 1);
    EXPECT_EQ(texts, (Texts{"1.0.7"}));
    EXPECT_EQ(copy("D", 0, 1, 1), 1);
    EXPECT_EQ(texts, (Texts{"0.0.0"}));
}

TEST_F(MultiCopy, DeIsWrittenLikeAGroupedAddress) {
    EXPECT_EQ(copy("DE", 30, 1, 1), 1);
    EXPECT_EQ(texts, (Texts{"0.0.30"}));
}

TEST_F(MultiCopy, DeNeverClampsInPracticeBecauseItsLimitIs4815) {
    EXPECT_EQ(copy("DE", 55, 2, 1), 1);
    EXPECT_EQ(addresses, (Addresses{55, 56}));
    EXPECT_EQ(texts, (Texts{"0.0.55", "1.0.0"}));
    EXPECT_EQ(copy("DE", 4815, 2, 1), 2);
    EXPECT_EQ(addresses, (Addresses{4815, 4815}));
    EXPECT_EQ(texts, (Texts{"55.0.55", "55"}));
}

TEST_F(MultiCopy, UnknownTypesAppendNothingAndGiveZero) {
    for (const char* type : {"FW", "FI", "cw_bit", "XX", "", "CW "}) {
        for (int copies : {-1, 0, 3}) {
            EXPECT_EQ(copy(type, 0, copies, 1), 0) << type;
            EXPECT_TRUE(texts.isEmpty());
            EXPECT_TRUE(addresses.isEmpty());
        }
    }
}

TEST_F(MultiCopy, NoCopiesGiveOne) {
    for (int copies : {0, -1, INT_MIN}) {
        EXPECT_EQ(copy("CW", 99, copies, 1), 1);
        EXPECT_TRUE(texts.isEmpty());
        EXPECT_TRUE(addresses.isEmpty());
    }
}

TEST_F(MultiCopy, EntriesAreAppendedToWhatTheVectorsHold) {
    texts << "before";
    addresses << 5;
    EXPECT_EQ(intf_multiCopy("DO", 1, 2, 1, &texts, &addresses), DX7_COPY_IN_RANGE);
    EXPECT_EQ(texts, (Texts{"before", "1", "2"}));
    EXPECT_EQ(addresses, (Addresses{5, 1, 2}));
}

TEST_F(MultiCopy, StepMinusTwoIsOneForBitsAndTwoForWords) {
    for (const char* type : {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI"}) {
        copy(type, -100, 2, -2);
        EXPECT_EQ(addresses, (Addresses{-100, -99})) << type;
    }
    for (const char* type : {"AI", "FIN", "F", "D", "DE", "CW", "SW", "MOD", "FAS"}) {
        copy(type, -100, 2, -2);
        EXPECT_EQ(addresses, (Addresses{-100, -98})) << type;
    }
}

TEST_F(MultiCopy, AnyOtherStepBelowOneIsOne) {
    for (int step : {0, -1, -3, -100, INT_MIN}) {
        EXPECT_EQ(copy("F", 10, 3, step), 1);
        EXPECT_EQ(addresses, (Addresses{10, 11, 12})) << step;
        copy("CW_bit", 10, 3, step);
        EXPECT_EQ(addresses, (Addresses{10, 11, 12})) << step;
    }
}

TEST_F(MultiCopy, TypesCountedFromOneAcceptZeroHere) {
    EXPECT_EQ(copy("DO", 0, 3, 1), 1);
    EXPECT_EQ(texts, (Texts{"0", "1", "2"}));
}

TEST_F(MultiCopy, NegativeAddressesAreWrittenUnsigned) {
    EXPECT_EQ(copy("CW", -1, 2, 1), 1);
    EXPECT_EQ(addresses, (Addresses{-1, 0}));
    EXPECT_EQ(texts, (Texts{"4294967295", "0"}));
    EXPECT_EQ(copy("DI", INT_MIN, 1, 1), 1);
    EXPECT_EQ(texts, (Texts{"2147483648"}));
}

TEST_F(MultiCopy, NegativeGroupedAddressesAreWrittenUnsignedFieldByField) {
    EXPECT_EQ(copy("F", -57, 2, 56), 1);
    EXPECT_EQ(addresses, (Addresses{-57, -1}));
    EXPECT_EQ(texts, (Texts{"ffffffff.0.4294967295", "0.0.4294967295"}));
    EXPECT_EQ(copy("D", -56, 1, 1), 1);
    EXPECT_EQ(texts, (Texts{"ffffffff.0.0"}));
}

TEST_F(MultiCopy, SteppedAddressesWrapAround) {
    EXPECT_EQ(copy("CW", INT_MAX, 2, 1), 2);
    EXPECT_EQ(addresses, (Addresses{0, INT_MIN}));
    EXPECT_EQ(texts, (Texts{"0", "2147483648"}));
    EXPECT_EQ(copy("AI", 3, 5, 0x40000000), 2);
    EXPECT_EQ(addresses, (Addresses{3, 3, INT_MIN + 3, -0x40000000 + 3, 3}));
}

struct HighestAddress {
    const char* type;
    int highest;
    const char* text;
    bool grouped;
};

class MultiCopyOfType : public MultiCopy, public ::testing::WithParamInterface<HighestAddress> {};

TEST_P(MultiCopyOfType, ClampsEachCopyOnItsOwn) {
    const HighestAddress& row = GetParam();
    for (int start : {-3, 0, 1, row.highest - 1, row.highest, row.highest + 1, row.highest + 500}) {
        for (int step = 1; step <= 60; ++step) {
            Texts expectedTexts;
            Addresses expectedAddresses;
            int expected = 1;
            for (int i = 0; i < 20; ++i) {
                const int address = start + i * step;
                if (address > row.highest) {
                    expected = 2;
                    expectedAddresses << row.highest;
                    expectedTexts << row.text;
                    continue;
                }
                expectedAddresses << address;
                const QString group = QString::number(static_cast<unsigned>(address / 56), 16);
                const QString index = QString::number(static_cast<unsigned>(address % 56));
                expectedTexts << (row.grouped ? group + ".0." + index
                                              : QString::number(static_cast<unsigned>(address)));
            }
            ASSERT_EQ(copy(row.type, start, 20, step), expected) << start << " step " << step;
            ASSERT_EQ(addresses, expectedAddresses) << start << " step " << step;
            ASSERT_EQ(texts, expectedTexts) << start << " step " << step;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Type, MultiCopyOfType,
    ::testing::Values(HighestAddress{"CW_bit", 15, "15", false}, HighestAddress{"SW_bit", 15, "15", false},
                      HighestAddress{"DO", 2, "2", false}, HighestAddress{"RO", 1, "1", false},
                      HighestAddress{"SDO", 8, "8", false}, HighestAddress{"DI", 6, "6", false},
                      HighestAddress{"AI", 3, "3", false}, HighestAddress{"FIN", 0, "0", false},
                      HighestAddress{"F", 895, "F.#.55", true}, HighestAddress{"D", 111, "1.#.55", true},
                      HighestAddress{"DE", 4815, "55", true}, HighestAddress{"CW", 0, "0", false},
                      HighestAddress{"SW", 0, "0", false}, HighestAddress{"MOD", 2, "2", false},
                      HighestAddress{"FAS", 0, "0", false}),
    [](const auto& row) { return row.param.type; });

TEST_F(MultiCopy, DriverStateIsNotTouched) {
    copy("F", 0, 100, 1);
    EXPECT_TRUE(driver.dataAreas.isEmpty());
    EXPECT_TRUE(driver.pollList.isEmpty());
    EXPECT_TRUE(reports.empty());
}

}  // namespace
}  // namespace dx7test

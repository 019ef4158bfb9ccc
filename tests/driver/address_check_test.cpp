// The second address check, of a variable with a data type and an access mode.

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <climits>

#include "support.h"
#include "type_limits.h"

namespace dx7test {
namespace {

using AddressCheck = DriverTest;

class CheckOfType : public DriverTest, public ::testing::WithParamInterface<TypeLimits> {
protected:
    int check(const QString& text, int count, int accessMode = 0) {
        address = untouched;
        return intf_checkAddr(GetParam().name, text, &address, GetParam().bits ? -1 : 0, count, accessMode);
    }
    int maxLength() const { return GetParam().grouped ? 6 : 3; }
    int address = untouched;
};
class CheckOfDecimalType : public CheckOfType {};
class CheckOfGroupedType : public CheckOfType {};

TEST_P(CheckOfDecimalType, EveryDecimalAddressAndCountFollowsTheLimits) {
    const TypeLimits& type = GetParam();
    for (int start = -101; start <= 1001; ++start) {
        const QString text = QString::number(start);
        for (int count : interestingCounts) {
            const int expected = text.size() > 3 ? 16 : type.accepts(start, count) ? 0 : 2;
            ASSERT_EQ(check(text, count), expected) << start << " x " << count;
            ASSERT_EQ(address, text.size() > 3 ? untouched : start) << start << " x " << count;
        }
    }
}

TEST_P(CheckOfGroupedType, EveryGroupAndIndexFollowsTheLimits) {
    const TypeLimits& type = GetParam();
    for (int group = 0; group <= 0x12; ++group) {
        for (int index = 0; index <= 99; ++index) {
            const int value = 56 * group + index;
            for (const char* middle : {".#.", "..", ".12."}) {
                const QString text = QString::number(group, 16) + middle + QString::number(index);
                for (int count : interestingCounts) {
                    const bool valid = type.accepts(value, count) && index <= 55;
                    const int expected = text.size() > 6 ? 16 : valid ? 0 : 2;
                    ASSERT_EQ(check(text, count), expected) << text.toStdString() << " x " << count;
                    ASSERT_EQ(address, text.size() > 6 ? untouched : value);
                }
            }
        }
    }
}

TEST_P(CheckOfType, OnlyDataTypeMinusOneIsABit) {
    const QString text = GetParam().grouped ? "0.0.1" : QString::number(GetParam().lowest);
    for (int dataType : {-1, 0, 1, 2, 3, -2, 255, INT_MAX, INT_MIN}) {
        const bool matches = (dataType == -1) == GetParam().bits;
        int start = untouched;
        EXPECT_EQ(intf_checkAddr(GetParam().name, text, &start, dataType, 1, 0), matches ? 0 : 1) << dataType;
        EXPECT_EQ(start == untouched, !matches) << dataType;
    }
}

TEST_P(CheckOfType, TheOtherKindIsRefusedBeforeEverythingElse) {
    for (const char* text : {"1", "", "abc", "-1", "+5", "much too long"}) {
        for (int accessMode : {0, 1, 2}) {
            int start = untouched;
            EXPECT_EQ(intf_checkAddr(GetParam().name, text, &start, GetParam().bits ? 0 : -1, 1, accessMode),
                      DX7_ADDRESS_KIND_MISMATCH);
            EXPECT_EQ(start, untouched);
        }
    }
}

TEST_P(CheckOfType, TextsLongerThanTheFormatAreRefused) {
    for (int length = maxLength() + 1; length <= 40; ++length) {
        EXPECT_EQ(check(QString(length, '0'), 1), 16) << length;
        EXPECT_EQ(address, untouched) << length;
    }
}

TEST_P(CheckOfDecimalType, TextsOfOneToThreeDigitsAreNotTooLong) {
    for (int length = 1; length <= 3; ++length) {
        EXPECT_EQ(check(QString(length, '0'), 1), GetParam().accepts(0, 1) ? 0 : 2) << length;
        EXPECT_EQ(address, 0) << length;
    }
}

TEST_P(CheckOfGroupedType, TextsOfUpToSixCharactersAreNotTooLong) {
    EXPECT_EQ(check("0.#.05", 1), 0);
    EXPECT_EQ(address, 5);
    for (int length = 1; length <= 6; ++length)
        EXPECT_EQ(check(QString(length, '0'), 1), 4) << length;
}

TEST_P(CheckOfType, LengthComesBeforeAccess) {
    for (int accessMode : {0, 1, 2})
        EXPECT_EQ(check(QString(maxLength() + 1, '0'), 1, accessMode), 16);
}

TEST_P(CheckOfType, AccessModesOneAndTwoAreRefusedOnTheReadOnlyListOnly) {
    const QStringList refusedTypes = {"SW_bit", "DI", "AI", "DE", "D", "SW"};
    const QString text = GetParam().grouped ? "0.0.1" : QString::number(GetParam().lowest);
    for (int accessMode : {-2, -1, 0, 1, 2, 3, 4, 258, INT_MAX, INT_MIN}) {
        const bool refused = (accessMode == 1 || accessMode == 2) && refusedTypes.contains(GetParam().name);
        EXPECT_EQ(check(text, 1, accessMode), refused ? 6 : 0) << accessMode;
        EXPECT_EQ(address == untouched, refused) << accessMode;
    }
}

TEST_P(CheckOfType, AccessComesBeforeTheText) {
    const QStringList refusedTypes = {"SW_bit", "DI", "AI", "DE", "D", "SW"};
    for (int accessMode : {1, 2}) {
        EXPECT_EQ(check("x", 1, accessMode), refusedTypes.contains(GetParam().name) ? 6 : 4);
        EXPECT_EQ(check("", 1, accessMode), refusedTypes.contains(GetParam().name) ? 6 : 4);
    }
}

TEST_P(CheckOfDecimalType, WhatDoesNotConvertIsMalformedAndLeavesZero) {
    for (const char* text : {"", " ", "x", "x1", "0x1", "-", "+", "1,0", "1.0"}) {
        EXPECT_EQ(check(text, 1), 4) << text;
        EXPECT_EQ(address, 0) << text;
    }
}

TEST_P(CheckOfGroupedType, WhatDoesNotParseIsMalformed) {
    for (const char* text : {"", " ", "x", "0", "0.0", "0.0.", "0.0.x", "0.0.0.", ".0.0", "#.0.0", "-1.0.0"})
        EXPECT_EQ(check(text, 1), 4) << text;
}

INSTANTIATE_TEST_SUITE_P(Type, CheckOfType, ::testing::ValuesIn(typeLimits),
                         [](const auto& row) { return row.param.name; });
INSTANTIATE_TEST_SUITE_P(Type, CheckOfDecimalType, ::testing::ValuesIn(typesWritten(false)),
                         [](const auto& row) { return row.param.name; });
INSTANTIATE_TEST_SUITE_P(Type, CheckOfGroupedType, ::testing::ValuesIn(typesWritten(true)),
                         [](const auto& row) { return row.param.name; });

struct CheckCase {
    const char* name;
    const char* type;
    const char* text;
    int dataType;
    int count;
    int accessMode;
    int result;
    int address;
};

class CheckCases : public DriverTest, public ::testing::WithParamInterface<CheckCase> {};

TEST_P(CheckCases, GiveResultAndAddress) {
    const CheckCase& row = GetParam();
    int start = untouched;
    EXPECT_EQ(intf_checkAddr(row.type, row.text, &start, row.dataType, row.count, row.accessMode),
              row.result);
    EXPECT_EQ(start, row.address);
}

INSTANTIATE_TEST_SUITE_P(
    Decimal, CheckCases,
    ::testing::Values(CheckCase{"BitVariable", "CW_bit", "7", -1, 1, 0, 0, 7},
                      CheckCase{"BitTypeForAWord", "CW_bit", "7", 0, 1, 0, 1, untouched},
                      CheckCase{"WordTypeForABit", "AI", "3", -1, 1, 0, 1, untouched},
                      CheckCase{"AiIsReadOnly", "AI", "3", 1, 1, 1, 6, untouched},
                      CheckCase{"AiMayBeRead", "AI", "3", 1, 1, 0, 0, 3},
                      CheckCase{"AccessModeThreePasses", "AI", "3", 1, 1, 3, 0, 3},
                      CheckCase{"FinIsNotInTheReadOnlyList", "FIN", "0", 0, 1, 1, 0, 0},
                      CheckCase{"FasIsNotInTheReadOnlyList", "FAS", "0", 0, 1, 2, 0, 0},
                      CheckCase{"FourCharacters", "CW", "0000", 0, 1, 0, 16, untouched},
                      CheckCase{"BlanksAreCharactersToo", "CW", "  0 ", 0, 1, 0, 16, untouched},
                      CheckCase{"PlusIsNotLookedAt", "DO", "+2", -1, 1, 0, 0, 2},
                      CheckCase{"PlusThreeIsThree", "DI", "+3", -1, 1, 0, 0, 3},
                      CheckCase{"MinusFailsTheMinimum", "DO", "-1", -1, 1, 0, 2, -1},
                      CheckCase{"MinusZeroIsZero", "AI", "-0", 0, 1, 0, 0, 0},
                      CheckCase{"HugeCount", "AI", "3", 0, INT_MAX, 0, 2, 3},
                      CheckCase{"NegativeCountReachesBack", "AI", "100", 0, -97, 0, 0, 100},
                      CheckCase{"HighestDe", "DE", "55", 0, 1, 0, 0, 55},
                      CheckCase{"NoMarginForDe", "DE", "56", 0, 1, 0, 2, 56}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Grouped, CheckCases,
    ::testing::Values(CheckCase{"HighestOfF", "F", "F.#.55", 0, 1, 2, 0, 895},
                      CheckCase{"SevenCharactersAreTooLong", "F", "10.0.00", 0, 1, 0, 16, untouched},
                      CheckCase{"SevenCharactersWithSub", "F", "F.#.555", 0, 1, 0, 16, untouched},
                      CheckCase{"FAcceptsTheFirstItemOfTheGroupAfterTheLast", "F", "10.0.0", 0, 1, 0, 0, 896},
                      CheckCase{"FButNotTheSecond", "F", "10.0.1", 0, 1, 0, 2, 897},
                      CheckCase{"DAcceptsTheFirstItemOfTheGroupAfterTheLast", "D", "2.0.00", 0, 1, 0, 0, 112},
                      CheckCase{"DButNotTheSecond", "D", "2.0.01", 0, 1, 0, 2, 113},
                      CheckCase{"DIsReadOnly", "D", "1.0.00", 0, 1, 2, 6, untouched},
                      CheckCase{"IndexAbove55", "F", "3.0.56", 0, 1, 0, 2, 224},
                      CheckCase{"ASignInTheMiddleIsIgnored", "F", "3.-.5", 0, 1, 0, 0, 173},
                      CheckCase{"AnIndexMayBeNegativeBehindAGroup", "F", "1.0.-1", 0, 1, 0, 0, 55},
                      CheckCase{"ButNotBelowTheFirstItem", "F", "0.0.-1", 0, 1, 0, 2, -1},
                      CheckCase{"PlusBeforeTheIndex", "F", "F.0.+5", 0, 1, 0, 0, 845},
                      CheckCase{"SignBeforeTheGroup", "F", "+1.0.5", 0, 1, 0, 4, untouched},
                      CheckCase{"TwoFields", "F", "1.0", 0, 1, 0, 4, 56},
                      CheckCase{"BadGroupCountsAsZero", "F", "1z.0.5", 0, 1, 0, 0, 5}),
    [](const auto& row) { return row.param.name; });

TEST_F(AddressCheck, FiIsInTheReadOnlyListAndFinIsNot) {
    for (int accessMode : {-1, 0, 1, 2, 3}) {
        const bool refused = accessMode == 1 || accessMode == 2;
        int start = untouched;
        EXPECT_EQ(intf_checkAddr("FI", "0", &start, 0, 1, accessMode), refused ? 6 : 0) << accessMode;
        EXPECT_EQ(intf_checkAddr("FI", "0", &start, -1, 1, accessMode), refused ? 6 : 0) << accessMode;
        EXPECT_EQ(start, untouched);
        EXPECT_EQ(intf_checkAddr("FIN", "0", &start, 0, 1, accessMode), DX7_ADDRESS_VALID) << accessMode;
    }
}

TEST_F(AddressCheck, FiIsSubjectToTheLengthToo) {
    int start = untouched;
    EXPECT_EQ(intf_checkAddr("FI", "0000", &start, 0, 1, 1), DX7_ADDRESS_TOO_LONG);
}

TEST_F(AddressCheck, OtherUnknownTypesPassWithAnyTextOfThreeCharacters) {
    for (const char* type : unknownTypes) {
        if (QString(type) == "FI")
            continue;
        for (const char* text : {"", "0", "abc", "-1", "...", "999"}) {
            for (int dataType : {-1, 0, 1}) {
                for (int accessMode : {0, 1, 2}) {
                    int start = untouched;
                    EXPECT_EQ(intf_checkAddr(type, text, &start, dataType, INT_MAX, accessMode),
                              DX7_ADDRESS_VALID)
                        << type;
                    EXPECT_EQ(start, untouched);
                }
            }
        }
        int start = untouched;
        EXPECT_EQ(intf_checkAddr(type, "0000", &start, 0, 1, 0), DX7_ADDRESS_TOO_LONG) << type;
        EXPECT_EQ(start, untouched);
    }
}

TEST_F(AddressCheck, LengthCountsCharactersNotBytes) {
    int start = untouched;
    const QString threeCharacters = QString::fromUtf8("\xC3\xA4\xC3\xB6\xC3\xBC");
    EXPECT_EQ(intf_checkAddr("XX", threeCharacters, &start, 0, 1, 0), DX7_ADDRESS_VALID);
    EXPECT_EQ(intf_checkAddr("AI", threeCharacters, &start, 0, 1, 0), DX7_ADDRESS_MALFORMED);
    EXPECT_EQ(start, 0);
}

}  // namespace
}  // namespace dx7test

// Address texts and what is computed from addresses.

#include "addressing.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <climits>

#include "support.h"
#include "type_limits.h"

namespace dx7test {
namespace {

using AddressValidity = DriverTest;
using GroupedAddressParser = DriverTest;
using AddressWeight = DriverTest;
using BitHelpers = DriverTest;

class ValidityOfType : public DriverTest, public ::testing::WithParamInterface<TypeLimits> {
protected:
    /// The check of `text` for this type; `*address` is left in `address`.
    int check(const QString& text, int count) {
        address = untouched;
        return intf_checkAddrValidity(GetParam().name, text, &address, count, GetParam().bits ? 0 : 1);
    }
    int address = untouched;
};
class ValidityOfDecimalType : public ValidityOfType {};
class ValidityOfGroupedType : public ValidityOfType {};

TEST_P(ValidityOfDecimalType, EveryDecimalAddressAndCountFollowsTheLimits) {
    const TypeLimits& type = GetParam();
    for (int start = -2; start <= 1000; ++start) {
        for (int count : interestingCounts) {
            const int expected = start < 0 ? 4 : type.accepts(start, count) ? 0 : 2;
            ASSERT_EQ(check(QString::number(start), count), expected) << start << " x " << count;
            ASSERT_EQ(address, start < 0 ? untouched : start) << start << " x " << count;
        }
    }
}

TEST_P(ValidityOfGroupedType, EveryGroupAndIndexFollowsTheLimits) {
    const TypeLimits& type = GetParam();
    for (int group = 0; group <= 0x12; ++group) {
        for (int index = 0; index <= 99; ++index) {
            const int value = 56 * group + index;
            for (int count : interestingCounts) {
                const int expected = type.accepts(value, count) && index <= 55 ? 0 : 2;
                const QString text = QString::number(group, 16) + ".#." + QString::number(index);
                ASSERT_EQ(check(text, count), expected) << text.toStdString() << " x " << count;
                ASSERT_EQ(address, value);
                ASSERT_EQ(check(text.toUpper(), count), expected) << text.toStdString() << " x " << count;
                ASSERT_EQ(address, value);
            }
        }
    }
}

TEST_P(ValidityOfType, TheOtherKindIsRefusedWhateverTheText) {
    for (int wordAccess : {0, 1, 2, -1, INT_MAX, INT_MIN}) {
        if ((wordAccess == 0) == GetParam().bits)
            continue;
        for (const char* text : {"1", "0.0.0", "", "abc", "-1", "+5", "99999"}) {
            int start = untouched;
            EXPECT_EQ(intf_checkAddrValidity(GetParam().name, text, &start, 1, wordAccess),
                      DX7_ADDRESS_KIND_MISMATCH)
                << text;
            EXPECT_EQ(start, untouched);
        }
    }
}

TEST_P(ValidityOfType, AnyNonZeroWordAccessMeansAWord) {
    const QString text = GetParam().grouped ? "0.0.1" : QString::number(GetParam().lowest);
    for (int wordAccess : {1, 2, -1, INT_MAX, INT_MIN}) {
        int start = untouched;
        EXPECT_EQ(intf_checkAddrValidity(GetParam().name, text, &start, 1, wordAccess),
                  GetParam().bits ? 1 : 0);
    }
}

TEST_P(ValidityOfType, AnySignAnywhereIsMalformed) {
    for (const char* text :
         {"+5", "-0", "-1", "+", "-", "1-", "1+", "0.0.-1", "0.-.1", "0.+.1", "+1.0.1", "x-"}) {
        EXPECT_EQ(check(text, 1), 4) << text;
        EXPECT_EQ(address, untouched) << text;
    }
}

TEST_P(ValidityOfDecimalType, WhatQtDoesNotConvertIsMalformedAndLeavesZero) {
    for (const char* text :
         {"abc", "", " ", "1a", "0x1", "1.0", "1 1", "1,0", "2147483648", "99999999999999999999"}) {
        EXPECT_EQ(check(text, 1), 4) << text;
        EXPECT_EQ(address, 0) << text;
    }
    EXPECT_EQ(check(QString(), 1), 4);
    EXPECT_EQ(address, 0);
}

TEST_P(ValidityOfDecimalType, WhatQtConvertsIsANumber) {
    for (const char* text : {" 1", "1 ", "\t1\n", "01", "0000000001"}) {
        EXPECT_EQ(check(text, 1), GetParam().accepts(1, 1) ? 0 : 2) << text;
        EXPECT_EQ(address, 1) << text;
    }
}

TEST_P(ValidityOfDecimalType, SumsBeyondThirtyTwoBitsAreOutOfRange) {
    EXPECT_EQ(check("2147483647", 1), 2);
    EXPECT_EQ(address, INT_MAX);
    EXPECT_EQ(check("2147483647", INT_MAX), 2);
    EXPECT_EQ(check("1", INT_MAX), 2);
    EXPECT_EQ(check("2147483647", INT_MIN), 0);
}

INSTANTIATE_TEST_SUITE_P(Type, ValidityOfType, ::testing::ValuesIn(typeLimits),
                         [](const auto& row) { return row.param.name; });
INSTANTIATE_TEST_SUITE_P(Type, ValidityOfDecimalType, ::testing::ValuesIn(typesWritten(false)),
                         [](const auto& row) { return row.param.name; });
INSTANTIATE_TEST_SUITE_P(Type, ValidityOfGroupedType, ::testing::ValuesIn(typesWritten(true)),
                         [](const auto& row) { return row.param.name; });

struct ValidityCase {
    const char* name;
    const char* type;
    const char* text;
    int count;
    int wordAccess;
    int result;
    int address;
};

class ValidityCases : public DriverTest, public ::testing::WithParamInterface<ValidityCase> {};

TEST_P(ValidityCases, GiveResultAndAddress) {
    const ValidityCase& row = GetParam();
    int start = untouched;
    EXPECT_EQ(intf_checkAddrValidity(row.type, row.text, &start, row.count, row.wordAccess), row.result);
    EXPECT_EQ(start, row.address);
}

INSTANTIATE_TEST_SUITE_P(
    Decimal, ValidityCases,
    ::testing::Values(ValidityCase{"LastControlBit", "CW_bit", "15", 1, 0, 0, 15},
                      ValidityCase{"BehindTheLastControlBit", "CW_bit", "16", 1, 0, 2, 16},
                      ValidityCase{"TwoFromTheLastControlBit", "CW_bit", "15", 2, 0, 2, 15},
                      ValidityCase{"OutputsCountFromOne", "DO", "0", 1, 0, 2, 0},
                      ValidityCase{"TheOnlyRelay", "RO", "1", 1, 0, 0, 1},
                      ValidityCase{"NoSecondRelay", "RO", "2", 1, 0, 2, 2},
                      ValidityCase{"ModesCountFromOne", "MOD", "0", 1, 1, 2, 0},
                      ValidityCase{"LettersLeaveZero", "AI", "abc", 1, 1, 4, 0},
                      ValidityCase{"KindComesBeforeSign", "CW_bit", "+5", 1, 1, 1, untouched},
                      ValidityCase{"NegativeCountReachesBack", "AI", "100", -97, 1, 0, 100},
                      ValidityCase{"NegativeCountMustReachFarEnough", "AI", "100", -95, 1, 2, 100},
                      ValidityCase{"CountZeroAcceptsTheLimitItself", "AI", "4", 0, 1, 0, 4},
                      ValidityCase{"NoMarginForDe", "DE", "56", 1, 1, 2, 56},
                      ValidityCase{"FwIsNoType", "FW", "0", 1, 1, 3, untouched},
                      ValidityCase{"UnknownType", "XX", "0", 1, 0, 3, untouched},
                      ValidityCase{"SignComesBeforeTheTypeLookup", "XX", "-1", 1, 1, 4, untouched},
                      ValidityCase{"PlusComesBeforeTheTypeLookupToo", "XX", "1+", 1, 0, 4, untouched}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Grouped, ValidityCases,
    ::testing::Values(ValidityCase{"HighestOfF", "F", "F.#.55", 1, 1, 0, 895},
                      ValidityCase{"FAcceptsTheFirstItemOfTheGroupAfterTheLast", "F", "10.0.00", 1, 1, 0,
                                   896},
                      ValidityCase{"FButNotTheSecond", "F", "10.0.01", 1, 1, 2, 897},
                      ValidityCase{"FNorTwoFromTheFirst", "F", "10.0.00", 2, 1, 2, 896},
                      ValidityCase{"HighestOfD", "D", "1.#.55", 1, 1, 0, 111},
                      ValidityCase{"DAcceptsTheFirstItemOfTheGroupAfterTheLast", "D", "2.0.00", 1, 1, 0, 112},
                      ValidityCase{"DButNotTheSecond", "D", "2.0.01", 1, 1, 2, 113},
                      ValidityCase{"IndexAbove55", "F", "3.0.56", 1, 1, 2, 224},
                      ValidityCase{"GroupMustBeHexadecimal", "F", "G.0.00", 1, 1, 4, untouched},
                      ValidityCase{"TwoFieldsAreWrittenAllTheSame", "F", "1.0", 1, 1, 4, 56},
                      ValidityCase{"EmptyMiddleField", "F", "1..7", 1, 1, 0, 63},
                      ValidityCase{"AnyMiddleField", "F", "a.x.5", 1, 1, 0, 565},
                      ValidityCase{"BadIndexLeavesTheGroup", "F", "1.0.x", 1, 1, 4, 56},
                      ValidityCase{"BadGroupCountsAsZero", "F", "1z.0.5", 1, 1, 0, 5},
                      ValidityCase{"EmptyText", "F", "", 1, 1, 4, untouched},
                      ValidityCase{"GroupBeyondThirtyTwoBitsCountsAsZero", "F", "FFFFFFFF.0.5", 1, 1, 0, 5},
                      ValidityCase{"GroupTimes56Wraps", "F", "7FFFFFFF.0.5", 1, 1, 2, -51},
                      ValidityCase{"LongTextsAreNoMatterHere", "F", "0000F.long.0055", 1, 1, 0, 895},
                      ValidityCase{"RunsMayCrossGroups", "F", "0.0.50", 100, 1, 0, 50},
                      ValidityCase{"HugeCountIsOutOfRange", "D", "0.0.1", INT_MAX, 1, 2, 1}),
    [](const auto& row) { return row.param.name; });

TEST_F(AddressValidity, UnknownTypesGiveThreeForEitherKind) {
    for (const char* type : unknownTypes) {
        for (int wordAccess : {0, 1}) {
            int start = untouched;
            EXPECT_EQ(intf_checkAddrValidity(type, "0", &start, 1, wordAccess), DX7_ADDRESS_UNKNOWN_TYPE)
                << type;
            EXPECT_EQ(start, untouched);
        }
    }
}

struct ParserCase {
    const char* text;
    int result;
    int value;
};

TEST_F(GroupedAddressParser, EveryFormGivesItsResultAndValue) {
    const ParserCase rows[] = {
        {"0.0.0", 1, 0},
        {"F.#.55", 1, 895},
        {"f.#.55", 1, 895},
        {"1.#.55", 1, 111},
        {"1..7", 1, 63},
        {"a.x.5", 1, 565},
        {"10.0.99", 1, 995},
        {"0.anything at all.1", 1, 1},
        {"1z.0.5", 1, 5},
        {"0x1.0.5", 1, 61},
        {"1 . 0 . 5 ", 1, 61},
        {"1.0.-1", 1, 55},
        {"1.0.+1", 1, 57},
        {"1.0.0x5", -1, 56},
        {"1.0.", -1, 56},
        {"1.0.x", -1, 56},
        {"1.0.5x", -1, 56},
        {"55", -1, 4815},
        {"1.2", -1, 58},
        {"1.2.3.4", -1, 60},
        {"1.0.5.", -1, 56},
        {"g1", -1, untouched},
        {"", -1, untouched},
        {".0.5", -1, untouched},
        {"..", -1, untouched},
        {"G.0.0", -1, untouched},
        {" 1.0.5", -1, untouched},
        {"-1.0.5", -1, untouched},
        {"#.0.5", -1, untouched},
        {"FFFFFFFF.0.5", 1, 5},
        {"7FFFFFFF.0.5", 1, -51},
        {"5.0.2147483647", 1, -2147483369},
        {"5.0.2147483648", -1, 280},
    };
    for (const ParserCase& row : rows) {
        int value = untouched;
        EXPECT_EQ(a2i_dddd_h_h_dd(row.text, &value), row.result) << row.text;
        EXPECT_EQ(value, row.value) << row.text;
    }
    int value = untouched;
    EXPECT_EQ(a2i_dddd_h_h_dd(QString(), &value), -1);
    EXPECT_EQ(value, untouched);
}

TEST_F(GroupedAddressParser, OnlyAnAsciiHexadecimalDigitMayStartTheText) {
    const QString digits = "0123456789abcdefABCDEF";
    for (int code = 0; code <= 0xFFFF; ++code) {
        const QChar first(static_cast<ushort>(code));
        if (first == '.')
            continue;
        int value = untouched;
        const int expected = digits.contains(first) ? 1 : -1;
        ASSERT_EQ(a2i_dddd_h_h_dd(QString(first) + ".0.5", &value), expected) << code;
        ASSERT_EQ(value, expected == 1 ? 56 * QString(first).toInt(nullptr, 16) + 5 : untouched) << code;
    }
}

/// The weight as the sum it is, in 64 bits, cut to 32.
int plainWeight(int station, const QString& regType, int address) {
    const QString names = ",CW_bit,SW_bit,DO,RO,SDO,DI,AI,FIN,F,D,DE,CW,FW,MOD";
    const qint64 k = regType.isEmpty() ? 0 : qMax(0, names.split(',').indexOf(regType));
    return static_cast<int>(static_cast<quint32>(327675LL * station + 65535 * k + address));
}

TEST_F(AddressWeight, KnownWeights) {
    EXPECT_EQ(getRegAddressWeight(0, "CW_bit", 5, 0), 65540);
    EXPECT_EQ(getRegAddressWeight(1, "MOD", 0, 0), 1245165);
    EXPECT_EQ(getRegAddressWeight(0, "FAS", 7, 0), 7);
    EXPECT_EQ(getRegAddressWeight(0, "FW", 0, 0), 13 * 65535);
}

TEST_F(AddressWeight, EveryTypeWeighsByItsPlaceInRegNames) {
    for (const char* type : {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI", "AI", "FIN", "F", "D", "DE", "CW",
                             "FW", "MOD", "SW", "FAS", "XX", "mod", ""}) {
        for (int station : {0, 1, 2, 247, -1, 6553, 6554, INT_MAX, INT_MIN})
            for (int address : {0, 1, 65535, -1, INT_MAX, INT_MIN})
                EXPECT_EQ(getRegAddressWeight(station, type, address, 0), plainWeight(station, type, address))
                    << type << ' ' << station << ' ' << address;
    }
}

TEST_F(AddressWeight, SwAndFasWeighAsUnknown) {
    for (const char* type : {"SW", "FAS"})
        EXPECT_EQ(getRegAddressWeight(3, type, 9, 0), getRegAddressWeight(3, "no such type", 9, 0)) << type;
}

TEST_F(AddressWeight, OneStationStepWeighsFiveTypeSteps) {
    EXPECT_EQ(getRegAddressWeight(1, "CW_bit", 0, 0), getRegAddressWeight(0, "DI", 0, 0));
    EXPECT_LT(getRegAddressWeight(1, "CW_bit", 0, 0), getRegAddressWeight(0, "MOD", 0, 0));
}

TEST_F(AddressWeight, TheFourthArgumentIsIgnored) {
    for (int ignored : {1, -1, INT_MAX, INT_MIN})
        EXPECT_EQ(getRegAddressWeight(2, "CW", 3, ignored), getRegAddressWeight(2, "CW", 3, 0));
}

TEST_F(BitHelpers, SettingAndClearingEveryBit) {
    EXPECT_EQ(_setBitValue(0x0F, 2, 0), 0x0B);
    EXPECT_EQ(_setBitValue(0, 31, 1), INT_MIN);
    for (int bit = 0; bit < 32; ++bit) {
        const int mask = static_cast<int>(1U << bit);
        for (int value : {0, -1, 0x5A5A5A5A}) {
            EXPECT_EQ(_setBitValue(value, bit, 0), value & ~mask) << bit;
            for (int on : {1, 2, -1, INT_MIN})
                EXPECT_EQ(_setBitValue(value, bit, on), value | mask) << bit;
        }
    }
}

TEST_F(BitHelpers, BitNumbersBeyondAWordWrapAround) {
    EXPECT_EQ(_setBitValue(0, 32, 1), 1);
    EXPECT_EQ(_setBitValue(0, -1, 1), INT_MIN);
    EXPECT_EQ(_setBitValue(-1, 33, 0), ~2);
}

TEST_F(BitHelpers, GroupsOfEightRoundTowardZero) {
    for (int address = -40; address <= 100; ++address) {
        EXPECT_EQ(bitGroupBase(address), address / 8 * 8) << address;
        if (address >= 0) {
            EXPECT_EQ(bitNumberInGroup(address), address % 8) << address;
        }
        EXPECT_EQ(bitNumberInGroup(address) & ~7, 0) << address;
    }
}

TEST_F(BitHelpers, AddressSumsWrap) {
    EXPECT_EQ(addressAfter(5, 3), 8);
    EXPECT_EQ(addressAfter(5, -8), -3);
    EXPECT_EQ(addressAfter(INT_MAX, 1), INT_MIN);
    EXPECT_EQ(addressAfter(INT_MIN, -1), INT_MAX);
}

}  // namespace
}  // namespace dx7test

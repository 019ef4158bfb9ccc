// One row per register type: that the rows agree with the texts that hosts see, and how register numbers
// follow from them.
#include "register_map.h"

#include <gtest/gtest.h>

#include <QtCore/QString>
#include <algorithm>
#include <vector>

#include "addressing.h"

namespace {

class RegisterRows : public ::testing::TestWithParam<int> {
protected:
    const RegisterType& type() const { return typeInRow(GetParam()); }
    QString text(RegisterColumn column) const { return registerDescription(GetParam(), column); }
};

INSTANTIATE_TEST_SUITE_P(Type, RegisterRows, ::testing::Range(0, REG_TYPE_COUNT),
                         [](const auto& row) { return REG_LIST[row.param].toStdString(); });

TEST_P(RegisterRows, AreFoundByName) {
    EXPECT_EQ(GetParam(), registerRow(REG_LIST[GetParam()]));
    EXPECT_EQ(&type(), &registerType(REG_LIST[GetParam()]));
}

TEST_P(RegisterRows, HaveTheKindOfTheirText) {
    EXPECT_EQ(text(COLUMN_KIND) == "0", type().kind == KIND_BIT);
    EXPECT_NE(KIND_UNKNOWN, type().kind);
    EXPECT_EQ(type().kind == KIND_STATUS, type().read.function == 7);
}

TEST_P(RegisterRows, HaveAWriteAccessExactlyWhenTheirTextSaysSo) {
    EXPECT_EQ(text(COLUMN_WRITABLE) == "1", type().write.function != 0);
    // What can be written must not be refused.
    EXPECT_FALSE(type().refusesWrite && type().write.function != 0);
}

TEST_P(RegisterRows, ReadWithAFunctionCodeOfTheirKind) {
    const std::vector<int> codes = type().kind == KIND_BIT    ? std::vector<int>{1, 2}
                                   : type().kind == KIND_WORD ? std::vector<int>{3, 4}
                                                              : std::vector<int>{7};
    EXPECT_NE(codes.end(), std::find(codes.begin(), codes.end(), type().read.function));
}

TEST_P(RegisterRows, AcceptWhatTheirTextsName) {
    if (type().text == GROUPED_TEXT) {
        EXPECT_EQ("h.h.dd", text(COLUMN_FORMAT).toStdString());
        int highest = 0;
        ASSERT_EQ(1, a2i_dddd_h_h_dd(text(COLUMN_HIGHEST), &highest));
        EXPECT_EQ(0, type().minimum);
        EXPECT_EQ(highest + 2, type().limit);  // one item more than the text names
    } else {
        EXPECT_FALSE(text(COLUMN_FORMAT).contains(QLatin1Char('.')));
        EXPECT_EQ(text(COLUMN_LOWEST).toInt(), type().minimum);
        EXPECT_EQ(text(COLUMN_HIGHEST).toInt() + 1, type().limit);
    }
}

TEST_P(RegisterRows, HaveAnOffsetWhereTheyUseOne) {
    for (const RegisterAccess& access : {type().read, type().write}) {
        if (access.function != 0 && access.numbering == BY_OFFSET) {
            EXPECT_GE(REG_OFFSETADDR[GetParam()], 0x1000);
            EXPECT_EQ(0, access.highByte);
        }
    }
}

TEST(UnknownRow, IsFoundByAnyOtherName) {
    for (const char* name : {"", "FW", "FI", "f", "CW ", "cw_bit"}) {
        EXPECT_EQ(ROW_UNKNOWN, registerRow(QString::fromLatin1(name))) << name;
    }
    EXPECT_EQ(KIND_UNKNOWN, typeInRow(ROW_UNKNOWN).kind);
}

TEST(CanonicalName, IsTheTextOfTheListForKnownNamesOnly) {
    const ushort characters[] = {'M', 'O', 'D'};
    const QString borrowed = QString::fromRawData(reinterpret_cast<const QChar*>(characters), 3);
    EXPECT_EQ(REG_LIST[registerRow("MOD")].constData(), canonicalName(borrowed).constData());
    EXPECT_EQ(QString("XX"), canonicalName("XX"));
}

struct NumberCase {
    const char* type;
    bool write;
    int address;
    int expected;
};

class RegisterNumbers : public ::testing::TestWithParam<NumberCase> {};

TEST_P(RegisterNumbers, FollowFromTheRow) {
    const NumberCase& number = GetParam();
    const int row = registerRow(QString::fromLatin1(number.type));
    const RegisterAccess& access = number.write ? typeInRow(row).write : typeInRow(row).read;
    EXPECT_EQ(number.expected, registerNumber(row, access, number.address) & 0xFFFF);
}

INSTANTIATE_TEST_SUITE_P(
    Address, RegisterNumbers,
    ::testing::Values(NumberCase{"CW_bit", false, 15, 0x100F}, NumberCase{"CW_bit", true, 15, 0x100F},
                      NumberCase{"SW_bit", false, 3, 0x1103}, NumberCase{"DO", false, 1, 0x1020},
                      NumberCase{"RO", true, 1, 0x1040}, NumberCase{"SDO", false, 8, 0x1067},
                      NumberCase{"DI", false, 6, 0x1125}, NumberCase{"FIN", false, 0, 0x1203},
                      NumberCase{"CW", false, 5, 0x1305}, NumberCase{"CW", true, 5, 0x1300},
                      NumberCase{"SW", false, 0, 0x1309},
                      // The address is the low byte; no carry leaves it.
                      NumberCase{"AI", false, 3, 0x1203}, NumberCase{"AI", false, 0x105, 0x1205},
                      NumberCase{"AI", false, -1, 0x12FF}, NumberCase{"MOD", false, 2, 0x1302},
                      NumberCase{"MOD", true, 2, 0x1302},
                      // Group and packed index; F is written 0x1000 below.
                      NumberCase{"F", false, 0, 0xF000}, NumberCase{"F", false, 9, 0xF009},
                      NumberCase{"F", false, 10, 0xF010}, NumberCase{"F", false, 55, 0xF055},
                      NumberCase{"F", false, 56, 0xF100}, NumberCase{"F", false, 193, 0xF325},
                      NumberCase{"F", false, 895, 0xFF55}, NumberCase{"F", true, 193, 0xE325},
                      NumberCase{"F", false, 16 * 56, 0x0000},  // the group byte keeps its low 8 bits
                      NumberCase{"F", false, -1, 0xF025},       // remainder -1 counts as 255
                      NumberCase{"F", false, -56, 0xEF00}, NumberCase{"D", false, 57, 0xD101},
                      NumberCase{"D", false, 2 * 56 + 3, 0xD203},
                      // The device knows one group of DE.
                      NumberCase{"DE", false, 12, 0xDE12}, NumberCase{"DE", false, 5 * 56 + 12, 0xDE12},
                      NumberCase{"XX", false, 77, 0x0000}));

TEST(OffsetRegister, AddsTheOffsetWhateverTheRowSays) {
    EXPECT_EQ(0x1020, offsetRegister(registerRow("DO"), 1));
    EXPECT_EQ(0x00F5, offsetRegister(registerRow("F"), 5));
    EXPECT_EQ(7, offsetRegister(ROW_UNKNOWN, 7));
}

TEST(HexCharacter, ConvertsEveryCharacter) {
    for (int code = 0; code < 256; ++code) {
        int expected = 255;
        if (code >= '0' && code <= '9')
            expected = code - '0';
        else if (code >= 'A' && code <= 'F')
            expected = code - 'A' + 10;
        else if (code >= 'a' && code <= 'f')
            expected = code - 'a' + 10;
        EXPECT_EQ(expected, ConvertHexChar(static_cast<char>(code))) << "character code " << code;
    }
}

TEST(PackedDecimal, HoldsTensAndOnesInTheNibblesOfIndexes0To99) {
    for (int index = 0; index < 100; ++index)
        EXPECT_EQ(index / 10 * 16 + index % 10, packedDecimal(static_cast<unsigned char>(index))) << index;
}

TEST(PackedDecimal, OfThreeDigitsTakesTheFirstTwo) {
    EXPECT_EQ(0x10, packedDecimal(100));
    EXPECT_EQ(0x12, packedDecimal(129));
    EXPECT_EQ(0x20, packedDecimal(201));
    EXPECT_EQ(0x25, packedDecimal(251));
    EXPECT_EQ(0x25, packedDecimal(255));
}

}  // namespace

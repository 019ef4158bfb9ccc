// The fifteen register types: names, descriptions, kinds and register offsets.

#include "register_types.h"

#include <QtCore/QList>
#include <QtCore/QString>

#include "register_map.h"
#include "support.h"
#include "writeframe.h"

namespace dx7test {
namespace {

struct TypeRow {
    int row;
    const char* name;
    QList<QString> description;
    RegisterKind kind;
    int offset;
};

class RegisterTypeRows : public DriverTest, public ::testing::WithParamInterface<TypeRow> {};
using RegisterTypes = DriverTest;

TEST_P(RegisterTypeRows, HasItsNameInTheList) {
    EXPECT_EQ(REG_LIST[GetParam().row], GetParam().name);
    EXPECT_EQ(registerRow(GetParam().name), GetParam().row);
}

TEST_P(RegisterTypeRows, HasItsFiveDescriptionTexts) {
    QList<QString> texts;
    EXPECT_EQ(intf_getRegDiscription(GetParam().name, texts), DX7_TYPE_KNOWN);
    EXPECT_EQ(texts, GetParam().description);
    for (int column = 0; column < 5; ++column) {
        EXPECT_EQ(REG_DESCRIPTION[5 * GetParam().row + column], GetParam().description.at(column));
        EXPECT_EQ(registerDescription(GetParam().row, static_cast<RegisterColumn>(column)),
                  GetParam().description.at(column));
    }
}

TEST_P(RegisterTypeRows, HasItsKind) {
    EXPECT_EQ(registerType(GetParam().name).kind, GetParam().kind);
}

TEST_P(RegisterTypeRows, HasItsRegisterOffset) {
    EXPECT_EQ(REG_OFFSETADDR[GetParam().row], GetParam().offset);
}

TEST_P(RegisterTypeRows, HasAWriteFrameExactlyWhenItIsWritable) {
    getWriteFrame(request(1, GetParam().name, 0, 1));
    EXPECT_EQ(driver.frameList.size(), GetParam().description.at(COLUMN_WRITABLE) == "1" ? 1 : 0);
}

TEST_P(RegisterTypeRows, IsFoundByItsExactNameOnly) {
    const QString name = GetParam().name;
    for (const QString& other : {name + " ", " " + name, name + "_", QString(name).append(QChar(0))}) {
        QList<QString> texts;
        EXPECT_EQ(intf_getRegDiscription(other, texts), DX7_TYPE_UNKNOWN) << other.toStdString();
        EXPECT_TRUE(texts.isEmpty());
        EXPECT_EQ(registerRow(other), ROW_UNKNOWN);
        EXPECT_EQ(registerType(other).kind, KIND_UNKNOWN);
    }
    EXPECT_EQ(registerRow(name.toLower()), ROW_UNKNOWN);
}

INSTANTIATE_TEST_SUITE_P(
    Type, RegisterTypeRows,
    ::testing::Values(TypeRow{0, "CW_bit", {"ddd", "0", "15", "0", "1"}, KIND_BIT, 0x1000},
                      TypeRow{1, "SW_bit", {"ddd", "0", "15", "0", "0"}, KIND_BIT, 0x1100},
                      TypeRow{2, "DO", {"ddd", "1", "2", "0", "1"}, KIND_BIT, 0x101F},
                      TypeRow{3, "RO", {"ddd", "1", "1", "0", "1"}, KIND_BIT, 0x103F},
                      TypeRow{4, "SDO", {"ddd", "1", "8", "0", "1"}, KIND_BIT, 0x105F},
                      TypeRow{5, "DI", {"ddd", "1", "6", "0", "0"}, KIND_BIT, 0x111F},
                      TypeRow{6, "AI", {"ddd", "0", "3", "1", "0"}, KIND_WORD, 0x1200},
                      TypeRow{7, "FIN", {"ddd", "0", "0", "1", "0"}, KIND_WORD, 0x1203},
                      TypeRow{8, "F", {"h.h.dd", "0.0.00", "F.#.55", "1", "1"}, KIND_WORD, 0x00F0},
                      TypeRow{9, "D", {"h.h.dd", "0.0.00", "1.#.55", "1", "0"}, KIND_WORD, 0x00D0},
                      TypeRow{10, "DE", {"dd", "0", "55", "1", "0"}, KIND_WORD, 0x00DE},
                      TypeRow{11, "CW", {"ddd", "0", "0", "1", "1"}, KIND_WORD, 0x1300},
                      TypeRow{12, "SW", {"ddd", "0", "0", "1", "0"}, KIND_WORD, 0x1309},
                      TypeRow{13, "MOD", {"ddd", "1", "2", "1", "1"}, KIND_WORD, 0x1300},
                      TypeRow{14, "FAS", {"ddd", "0", "0", "1", "0"}, KIND_STATUS, 0x0000}),
    [](const auto& row) { return row.param.name; });

const QList<QString> bitNames = {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI"};
const QList<QString> wordNames = {"AI", "FIN", "F", "D", "DE", "CW", "SW", "MOD", "FAS"};

TEST_F(RegisterTypes, TypeZeroListsTheBitTypes) {
    QList<QString> names;
    EXPECT_EQ(intf_getRegListByType(0, names), DX7_TYPE_KNOWN);
    EXPECT_EQ(names, bitNames);
}

TEST_F(RegisterTypes, TypeOneListsTheWordTypes) {
    QList<QString> names;
    EXPECT_EQ(intf_getRegListByType(1, names), DX7_TYPE_KNOWN);
    EXPECT_EQ(names, wordNames);
}

TEST_F(RegisterTypes, AnyOtherTypeListsNothing) {
    for (int type : {-1, 2, 3, 256, -2147483647 - 1, 2147483647}) {
        QList<QString> names = {"before"};
        EXPECT_EQ(intf_getRegListByType(type, names), DX7_TYPE_UNKNOWN) << type;
        EXPECT_EQ(names, QList<QString>{"before"}) << type;
    }
}

TEST_F(RegisterTypes, ListsAreAppendedToSoThatTwoCallsYieldTheNamesTwice) {
    QList<QString> names;
    intf_getRegListByType(0, names);
    intf_getRegListByType(0, names);
    EXPECT_EQ(names, bitNames + bitNames);
    intf_getRegListByType(1, names);
    EXPECT_EQ(names, bitNames + bitNames + wordNames);
}

TEST_F(RegisterTypes, DescriptionsAreAppendedToo) {
    QList<QString> texts = {"before"};
    intf_getRegDiscription("DE", texts);
    intf_getRegDiscription("DE", texts);
    EXPECT_EQ(texts, (QList<QString>{"before", "dd", "0", "55", "1", "0", "dd", "0", "55", "1", "0"}));
}

TEST_F(RegisterTypes, UnknownNamesHaveNoDescription) {
    for (const char* name : {"cw_bit", "FW", "FI", "XX", "", "fas", "CW_Bit"}) {
        QList<QString> texts = {"before"};
        EXPECT_EQ(intf_getRegDiscription(name, texts), DX7_TYPE_UNKNOWN) << name;
        EXPECT_EQ(texts, QList<QString>{"before"}) << name;
    }
    QList<QString> texts;
    EXPECT_EQ(intf_getRegDiscription(QString(), texts), DX7_TYPE_UNKNOWN);
    EXPECT_TRUE(texts.isEmpty());
}

TEST_F(RegisterTypes, FwIsOnlyInRegNamesAndSwAndFasOnlyInRegList) {
    QList<QString> listed;
    for (const QString& name : REG_LIST)
        listed << name;
    EXPECT_FALSE(listed.contains("FW"));
    EXPECT_TRUE(listed.contains("SW"));
    EXPECT_TRUE(listed.contains("FAS"));
    EXPECT_TRUE(driver.regNames.contains("FW"));
    EXPECT_FALSE(driver.regNames.contains("SW"));
    EXPECT_FALSE(driver.regNames.contains("FAS"));
}

TEST_F(RegisterTypes, GroupTablesCountUpFromTheirFirstEntry) {
    for (int group = 0; group < 16; ++group)
        EXPECT_EQ(REG_F_OFFSETADDR[group], 0xF0 + group);
    EXPECT_EQ(REG_D_OFFSETADDR[0], 0xD0);
    EXPECT_EQ(REG_D_OFFSETADDR[1], 0xD1);
}

}  // namespace
}  // namespace dx7test

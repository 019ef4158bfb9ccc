#include "item_notation.h"

#include <gtest/gtest.h>

#include "error.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

QString latin(const char* text) {
    return QString::fromLatin1(text);
}

QStringList notations(const char* text) {
    QStringList list;
    for (const Point& point : notation().points(latin(text))) {
        list += point.notation();
    }
    return list;
}

TEST(RegisterTypes, AreTheDriversFifteen) {
    ASSERT_EQ(notation().types().size(), 15);
    EXPECT_EQ(notation().types().first().name, latin("CW_bit"));
    EXPECT_EQ(notation().types().last().name, latin("FAS"));
    EXPECT_TRUE(notation().type(latin("DO")).bit);
    EXPECT_TRUE(notation().type(latin("F")).grouped());
    EXPECT_FALSE(notation().type(latin("DE")).grouped());
    EXPECT_TRUE(notation().type(latin("DE")).packedDecimal());
    EXPECT_EQ(notation().type(latin("FAS")).itemBytes(), 1);
    EXPECT_EQ(notation().type(latin("CW")).itemBytes(), 2);
}

TEST(RegisterTypes, RunsEndWithTheSubGroup) {
    const RegisterType f = notation().type(latin("F"));
    EXPECT_EQ(f.runLength(8, 10), 2);
    EXPECT_EQ(f.runLength(10, 20), 10);
    EXPECT_EQ(f.runLength(50, 20), 6);
    EXPECT_EQ(f.runLength(56 + 9, 5), 1);
    EXPECT_EQ(notation().type(latin("SDO")).runLength(1, 8), 8);
}

TEST(ItemNotation, TypeAndAddress) {
    EXPECT_EQ(notations("F:3.0.25"), QStringList{latin("F:3.0.25@1")});
    EXPECT_EQ(notations("F:F.#.55"), QStringList{latin("F:F.0.55@1")});
    EXPECT_EQ(notation().points(latin("F:3.0.25")).first().address, 193);
}

TEST(ItemNotation, CountStationAndFormat) {
    EXPECT_EQ(notations("DO:1,2@7"), (QStringList{latin("DO:1@7"), latin("DO:2@7")}));
    EXPECT_EQ(notations("F:0.0.54,3@2"),
              (QStringList{latin("F:0.0.54@2"), latin("F:0.0.55@2"), latin("F:1.0.00@2")}));
    const Point point = notation().points(latin("AI:0@3/signed/scale=0.1/unit=Hz")).first();
    EXPECT_EQ(point.station, 3);
    EXPECT_EQ(point.format.presentation, Presentation::Signed);
    EXPECT_EQ(point.format.unit, latin("Hz"));
    EXPECT_EQ(notations("F:0.0.10,2/u32"), (QStringList{latin("F:0.0.10@1"), latin("F:0.0.12@1")}));
}

TEST(ItemNotation, TheDefaultStationAppliesWhereNoneIsNamed) {
    EXPECT_EQ(notation().points(latin("AI:0"), 5).first().station, 5);
    EXPECT_EQ(notation().points(latin("AI:0@6"), 5).first().station, 6);
}

TEST(ItemNotation, RepetitionsAreShownOnce) {
    EXPECT_EQ(notation().points(QStringList{latin("AI:0,3"), latin("AI:2,2")}).size(), 4);
}

class BadItem : public testing::TestWithParam<const char*> {};

TEST_P(BadItem, IsRefused) {
    EXPECT_THROW(notation().points(latin(GetParam())), UsageError);
}

INSTANTIATE_TEST_SUITE_P(Items, BadItem,
                         testing::Values("", "AI", "AI:", ":0", "XX:0", "ai:0", "FW:0", "AI:4", "AI:0,5",
                                         "AI:-1", "AI:+1", "AI:x", "AI:0,", "AI:0,0", "AI:0,-1",
                                         "AI:0,2000000000", "AI:0@", "AI:0@x", "AI:0@248", "AI:0@-1",
                                         "AI:0@0", "DO:0", "DO:3", "F:1.0", "F:G.0.00", "F:3.0.56",
                                         "F:10.0.01", "AI:0/float", "DO:1/u32", "F:0.0.09/u32",
                                         "F:0.0.55/u32", "AI:0,3/u32"));

class BadWrite : public testing::TestWithParam<const char*> {};

TEST_P(BadWrite, IsRefused) {
    EXPECT_THROW(notation().write(latin(GetParam())), UsageError);
}

INSTANTIATE_TEST_SUITE_P(Writes, BadWrite,
                         testing::Values("F:0.0.01", "F:0.0.01=", "F:0.0.01=65536", "F:0.0.01=-40000",
                                         "DO:1=2", "AI:0=1", "FAS:0=1", "D:0.0.00=1", "SW_bit:0=1",
                                         "F:0.0.01,2=1,2", "F:0.0.01=1,,2", "DO:2=1,1", "F:0.0.01@0=1",
                                         "F:F.0.55=1,2,3", "F:0.0.09/s32=1", "=5", "F=5"));

TEST(ItemNotation, WritesCarryTheirValues) {
    const WriteRequest words = notation().write(latin("F:0.0.10@2=10,258"));
    EXPECT_EQ(words.first.address, 10);
    EXPECT_EQ(words.first.station, 2);
    EXPECT_EQ(words.items, (QVector<int>{10, 258}));
    const WriteRequest wide = notation().write(latin("F:0.0.10/s32=-1,1"));
    EXPECT_EQ(wide.items, (QVector<int>{0xFFFF, 0xFFFF, 0, 1}));
    EXPECT_EQ(notation().write(latin("RO:1@0=on")).first.station, 0);
}

}  // namespace

#include "host/items/item_notation.h"

#include <gtest/gtest.h>

#include "host/error.h"
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
    EXPECT_EQ(notations("F:F.0.55"), QStringList{latin("F:F.0.55@1")});
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

TEST(ItemNotation, StationOneIsMeantWhereNoneIsNamed) {
    EXPECT_EQ(notation().points(latin("AI:0")).first().station, 1);
    EXPECT_EQ(notation().points(latin("AI:0@6")).first().station, 6);
}

TEST(ItemNotation, RepetitionsAreShownOnce) {
    EXPECT_EQ(notation().points(QStringList{latin("AI:0,3"), latin("AI:2,2")}).size(), 4);
}

class BadItem : public testing::TestWithParam<const char*> {};

TEST_P(BadItem, IsRefused) {
    EXPECT_THROW(notation().points(latin(GetParam())), UsageError);
}

INSTANTIATE_TEST_SUITE_P(
    Items, BadItem,
    testing::Values("", "AI", "AI:", ":0", "XX:0", "ai:0", "FW:0", "AI:4", "AI:0,5", "AI:-1", "AI:+1", "AI:x",
                    "AI:0,", "AI:0,0", "AI:0,-1", "AI:0,2000000000", "AI:0@", "AI:0@x", "AI:0@248", "AI:0@-1",
                    "AI:0@0", "DO:0", "DO:3", "F:1.0", "F:G.0.00", "F:3.0.56", "F:10.0.01", "F:F.#.55",
                    "F:3O.0.24", "F:3.9.25", "F:3.0.5", "F:a.0.01", "F: 3.0.25", "F:3.0.25 ", " F:3.0.25",
                    "F:3.0.025", "AI:00", "AI:0 ", "AI: 0", "AI:0\n", "AI:0,01", "AI:0,+2", "AI:0, 2",
                    "AI:0,2 ", "AI:0@01", "AI:0@+1", "AI:0@ 1", "AI:0@1 ", "AI:0@1\n", "AI:0@1@1", "AI:0,1,1",
                    "AI:0,0x1", "AI :0", "AI:0/scale= 2", "AI:0/float", "DO:1/u32", "F:0.0.09/u32",
                    "F:0.0.55/u32", "AI:0,3/u32"));

class BadWrite : public testing::TestWithParam<const char*> {};

TEST_P(BadWrite, IsRefused) {
    EXPECT_THROW(notation().write(latin(GetParam())), UsageError);
}

INSTANTIATE_TEST_SUITE_P(Writes, BadWrite,
                         testing::Values("F:0.0.01", "F:0.0.01=", "F:0.0.01=65536", "F:0.0.01=-40000",
                                         "DO:1=2", "AI:0=1", "FAS:0=1", "D:0.0.00=1", "SW_bit:0=1",
                                         "F:0.0.01=1,2", "F:0.0.01,2=1", "F:0.0.01,2=1,2,3", "F:0.0.01,1=1,2",
                                         "F:0.0.01=1,,2", "F:0.0.01,3=1,,2", "F:0.0.01,2=1,", "DO:2,2=1,1",
                                         "F:0.0.07,2/u32=1,2", "F:0.0.00,4/u32=1,2", "F:0.0.00,2/u32=1,2,3,4",
                                         "F:10.0.00=1", "F:F.0.55,2=1,2", "F:0.0.01= 1", "F:0.0.01=1 ",
                                         "F:0.0.01 =1", "F:0.0.01==1", "F:0.0.01@0=1", "F:F.0.55,3=1,2,3",
                                         "F:0.0.09/s32=1", "=5", "F=5"));

TEST(ItemNotation, WritesCarryTheirValues) {
    const WriteRequest words = notation().write(latin("F:0.0.10,2@2=10,258"));
    EXPECT_EQ(words.first.address, 10);
    EXPECT_EQ(words.first.station, 2);
    EXPECT_EQ(words.items, (QVector<int>{10, 258}));
    EXPECT_EQ(words.values(), 2);
    // The count is that of values, not of words.
    const WriteRequest wide = notation().write(latin("F:0.0.10,2/s32=-1,1"));
    EXPECT_EQ(wide.items, (QVector<int>{0xFFFF, 0xFFFF, 0, 1}));
    EXPECT_EQ(wide.values(), 2);
    EXPECT_EQ(notation().write(latin("RO:1@0=on")).first.station, 0);
}

// What a write is called is taken again.
TEST(ItemNotation, AWriteIsNamedAsItIsTyped) {
    for (const char* item : {"F:0.0.10,2@2", "F:0.0.10@1", "SDO:1,8@0", "F:0.0.00,896@247"}) {
        const QString values =
            QStringLiteral("1,")
                .repeated(notation().points(latin(item).replace(latin("@0"), latin("@1"))).size())
                .chopped(1);
        const WriteRequest request = notation().write(latin(item) + QLatin1Char('=') + values);
        EXPECT_EQ(request.name, latin(item));
        EXPECT_EQ(request.first.name, request.first.notation());
    }
    EXPECT_EQ(notation().write(latin("F:0.0.10,1=5")).name, latin("F:0.0.10@1"));
}

QString refusalOfWrite(const char* text) {
    try {
        notation().write(latin(text));
        return latin("taken");
    } catch (const UsageError& error) {
        return error.text();
    }
}

TEST(ItemNotation, AWrongNumberOfValuesIsNamedWithWhatWouldDo) {
    EXPECT_EQ(refusalOfWrite("F:3.0.20@2/hex=1,2,3"),
              latin("F:3.0.20@2 takes 1 value, as many as its count, but 3 are given; a run is written with "
                    "its count: "
                    "F:3.0.20,3@2/hex=1,2,3"));
    EXPECT_EQ(refusalOfWrite("F:3.0.20,3=1,2"),
              latin("F:3.0.20,3@1 takes 3 values, as many as its count, but 2 are given"));
    EXPECT_EQ(refusalOfWrite("F:3.0.20,2=1"),
              latin("F:3.0.20,2@1 takes 2 values, as many as its count, but 1 is given"));
    Point ramp = notation().points(latin("F:3.0.20/scale=0.1")).first();
    ramp.name = latin("ramp time");
    try {
        ItemNotation::writeTag(ramp.name, {ramp}, latin("12,3"));
        ADD_FAILURE() << "taken";
    } catch (const UsageError& error) {
        EXPECT_TRUE(error.text().startsWith(
            latin("tag \"ramp time\" takes 1 value, as many as its count, but 2 are given; a run is written "
                  "TYPE:ADDRESS,COUNT=VALUE,VALUE...")))
            << error.text().toStdString();
    }
    EXPECT_EQ(ItemNotation::writeTag(ramp.name, {ramp}, latin("12")).items, QVector<int>{120});
}

// One past the last item: the driver takes it, and it is only read.
TEST(ItemNotation, WhatIsBeyondTheTableIsRead) {
    const Point beyond = notation().points(latin("F:10.0.00")).first();
    EXPECT_EQ(beyond.address, 896);
    EXPECT_EQ(beyond.notation(), latin("F:10.0.00@1"));
    EXPECT_TRUE(beyond.type.beyondTable(896, 1));
    EXPECT_TRUE(beyond.type.beyondTable(895, 2));
    EXPECT_FALSE(beyond.type.beyondTable(895, 1));
    EXPECT_EQ(notations("F:F.0.55,2"), (QStringList{latin("F:F.0.55@1"), latin("F:10.0.00@1")}));
    EXPECT_EQ(notations("D:2.0.00"), QStringList{latin("D:2.0.00@1")});
    EXPECT_EQ(refusalOfWrite("F:F.0.55,2=1,2"),
              latin("F:10.0.00 is beyond the end of F and can only be read (F has 0.0.00 to F.0.55)"));
}

QString refusalOfItem(const char* text) {
    try {
        notation().points(latin(text));
        return latin("taken");
    } catch (const UsageError& error) {
        return error.text();
    }
}

TEST(ItemNotation, TheNearestValidFormIsNamed) {
    EXPECT_EQ(
        refusalOfItem("F:3.9.25"),
        latin("\"F:3.9.25\" is not a valid address, the nearest is \"F:3.0.25\" (F has 0.0.00 to F.0.55)"));
    EXPECT_EQ(
        refusalOfItem("F:3.0.56"),
        latin("address 3.0.56 of F is out of range, the nearest is \"F:3.0.55\" (F has 0.0.00 to F.0.55)"));
    EXPECT_EQ(refusalOfItem("AI:2,5"),
              latin("5 items from 2 of AI are out of range, the nearest is \"AI:2,2\" (AI has 0 to 3)"));
    EXPECT_EQ(
        refusalOfItem("F:F.0.50,6/u32"),
        latin("12 items from F.0.50 of F are out of range, the nearest is \"F:F.0.50,3\" (F has 0.0.00 to "
              "F.0.55)"));
    EXPECT_EQ(refusalOfItem("AI:x"),
              latin("\"AI:x\" is not a valid address, its form is ddd (AI has 0 to 3)"));
    EXPECT_TRUE(refusalOfItem("f:3.0.25").endsWith(latin("; the nearest is \"F\"")));
    EXPECT_EQ(refusalOfItem("AI:0@01"),
              latin("station \"01\" is not a plain number from 0 to 247, the nearest is \"1\""));
}

// The same item of another name, format and place in the list, however many there are.
TEST(ItemNotation, RepetitionsAreFoundAmongMany) {
    QVector<Point> points = notation().points(QStringList{latin("F:0.0.00,896@1"), latin("F:0.0.00,896@2")});
    const int size = points.size();
    for (int i = 0; i < 5; ++i) {
        points += points;
    }
    points += notation().points(latin("F:0.0.00/hex"));
    points += notation().points(latin("F:0.0.00/scale=2"));
    points += notation().points(latin("F:0.0.00/scale=2/unit=V"));
    EXPECT_EQ(withoutRepetitions(points).size(), size + 3);
}

TEST(Stations, ARangeIsTheItemAtEach) {
    QStringList names;
    for (const Point& point : notation().points(QStringLiteral("F:3.0.25,2@2-4/signed"))) {
        names += point.notation();
        EXPECT_EQ(point.format.presentation, Presentation::Signed);
    }
    EXPECT_EQ(names.join(QLatin1Char(' ')),
              QStringLiteral("F:3.0.25@2 F:3.0.26@2 F:3.0.25@3 F:3.0.26@3 F:3.0.25@4 F:3.0.26@4"));
    EXPECT_EQ(notation().points(QStringLiteral("AI:0@247-247")).size(), 1);
    EXPECT_EQ(notation().points(QStringLiteral("AI:0@1-247")).size(), 247);
    EXPECT_EQ(ItemNotation::perStation(QStringLiteral("F:3.0.25@1-2=5")),
              (QStringList{QStringLiteral("F:3.0.25@1=5"), QStringLiteral("F:3.0.25@2=5")}));
    EXPECT_EQ(notation().points(QStringLiteral("AI:0/unit=a@1-3")).size(), 1) << "that is of the unit";
}

TEST(Stations, ATextHasABound) {
    EXPECT_THROW(notation().points(QStringLiteral("F:0.0.00,896@1-247")), UsageError);
    EXPECT_EQ(notation().points(QStringLiteral("F:0.0.00,40@1-247")).size(), 9880);
}

TEST(Stations, TheNearestRangeIsNamed) {
    EXPECT_EQ(refusalOfItem("AI:0@10-1"),
              latin("stations 10-1 are not a range from 1 to 247, the nearest is \"AI:0@1-10\""));
    EXPECT_EQ(refusalOfItem("AI:0,2@01-300/signed"),
              latin("stations 01-300 are not a range from 1 to 247, the nearest is \"AI:0,2@1-247\""));
    EXPECT_EQ(refusalOfItem("AI:0@0-99999999999"),
              latin("stations 0-99999999999 are not a range from 1 to 247, the nearest is \"AI:0@1-247\"; "
                    "station 0 is the broadcast address and stands alone"));
}

class WrongStations : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Texts, WrongStations,
                         testing::Values("0-5", "5-1", "1-300", "1-", "-3", "01-3", "1-03", "1--3", "1-2-3",
                                         "a-b", "1,3", " 1-2", "1 -2", "999999999999-2",
                                         "4294967297-4294967298", "1-4294967298"));

TEST_P(WrongStations, AreRefusedByName) {
    try {
        notation().points(QStringLiteral("AI:0@") + QLatin1String(GetParam()));
        ADD_FAILURE() << "taken";
    } catch (const UsageError& error) {
        EXPECT_TRUE(error.text().contains(QStringLiteral("station"))) << error.text().toStdString();
    }
}

}  // namespace

#include "host/items/value_names.h"

#include <gtest/gtest.h>

#include "host/error.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

QString latin(const char* text) {
    return QString::fromLatin1(text);
}

RegisterType type(const char* name) {
    return notation().type(latin(name));
}

// 0 off, 1 on, -2 reverse.
ValueFormat switched(const char* typeName, const char* options = "") {
    ValueFormat format = formatFromOptions(latin(options).split(QLatin1Char('/'), Qt::SkipEmptyParts));
    setNumberName(format, type(typeName), 0, latin("off"));
    setNumberName(format, type(typeName), 1, latin("on"));
    if (format.presentation == Presentation::Signed) {
        setNumberName(format, type(typeName), -2, latin("reverse"));
    }
    return format;
}

// Bit 0 ready, bit 2 running.
ValueFormat flagged(const char* options = "") {
    ValueFormat format = formatFromOptions(latin(options).split(QLatin1Char('/'), Qt::SkipEmptyParts));
    for (const char* name : {"ready", "", "running"}) {
        addBitName(format.names, format.bits(type("F")), latin(name));
    }
    return format;
}

TEST(ValueNames, ANumberIsShownByItsNameAndByItselfWithoutOne) {
    EXPECT_EQ(valueText(switched("F"), type("F"), 1), latin("on"));
    EXPECT_EQ(valueText(switched("F"), type("F"), 7), latin("7"));
    EXPECT_EQ(valueText(switched("F", "hex"), type("F"), 7), latin("0x0007"));
    EXPECT_EQ(valueText(switched("F", "signed"), type("F"), 0xFFFE), latin("reverse"));
    EXPECT_EQ(valueText(switched("F", "s32"), type("F"), 0xFFFFFFFE), latin("reverse"));
    EXPECT_EQ(valueText(switched("DO"), type("DO"), 0), latin("off"));
    EXPECT_EQ(valueNumber(switched("F", "signed"), 0xFFFE), -2);
}

TEST(ValueNames, AUnitFollowsNumbersAlone) {
    EXPECT_EQ(valueWithUnit(switched("F", "unit=V"), type("F"), 1), latin("on"));
    EXPECT_EQ(valueWithUnit(switched("F", "unit=V"), type("F"), 7), latin("7 V"));
}

TEST(ValueNames, BitsAreShownFromTheLowestOn) {
    EXPECT_EQ(valueText(flagged(), type("F"), 0), latin("none"));
    EXPECT_EQ(valueText(flagged(), type("F"), 5), latin("ready+running"));
    EXPECT_EQ(valueText(flagged(), type("F"), 0x8202), latin("bit1+bit9+bit15"));
    EXPECT_EQ(valueText(flagged("u32"), type("F"), 0x80000001), latin("ready+bit31"));
    EXPECT_EQ(valueText(flagged("signed"), type("F"), 0xFFFF).count(QLatin1Char('+')), 15);
}

TEST(ValueNames, WhatIsShownIsTaken) {
    for (quint32 raw = 0; raw <= 65535; ++raw) {
        const QString shown = valueText(flagged(), type("F"), raw);
        ASSERT_EQ(itemsFromText(flagged(), type("F"), shown), QVector<int>{static_cast<int>(raw)});
    }
    for (const quint32 raw : {0U, 1U, 2U, 0xFFFEU, 0xFFFFU}) {
        const ValueFormat format = switched("F", "signed");
        EXPECT_EQ(itemsFromText(format, type("F"), valueText(format, type("F"), raw)),
                  QVector<int>{static_cast<int>(raw)});
    }
}

struct Typed {
    const char* text;
    int raw;  // -1: refused
};

class TypedName : public testing::TestWithParam<Typed> {};

TEST_P(TypedName, IsItsNumber) {
    if (GetParam().raw < 0) {
        EXPECT_THROW(itemsFromText(switched("F"), type("F"), latin(GetParam().text)), UsageError);
    } else {
        EXPECT_EQ(itemsFromText(switched("F"), type("F"), latin(GetParam().text)),
                  QVector<int>{GetParam().raw});
    }
}

INSTANTIATE_TEST_SUITE_P(Numbers, TypedName,
                         testing::Values(Typed{"on", 1}, Typed{"off", 0}, Typed{"1", 1}, Typed{"7", 7},
                                         Typed{"0x1", 1}, Typed{"65535", 65535}, Typed{"65536", -1},
                                         Typed{"-1", -1}, Typed{"ON", -1}, Typed{"on ", -1}, Typed{"", -1},
                                         Typed{"none", -1}, Typed{"1.5", -1}));

class TypedBits : public testing::TestWithParam<Typed> {};

TEST_P(TypedBits, AreTheirNumber) {
    if (GetParam().raw < 0) {
        EXPECT_THROW(itemsFromText(flagged(), type("F"), latin(GetParam().text)), UsageError);
    } else {
        EXPECT_EQ(itemsFromText(flagged(), type("F"), latin(GetParam().text)), QVector<int>{GetParam().raw});
    }
}

INSTANTIATE_TEST_SUITE_P(Bits, TypedBits,
                         testing::Values(Typed{"running+ready", 5}, Typed{"none", 0}, Typed{"bit9", 512},
                                         Typed{"bit0", 1}, Typed{"ready+bit15", 0x8001}, Typed{"bit16", -1},
                                         Typed{"0b101", 5}, Typed{"0x10", 16}, Typed{"3", 3}, Typed{"+3", 3},
                                         Typed{"ready+ready", -1}, Typed{"bit0+ready", -1},
                                         Typed{"ready+", -1}, Typed{"+ready", -1}, Typed{"ready+none", -1},
                                         Typed{"ready+4", -1}, Typed{"", -1}));

// The names of a bit are all that there is to it.
TEST(ValueNames, ABitTakesItsNamesInPlaceOfOnAndOff) {
    ValueFormat door;
    setNumberName(door, type("DO"), 0, latin("open"));
    setNumberName(door, type("DO"), 1, latin("closed"));
    EXPECT_EQ(itemsFromText(door, type("DO"), latin("closed")), QVector<int>{1});
    EXPECT_EQ(itemsFromText(door, type("DO"), latin("0")), QVector<int>{0});
    EXPECT_THROW(itemsFromText(door, type("DO"), latin("on")), UsageError);
    EXPECT_THROW(itemsFromText(door, type("DO"), latin("2")), UsageError);
}

QString refusal(const ValueFormat& format, const char* text) {
    try {
        itemsFromText(format, type("F"), latin(text));
        return latin("taken");
    } catch (const UsageError& error) {
        return error.text();
    }
}

TEST(ValueNames, AnUnknownNameIsToldWithTheNearest) {
    EXPECT_EQ(refusal(switched("F"), "of").toStdString(),
              "value \"of\" for F is unknown, its names are off, on; the nearest is \"off\"");
    EXPECT_EQ(refusal(flagged(), "redy+running").toStdString(),
              "value \"redy\" for F is unknown, its bits are ready, running, to be joined by +, or none; the "
              "nearest is \"ready\"");
    EXPECT_EQ(refusal(flagged(), "ready+ready").toStdString(),
              "value \"ready+ready\" for F names the bit \"ready\" twice; name each bit that is to be set "
              "once");
}

class BadName : public testing::TestWithParam<const char*> {};

TEST_P(BadName, IsRefused) {
    ValueNames names;
    addNumberName(names, 5, latin("taken"));
    EXPECT_THROW(addNumberName(names, 0, latin(GetParam())), UsageError);
}

INSTANTIATE_TEST_SUITE_P(Names, BadName,
                         testing::Values("", "taken", "1", "-1", "+1", "0x1F", "0b1", "1e3", ".5", "2nd",
                                         "a,b", "a+b", "a=b", "a\nb", "a\x1b[2J"));

class BadBitName : public testing::TestWithParam<const char*> {};

TEST_P(BadBitName, IsRefused) {
    ValueNames names;
    addBitName(names, 16, latin("ready"));
    EXPECT_THROW(addBitName(names, 16, latin(GetParam())), UsageError);
}

INSTANTIATE_TEST_SUITE_P(Names, BadBitName, testing::Values("ready", "none", "bit3", "bit1", "7", "a+b"));

TEST(ValueNames, ThereAreAsManyAsBits) {
    ValueNames names;
    for (int bit = 0; bit < 8; ++bit) {
        addBitName(names, 8, QStringLiteral("b%1").arg(bit));
    }
    EXPECT_THROW(addBitName(names, 8, latin("one more")), UsageError);
}

TEST(ValueNames, AreOfNumbersThatTheFormatShows) {
    ValueFormat word;
    EXPECT_THROW(setNumberName(word, type("F"), -1, latin("a")), UsageError);
    EXPECT_THROW(setNumberName(word, type("F"), 65536, latin("a")), UsageError);
    EXPECT_THROW(setNumberName(word, type("FAS"), 256, latin("a")), UsageError);
    EXPECT_THROW(setNumberName(word, type("DO"), 2, latin("a")), UsageError);
    EXPECT_NO_THROW(setNumberName(word, type("F"), 65535, latin("a")));
}

// Two that show the same item by other names are two.
TEST(ValueNames, TellPointsApart) {
    Point plain = notation().points(latin("F:3.0.25")).first();
    Point named = plain;
    named.format = switched("F");
    EXPECT_EQ(withoutRepetitions({plain, named, named, plain}).size(), 2);
    EXPECT_FALSE(plain.format == named.format);
}

}  // namespace

// f32: a single of IEEE 754 in two words.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "host/error.h"
#include "host/items/number_form.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

ValueFormat formatOf(const char* options) {
    return formatFromOptions(QString::fromLatin1(options).split(QLatin1Char('/')));
}

RegisterType parameters() {
    return notation().type(QStringLiteral("F"));
}

QString textOf(const char* options, quint32 bits) {
    return valueText(formatOf(options), parameters(), bits);
}

quint32 typedBits(const char* options, const QString& text) {
    const ValueFormat format = formatOf(options);
    return rawFromItems(format, itemsFromText(format, parameters(), text));
}

struct Shown {
    quint32 bits;
    const char* text;
    bool typed = true;
};

class Single : public testing::TestWithParam<Shown> {};

TEST_P(Single, IsShownInAsFewDigitsAsBringItBack) {
    const QString shown = textOf("f32", GetParam().bits);
    EXPECT_EQ(shown.toStdString(), GetParam().text);
    if (GetParam().typed) {
        EXPECT_EQ(typedBits("f32", shown), GetParam().bits);
    } else {
        EXPECT_THROW(typedBits("f32", shown), UsageError) << "no number";
    }
}

INSTANTIATE_TEST_SUITE_P(Numbers, Single,
                         testing::Values(Shown{0x3F800000, "1"}, Shown{0xBF800000, "-1"},
                                         Shown{0x3DCCCCCD, "0.1"}, Shown{0x42F6E979, "123.456"},
                                         Shown{0x4048F5C3, "3.14"}, Shown{0x47C35000, "100000"},
                                         Shown{0x4B800000, "16777216"}, Shown{0x38D1B717, "0.0001"},
                                         Shown{0x33D6BF95, "1e-07"}, Shown{0x7F7FFFFF, "3.4028235e+38"},
                                         Shown{0xFF7FFFFF, "-3.4028235e+38"}, Shown{0x00000001, "1e-45"},
                                         Shown{0x00800000, "1.1754944e-38"}));
INSTANTIATE_TEST_SUITE_P(Zeros, Single, testing::Values(Shown{0, "0"}, Shown{0x80000000, "-0"}));
INSTANTIATE_TEST_SUITE_P(WhatIsNoNumber, Single,
                         testing::Values(Shown{0x7FC00000, "nan", false}, Shown{0xFFC00001, "nan", false},
                                         Shown{0x7F800001, "nan", false}, Shown{0x7F800000, "inf", false},
                                         Shown{0xFF800000, "-inf", false}));

TEST(Singles, AreTakenAsTheyAreShownWithAnyScale) {
    std::mt19937 random(1);
    for (const char* options : {"f32", "f32/low-first", "f32/scale=0.1", "f32/scale=-3", "f32/scale=1e-9",
                                "f32/scale=1e200", "f32/scale=0.3333333333333333"}) {
        for (int i = 0; i < 3000; ++i) {
            const auto bits = static_cast<quint32>(random());
            if (std::isfinite(singleFromBits(bits))) {
                const QString shown = textOf(options, bits);
                ASSERT_EQ(typedBits(options, shown), bits) << options << ' ' << shown.toStdString();
                ASSERT_EQ(valueNumber(formatOf(options), bits), shown.toDouble());
            }
        }
    }
}

TEST(Singles, HaveBothWordOrders) {
    EXPECT_EQ(itemsFromText(formatOf("f32"), parameters(), QStringLiteral("3.14")),
              (QVector<int>{0x4048, 0xF5C3}));
    EXPECT_EQ(itemsFromText(formatOf("f32/low-first"), parameters(), QStringLiteral("3.14")),
              (QVector<int>{0xF5C3, 0x4048}));
    EXPECT_EQ(rawFromItems(formatOf("f32/low-first"), {0xF5C3, 0x4048}), 0x4048F5C3U);
}

TEST(Singles, AreScaled) {
    EXPECT_EQ(textOf("f32/scale=0.1/unit=Hz", 0x43870000), QStringLiteral("27"));
    EXPECT_EQ(textOf("f32/scale=0.1", 0x4387A000), QStringLiteral("27.125"));
    EXPECT_EQ(typedBits("f32/scale=0.1", QStringLiteral("27.125")), 0x4387A000U);
    EXPECT_EQ(textOf("f32/scale=-1", 0x7F800000), QStringLiteral("-inf"));
}

TEST(Singles, AreTheNearestToWhatIsTyped) {
    EXPECT_EQ(typedBits("f32", QStringLiteral("3.14159265358979")), 0x40490FDBU);
    EXPECT_EQ(typedBits("f32", QStringLiteral("16777217")), 0x4B800000U);
    EXPECT_EQ(typedBits("f32", QStringLiteral("1.5e1")), 0x41700000U);
}

TEST(Singles, AreNumbersOfJsonWhereTheyAreNumbers) {
    EXPECT_EQ(valueNumber(formatOf("f32"), 0x3DCCCCCD), 0.1);
    EXPECT_TRUE(std::signbit(valueNumber(formatOf("f32"), 0x80000000)));
    EXPECT_TRUE(std::isnan(valueNumber(formatOf("f32"), 0x7FC00000)));
    EXPECT_TRUE(std::isinf(valueNumber(formatOf("f32/scale=2"), 0x7F800000)));
}

struct Refused {
    const char* options;
    const char* text;
    const char* why;
};

class RefusedSingle : public testing::TestWithParam<Refused> {};

TEST_P(RefusedSingle, IsNamedWithWhatWouldDo) {
    try {
        typedBits(GetParam().options, QString::fromLatin1(GetParam().text));
        ADD_FAILURE() << "taken";
    } catch (const UsageError& error) {
        EXPECT_EQ(error.text().toStdString(), GetParam().why);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RefusedSingle,
    testing::Values(Refused{"f32", "3.5e38",
                            "value 3.5e38 for F is out of range, it must be -3.4028235e+38 to 3.4028235e+38"},
                    Refused{
                        "f32/unit=V", "-1e400",
                        "value -1e400 for F is out of range, it must be -3.4028235e+38 to 3.4028235e+38 V"},
                    Refused{"f32/unit=V", "1e-60",
                            "value 1e-60 for F is too near to 0 for an f32, the nearest are 0 and 1e-45 V"},
                    Refused{"f32", "0x10", "value \"0x10\" for F is not decimal, as an f32 must be"},
                    Refused{"f32", "nan", "value \"nan\" for F is not a number"},
                    Refused{"f32", "1,5", "value \"1,5\" for F is not a number"}));

TEST(Singles, NeedTwoWordsOfOneRun) {
    EXPECT_EQ(notation().points(QStringLiteral("F:3.0.24,2/f32")).last().address, 194);
    for (const char* item : {"F:3.0.09/f32", "DO:1/f32", "FAS:0/f32", "AI:3/f32", "F:3.0.24/f32/signed",
                             "F:3.0.24/f32/scale=1e290", "F:3.0.24/f32/scale=1e-290"}) {
        EXPECT_THROW(notation().points(QString::fromLatin1(item)), UsageError) << item;
    }
}

}  // namespace

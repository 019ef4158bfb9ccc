// Numbers as users type them: one way to write each, whatever the locale.
#include "host/number_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>

#include "host/error.h"

using namespace dx7;

namespace {

QString utf8(const char* text) {
    return QString::fromUtf8(text);
}

TEST(PlainNumber, IsDigitsAndNothingElse) {
    EXPECT_EQ(plainNumber(utf8("0")), 0);
    EXPECT_EQ(plainNumber(utf8("247")), 247);
    EXPECT_EQ(plainNumber(utf8("999999999999999999")), 999999999999999999);
    for (const char* bad : {"",    "00",  "01",     "+1",     "-1",     " 1",      "1 ",
                            "1\n", "\t1", "0x1",    "1e1",    "1.0",    "1,0",     "O",
                            "1O",  "l",   "\u0663", "\uFF13", "\u00B2", "1\u200B", "1000000000000000000"}) {
        EXPECT_FALSE(plainNumber(utf8(bad)).has_value()) << '"' << bad << '"';
    }
}

TEST(DecimalFraction, HasAPointAndNoOtherSign) {
    const std::pair<const char*, double> taken[] = {
        {"0", 0},      {"1.5", 1.5},     {"-1.5", -1.5},     {"+1.5", 1.5},     {".5", 0.5}, {"5.", 5},
        {"1e3", 1000}, {"1E-3", 0.001},  {"12.5e+2", 1250},  {"007", 7},        {"-0", 0},   {"0e999", 0},
        {"0.0", 0},    {"1e308", 1e308}, {"1e-320", 1e-320}, {"5e-324", 5e-324}};
    for (const auto& [text, number] : taken) {
        ASSERT_TRUE(decimalFraction(utf8(text)).has_value()) << text;
        EXPECT_EQ(*decimalFraction(utf8(text)), number) << text;
    }
    for (const char* bad :
         {"",         ".",     "+",   "-",   "e5",  ".e5",      "1e",     "1e+",        "1.5.5", "1,5",
          "1.000,5",  "1'000", " 1",  "1 ",  "1\n", "0x1p3",    "0x10",   "nan",        "inf",   "-inf",
          "infinity", "1.5f",  "--1", "+-1", "1-",  "\u0661.5", "\uFF11", "1\u00A0000", "1O",    "1_000"}) {
        EXPECT_FALSE(decimalFraction(utf8(bad)).has_value()) << '"' << bad << '"';
    }
}

TEST(DecimalFraction, TooLargeIsInfiniteAndTooSmallIsNotZero) {
    EXPECT_TRUE(std::isinf(*decimalFraction(utf8("1e400"))));
    EXPECT_TRUE(std::isinf(*decimalFraction(utf8("-1e400"))));
    EXPECT_GT(std::fabs(*decimalFraction(utf8("1e-400"))), 0);
    EXPECT_GT(std::fabs(*decimalFraction(utf8("-0.1e-999"))), 0);
}

TEST(NearestNumber, IsWhatWasMeant) {
    EXPECT_EQ(nearestNumber(utf8("01"), 0, 247), 1);
    EXPECT_EQ(nearestNumber(utf8(" +1O "), 0, 247), 10);
    EXPECT_EQ(nearestNumber(utf8("l2"), 0, 247), 12);
    EXPECT_EQ(nearestNumber(utf8("\u0663"), 0, 247), 3);
    EXPECT_EQ(nearestNumber(utf8("248"), 0, 247), 247);
    EXPECT_EQ(nearestNumber(utf8("99999999999999999999999"), 0, 247), 247);
    EXPECT_EQ(nearestNumber(utf8("-5"), 1, 247), 1);
    for (const char* garbage : {"", "x", "1.5", "-", "1@2"}) {
        EXPECT_FALSE(nearestNumber(utf8(garbage), 0, 247).has_value()) << garbage;
    }
}

TEST(NumberInRange, NamesTheNearest) {
    EXPECT_EQ(numberInRange(utf8("247"), "station", 0, 247), 247);
    try {
        numberInRange(utf8("0%3"), "station", 0, 247);
        ADD_FAILURE() << "taken";
    } catch (const UsageError& error) {
        EXPECT_EQ(error.text(), utf8("station \"0%3\" is not a plain number from 0 to 247"));
    }
    try {
        numberInRange(utf8("01"), "station", 0, 247);
        ADD_FAILURE() << "taken";
    } catch (const UsageError& error) {
        EXPECT_EQ(error.text(),
                  utf8("station \"01\" is not a plain number from 0 to 247, the nearest is \"1\""));
    }
}

}  // namespace

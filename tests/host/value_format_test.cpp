#include "host/items/value_format.h"

#include <gtest/gtest.h>

#include "host/error.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

ValueFormat format(const char* options) {
    ValueFormat result;
    for (const QString& option : QString::fromLatin1(options).split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        applyFormatOption(result, option);
    }
    return result;
}

RegisterType type(const char* name) {
    return notation().type(QString::fromLatin1(name));
}

struct TextCase {
    const char* options;
    const char* type;
    quint32 raw;
    const char* text;
};

class ValueText : public testing::TestWithParam<TextCase> {};

TEST_P(ValueText, IsAsTheFormatSays) {
    const TextCase& c = GetParam();
    EXPECT_EQ(valueWithUnit(format(c.options), type(c.type), c.raw).toStdString(), c.text);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, ValueText,
    testing::Values(TextCase{"", "F", 65535, "65535"}, TextCase{"signed", "F", 65535, "-1"},
                    TextCase{"hex", "F", 0x47F, "0x047f"}, TextCase{"binary", "F", 5, "0b0000000000000101"},
                    TextCase{"hex", "FAS", 0x7F, "0x7f"}, TextCase{"binary", "FAS", 3, "0b00000011"},
                    TextCase{"hex", "DO", 1, "1"}, TextCase{"u32", "F", 4000000000u, "4000000000"},
                    TextCase{"s32", "F", 0xFFFE7960u, "-100000"},
                    TextCase{"hex32", "F", 0x12345678, "0x12345678"},
                    TextCase{"scale=0.1", "AI", 327, "32.7"},
                    TextCase{"signed/scale=0.1/unit=Hz", "AI", 65535, "-0.1 Hz"},
                    TextCase{"unit=rpm", "AI", 1500, "1500 rpm"}, TextCase{"scale=-0.5", "F", 0, "0.0"},
                    TextCase{"scale=0.1", "F", 3, "0.3"},
                    TextCase{"u32/scale=0.1", "F", 4294967295u, "429496729.5"},
                    TextCase{"u32/scale=0.01/unit=h", "F", 4294967295u, "42949672.95 h"},
                    TextCase{"u32/scale=10", "F", 4294967295u, "42949672950"},
                    TextCase{"u32/scale=0.0005", "F", 4294967295u, "2147483.6475"}));

// All values of a scale have as many decimals as it has.
INSTANTIATE_TEST_SUITE_P(
    Decimals, ValueText,
    testing::Values(TextCase{"scale=0.1", "F", 271, "27.1"}, TextCase{"scale=0.1", "F", 270, "27.0"},
                    TextCase{"scale=0.1", "F", 0, "0.0"}, TextCase{"signed/scale=0.1", "F", 65530, "-0.6"},
                    TextCase{"scale=0.10", "F", 270, "27.0"}, TextCase{"scale=0.25", "F", 4, "1.00"},
                    TextCase{"scale=0.001", "F", 27000, "27.000"}, TextCase{"scale=10", "F", 27, "270"},
                    TextCase{"scale=2.5", "F", 2, "5.0"}, TextCase{"scale=1e-7", "F", 3, "0.0000003"},
                    TextCase{"scale=1e9", "F", 65535, "65535000000000"},
                    TextCase{"s32/scale=-0.01", "F", 0xFFFFFF9C, "1.00"},
                    TextCase{"scale=0.3333333333333333", "F", 3, "1"},
                    TextCase{"scale=0.3333333333333333", "F", 1, "0.333333333333333"},
                    TextCase{"u32/scale=0.00001234567", "F", 2, "2.469134e-05"},
                    TextCase{"scale=0.0000005", "F", 2, "0.0000010"},
                    TextCase{"scale=1e290", "F", 1, "1e+290"}));

// What was shown can be typed again, and brings the same number.
TEST(ValueFormat, WhatIsShownIsTaken) {
    for (const char* options :
         {"scale=0.1", "scale=0.001", "signed/scale=0.01", "scale=-0.7", "scale=3", "scale=0.333333333333333",
          "scale=1e-7", "scale=1.8", "unsigned/scale=0.025"}) {
        const ValueFormat scaled = format(options);
        for (quint32 raw = 0; raw <= 65535; raw += 17) {
            const QString shown = valueText(scaled, type("F"), raw);
            ASSERT_EQ(itemsFromText(scaled, type("F"), shown), QVector<int>{static_cast<int>(raw)})
                << options << ' ' << shown.toStdString();
        }
    }
    for (const char* options :
         {"u32/scale=0.1", "s32/scale=0.001", "u32/scale=0.333333", "s32/scale=-1e-5"}) {
        const ValueFormat scaled = format(options);
        for (quint64 raw = 0; raw <= 0xFFFFFFFF; raw += 1234577) {
            const QString shown = valueText(scaled, type("F"), static_cast<quint32>(raw));
            ASSERT_EQ(rawFromItems(scaled, itemsFromText(scaled, type("F"), shown)), raw)
                << options << ' ' << shown.toStdString();
        }
    }
}

TEST(ValueFormat, WordOrder) {
    EXPECT_EQ(rawFromItems(format("u32"), {0x1234, 0x5678}), 0x12345678u);
    EXPECT_EQ(rawFromItems(format("u32/low-first"), {0x5678, 0x1234}), 0x12345678u);
    EXPECT_EQ(itemsFromText(format("u32"), type("F"), QStringLiteral("0x12345678")),
              (QVector<int>{0x1234, 0x5678}));
    EXPECT_EQ(itemsFromText(format("s32/low-first"), type("F"), QStringLiteral("-100000")),
              (QVector<int>{0x7960, 0xFFFE}));
}

struct ValueCase {
    const char* options;
    const char* type;
    const char* text;
    int raw;  // -1: refused
};

class TypedValue : public testing::TestWithParam<ValueCase> {};

TEST_P(TypedValue, IsTakenOrRefused) {
    const ValueCase& c = GetParam();
    const QString text = QString::fromUtf8(c.text);
    if (c.raw < 0) {
        EXPECT_THROW(itemsFromText(format(c.options), type(c.type), text), UsageError);
    } else {
        EXPECT_EQ(itemsFromText(format(c.options), type(c.type), text), QVector<int>{c.raw});
    }
}

INSTANTIATE_TEST_SUITE_P(
    Values, TypedValue,
    testing::Values(ValueCase{"", "F", "500", 500}, ValueCase{"", "F", "65535", 65535},
                    ValueCase{"", "F", "65536", -1}, ValueCase{"", "F", "-32768", 32768},
                    ValueCase{"", "F", "-32769", -1}, ValueCase{"", "F", "-40000", -1},
                    ValueCase{"", "F", "0x47F", 0x47F}, ValueCase{"", "F", "0b101", 5},
                    ValueCase{"", "F", "", -1}, ValueCase{"", "F", "abc", -1}, ValueCase{"", "F", "1.5", -1},
                    ValueCase{"", "F", "--5", -1}, ValueCase{"", "F", "99999999999999999999", -1},
                    ValueCase{"", "DO", "1", 1}, ValueCase{"", "DO", "0", 0}, ValueCase{"", "DO", "2", -1},
                    ValueCase{"", "DO", "-1", -1}, ValueCase{"", "DO", "on", 1},
                    ValueCase{"", "DO", "off", 0}, ValueCase{"", "F", "on", -1},
                    ValueCase{"scale=0.1", "F", "32.7", 327}, ValueCase{"scale=0.1", "F", "7000", -1},
                    ValueCase{"scale=0.1", "F", "nan", -1}, ValueCase{"scale=0.1", "F", "1e300", -1},
                    ValueCase{"u32", "F", "4294967296", -1}));

// A value is typed without blanks, in ASCII digits; without any format a word may be typed signed.
INSTANTIATE_TEST_SUITE_P(
    TypedTexts, TypedValue,
    testing::Values(ValueCase{"", "F", " 5", -1}, ValueCase{"", "F", "5 ", -1}, ValueCase{"", "F", "5\n", -1},
                    ValueCase{"", "F", "\t5", -1}, ValueCase{"", "F", "1e3", -1},
                    ValueCase{"", "F", "5OO", -1}, ValueCase{"", "F", "\u0665", -1},
                    ValueCase{"", "F", "\uFF15", -1}, ValueCase{"", "F", "1,5", -1},
                    ValueCase{"", "F", "007", 7}, ValueCase{"", "F", "-0x1", 65535},
                    ValueCase{"", "F", "0XfF", 255}, ValueCase{"", "F", "-1", 65535},
                    ValueCase{"scale=0.1", "F", " 5", -1}, ValueCase{"scale=0.1", "F", "5\n", -1},
                    ValueCase{"scale=0.1", "F", "1,5", -1}, ValueCase{"scale=0.1", "F", "\u0665", -1},
                    ValueCase{"scale=0.1", "F", "1e-400", -1}, ValueCase{"", "DO", " 1", -1},
                    ValueCase{"", "DO", "on ", -1}, ValueCase{"", "DO", "ON", -1}));

// With a scale, unit or format the range that is shown is the range that is taken.
INSTANTIATE_TEST_SUITE_P(
    ShownRanges, TypedValue,
    testing::Values(ValueCase{"scale=0.1/unit=s", "F", "-1", -1}, ValueCase{"scale=0.1", "F", "-0.1", -1},
                    ValueCase{"unit=s", "F", "-1", -1}, ValueCase{"unit=s/scale=0.1", "F", "-3276.8", -1},
                    ValueCase{"scale=1", "F", "-1", -1}, ValueCase{"unit=", "F", "-1", -1},
                    ValueCase{"scale=-0.1", "F", "0.1", -1}, ValueCase{"scale=-0.1", "F", "-6553.5", 65535},
                    ValueCase{"signed/scale=0.1/unit=s", "F", "-1", 65526},
                    ValueCase{"scale=0.1", "F", "6553.5", 65535}, ValueCase{"unit=s", "F", "65535", 65535}));

// A format that is named keeps values to its own range.
INSTANTIATE_TEST_SUITE_P(
    NamedFormats, TypedValue,
    testing::Values(
        ValueCase{"signed", "F", "32767", 32767}, ValueCase{"signed", "F", "32768", -1},
        ValueCase{"signed", "F", "-32768", 32768}, ValueCase{"signed", "F", "-32769", -1},
        ValueCase{"s16", "F", "50000", -1}, ValueCase{"s16", "F", "0xffff", -1},
        ValueCase{"unsigned", "F", "65535", 65535}, ValueCase{"unsigned", "F", "-1", -1},
        ValueCase{"u16", "F", "-5", -1}, ValueCase{"hex", "F", "-1", -1},
        ValueCase{"hex", "F", "0xffff", 65535}, ValueCase{"hex", "F", "0x10000", -1},
        ValueCase{"binary", "F", "-1", -1}, ValueCase{"binary", "F", "0b11", 3},
        ValueCase{"signed/scale=0.1", "F", "3276.7", 32767}, ValueCase{"signed/scale=0.1", "F", "3276.8", -1},
        ValueCase{"signed/scale=0.1", "F", "5000", -1}, ValueCase{"signed/scale=-0.1", "F", "3276.8", 32768},
        ValueCase{"signed/scale=-0.1", "F", "-3276.8", -1}, ValueCase{"unsigned/scale=0.1", "F", "-0.1", -1},
        ValueCase{"unit=V", "F", "-1", -1}, ValueCase{"unit=V", "F", "65535", 65535}));

// A scaled value is a multiple of its scale.
INSTANTIATE_TEST_SUITE_P(
    Scales, TypedValue,
    testing::Values(ValueCase{"scale=0.1", "F", "12.3", 123}, ValueCase{"scale=0.1", "F", "0.3", 3},
                    ValueCase{"scale=0.1", "F", "12.30", 123}, ValueCase{"scale=0.1", "F", "1.23e1", 123},
                    ValueCase{"scale=0.1", "F", "12.34", -1}, ValueCase{"scale=0.1", "F", "12.3000001", -1},
                    ValueCase{"scale=0.001", "F", "0.0004", -1}, ValueCase{"scale=0.001", "F", "0.0005", -1},
                    ValueCase{"scale=0.001", "F", "0.001", 1}, ValueCase{"scale=3", "F", "9", 3},
                    ValueCase{"scale=3", "F", "10", -1}, ValueCase{"scale=-0.5", "F", "-2.5", 5},
                    ValueCase{"scale=-0.5", "F", "-2.6", -1}, ValueCase{"scale=0.1", "F", "-0", 0},
                    ValueCase{"scale=0.1", "F", "6553.5", 65535}, ValueCase{"scale=0.1", "F", "6553.51", -1},
                    ValueCase{"scale=0.1", "F", "1e30", -1}, ValueCase{"scale=0.1", "F", "0x10", -1},
                    ValueCase{"scale=0.1", "F", "inf", -1}, ValueCase{"scale=1e-300", "F", "1e300", -1},
                    ValueCase{"", "F", "+5", 5}, ValueCase{"", "F", "-+5", -1},
                    ValueCase{"", "F", "0x-5", -1}, ValueCase{"", "F", "0x0x5", -1},
                    ValueCase{"", "F", "0x", -1}));

struct WideCase {
    const char* options;
    const char* text;
    QVector<int> items;  // None: refused.
};

class TypedWideValue : public testing::TestWithParam<WideCase> {};

TEST_P(TypedWideValue, IsTakenOrRefused) {
    const WideCase& c = GetParam();
    const QString text = QString::fromLatin1(c.text);
    if (c.items.isEmpty()) {
        EXPECT_THROW(itemsFromText(format(c.options), type("F"), text), UsageError);
    } else {
        EXPECT_EQ(itemsFromText(format(c.options), type("F"), text), c.items);
    }
}

INSTANTIATE_TEST_SUITE_P(
    NamedFormats, TypedWideValue,
    testing::Values(WideCase{"s32", "2147483647", {0x7FFF, 0xFFFF}}, WideCase{"s32", "2147483648", {}},
                    WideCase{"s32", "3000000000", {}}, WideCase{"s32", "-2147483648", {0x8000, 0}},
                    WideCase{"s32", "-2147483649", {}}, WideCase{"u32", "4294967295", {0xFFFF, 0xFFFF}},
                    WideCase{"u32", "-1", {}}, WideCase{"hex32", "0xffffffff", {0xFFFF, 0xFFFF}},
                    WideCase{"hex32", "-1", {}}));

// What the complaint about a value that does not fit says.
struct ComplaintCase {
    const char* options;
    const char* text;
    const char* complaint;
};

class RefusedValue : public testing::TestWithParam<ComplaintCase> {};

TEST_P(RefusedValue, IsNamedWithWhatWouldDo) {
    const ComplaintCase& c = GetParam();
    try {
        itemsFromText(format(c.options), type("F"), QString::fromLatin1(c.text));
        ADD_FAILURE() << "taken";
    } catch (const UsageError& error) {
        EXPECT_EQ(error.text().toStdString(), c.complaint);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Ranges, RefusedValue,
    testing::Values(
        ComplaintCase{"", "65536", "value 65536 for F is out of range, it must be -32768 to 65535"},
        ComplaintCase{"signed/scale=0.1/unit=Hz", "5000",
                      "value 5000 for F is out of range, it must be -3276.8 to 3276.7 Hz"},
        ComplaintCase{"unsigned/scale=-0.5", "1",
                      "value 1 for F is out of range, it must be -32767.5 to 0.0"},
        ComplaintCase{"unsigned", "-5", "value -5 for F is out of range, it must be 0 to 65535"},
        ComplaintCase{"u32", "-1", "value -1 for F is out of range, it must be 0 to 4294967295"},
        ComplaintCase{"s32", "3000000000",
                      "value 3000000000 for F is out of range, it must be -2147483648 to 2147483647"},
        ComplaintCase{"hex", "70000", "value 70000 for F is out of range, it must be 0x0000 to 0xffff"}));

INSTANTIATE_TEST_SUITE_P(
    Scales, RefusedValue,
    testing::Values(
        ComplaintCase{"scale=3", "10",
                      "value 10 for F is not a multiple of its scale 3, the nearest are 9 and 12"},
        ComplaintCase{
            "scale=0.001/unit=s", "0.0004",
            "value 0.0004 for F is not a multiple of its scale 0.001, the nearest are 0.000 and 0.001 s"},
        ComplaintCase{"scale=-0.5", "-2.6",
                      "value -2.6 for F is not a multiple of its scale -0.5, the nearest are -3.0 and -2.5"},
        ComplaintCase{"signed/scale=0.1/unit=Hz", "3276.75",
                      "value 3276.75 for F is out of range, it must be -3276.8 to 3276.7 Hz"}));

INSTANTIATE_TEST_SUITE_P(
    Texts, RefusedValue,
    testing::Values(
        ComplaintCase{"", "abc", "value \"abc\" for F is not a number"},
        ComplaintCase{"", "", "value \"\" for F is not a number"},
        ComplaintCase{"", "1.5", "value 1.5 for F is not a whole number"},
        ComplaintCase{"", "99999999999999999999",
                      "value 99999999999999999999 for F is out of range, it must be -32768 to 65535"},
        ComplaintCase{"hex", "0xfffffffffffffffff",
                      "value 0xfffffffffffffffff for F is out of range, it must be 0x0000 to 0xffff"},
        ComplaintCase{"scale=0.1", "1e30", "value 1e30 for F is out of range, it must be 0.0 to 6553.5"},
        ComplaintCase{"scale=0.1", "-1e400",
                      "value -1e400 for F is out of range, it must be 0.0 to 6553.5; only signed words are "
                      "less than 0"},
        ComplaintCase{"scale=0.1", "inf", "value \"inf\" for F is not a number"},
        ComplaintCase{"scale=0.1", "0x10",
                      "value \"0x10\" for F is not decimal, as a scaled value must be"}));

TEST(ValueFormat, IsToldAsItIsTyped) {
    for (const char* text :
         {"", "unsigned", "signed", "hex", "binary", "u32", "s32/low-first", "hex32", "f32/low-first",
          "scale=0.1", "signed/scale=0.001/unit=Hz", "scale=1", "unit=", "u32/scale=-2.5e-07"}) {
        const QString typed = QLatin1String(text);
        EXPECT_EQ(typed, formatText(formatFromOptions(typed.isEmpty() ? QStringList()
                                                                      : typed.split(QLatin1Char('/')))))
            << text;
    }
    EXPECT_EQ(QStringLiteral("unsigned/low-first"),
              formatText(formatFromOptions({QStringLiteral("low-first"), QStringLiteral("u16")})));
}

TEST(ValueFormat, RefusesUnknownOptions) {
    for (const char* bad : {"float", "f16", "F32", "scale=0", "scale=x", "scale=inf", "U16", ""}) {
        ValueFormat result;
        EXPECT_THROW(applyFormatOption(result, QString::fromLatin1(bad)), UsageError) << bad;
    }
}

TEST(ValueFormat, TheNearestNameOfAFormatIsTold) {
    try {
        formatFromOptions({QStringLiteral("singed")});
        ADD_FAILURE() << "taken";
    } catch (const UsageError& error) {
        EXPECT_EQ(error.text().toStdString(),
                  "format \"singed\" is unknown, use unsigned, signed, hex, binary, u32, s32, f32, hex32, "
                  "low-first, scale=NUMBER or unit=TEXT; the nearest is \"signed\"");
    }
}

}  // namespace

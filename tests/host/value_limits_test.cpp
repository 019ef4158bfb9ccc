// What the limits of a tag let through.
#include <gtest/gtest.h>

#include <optional>

#include "host/error.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

RegisterType parameters() {
    return notation().type(QStringLiteral("F"));
}

struct Given {
    const char* options;
    std::optional<double> min;
    std::optional<double> max;
    std::optional<double> step;
};

ValueFormat limited(const Given& given) {
    ValueFormat format =
        formatFromOptions(QString::fromLatin1(given.options).split(QLatin1Char('/'), Qt::SkipEmptyParts));
    if (given.min) {
        setMin(format, parameters(), *given.min);
    }
    if (given.max) {
        setMax(format, parameters(), *given.max);
    }
    if (given.step) {
        setStep(format, parameters(), *given.step);
    }
    return format;
}

constexpr std::optional<double> NO = std::nullopt;

struct Case {
    const char* name;
    Given given;
    QStringList taken;
    // The text, and what is said of it.
    QVector<QPair<const char*, const char*>> refused;
};
void PrintTo(const Case& tried, std::ostream* out) {
    *out << tried.name;
}

class Limits : public testing::TestWithParam<Case> {};

TEST_P(Limits, AreKeptAndNamed) {
    const ValueFormat format = limited(GetParam().given);
    for (const QString& text : GetParam().taken) {
        try {
            const QVector<int> items = itemsFromText(format, parameters(), text);
            EXPECT_NO_THROW(checkLimits(format, parameters(), rawFromItems(format, items)))
                << text.toStdString();
        } catch (const UsageError& error) {
            ADD_FAILURE() << error.text().toStdString();
        }
    }
    for (const auto& [text, why] : GetParam().refused) {
        try {
            itemsFromText(format, parameters(), QString::fromLatin1(text));
            ADD_FAILURE() << text << " was taken";
        } catch (const UsageError& error) {
            EXPECT_EQ(error.text().toStdString(), "value " + std::string(text) + " for F is " + why);
        }
    }
}

QStringList texts(std::initializer_list<const char*> list) {
    QStringList all;
    for (const char* text : list) {
        all += QString::fromLatin1(text);
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(
    Tags, Limits,
    testing::Values(
        Case{"a range in the shown unit",
             {"scale=0.1/unit=s", 1, 50, NO},
             texts({"1", "1.0", "50", "12.3"}),
             {{"0.9", "out of range, it must be 1.0 to 50.0 s"},
              {"50.1", "out of range, it must be 1.0 to 50.0 s"},
              {"50.05", "out of range, it must be 1.0 to 50.0 s"},
              {"1e30", "out of range, it must be 1.0 to 50.0 s"},
              {"12.34", "not a multiple of its scale 0.1, the nearest are 12.3 and 12.4 s"}}},
        Case{"a lowest value alone",
             {"unit=s", 10, NO, NO},
             texts({"10", "65535", "0xA"}),
             {{"9", "out of range, it must be 10 to 65535 s"},
              {"-1", "out of range, it must be 10 to 65535 s"}}},
        // Without any format -1 would be 65535, which is more than the limit.
        Case{"a highest value alone",
             {"", NO, 100, NO},
             texts({"0", "100"}),
             {{"-1", "out of range, it must be 0 to 100"}, {"0x65", "out of range, it must be 0 to 100"}}},
        Case{"steps from the lowest value",
             {"unit=s", 2, 20, 5},
             texts({"2", "7", "17"}),
             {{"13", "not a multiple of its step 5 from 2, the nearest are 12 and 17 s"},
              {"19", "out of range, it must be 2 to 17 s in steps of 5"},
              {"0", "out of range, it must be 2 to 17 s in steps of 5"}}},
        Case{"steps from 0",
             {"signed/scale=0.1", NO, 10, 0.5},
             texts({"-0.5", "0", "10", "-3276.5"}),
             {{"0.7", "not a multiple of its step 0.5, the nearest are 0.5 and 1.0"},
              {"0.75", "not a multiple of its step 0.5, the nearest are 0.5 and 1.0"},
              {"10.5", "out of range, it must be -3276.5 to 10.0 in steps of 0.5"}}},
        Case{"a negative scale",
             {"scale=-0.5", -10, -1, 2},
             texts({"-10", "-8", "-2"}),
             {{"-1", "out of range, it must be -10.0 to -2.0 in steps of 2.0"},
              {"-10.5", "out of range, it must be -10.0 to -2.0 in steps of 2.0"},
              {"-9", "not a multiple of its step 2.0 from -10.0, the nearest are -10.0 and -8.0"}}},
        Case{"a signed range",
             {"s32", -100000, 100000, NO},
             texts({"-100000", "100000", "0"}),
             {{"100001", "out of range, it must be -100000 to 100000"}}},
        Case{"a pattern",
             {"hex", 1, 255, NO},
             texts({"1", "0xff"}),
             {{"0x100", "out of range, it must be 0x0001 to 0x00ff"}}},
        Case{"a single",
             {"f32/unit=V", -0.5, 0.1, NO},
             texts({"0.1", "-0.5", "0.0999"}),
             {{"0.11", "out of range, it must be -0.5 to 0.1 V"},
              {"1e39", "out of range, it must be -0.5 to 0.1 V"}}},
        Case{"steps of a single",
             {"f32", 0, 1, 0.3},
             texts({"0", "0.3", "0.6", "0.9"}),
             {{"0.5", "not a multiple of its step 0.3 from 0, the nearest are 0.3 and 0.6"},
              {"1", "out of range, it must be 0 to 0.9 in steps of 0.3"}}},
        Case{"one value", {"", 5, 5, NO}, texts({"5"}), {{"6", "out of range, it must be 5 to 5"}}}));

class BadLimits : public testing::TestWithParam<Given> {};

TEST_P(BadLimits, AreRefused) {
    EXPECT_THROW(limited(GetParam()), UsageError);
}

INSTANTIATE_TEST_SUITE_P(Limits, BadLimits,
                         testing::Values(Given{"", 10, 5, NO}, Given{"", -1, NO, NO},
                                         Given{"", NO, 65536, NO}, Given{"scale=0.1", 0.05, NO, NO},
                                         Given{"scale=0.1", NO, 6553.6, NO}, Given{"", 1.5, NO, NO},
                                         Given{"", NO, NO, 0}, Given{"", NO, NO, -1},
                                         Given{"scale=0.1", NO, NO, 0.25}, Given{"signed", NO, -3, 60000},
                                         Given{"f32", 1e39, NO, NO}, Given{"scale=-1", -1, -5, NO}));

// The limits themselves are not a format: what is shown stays as it was.
TEST(ValueLimits, DoNotChangeWhatIsShown) {
    const ValueFormat format = limited({"", 1, 5, NO});
    EXPECT_TRUE(format.bare);
    EXPECT_EQ(valueText(format, parameters(), 65535), QStringLiteral("65535"));
    EXPECT_TRUE(format == ValueFormat());
}

TEST(ValueLimits, AreCheckedOfRawValues) {
    const ValueFormat format = limited({"scale=0.1", 1, 50, 0.5});
    EXPECT_NO_THROW(checkLimits(format, parameters(), 15));
    EXPECT_THROW(checkLimits(format, parameters(), 9), UsageError);
    EXPECT_THROW(checkLimits(format, parameters(), 16), UsageError);
    const ValueFormat single = limited({"f32", 0, 1, NO});
    EXPECT_THROW(checkLimits(single, parameters(), 0x7FC00000), UsageError) << "nan is in no range";
    EXPECT_NO_THROW(checkLimits(ValueFormat(), parameters(), 65535));
}

}  // namespace

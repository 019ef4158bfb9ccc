// What is shown can be typed, and brings the same number: every word in every format with every kind of
// scale.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "host/error.h"
#include "host/items/value_format.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

// Usual ones, those that a binary fraction cannot hold, and those at its ends.
const char* const SCALES[] = {"0.1",
                              "0.01",
                              "0.001",
                              "0.5",
                              "2.5",
                              "0.3",
                              "3",
                              "-0.1",
                              "1e-9",
                              "1e9",
                              "1e290",
                              "-1e-300",
                              "-1.8",
                              "0.333333333333333333",
                              "0.123456789012345678",
                              "1.0000000000000002"};

struct Case {
    const char* type;
    const char* options;
};
void PrintTo(const Case& formatted, std::ostream* out) {
    *out << formatted.type << '/' << formatted.options;
}

ValueFormat formatOf(const QString& options) {
    return formatFromOptions(options.split(QLatin1Char('/'), Qt::SkipEmptyParts));
}

// The numbers that a format shows, as they are in the unscaled value.
std::pair<double, double> limits(const ValueFormat& format, const RegisterType& type) {
    const double highest = format.wide ? 4294967295.0 : type.highestValue();
    return format.presentation == Presentation::Signed
               ? std::pair<double, double>(-(highest + 1) / 2, (highest - 1) / 2)
               : std::pair<double, double>(0, highest);
}

QString refusalOf(const ValueFormat& format, const RegisterType& type, const QString& text) {
    try {
        itemsFromText(format, type, text);
        return QStringLiteral("taken");
    } catch (const UsageError& error) {
        return error.text();
    }
}

// The limits can be typed as they are named; a half and a whole step beyond them nothing can.
void expectLimits(const ValueFormat& format, const RegisterType& type) {
    const auto [lowest, highest] = limits(format, type);
    const auto rawOf = [&](double number) { return static_cast<quint32>(static_cast<qint64>(number)); };
    const quint32 mask = format.wide ? 0xFFFFFFFF : 0xFFFF;
    const QString low = valueText(format, type, rawOf(lowest) & mask);
    const QString high = valueText(format, type, rawOf(highest) & mask);
    EXPECT_EQ(rawFromItems(format, itemsFromText(format, type, low)), rawOf(lowest) & mask);
    EXPECT_EQ(rawFromItems(format, itemsFromText(format, type, high)), rawOf(highest) & mask);
    const QString range = format.scale < 0 ? QStringLiteral("must be %1 to %2").arg(high, low)
                                           : QStringLiteral("must be %1 to %2").arg(low, high);
    const bool whole = !format.scaled();
    for (const double beyond : {lowest - 1, highest + 1, lowest - 70000, highest + 70000}) {
        const QString typed = QString::number(beyond * format.scale, whole ? 'f' : 'g', whole ? 0 : 17);
        const QString refusal = refusalOf(format, type, typed);
        EXPECT_TRUE(refusal.contains(range)) << typed.toStdString() << ": " << refusal.toStdString();
    }
    for (const double beyond : {lowest - 0.5, highest + 0.5}) {
        const QString typed = QString::number(beyond * format.scale, 'g', 17);
        EXPECT_NE(refusalOf(format, type, typed), QStringLiteral("taken")) << typed.toStdString();
    }
}

void expectRoundTrip(const ValueFormat& format, const RegisterType& type, quint32 raw) {
    const QString shown = valueText(format, type, raw);
    const QVector<int> items = itemsFromText(format, type, shown);
    ASSERT_EQ(items.size(), format.items());
    ASSERT_EQ(rawFromItems(format, items), raw) << shown.toStdString() << " with scale " << format.scale;
    if (raw % 19 == 0 && format.presentation != Presentation::Hex &&
        format.presentation != Presentation::Binary) {
        ASSERT_EQ(shown.toDouble(), valueNumber(format, raw));
    }
}

class EveryWord : public testing::TestWithParam<Case> {};

TEST_P(EveryWord, IsTakenAsItIsShown) {
    const RegisterType type = notation().type(QString::fromLatin1(GetParam().type));
    const ValueFormat format = formatOf(QString::fromLatin1(GetParam().options));
    for (quint32 raw = 0; raw <= static_cast<quint32>(type.highestValue()); ++raw) {
        ASSERT_NO_FATAL_FAILURE(expectRoundTrip(format, type, raw));
    }
    if (!format.bare || type.bit) {
        expectLimits(format, type);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, EveryWord,
                         testing::Values(Case{"F", ""}, Case{"F", "unsigned"}, Case{"F", "u16"},
                                         Case{"F", "signed"}, Case{"F", "s16"}, Case{"F", "hex"},
                                         Case{"F", "binary"}, Case{"F", "unit=s"}, Case{"F", "scale=1"},
                                         Case{"FAS", "hex"}, Case{"FAS", "binary"}, Case{"FAS", "unsigned"},
                                         Case{"DO", ""}));

class EveryScaledWord : public testing::TestWithParam<Case> {};

TEST_P(EveryScaledWord, IsTakenAsItIsShown) {
    const RegisterType type = notation().type(QStringLiteral("F"));
    ValueFormat format = formatOf(QString::fromLatin1(GetParam().options));
    applyFormatOption(format, QStringLiteral("scale=%1").arg(QLatin1String(GetParam().type)));
    ASSERT_NO_THROW(ItemNotation::checkFormat(type, 0, format));
    for (quint32 raw = 0; raw <= 65535; ++raw) {
        ASSERT_NO_FATAL_FAILURE(expectRoundTrip(format, type, raw));
    }
    expectLimits(format, type);
}

std::vector<Case> scaled(const std::vector<const char*>& formats) {
    std::vector<Case> cases;
    for (const char* format : formats) {
        for (const char* scale : SCALES) {
            cases.push_back(Case{scale, format});
        }
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Scales, EveryScaledWord, testing::ValuesIn(scaled({"", "signed"})));

class WideValues : public testing::TestWithParam<Case> {};

TEST_P(WideValues, AreTakenAsTheyAreShown) {
    const RegisterType type = notation().type(QStringLiteral("F"));
    ValueFormat format = formatOf(QString::fromLatin1(GetParam().options));
    if (format.presentation != Presentation::Hex) {
        applyFormatOption(format, QStringLiteral("scale=%1").arg(QLatin1String(GetParam().type)));
    }
    std::vector<quint32> raws{0,          1,          0x7FFE,     0x7FFF,     0x8000,     0xFFFE,
                              0xFFFF,     0x10000,    0x10001,    0x7FFFFFFE, 0x7FFFFFFF, 0x80000000,
                              0x80000001, 0xFFFF0000, 0xFFFFFFFE, 0xFFFFFFFF};
    for (quint64 raw = 0; raw <= 0xFFFFFFFF; raw += 1234577) {
        raws.push_back(static_cast<quint32>(raw));
    }
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        raws.push_back(static_cast<quint32>(random()));
    }
    for (const quint32 raw : raws) {
        ASSERT_NO_FATAL_FAILURE(expectRoundTrip(format, type, raw));
    }
    expectLimits(format, type);
}

INSTANTIATE_TEST_SUITE_P(Scales, WideValues,
                         testing::ValuesIn(scaled({"u32", "s32", "u32/low-first", "s32/low-first"})));
INSTANTIATE_TEST_SUITE_P(Unscaled, WideValues,
                         testing::Values(Case{"1", "u32"}, Case{"1", "s32"}, Case{"1", "hex32"},
                                         Case{"1", "hex32/low-first"}));

// What no number could show, or what would show several as one, is no scale.
TEST(Scale, ThatCannotBeShownIsRefused) {
    const RegisterType type = notation().type(QStringLiteral("F"));
    EXPECT_NO_THROW(ItemNotation::checkFormat(type, 0, formatOf(QStringLiteral("scale=1e303"))));
    EXPECT_THROW(ItemNotation::checkFormat(type, 0, formatOf(QStringLiteral("scale=1e304"))), UsageError);
    EXPECT_THROW(ItemNotation::checkFormat(type, 0, formatOf(QStringLiteral("scale=-1e304"))), UsageError);
    EXPECT_NO_THROW(ItemNotation::checkFormat(type, 0, formatOf(QStringLiteral("u32/scale=1e298"))));
    EXPECT_THROW(ItemNotation::checkFormat(type, 0, formatOf(QStringLiteral("u32/scale=1e299"))), UsageError);
    for (const char* bad :
         {"scale=1e-400", "scale=1e400", "scale=nan", "scale= 0.1", "scale=0.1 ", "scale=0,1", "scale=0x1p-3",
          "scale=\u0661", "scale=0e5", "scale=1e-320", "scale=-4e-324"}) {
        EXPECT_THROW(formatOf(QString::fromUtf8(bad)), UsageError) << bad;
    }
}

}  // namespace

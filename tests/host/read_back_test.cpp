#include "host/poll/read_back.h"

#include <gtest/gtest.h>

#include "loaded_driver.h"

using namespace dx7;

namespace {

TEST(RegisterTypes, KeepWhatIsWrittenOrMayClearIt) {
    QStringList keeping;
    QStringList clearing;
    for (const RegisterType& type : notation().types()) {
        if (type.writable) {
            (type.keepsWritten() ? keeping : clearing) += type.name;
        }
    }
    EXPECT_EQ(keeping.join(QLatin1Char(' ')).toStdString(), "F MOD");
    EXPECT_EQ(clearing.join(QLatin1Char(' ')).toStdString(), "CW_bit DO RO SDO CW");
}

TEST(ReadBack, FollowsTheUserElseTheTagElseTheType) {
    using Wish = std::optional<bool>;
    const struct {
        const char* item;
        Wish tag;
        Wish chosen;
        ReadBackRule rule;
    } rows[] = {
        {"F:3.0.25", {}, {}, ReadBackRule::Demand},    {"MOD:1", {}, {}, ReadBackRule::Demand},
        {"CW:0", {}, {}, ReadBackRule::Show},          {"DO:1", {}, {}, ReadBackRule::Show},
        {"CW:0", true, {}, ReadBackRule::Demand},      {"F:3.0.25", false, {}, ReadBackRule::None},
        {"CW:0", false, {}, ReadBackRule::None},       {"DO:1", {}, true, ReadBackRule::Demand},
        {"DO:1", false, true, ReadBackRule::Demand},   {"F:3.0.25", {}, false, ReadBackRule::None},
        {"F:3.0.25", true, false, ReadBackRule::None},
    };
    for (const auto& row : rows) {
        Point point = notation().points(QString::fromLatin1(row.item)).first();
        point.verify = row.tag;
        EXPECT_EQ(readBackRule(point, row.chosen), row.rule)
            << row.item << " tag " << row.tag.value_or(false) << " chosen " << row.chosen.value_or(false);
    }
}

TEST(ReadBack, ATagsWriteHasTheRuleOfTheTag) {
    QVector<Point> tag = notation().points(QStringLiteral("CW_bit:3,2"));
    for (Point& point : tag) {
        point.verify = true;
    }
    const WriteRequest request = ItemNotation::writeTag(QStringLiteral("run"), tag, QStringLiteral("1,0"));
    EXPECT_EQ(readBackRule(request.first, {}), ReadBackRule::Demand);
}

TEST(ReadBack, OfABroadcastThereIsNone) {
    Point point = notation().points(QStringLiteral("DO:1")).first();
    point.station = 0;
    EXPECT_EQ(readBackRule(point, {}), ReadBackRule::None);
    EXPECT_EQ(readBackRule(point, true), ReadBackRule::None);
}

TEST(ReadBack, BeginsAgainForOneSecondFromTheFirstAnswer) {
    ReadBackWindow window;
    EXPECT_FALSE(window.nextUs());
    window.answered(5000000);
    EXPECT_EQ(window.nextUs(), DueUs(5050000));
    // The last one may begin when the second ends, and not later.
    window.answered(5950000);
    EXPECT_EQ(window.nextUs(), DueUs(6000000));
    EXPECT_TRUE(window.mayBegin(6000000));
    EXPECT_FALSE(window.mayBegin(6000001));
    window.answered(5950001);
    EXPECT_FALSE(window.nextUs());
    window.answered(9000000);
    EXPECT_FALSE(window.nextUs());
}

}  // namespace

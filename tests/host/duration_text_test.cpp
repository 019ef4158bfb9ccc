#include "host/duration_text.h"

#include <gtest/gtest.h>

#include "host/error.h"

using namespace dx7;

namespace {

TEST(DurationText, TakesANumberAndItsUnit) {
    struct Row {
        const char* text;
        qint64 us;
    };
    for (const Row& row : {Row{"1ms", 1000}, Row{"500ms", 500000}, Row{"1s", 1000000}, Row{"1.5s", 1500000},
                           Row{"2min", 120000000}, Row{"0.25h", 900000000}}) {
        EXPECT_EQ(durationUs(QString::fromLatin1(row.text), "--repeat", 1000), row.us) << row.text;
    }
}

TEST(DurationText, RefusesTheRest) {
    for (const char* text :
         {"", "1", "s", "ms", "1 s", "-1s", "0s", "0.1ms", "1e99h", "nans", "1d", "9000h"}) {
        EXPECT_THROW(durationUs(QString::fromLatin1(text), "--repeat", 1000), UsageError) << text;
    }
}

TEST(DurationText, ShowsWhatUsersType) {
    struct Row {
        qint64 us;
        const char* text;
    };
    for (const Row& row : {Row{1000, "1ms"}, Row{390000, "390ms"}, Row{1000000, "1s"}, Row{1500000, "1.5s"},
                           Row{1234000, "1234ms"}, Row{60000000, "1min"}, Row{90000000, "1.5min"},
                           Row{100000000, "100s"}, Row{3600000000, "1h"}, Row{5400000000, "90min"}}) {
        EXPECT_EQ(durationText(row.us), QString::fromLatin1(row.text));
        EXPECT_EQ(durationUs(durationText(row.us), "--interval", 1000), row.us);
    }
    EXPECT_EQ(durationText(1999), QStringLiteral("1ms"));
}

TEST(DurationText, RoundsUpToTwoDigits) {
    for (const auto& [us, rounded] : {std::pair<qint64, qint64>{1, 1000},
                                      {1000, 1000},
                                      {1001, 2000},
                                      {99000, 99000},
                                      {99001, 100000},
                                      {380001, 390000},
                                      {1234000, 1300000}}) {
        EXPECT_EQ(roundedUpUs(us), rounded) << us;
    }
}

}  // namespace

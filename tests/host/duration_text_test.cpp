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

}  // namespace

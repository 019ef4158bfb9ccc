#include "host/exchange/line_notices.h"

#include <gtest/gtest.h>

using namespace dx7;

namespace {

ExchangeNote note(ExchangeNote::Kind kind, int station, qint64 afterUs = 0) {
    ExchangeNote met;
    met.kind = kind;
    met.station = station;
    met.afterUs = afterUs;
    return met;
}

class LineNoticesTest : public testing::Test {
protected:
    std::string take(ExchangeNote::Kind kind, int station, qint64 afterUs = 0) {
        return notices.take(note(kind, station, afterUs)).toStdString();
    }

    LineNotices notices{LineSettings()};
};

TEST_F(LineNoticesTest, EachSentenceIsSaidOnce) {
    const std::vector<std::pair<ExchangeNote::Kind, std::string>> sentences = {
        {ExchangeNote::Copy, "replies arrive twice on this line"},
        {ExchangeNote::Foreign,
         "another master is on this line: a frame of station 3 came that was not asked for"},
        {ExchangeNote::Surplus,
         "more replies of station 3 come than it was asked for: another master is on this line, or the "
         "station answers the request before"},
        {ExchangeNote::Echo, "the adapter sends back what is sent; its echo is taken out"},
        {ExchangeNote::Late, "station 3 answers after 0.8 s; raise --timeout (it is 500 ms)"}};
    QStringList all;
    for (const auto& [kind, sentence] : sentences) {
        EXPECT_EQ(take(kind, 3, 780000), sentence);
        EXPECT_EQ(take(kind, 3, 980000), "");
        all += QString::fromStdString(sentence);
    }
    EXPECT_EQ(notices.said(), all);
}

TEST_F(LineNoticesTest, EveryStationThatAnswersLateIsNamed) {
    EXPECT_NE(take(ExchangeNote::Late, 1, 700000), "");
    EXPECT_NE(take(ExchangeNote::Late, 2, 700000), "");
    EXPECT_EQ(take(ExchangeNote::Late, 1, 700000), "");
    EXPECT_EQ(notices.said().size(), 2);
}

TEST_F(LineNoticesTest, TheRestIsNotWorthASentence) {
    for (const ExchangeNote::Kind kind :
         {ExchangeNote::Query, ExchangeNote::QueryAnswer, ExchangeNote::Noise, ExchangeNote::Damaged}) {
        EXPECT_EQ(take(kind, 1), "");
    }
    EXPECT_TRUE(notices.said().isEmpty());
}

}  // namespace

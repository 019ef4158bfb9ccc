#include "host/exchange/statistics.h"

#include <gtest/gtest.h>

using namespace dx7;

namespace {

Transaction transaction(int station, Outcome outcome, qint64 responseUs = 1000) {
    Transaction t;
    t.frame.station = station;
    t.frame.expectLen = 7;
    t.outcome = outcome;
    t.driverResult = outcome == Outcome::Good ? DX7_REPLY_GOOD : DX7_REPLY_SEND_AGAIN;
    t.sentUs = 5000;
    t.endUs = 5000 + responseUs;
    t.busyUs = responseUs;
    return t;
}

TEST(Statistics, CountsEveryKindOfEndPerStationAndInAll) {
    Statistics statistics(0);
    statistics.count(transaction(1, Outcome::Good));
    statistics.count(transaction(1, Outcome::Timeout));
    statistics.count(transaction(2, Outcome::WrongCrc));
    statistics.count(transaction(2, Outcome::WrongLength));
    Transaction refused = transaction(2, Outcome::Exception);
    refused.exceptionCode = 2;
    refused.repeated = true;
    refused.driverResult = DX7_REPLY_GIVEN_UP;
    statistics.count(refused);

    EXPECT_EQ(statistics.all().requests, 5);
    EXPECT_EQ(statistics.all().good, 1);
    EXPECT_EQ(statistics.all().bad(), 4);
    EXPECT_EQ(statistics.stations().value(1).timeouts, 1);
    const Counters second = statistics.stations().value(2);
    EXPECT_EQ(second.requests, 3);
    EXPECT_EQ(second.wrongCrc, 1);
    EXPECT_EQ(second.wrongLength, 1);
    EXPECT_EQ(second.exceptions.value(2), 1);
    EXPECT_EQ(second.retries, 1);
    EXPECT_EQ(second.failed, 1);
}

ExchangeNote note(ExchangeNote::Kind kind, int station) {
    ExchangeNote met;
    met.kind = kind;
    met.station = station;
    return met;
}

TEST(Statistics, CountsWhatElseWasMetForTheStationItIsFrom) {
    Statistics statistics(0);
    for (const ExchangeNote::Kind kind : {ExchangeNote::Query, ExchangeNote::Late, ExchangeNote::Surplus,
                                          ExchangeNote::Copy, ExchangeNote::Foreign, ExchangeNote::Echo}) {
        statistics.count(note(kind, 2));
        statistics.count(note(kind, 2));
        statistics.count(note(kind, 1));
    }
    statistics.count(note(ExchangeNote::QueryAnswer, 1));
    statistics.count(note(ExchangeNote::Noise, 0));
    const Counters& all = statistics.all();
    for (const qint64 counted : {all.queries, all.late, all.surplus, all.copies, all.foreign, all.echoes}) {
        EXPECT_EQ(counted, 3);
    }
    const Counters second = statistics.stations().value(2);
    for (const qint64 counted : {second.queries, second.late, second.surplus, second.copies, second.echoes}) {
        EXPECT_EQ(counted, 2);
    }
    EXPECT_EQ(all.noise, 1);
    EXPECT_EQ(second.foreign, 0) << "its station may be none of this line's";
    EXPECT_EQ(second.requests, 0);
    EXPECT_EQ(all.bad(), 0);
    EXPECT_FALSE(statistics.stations().contains(0));
}

TEST(Statistics, WhatWasNotSentIsNoRequest) {
    Statistics statistics(0);
    Transaction skipped = transaction(1, Outcome::Skipped);
    skipped.driverResult = DX7_REPLY_GIVEN_UP;
    statistics.count(skipped);
    EXPECT_EQ(statistics.all().requests, 0);
    EXPECT_EQ(statistics.all().bad(), 0);
    EXPECT_EQ(statistics.all().failed, 1);
    Transaction refused = transaction(1, Outcome::EchoOnly);
    refused.driverResult = DX7_REPLY_GIVEN_UP;
    statistics.count(refused);
    EXPECT_EQ(statistics.all().requests, 0);
    EXPECT_EQ(statistics.all().timeouts, 0);
    EXPECT_EQ(statistics.all().failed, 2);
}

TEST(Statistics, ResponseTimesAreThoseOfAnswers) {
    Statistics statistics(0);
    statistics.count(transaction(1, Outcome::Good, 2000));
    statistics.count(transaction(1, Outcome::Timeout, 300000));
    statistics.count(transaction(1, Outcome::Exception, 4000));
    EXPECT_EQ(statistics.all().response.count(), 2);
    EXPECT_EQ(statistics.all().response.minUs(), 2000);
    EXPECT_EQ(statistics.all().response.maxUs(), 4000);
}

TEST(Statistics, BusyShareIsTheTimeOfRequestsAndReplies) {
    Statistics statistics(0);
    statistics.count(transaction(1, Outcome::Good, 2000));
    statistics.count(transaction(1, Outcome::Good, 3000));
    EXPECT_DOUBLE_EQ(statistics.busyShare(10000), 0.5);
}

TEST(LatencyHistogram, SmallDurationsAreExact) {
    LatencyHistogram histogram;
    for (int us = 1; us <= 60; ++us) {
        histogram.add(us);
    }
    EXPECT_EQ(histogram.percentileUs(50), 30);
    EXPECT_EQ(histogram.percentileUs(100), 60);
    EXPECT_EQ(histogram.minUs(), 1);
}

TEST(LatencyHistogram, LargeDurationsAreWithinAThirtySecond) {
    LatencyHistogram histogram;
    for (int ms = 1; ms <= 1000; ++ms) {
        histogram.add(ms * 1000);
    }
    EXPECT_NEAR(static_cast<double>(histogram.percentileUs(50)), 500e3, 500e3 / 32);
    EXPECT_NEAR(static_cast<double>(histogram.percentileUs(99)), 990e3, 990e3 / 32);
    EXPECT_EQ(histogram.maxUs(), 1000000);
}

TEST(LatencyHistogram, TakesAnyDuration) {
    LatencyHistogram histogram;
    histogram.add(-5);
    histogram.add(Q_INT64_C(1) << 60);
    EXPECT_EQ(histogram.count(), 2);
    EXPECT_LE(histogram.percentileUs(99), histogram.maxUs());
    EXPECT_EQ(LatencyHistogram().percentileUs(50), 0);
}

}  // namespace

// Faults to order: what can be asked for, that a seed repeats them, and what each does to a reply.
#include "faults.h"

#include <gtest/gtest.h>

#include "usage_error.h"

namespace {

using namespace dx7sim;

const Bytes REPLY = {0x01, 0x03, 0x02, 0x01, 0xF4, 0xB8, 0x53};

double share(const FaultPlan& plan, Fault fault) {
    return plan.share[static_cast<std::size_t>(fault)];
}

std::vector<Fault> decisions(const FaultPlan& plan, std::uint64_t seed, int count) {
    FaultInjector injector(plan, seed);
    std::vector<Fault> faults;
    for (int i = 0; i < count; ++i) {
        faults.push_back(injector.next().fault);
    }
    return faults;
}

FaultPlan planOf(const std::string& text) {
    FaultPlan plan;
    parseFaults(text, plan);
    return plan;
}

TEST(Faults, AreOrderedByName) {
    const FaultPlan plan =
        planOf("drop=0.01,truncate=0.02,corrupt=0.03,late=0.04,foreign=0.05,exception=1, silent=9,silent=2");
    EXPECT_EQ(share(plan, Fault::Drop), 0.01);
    EXPECT_EQ(share(plan, Fault::Truncate), 0.02);
    EXPECT_EQ(share(plan, Fault::Corrupt), 0.03);
    EXPECT_EQ(share(plan, Fault::Late), 0.04);
    EXPECT_EQ(share(plan, Fault::Foreign), 0.05);
    EXPECT_EQ(share(plan, Fault::Exception), 1.0);
    EXPECT_EQ(plan.silent, (std::set<int>{2, 9}));
}

class WrongFaults : public testing::TestWithParam<const char*> {};

TEST_P(WrongFaults, AreRefused) {
    EXPECT_THROW(planOf(GetParam()), UsageError);
}

INSTANTIATE_TEST_SUITE_P(Faults, WrongFaults,
                         testing::Values("", "drop", "drop=", "drop=1.1", "drop=-0.1", "drop=nan",
                                         "drop=0.1x", "drop=0x1p-3", "drop=+0.1", "drop=inf", "drop=0,5",
                                         "explode=0.1", "silent=0", "silent=248", "silent=x", "drop=0.1,"));

TEST(Faults, RepeatWithTheSameSeed) {
    const FaultPlan plan = planOf("drop=0.1,corrupt=0.1,late=0.1");
    EXPECT_EQ(decisions(plan, 7, 500), decisions(plan, 7, 500));
    EXPECT_NE(decisions(plan, 7, 500), decisions(plan, 8, 500));
}

TEST(Faults, StayWhereTheyWereWhenAnotherShareChanges) {
    const auto few = decisions(planOf("drop=0.1"), 7, 500);
    const auto more = decisions(planOf("drop=0.1,late=0.2"), 7, 500);
    for (std::size_t i = 0; i < few.size(); ++i) {
        EXPECT_EQ(few[i] == Fault::Drop, more[i] == Fault::Drop) << i;
    }
}

TEST(Faults, ComeAboutAsOftenAsOrdered) {
    const auto faults = decisions(planOf("corrupt=0.25"), 1, 10000);
    EXPECT_NEAR(static_cast<double>(std::count(faults.begin(), faults.end(), Fault::Corrupt)), 2500, 200);
}

TEST(Faults, OfShareNoughtNeverAndOfShareOneAlways) {
    const auto faults = decisions(planOf("drop=0,truncate=1"), 1, 1000);
    EXPECT_EQ(std::count(faults.begin(), faults.end(), Fault::Truncate), 1000);
}

TEST(Faults, DoTheirHarm) {
    for (std::uint64_t detail = 0; detail < 200; ++detail) {
        const Bytes cutOff = truncated(REPLY, detail);
        EXPECT_GE(cutOff.size(), 1U);
        EXPECT_LT(cutOff.size(), REPLY.size());

        const Bytes wrong = corrupted(REPLY, detail);
        EXPECT_EQ(wrong.size(), REPLY.size());
        EXPECT_FALSE(endsInGoodCrc(wrong, wrong.size()));

        const Bytes other = foreign(REPLY, detail);
        EXPECT_EQ(other.size(), REPLY.size());
        EXPECT_TRUE(endsInGoodCrc(other, other.size()));
        EXPECT_NE(other[0] != REPLY[0], other[1] != REPLY[1])
            << "either station or function code is another's";

        const int code = faultExceptionCode(detail);
        EXPECT_TRUE(code == 4 || code == 6);
    }
}

TEST(Faults, MakeTheLastStationsForeignReplyComeFromTheFirst) {
    EXPECT_EQ(foreign({247, 0x07, 0x01, 0, 0}, 0)[0], 1);
}

}  // namespace

// Faults to order: what can be asked for, that a seed repeats them, and what each does to a reply.
#include "device/station/faults.h"

#include <gtest/gtest.h>

#include "device/line/usage_error.h"
#include "tests/device/plan_of.h"

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
    EXPECT_EQ(plan.delay, Time());
    EXPECT_FALSE(plan.answerBefore);
}

TEST(Faults, AreWaysOfTheLine) {
    const FaultPlan plan = planOf("duplicate=0.1,second-master=0.2,echo, delay = 600000 ,answer-before");
    EXPECT_EQ(share(plan, Fault::Duplicate), 0.1);
    EXPECT_EQ(share(plan, Fault::SecondMaster), 0.2);
    EXPECT_EQ(share(plan, Fault::Echo), 1.0);
    EXPECT_EQ(plan.delay, std::chrono::minutes(10));
    EXPECT_TRUE(plan.answerBefore);
    EXPECT_EQ(share(planOf("echo=0.25"), Fault::Echo), 0.25);
    EXPECT_EQ(planOf("delay=0").delay, Time());
}

class WrongFaults : public testing::TestWithParam<const char*> {};

TEST_P(WrongFaults, AreRefused) {
    EXPECT_THROW(planOf(GetParam()), UsageError);
}

INSTANTIATE_TEST_SUITE_P(Faults, WrongFaults,
                         testing::Values("", "drop", "drop=", "drop=1.1", "drop=-0.1", "drop=nan",
                                         "drop=0.1x", "drop=0x1p-3", "drop=+0.1", "drop=inf", "drop=0,5",
                                         "explode=0.1", "silent=0", "silent=248", "silent=x", "drop=0.1,",
                                         "duplicate", "second-master", "second-master=2", "echo=", "echo=1.5",
                                         "delay", "delay=", "delay=-1", "delay=600001", "delay=1.5",
                                         "delay=0x10", "delay=99999999999", "answer-before=1",
                                         "answer-before=", "ECHO"));

std::string errorOf(const std::string& text) {
    try {
        planOf(text);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "no error";
}

TEST(Faults, ThatAreWrongAreNamedWithWhatToDo) {
    EXPECT_EQ(
        errorOf("explode=1"),
        "\"explode\" is not a known fault: use drop=SHARE, exception=SHARE, truncate=SHARE, corrupt=SHARE, "
        "foreign=SHARE, late=SHARE, duplicate=SHARE, second-master=SHARE, echo[=SHARE], delay=MS, "
        "answer-before, silent=STATION, or none alone");
    EXPECT_EQ(errorOf("duplicate=2"),
              "\"2\" is not a valid share for the fault duplicate: write a number from 0 (never) to 1 (every "
              "request), as duplicate=0.01");
    EXPECT_EQ(
        errorOf("delay=600001"),
        "\"600001\" is not a valid time for the fault delay: write a whole number of milliseconds from 0 "
        "(no delay) to 600000, as delay=40");
    EXPECT_EQ(errorOf("answer-before=1"),
              "the fault answer-before takes no value, not \"1\": write answer-before alone");
}

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

// What a plan of the first six faults alone decides: six draws and one for the detail.
std::vector<std::pair<Fault, std::uint64_t>> decisionsOfSix(const FaultPlan& plan, std::uint64_t seed,
                                                            int count) {
    std::mt19937_64 random(seed);
    std::vector<std::pair<Fault, std::uint64_t>> decided;
    for (int i = 0; i < count; ++i) {
        Fault fault = Fault::None;
        for (std::size_t kind = 0; kind < 6; ++kind) {
            const double drawn = static_cast<double>(random() >> 11) / 9007199254740992.0;
            fault = drawn < plan.share[kind] && fault == Fault::None ? static_cast<Fault>(kind) : fault;
        }
        decided.emplace_back(fault, random());
    }
    return decided;
}

TEST(Faults, OfTheFirstSixKindsDoNotDependOnTheOthers) {
    const std::string six = "drop=0.1,exception=0.1,truncate=0.1,corrupt=0.1,foreign=0.1,late=0.1";
    FaultInjector alone(planOf(six), 7);
    FaultInjector withOthers(planOf(six + ",duplicate=0.5,second-master=0.5,echo=0.5,delay=5"), 7);
    for (const auto& [fault, detail] : decisionsOfSix(planOf(six), 7, 500)) {
        const FaultDecision first = alone.next();
        EXPECT_EQ(first.fault, fault);
        EXPECT_EQ(first.detail, detail);
        withOthers.nextEcho();
        const FaultDecision second = withOthers.next();
        EXPECT_EQ(second.detail, detail);
        EXPECT_TRUE(second.fault == fault || fault == Fault::None);
    }
}

TEST(Faults, OfTheOtherKindsAreIndependentOfEachOther) {
    const auto few = decisions(planOf("duplicate=0.1"), 7, 500);
    const auto more = decisions(planOf("duplicate=0.1,second-master=0.2,echo=0.5"), 7, 500);
    for (std::size_t i = 0; i < few.size(); ++i) {
        EXPECT_EQ(few[i] == Fault::Duplicate, more[i] == Fault::Duplicate) << i;
    }
    EXPECT_GT(std::count(more.begin(), more.end(), Fault::SecondMaster), 50);
}

TEST(Faults, EchoAsOftenAsOrderedWhateverIsAnswered) {
    FaultInjector often(planOf("echo=0.25"), 1);
    FaultInjector silent(planOf("echo=0.25,drop=0.5"), 1);
    int echoes = 0;
    for (int i = 0; i < 4000; ++i) {
        const bool echoed = often.nextEcho();
        often.next();
        EXPECT_EQ(silent.nextEcho(), echoed) << "requests that are not answered make no difference";
        echoes += echoed ? 1 : 0;
    }
    EXPECT_NEAR(echoes, 1000, 120);
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

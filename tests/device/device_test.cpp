// Several stations, silence, broadcasts, faults and counts.
#include "device/station/device.h"

#include <gtest/gtest.h>

#include "device/line/usage_error.h"
#include "tests/device/plan_of.h"
#include "tests/kit/crc.h"

namespace {

using namespace dx7sim;
using kit::withCrc;

constexpr Time AT_START{};
constexpr Time LATE_BY = std::chrono::milliseconds(300);

const Bytes READ_MODE = withCrc({1, 3, 0x13, 0x01, 0, 1});
const Bytes MODE = withCrc({1, 3, 2, 0, 0});

FaultPlan always(const std::string& fault) {
    FaultPlan plan;
    parseFaults(fault + "=1", plan);
    return plan;
}

std::size_t faults(const Device& device, Fault fault) {
    return device.statistics().faults[static_cast<std::size_t>(fault)];
}

TEST(Device, AnswersForEachOfItsStations) {
    Device device({1, 9}, {}, 1, LATE_BY);
    device.handle(withCrc({9, 6, 0x13, 0x01, 0, 5}), AT_START);
    EXPECT_EQ(device.handle(READ_MODE, AT_START).at(0).bytes, MODE);
    EXPECT_EQ(device.handle(withCrc({9, 3, 0x13, 0x01, 0, 1}), AT_START).at(0).bytes,
              withCrc({9, 3, 2, 0, 5}));
}

TEST(Device, IgnoresOtherStations) {
    Device device({1}, {}, 1, LATE_BY);
    EXPECT_TRUE(device.handle(withCrc({2, 3, 0x13, 0x01, 0, 1}), AT_START).empty());
    EXPECT_EQ(device.statistics().otherStations, 1U);
    EXPECT_EQ(device.handle(READ_MODE, AT_START).at(0).bytes, MODE)
        << "the reply of station 2 is not awaited";
}

TEST(Device, CarriesOutABroadcastAtEveryStation) {
    Device device({1, 9}, {}, 1, LATE_BY);
    EXPECT_TRUE(device.handle(withCrc({0, 6, 0x13, 0x01, 0, 5}), AT_START).empty());
    const std::map<int, std::uint16_t> both{{1, 5}, {9, 5}};
    EXPECT_EQ(device.values({{RegisterType::MOD, 1}, {}}, AT_START), both);
    EXPECT_EQ(device.statistics().broadcasts.at(6), 1U);
}

TEST(Device, LetsAStationFallSilentAndComeBack) {
    Device device({1, 2}, {}, 1, LATE_BY);
    device.setSilent(1, true);
    EXPECT_TRUE(device.handle(READ_MODE, AT_START).empty());
    EXPECT_EQ(device.handle(withCrc({2, 7}), AT_START).size(), 1U);
    device.setSilent(1, false);
    EXPECT_EQ(device.handle(READ_MODE, AT_START).size(), 1U);
    EXPECT_EQ(device.statistics().stations.at(1).unanswered, 1U);
    EXPECT_EQ(device.statistics().stations.at(1).requests.at(3), 2U);
}

TEST(Device, StartsWithSilentStations) {
    FaultPlan plan;
    plan.silent = {1};
    Device device({1, 2}, plan, 1, LATE_BY);
    EXPECT_TRUE(device.handle(READ_MODE, AT_START).empty());
    plan.silent = {3};
    EXPECT_THROW(Device({1, 2}, plan, 1, LATE_BY), UsageError);
}

TEST(Device, CountsExceptions) {
    Device device({1}, {}, 1, LATE_BY);
    device.handle(withCrc({1, 3, 0, 0, 0, 1}), AT_START);
    device.handle(withCrc({1, 9, 0, 0}), AT_START);
    const std::map<int, std::size_t> expected{{1, 1}, {2, 1}};
    EXPECT_EQ(device.statistics().stations.at(1).exceptions, expected);
}

TEST(Device, CountsFramesThatAreNoRequests) {
    Device device({1}, {}, 1, LATE_BY);
    EXPECT_TRUE(device.handle(withCrc({1, 3, 0x13, 0x01, 0, 1, 0}), AT_START).empty());
    EXPECT_EQ(device.statistics().refused, 1U);
}

TEST(DeviceFaults, DropAReply) {
    Device device({1}, always("drop"), 1, LATE_BY);
    EXPECT_TRUE(device.handle(withCrc({1, 6, 0x13, 0x01, 0, 5}), AT_START).empty());
    EXPECT_EQ(device.values({{RegisterType::MOD, 1}, {}}, AT_START).at(1), 5) << "the request is carried out";
    EXPECT_EQ(faults(device, Fault::Drop), 1U);
}

TEST(DeviceFaults, AnswerWithAnExceptionInstead) {
    Device device({1}, always("exception"), 1, LATE_BY);
    const auto sent = device.handle(withCrc({1, 6, 0x13, 0x01, 0, 5}), AT_START);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].bytes.size(), 5U);
    EXPECT_EQ(sent[0].bytes[1], 0x86);
    EXPECT_EQ(device.values({{RegisterType::MOD, 1}, {}}, AT_START).at(1), 0)
        << "the request is not carried out";
    EXPECT_TRUE(device.statistics().stations.at(1).exceptions.empty());
}

TEST(DeviceFaults, TruncateAndCorrupt) {
    Device shortened({1}, always("truncate"), 1, LATE_BY);
    EXPECT_LT(shortened.handle(READ_MODE, AT_START).at(0).bytes.size(), MODE.size());
    Device wrong({1}, always("corrupt"), 1, LATE_BY);
    const Bytes reply = wrong.handle(READ_MODE, AT_START).at(0).bytes;
    EXPECT_EQ(reply.size(), MODE.size());
    EXPECT_FALSE(endsInGoodCrc(reply, reply.size()));
}

TEST(DeviceFaults, PutAForeignReplyBeforeTheRightOne) {
    Device device({1}, always("foreign"), 1, LATE_BY);
    const auto sent = device.handle(READ_MODE, AT_START);
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_NE(sent[0].bytes, MODE);
    EXPECT_EQ(sent[0].bytes.size(), MODE.size());
    EXPECT_EQ(sent[1].bytes, MODE);
    EXPECT_GT(sent[1].pause, Time());
}

TEST(DeviceFaults, SendLate) {
    Device device({1}, always("late"), 1, LATE_BY);
    const auto sent = device.handle(READ_MODE, AT_START);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].bytes, MODE);
    EXPECT_EQ(sent[0].pause, LATE_BY);
}

TEST(DeviceFaults, SendTwice) {
    Device atOnce({1}, always("duplicate"), 1, LATE_BY);
    const auto sent = atOnce.handle(READ_MODE, AT_START);
    ASSERT_EQ(sent.size(), 2U);
    for (const Outgoing& one : sent) {
        EXPECT_EQ(one.bytes, MODE);
        EXPECT_EQ(one.pause, Time());
        EXPECT_EQ(one.way, Way::InTurn);
    }
    const Time after = std::chrono::milliseconds(40);
    Device later({1}, always("duplicate"), 1, LATE_BY, Movement::Natural, after);
    const auto both = later.handle(READ_MODE, AT_START);
    ASSERT_EQ(both.size(), 2U);
    EXPECT_EQ(both[0].way, Way::InTurn);
    EXPECT_EQ(both[1].bytes, MODE);
    EXPECT_EQ(both[1].way, Way::Copy);
    EXPECT_EQ(both[1].pause, after);
    EXPECT_EQ(faults(later, Fault::Duplicate), 1U);
}

TEST(DeviceFaults, PutTheReplyToAnotherMasterBesideTheRightOne) {
    Device device({1}, planOf("second-master=1"), 1, LATE_BY);
    device.set({{RegisterType::MOD, 1}, {}}, 4711, AT_START);
    const Bytes right = withCrc({1, 3, 2, 0x12, 0x67});
    int before = 0;
    int after = 0;
    for (int i = 0; i < 200; ++i) {
        const auto sent = device.handle(READ_MODE, AT_START);
        ASSERT_EQ(sent.size(), 2U);
        before += sent[1].bytes == right ? 1 : 0;
        after += sent[0].bytes == right ? 1 : 0;
        EXPECT_NE(sent[0].bytes, sent[1].bytes);
        EXPECT_GT(sent[1].pause, Time());
    }
    EXPECT_EQ(before + after, 200);
    EXPECT_GT(before, after);
    EXPECT_GT(after, 20);
    EXPECT_EQ(faults(device, Fault::SecondMaster), 200U);
    EXPECT_EQ(device.statistics().stations.at(1).requests.at(3), 200U) << "only one master asks";
}

TEST(DeviceFaults, EchoRequestsToAnyStation) {
    FaultPlan plan = planOf("echo=0.5,silent=2");
    Device device({1, 2}, plan, 1, LATE_BY);
    int echoes = 0;
    for (const std::uint8_t station : Bytes{1, 2, 3, 0}) {
        const Bytes request = withCrc({station, 6, 0x13, 0x01, 0, 5});
        for (int i = 0; i < 100; ++i) {
            const auto sent = device.handle(request, AT_START);
            const bool echoed = !sent.empty() && sent[0].way == Way::Echo;
            EXPECT_EQ(sent.size(), (echoed ? 1U : 0U) + (station == 1 ? 1U : 0U)) << int(station);
            if (echoed) {
                EXPECT_EQ(sent[0].bytes, request);
                ++echoes;
            }
        }
    }
    EXPECT_NEAR(echoes, 200, 50);
    EXPECT_EQ(faults(device, Fault::Echo), static_cast<std::size_t>(echoes));
}

TEST(DeviceFaults, LeaveTheEchoOfEveryByteToTheLine) {
    Device device({1}, planOf("echo"), 1, LATE_BY);
    EXPECT_TRUE(device.echoesEveryByte());
    EXPECT_EQ(device.handle(READ_MODE, AT_START).size(), 1U);
    EXPECT_EQ(faults(device, Fault::Echo), 1U);
    EXPECT_FALSE(Device({1}, planOf("echo=0.99"), 1, LATE_BY).echoesEveryByte());
}

TEST(DeviceFaults, DelayTheFirstReplyOfEachRequest) {
    const Time delay = std::chrono::milliseconds(40);
    Device device({1}, planOf("delay=40"), 1, LATE_BY);
    EXPECT_EQ(device.handle(READ_MODE, AT_START).at(0).pause, delay);
    EXPECT_TRUE(device.handle(withCrc({0, 6, 0x13, 0x01, 0, 5}), AT_START).empty());
    EXPECT_EQ(faults(device, Fault::Delay), 1U);
    Device twice({1}, planOf("delay=40,duplicate=1"), 1, LATE_BY);
    const auto both = twice.handle(READ_MODE, AT_START);
    EXPECT_EQ(both.at(0).pause, delay);
    EXPECT_EQ(both.at(1).pause, Time());
    Device late({1}, planOf("delay=40,late=1"), 1, LATE_BY);
    EXPECT_EQ(late.handle(READ_MODE, AT_START).at(0).pause, delay + LATE_BY);
    Device dropped({1}, planOf("delay=40,drop=1"), 1, LATE_BY);
    EXPECT_TRUE(dropped.handle(READ_MODE, AT_START).empty());
    EXPECT_EQ(faults(dropped, Fault::Delay), 0U);
}

TEST(DeviceFaults, AnswerTheRequestBefore) {
    Device device({1, 2}, planOf("answer-before"), 1, LATE_BY);
    EXPECT_TRUE(device.handle(withCrc({1, 6, 0x13, 0x01, 0, 5}), AT_START).empty());
    EXPECT_EQ(device.values({{RegisterType::MOD, 1}, 1}, AT_START).at(1), 5) << "it is carried out at once";
    EXPECT_TRUE(device.handle(withCrc({0, 6, 0x13, 0x02, 0, 6}), AT_START).empty());
    EXPECT_EQ(device.handle(READ_MODE, AT_START).at(0).bytes, withCrc({1, 6, 0x13, 0x01, 0, 5}));
    EXPECT_EQ(device.handle(withCrc({2, 3, 0, 0, 0, 1}), AT_START).at(0).bytes, withCrc({1, 3, 2, 0, 5}));
    EXPECT_EQ(device.handle(READ_MODE, AT_START).at(0).bytes, withCrc({2, 0x83, 2})) << "an exception, too";
    EXPECT_EQ(faults(device, Fault::AnswerBefore), 4U);
}

TEST(DeviceFaults, HarmTheReplyThatIsSentWhenItIsThatOfTheRequestBefore) {
    Device device({1}, planOf("answer-before,truncate=1"), 1, LATE_BY);
    EXPECT_TRUE(device.handle(READ_MODE, AT_START).empty());
    EXPECT_LT(device.handle(withCrc({1, 7}), AT_START).at(0).bytes.size(), MODE.size());
    device.setFaults(planOf("answer-before,drop=1"));
    EXPECT_TRUE(device.handle(READ_MODE, AT_START).empty());
    device.setFaults(planOf("answer-before"));
    EXPECT_EQ(device.handle(withCrc({1, 7}), AT_START).at(0).bytes, MODE) << "still one request late";
}

}  // namespace

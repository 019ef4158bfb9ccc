// A long polling plan goes round in the same order, again and again.
#include <QtCore/QList>

#include "line.h"
#include "request_lists.h"
#include "support.h"

using namespace dx7test;

namespace {

class Rotation : public DriverTest, public ::testing::WithParamInterface<int> {
protected:
    static void planOf(int blocks) {
        QList<KEY_ADDRESS> list;
        for (int i = 0; i < blocks; ++i)
            list << entry(1, "F", 60 * i, 1);
        ASSERT_EQ(blocks, intf_addrMerge(list));
    }

    static void expectTurn(int blocks, int turn) {
        ASSERT_EQ(blocks, driver.pollList.size());
        for (int i = 0; i < blocks; ++i)
            ASSERT_EQ(60 * ((turn + i) % blocks), driver.pollList.at(i).address)
                << "turn " << turn << ", entry " << i;
    }
};

TEST_P(Rotation, EveryBlockHasItsTurnInOrder) {
    const int blocks = GetParam();
    planOf(blocks);
    for (int turn = 0; turn < 7 * blocks; ++turn) {
        ASSERT_EQ(60 * (turn % blocks), driver.pollList.at(0).address) << "turn " << turn;
        if (turn % 97 == 0)
            expectTurn(blocks, turn);
        rotatePollList();
    }
    expectTurn(blocks, 0);
}

TEST_P(Rotation, ACopyThatTheHostKeptStaysAsItWas) {
    const int blocks = GetParam();
    planOf(blocks);
    for (int turn = 0; turn < 5 * blocks; ++turn) {
        const QList<VARIABLE> kept = driver.pollList;
        rotatePollList();
        ASSERT_EQ(60 * (turn % blocks), kept.at(0).address);
        ASSERT_EQ(60 * ((turn + 1) % blocks), driver.pollList.at(0).address);
        turn += blocks / 8;
        for (int skipped = 0; skipped < blocks / 8; ++skipped)
            rotatePollList();
    }
}

TEST_P(Rotation, ANewPlanBeginsAtItsFirstBlock) {
    const int blocks = GetParam();
    planOf(blocks);
    for (int turn = 0; turn < 3 * blocks + 1; ++turn)
        rotatePollList();
    planOf(blocks + 1);
    expectTurn(blocks + 1, 0);
    for (int turn = 0; turn < 3 * blocks; ++turn)
        rotatePollList();
    expectTurn(blocks + 1, 3 * blocks % (blocks + 1));
}

INSTANTIATE_TEST_SUITE_P(Of, Rotation, ::testing::Values(2, 3, 255, 256, 257, 258, 300, 1000),
                         [](const ::testing::TestParamInfo<int>& row) {
                             return std::to_string(row.param) + "Blocks";
                         });

TEST_F(DriverTest, RotationLeavesAPlanOfOneBlockAndAnEmptyOneAlone) {
    rotatePollList();
    EXPECT_TRUE(driver.pollList.isEmpty());
    driver.pollList << request(1, "F", 7, 1);
    rotatePollList();
    ASSERT_EQ(1, driver.pollList.size());
    EXPECT_EQ(7, driver.pollList.at(0).address);
}

// What the host appends or removes by hand is kept in turn too.
TEST_F(DriverTest, RotationFollowsAPlanThatTheHostEdited) {
    for (int i = 0; i < 400; ++i)
        driver.pollList << request(1, "F", i, 1);
    for (int turn = 0; turn < 3000; ++turn) {
        ASSERT_EQ(turn % 400, driver.pollList.at(0).address);
        rotatePollList();
    }
}

}  // namespace

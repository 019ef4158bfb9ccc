#include "host/line/loopback.h"

#include <gtest/gtest.h>

#include <set>

#include "rig.h"

using namespace dx7;

namespace {

class LoopbackTest : public testing::Test {
protected:
    LoopbackTest() { poller.add(line); }
    LoopbackResult run() {
        return testLoopback(line, poller, settings, [this] { return clock.nowUs() >= stopUs; });
    }

    LineSettings settings = serialSettings();
    VirtualClock clock;
    ScriptedLine line{clock};
    SimulatedPoller poller{clock};
    qint64 stopUs = 3600000000;
};

TEST_F(LoopbackTest, EveryValueOfTheDataBitsIsSent) {
    for (const int bits : {7, 8}) {
        settings.dataBits = bits;
        const QByteArray pattern = loopbackPattern(settings);
        const std::set<quint8> values(pattern.begin(), pattern.end());
        EXPECT_EQ(int(values.size()), 1 << bits);
        EXPECT_EQ(*values.rbegin(), (1 << bits) - 1);
    }
}

TEST_F(LoopbackTest, WhatComesBackAsItWasSentIsGood) {
    line.script = [](ScriptedLine& end, const QByteArray& piece) { end.arrive(piece, 2000); };
    const LoopbackResult result = run();
    EXPECT_TRUE(result.good());
    EXPECT_EQ(result.sent, loopbackPattern(settings).size());
    EXPECT_EQ(result.received, result.sent);
    EXPECT_EQ(result.roundTripUs, 2000);
}

TEST_F(LoopbackTest, ALineWithoutABridgeEndsAfterTheFirstByte) {
    const qint64 beginUs = clock.nowUs();
    const LoopbackResult result = run();
    EXPECT_FALSE(result.good());
    EXPECT_EQ(result.sent, 1);
    EXPECT_EQ(result.received, 0);
    EXPECT_EQ(result.roundTripUs, 0);
    EXPECT_LT(clock.nowUs() - beginUs, 600000);
}

TEST_F(LoopbackTest, AChangedByteIsNamed) {
    line.script = [](ScriptedLine& end, const QByteArray& piece) {
        QByteArray changed = piece;
        if (piece.size() > 1) {
            changed[3] = char(piece[3] ^ 0x10);
        }
        end.arrive(changed, 2000);
    };
    const LoopbackResult result = run();
    ASSERT_TRUE(result.difference);
    EXPECT_EQ(result.difference->index, 4);
    EXPECT_EQ(result.difference->sent, 3);
    EXPECT_EQ(result.difference->came, 0x13);
    EXPECT_FALSE(result.good());
}

TEST_F(LoopbackTest, MissingAndSurplusBytesAreFaults) {
    line.script = [](ScriptedLine& end, const QByteArray& piece) {
        end.arrive(piece.size() > 1 ? piece.left(10) : piece, 2000);
    };
    const LoopbackResult fewer = run();
    EXPECT_FALSE(fewer.good());
    EXPECT_EQ(fewer.received, 11);
    line.script = [](ScriptedLine& end, const QByteArray& piece) { end.arrive(piece + piece, 2000); };
    const LoopbackResult more = run();
    EXPECT_FALSE(more.good());
    EXPECT_EQ(more.received, 2 * more.sent);
}

TEST_F(LoopbackTest, ALostLineAndASignalEndIt) {
    line.script = [](ScriptedLine& end, const QByteArray& piece) { end.arrive(piece, 2000); };
    stopUs = clock.nowUs();
    EXPECT_TRUE(run().stopped);
    stopUs = 3600000000;
    line.lostAfterBytes = 0;
    const LoopbackResult lost = run();
    EXPECT_TRUE(lost.lost);
    EXPECT_FALSE(lost.good());
}

}  // namespace

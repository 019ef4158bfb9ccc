// How long copies are waited for.
#include "host/exchange/copy_watch.h"

#include <gtest/gtest.h>

#include "exchange_rig.h"

using dx7::CopyWatch;
using truth::valueOf;

namespace {

const qint64 LONGEST_US = 1500000;

class CopyWatchTest : public testing::Test {
protected:
    // A reply whose copies come after it, each `lagUs` after the one before. Returns the pause after the
    // reply.
    qint64 replied(int copies, qint64 lagUs) {
        nowUs += 3000000;
        const QByteArray frame = valueOf(1, ++value);
        watch.take(frame, ++sequence, nowUs);
        const qint64 pauseUs = watch.pauseEndUs(sequence).value_or(nowUs) - nowUs;
        for (int i = 1; i <= copies; ++i) {
            EXPECT_TRUE(watch.repeatsLast(frame, sequence));
            watch.absorb(nowUs + i * lagUs);
        }
        return pauseUs;
    }

    CopyWatch watch{LONGEST_US};
    qint64 nowUs = 0;
    quint64 sequence = 0;
    int value = 0;
};

TEST_F(CopyWatchTest, WithoutCopiesThereIsNoPause) {
    EXPECT_EQ(replied(0, 0), 0);
    EXPECT_EQ(replied(0, 0), 0);
}

TEST_F(CopyWatchTest, ThePauseIsTwiceAsLongAsTheCopyTook) {
    replied(1, 20000);
    EXPECT_EQ(replied(1, 20000), 45000);
}

TEST_F(CopyWatchTest, OneSlowCopyIsNotRememberedForEver) {
    replied(2, 400000);
    EXPECT_EQ(replied(1, 3000), LONGEST_US);
    for (int i = 0; i < 40; ++i) {
        replied(1, 3000);
    }
    EXPECT_EQ(replied(1, 3000), 11000);
    EXPECT_FALSE(watch.pauseEndUs(sequence)) << "no second copy is waited for";
}

TEST_F(CopyWatchTest, AfterTwentyRepliesWithoutACopyThePauseIsOver) {
    replied(1, 20000);
    for (int i = 0; i < 42; ++i) {
        replied(0, 0);
    }
    EXPECT_EQ(replied(0, 0), 0);
}

TEST_F(CopyWatchTest, WhatEqualsAnOldFrameIsNoCopy) {
    const QByteArray frame = valueOf(1, 7);
    watch.take(frame, 1, 1000);
    watch.take(valueOf(1, 8), 2, 2000);
    EXPECT_TRUE(watch.recognise(frame, 1000 + LONGEST_US));
    EXPECT_FALSE(watch.recognise(frame, 1001 + LONGEST_US));
}

}  // namespace

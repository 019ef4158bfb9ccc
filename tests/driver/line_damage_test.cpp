// What a bad line can do to a reply. Every single, double and triple bit flip, every truncation and every
// inserted, deleted or doubled byte must be judged bad and must change nothing but the count of bad replies.
// CRC-16 promises this for up to three flipped bits (its Hamming distance is 4 at these lengths); the rest
// the length check catches.
#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <climits>
#include <random>

#include "line.h"
#include "support.h"

using namespace dx7test;

namespace {

struct Subject {
    const char* name;
    const char* regType;
    int count;
    int opKind;        // 4: a polled read, 2: a write
    QByteArray reply;  // the good one
};

void PrintTo(const Subject& subject, std::ostream* out) {
    *out << subject.name;
}

QByteArray patternBytes(int size) {
    QByteArray bytes;
    for (int i = 0; i < size; ++i) {
        bytes.append(static_cast<char>(17 * i + 3));
    }
    return bytes;
}

QVector<int> patternWords(int size) {
    QVector<int> words;
    for (int i = 0; i < size; ++i) {
        words.append(0x0102 * (i + 1));
    }
    return words;
}

bool sameArea(const _DATA_& a, const _DATA_& b) {
    return a.commError == b.commError && a.writePending == b.writePending && a.pendingBits == b.pendingBits &&
           a.wordMonitorFlags == b.wordMonitorFlags && a.bitMonitorMask == b.bitMonitorMask &&
           a.station == b.station && a.regType == b.regType && a.address == b.address &&
           memcmp(a.value, b.value, 4) == 0 && memcmp(a.writtenValue, b.writtenValue, 4) == 0;
}

class LineDamage : public DriverTest, public ::testing::WithParamInterface<Subject> {
protected:
    void SetUp() override {
        DriverTest::SetUp();
        const Subject& subject = GetParam();
        monitorOnly(subject.regType, 1, subject.count);
        queueWrite();
        driver.retryCount = INT_MAX;
        ASSERT_NE(QString("nothing"), whatIsSent());
        ASSERT_EQ(subject.reply.size(), driver.frameList.at(0).expectLen);
        takeReports();
        areasBefore_ = driver.dataAreas;
    }

    // The write whose acknowledgement is damaged; nothing for the reads.
    static void queueWrite() {
        if (GetParam().opKind == 2) {
            unsigned char data[2] = {1, 0};
            intf_setData(1, GetParam().regType, 1, GetParam().count, data, 2);
        }
    }

    // Puts the request on the line again after a reply was accepted.
    static void putOnLine() {
        FRAME_PRO frame;
        while (driver.frameList.isEmpty()) {
            if (driver.writeList.isEmpty()) {
                queueWrite();
            }
            intf_getSendFrame(&frame);
        }
    }

    // Hands the damaged reply over; counts what was not judged bad.
    void expectBad(const QByteArray& damaged) {
        QByteArray bytes = damaged;
        if (intf_dealRcvFrame(bytes, info_) != 8) {
            ADD_FAILURE() << "accepted: " << damaged.toHex().constData();
        }
        ++handedOver_;
    }

    void expectNothingChanged() {
        EXPECT_EQ(handedOver_, driver.badReplyCount);
        EXPECT_TRUE(reports.empty());
        ASSERT_EQ(areasBefore_.size(), driver.dataAreas.size());
        for (int i = 0; i < areasBefore_.size(); ++i) {
            EXPECT_TRUE(sameArea(areasBefore_.at(i), driver.dataAreas.at(i))) << "area " << i;
        }
        EXPECT_EQ(1, driver.frameList.size());
        EXPECT_EQ(GetParam().opKind == 2 ? 1 : 0, driver.writeList.size());
        EXPECT_EQ(1, driver.pollList.size());
        EXPECT_TRUE(driver.conditionList.isEmpty());
        EXPECT_EQ(0, driver.commFailed);
    }

    // The undamaged reply is still welcome afterwards.
    void expectRecovery() { EXPECT_EQ(DX7_REPLY_GOOD, answer(GetParam().reply)); }

    static void flip(QByteArray& bytes, int bit) {
        bytes.data()[bit / 8] = static_cast<char>(bytes.at(bit / 8) ^ (1 << bit % 8));
    }

private:
    QList<_DATA_> areasBefore_;
    QString info_;
    int handedOver_ = 0;
};

TEST_P(LineDamage, EverySingleDoubleAndTripleBitFlipIsBad) {
    const QByteArray good = GetParam().reply;
    const int bits = 8 * good.size();
    QByteArray damaged = good;
    damaged.detach();
    for (int a = 0; a < bits; ++a) {
        flip(damaged, a);
        expectBad(damaged);
        for (int b = a + 1; b < bits; ++b) {
            flip(damaged, b);
            expectBad(damaged);
            for (int c = b + 1; c < bits; ++c) {
                flip(damaged, c);
                expectBad(damaged);
                flip(damaged, c);
            }
            flip(damaged, b);
        }
        flip(damaged, a);
    }
    expectNothingChanged();
    expectRecovery();
}

TEST_P(LineDamage, EveryTruncationIsBad) {
    const QByteArray good = GetParam().reply;
    for (int length = 0; length < good.size(); ++length) {
        expectBad(good.left(length));
        expectBad(good.right(length));
    }
    expectNothingChanged();
    expectRecovery();
}

TEST_P(LineDamage, EveryInsertedDeletedAndDoubledByteIsBad) {
    const QByteArray good = GetParam().reply;
    for (int at = 0; at <= good.size(); ++at) {
        for (int byte = 0; byte < 256; ++byte) {
            QByteArray inserted = good;
            expectBad(inserted.insert(at, static_cast<char>(byte)));
        }
        if (at < good.size()) {
            QByteArray deleted = good;
            expectBad(deleted.remove(at, 1));
            QByteArray doubled = good;
            expectBad(doubled.insert(at, good.at(at)));
        }
    }
    expectNothingChanged();
    expectRecovery();
}

// A million strings of the right length: about one in 65,536 has a right CRC by chance, and only those pass.
TEST_P(LineDamage, RandomBytesOfTheRightLengthPassOnlyWithARightCrc) {
    std::mt19937 random(20260117);
    const int length = GetParam().reply.size();
    if (GetParam().opKind == 2) {
        driver.pollList.clear();
    }
    int accepted = 0;
    for (int i = 0; i < 1000000; ++i) {
        QByteArray bytes(length, '\0');
        for (int at = 0; at < length; ++at) {
            bytes.data()[at] = static_cast<char>(random());
        }
        putOnLine();
        if (answer(bytes) == 1) {
            ++accepted;
            EXPECT_EQ(bytes, withCrc(bytes.left(length - 2)));
        }
    }
    EXPECT_GT(accepted, 0) << "the test must have met right CRCs";
}

INSTANTIATE_TEST_SUITE_P(Replies, LineDamage,
                         ::testing::Values(Subject{"Bits", "DO", 160, 4, bitReply(1, 1, patternBytes(20))},
                                           Subject{"Words", "CW", 10, 4, wordReply(1, 3, patternWords(10))},
                                           Subject{"Acknowledgement", "DO", 1, 2,
                                                   withCrc(hex("01 05 10 20 FF 00"))}),
                         [](const ::testing::TestParamInfo<Subject>& subject) { return subject.param.name; });

}  // namespace

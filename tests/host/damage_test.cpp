#include "host/exchange/damage.h"

#include <gtest/gtest.h>

#include "tests/kit/crc.h"
#include "tests/kit/hex.h"

using namespace dx7;
using kit::hex;
using kit::withCrc;

namespace {

TEST(Damage, IsTheSameForTheSameBytes) {
    const AwaitedReply awaited{1, 3, 7};
    const struct {
        const char* bytes;
        const char* text;
    } rows[] = {
        {"01 03 02 00 05 78 48", "wrong CRC"},
        {"01 83 02 00 00", "wrong CRC"},
        {"01 03 02 00 05 78", "wrong length (6 of 7 bytes)"},
        {"01 83", "wrong length (2 of 7 bytes)"},
        {"01 03 04 00 05 00 12 AA", "wrong CRC"},
        {"A5 A5 A5 A5 A5 A5 A5", "wrong CRC"},
        {"A5 A5 A5 A5 A5 A5 A5 A5", "8 bytes of noise"},
        {"01 04 02", "3 bytes of noise"},
        {"01", "1 byte of noise"},
    };
    for (const auto& row : rows) {
        const QByteArray bytes = hex(row.bytes);
        EXPECT_EQ(damageText(damageIn(bytes, awaited), bytes.size(), awaited.length).toStdString(), row.text)
            << row.bytes;
    }
}

TEST(Damage, IsNoiseWhereNothingIsAwaited) {
    EXPECT_EQ(damageIn(hex("01 03 02 00 05 78 48"), {}), Damage::Noise);
    EXPECT_EQ(damageIn(QByteArray(), {}), Damage::Noise);
}

TEST(Damage, ARequestTellsTheReplyThatItAwaits) {
    const struct {
        const char* request;
        int length;
    } rows[] = {
        {"01 01 10 20 00 09", 7},
        {"01 02 10 20 00 08", 6},
        {"01 03 F3 19 00 02", 9},
        {"01 04 12 00 00 04", 13},
        {"01 05 10 20 FF 00", 8},
        {"01 06 E3 25 00 05", 8},
        {"01 07", 5},
        {"01 08 00 00 12 34", 8},
        {"01 10 E3 20 00 01 02 00 05", 8},
        {"00 05 10 20 FF 00", 0},
        {"01 2B 0E 01 00", 0},
    };
    for (const auto& row : rows) {
        const QByteArray request = withCrc(hex(row.request));
        const AwaitedReply awaited = awaitedReply(request);
        EXPECT_EQ(awaited.length, row.length) << row.request;
        EXPECT_EQ(awaitedReply(request.left(request.size() - 1)).length, 0) << "damaged: " << row.request;
    }
    EXPECT_EQ(awaitedReply(withCrc(hex("05 07"))).station, 5);
    EXPECT_EQ(awaitedReply(withCrc(hex("05 07"))).function, 7);
    EXPECT_EQ(awaitedReply(QByteArray()).length, 0);
}

}  // namespace

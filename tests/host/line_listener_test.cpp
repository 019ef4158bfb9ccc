#include "host/exchange/line_listener.h"

#include <gtest/gtest.h>

#include <random>

#include "host/exchange/rtu_frame.h"

using namespace dx7;

namespace {

LineSettings serial(int baud = 9600) {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.baud = baud;
    return settings;
}

// The bytes with their CRC.
QByteArray frame(const char* hex) {
    QByteArray bytes = QByteArray::fromHex(hex);
    appendCrc(bytes);
    return bytes;
}

// "request 8, stray 2": the kinds and lengths of what was heard.
std::string said(const LineListener& listener) {
    static const char* const names[] = {"request", "reply", "stray"};
    std::string text;
    for (const HeardPiece& piece : listener.pieces()) {
        text += (text.empty() ? "" : ", ") + std::string(names[piece.kind]) + ' ' +
                std::to_string(piece.bytes.size());
    }
    return text;
}

void feed(LineListener& listener, const QByteArray& bytes, qint64 nowUs) {
    listener.received(bytes.constData(), bytes.size(), nowUs);
}

std::string heard(const QByteArray& bytes) {
    LineListener listener(serial(), 0);
    feed(listener, bytes, 100000);
    return said(listener);
}

TEST(LineListener, TellsFramesFromWhatIsNone) {
    const QByteArray request = frame("0203F3190002");
    const QByteArray reply = frame("02030401400141");
    const struct {
        const char* name;
        QByteArray bytes;
        const char* said;
    } rows[] = {
        {"nothing", "", ""},
        {"a request", request, "request 8"},
        {"a reply", reply, "reply 9"},
        {"both", request + reply, "request 8, reply 9"},
        {"the end of a frame, and one", request.mid(5) + reply, "stray 3, reply 9"},
        {"a frame and the beginning of one", reply + request.left(5), "reply 9, stray 5"},
        {"a damaged one between two", request + reply.left(8) + request, "request 8, stray 8, request 8"},
        {"a refusal", frame("028302"), "reply 5"},
        {"a refusal with a code that is none", frame("028344"), "reply 5"},
        {"a status query and its answer", frame("0207") + frame("020701"), "request 4, reply 5"},
        {"a written coil and its acknowledgement", frame("02051020FF00") + frame("02051020FF00"),
         "request 8, reply 8"},
        {"a coil that is neither on nor off", frame("02051020FF01"), "request 8"},
        {"a written register", frame("0206E3250005"), "request 8"},
        {"a query of the counting kind", frame("020800001234") + frame("020800001234"), "request 8, reply 8"},
        {"written registers", frame("0210E32000020400010002") + frame("0210E3200002"), "request 13, reply 8"},
        {"written registers with another count", frame("0210E32000030400010002"), "request 13"},
        {"written coils", frame("020F102000030105"), "request 10"},
        {"a broadcast", frame("00051020FF00"), "request 8"},
        {"a read of station 0", frame("0003F3190002"), "request 8"},
        {"a station that cannot be", frame("F903F3190002"), "request 8"},
        {"too many words", frame("0203F3190080"), "request 8"},
        {"three bytes of coils after their request", frame("020110200018") + frame("020103010007"),
         "request 8, reply 8"},
        {"another function code, alone", frame("022B0E0100"), "request 7"},
        {"another function code and its reply", frame("0211") + frame("021103010203"), "request 4, reply 8"},
        {"a code with fields of its own, and its reply",
         frame("0217F31900020000000204000100FF") + frame("02170400010002"), "request 17, reply 9"},
        {"what cannot be, amid noise", QByteArray("\x55", 1) + frame("0003F3190002"), "stray 9"},
        {"another function code amid noise", QByteArray("\x55", 1) + frame("022B0E0100"), "stray 8"},
        {"one wrong bit", QByteArray(request).replace(3, 1, "\x18"), "stray 8"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(heard(row.bytes), row.said) << row.name;
    }
}

TEST(LineListener, JoinsThePiecesOfAFrameAndPartsWhatSilenceParts) {
    const QByteArray request = frame("0203F3190002");
    LineListener pieces(serial(), 0);
    feed(pieces, request.left(3), 100000);
    feed(pieces, request.mid(3), 149999);
    EXPECT_EQ(said(pieces), "request 8");
    EXPECT_EQ(pieces.pieces().first().endUs, 149999);
    LineListener apart(serial(), 0);
    feed(apart, request.left(3), 100000);
    feed(apart, request.mid(3), 150000);
    EXPECT_EQ(said(apart), "stray 3, stray 5");
}

TEST(LineListener, EndsAfterItsTimeAndHearsAFrameToItsEnd) {
    LineListener listener(serial(), 1000000);
    EXPECT_EQ(listener.endUs(), 1300000);
    feed(listener, "\x02", 1100000);
    EXPECT_EQ(listener.endUs(), 1300000) << "long ago";
    feed(listener, "\x03", 1290000);
    EXPECT_EQ(listener.endUs(), 1340000) << "more may come";
    for (qint64 us = 1300000; us < 3000000; us += 10000) {
        feed(listener, "U", us);
    }
    // 256 characters of 10 bits at 9600 baud.
    EXPECT_EQ(listener.endUs(), 1300000 + 266666 + 50000)
        << "a line that is never quiet is not heard for ever";
}

// 57600 beginnings: a CRC alone would fit at many of them, at one length or another.
TEST(LineListener, FindsNoFramesInNoise) {
    std::mt19937 random(1);
    int frames = 0;
    for (int line = 0; line < 200; ++line) {
        QByteArray noise;
        for (int i = 0; i < 288; ++i) {
            noise += static_cast<char>(random() & 0xFF);
        }
        frames += heard(noise) == "stray 288" ? 0 : 1;
    }
    EXPECT_LE(frames, 1);
}

TEST(LineListener, KeepsNoMoreThanItCanUse) {
    LineListener listener(serial(4000000), 0);
    const QByteArray flood(4096, 'U');
    for (int i = 0; i < 100; ++i) {
        feed(listener, flood, 1000 * i);
    }
    EXPECT_EQ(said(listener), "stray 65536");
}

}  // namespace

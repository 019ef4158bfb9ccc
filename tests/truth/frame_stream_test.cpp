// The promises of host/exchange/frame_stream.h.
#include "host/exchange/frame_stream.h"

#include <gtest/gtest.h>

#include "exchange_rig.h"

using dx7::FrameStream;
using truth::frameOf;
using truth::readOf;
using truth::valueOf;
using Kind = dx7::FrameStream::Kind;

namespace {

struct Cut {
    Kind kind;
    int length;
    bool operator==(const Cut& other) const { return kind == other.kind && length == other.length; }
};

std::ostream& operator<<(std::ostream& out, const Cut& cut) {
    return out << "{" << static_cast<int>(cut.kind) << ", " << cut.length << "}";
}

// What the bytes are cut into; `end`: no more will come.
std::vector<Cut> cuts(FrameStream& stream, const QByteArray& bytes, bool end) {
    std::vector<Cut> all;
    stream.append(bytes.constData(), bytes.size());
    FrameStream::Piece piece;
    while (end ? stream.last(&piece) : stream.next(&piece)) {
        all.push_back(Cut{piece.kind, piece.length});
        stream.drop(piece.length);
    }
    return all;
}

QByteArray damagedValue() {
    QByteArray frame = valueOf(1, 77);
    frame[4] = static_cast<char>(frame.at(4) ^ 4);
    return frame;
}

TEST(FrameStream, CutsWhatComes) {
    struct Row {
        const char* what;
        QByteArray bytes;
        bool end;
        std::vector<Cut> expected;
    };
    const QByteArray value = valueOf(1, 77);
    const Row rows[] = {
        {"nothing", "", true, {}},
        {"a reply", value, false, {{Kind::Frame, 7}}},
        {"two replies", value + value, false, {{Kind::Frame, 7}, {Kind::Frame, 7}}},
        {"half of a reply", value.left(4), false, {}},
        {"a refusal", frameOf("018302"), false, {{Kind::Frame, 5}}},
        {"the reply of another station", valueOf(9, 1), false, {{Kind::Frame, 7}}},
        {"another master's request", readOf(9, 1), false, {{Kind::Frame, 8}}},
        {"a longer reply", frameOf("01030400010002"), false, {{Kind::Frame, 9}}},
        {"noise before a reply", "xy" + value, false, {{Kind::Noise, 2}, {Kind::Frame, 7}}},
        {"noise after a reply", value + "xy", true, {{Kind::Frame, 7}, {Kind::Noise, 2}}},
        {"a damaged reply", damagedValue(), true, {{Kind::Damaged, 7}}},
        {"a damaged reply and a good one",
         damagedValue() + value,
         false,
         {{Kind::Damaged, 7}, {Kind::Frame, 7}}},
        {"a reply that was cut, at the end", value.left(4), true, {{Kind::Damaged, 4}}},
        {"noise at the end", "xyz", true, {{Kind::Noise, 3}}},
    };
    for (const Row& row : rows) {
        FrameStream stream;
        stream.await({1, 3, 7});
        EXPECT_EQ(cuts(stream, row.bytes, row.end), row.expected) << row.what;
    }
}

TEST(FrameStream, TheFirstBytesThatEqualWhatWasSentAreItsEcho) {
    FrameStream stream;
    const QByteArray request = readOf(1, 10);
    stream.sent(request, FrameStream::EchoLook::Possible);
    stream.await({1, 3, 7});
    const std::vector<Cut> expected{{Kind::Echo, 8}, {Kind::Frame, 7}};
    EXPECT_EQ(cuts(stream, request + valueOf(1, 77), false), expected);
}

// Where the line turns round it may pick up a byte of zeros; after the echo of function code 7 that makes a
// reply.
TEST(FrameStream, WhereAnEchoIsToBeExpectedItComesFirst) {
    const QByteArray query = frameOf("0307");
    using Look = FrameStream::EchoLook;
    for (const Look look : {Look::Unlikely, Look::Possible, Look::Certain}) {
        FrameStream stream;
        stream.sent(query, look);
        stream.await({3, 7, 5});
        const std::vector<Cut> reply{{Kind::Frame, 5}};
        const std::vector<Cut> echo{{Kind::Echo, 4}, {Kind::Noise, 1}};
        EXPECT_EQ(cuts(stream, query + QByteArray(1, 0), true), look == Look::Unlikely ? reply : echo);
    }
}

TEST(FrameStream, WithoutEchoARequestThatComesIsAFrame) {
    FrameStream stream;
    const QByteArray request = readOf(1, 10);
    stream.sent(request, FrameStream::EchoLook::None);
    const std::vector<Cut> expected{{Kind::Frame, 8}};
    EXPECT_EQ(cuts(stream, request, false), expected);
}

TEST(FrameStream, ItIsAllTheSameInWhichPiecesTheBytesCome) {
    const QByteArray bytes = "x" + valueOf(1, 77) + valueOf(9, 5) + frameOf("018302");
    for (int step = 1; step < bytes.size(); ++step) {
        FrameStream stream;
        stream.await({1, 3, 7});
        std::vector<Cut> all;
        for (int at = 0; at < bytes.size(); at += step) {
            for (const Cut& cut : cuts(stream, bytes.mid(at, step), false)) {
                all.push_back(cut);
            }
        }
        int total = 0;
        int frames = 0;
        for (const Cut& cut : all) {
            total += cut.length;
            frames += cut.kind == Kind::Frame ? 1 : 0;
        }
        EXPECT_EQ(total, bytes.size()) << step;
        EXPECT_EQ(frames, 3) << step;
    }
}

TEST(FrameStream, MissingNeverAsksForMoreThanTheFrameHas) {
    const QByteArray value = valueOf(1, 77);
    FrameStream stream;
    stream.await({1, 3, 7});
    for (int have = 0; have < value.size(); ++have) {
        EXPECT_GE(stream.missing(), 1);
        EXPECT_LE(stream.missing(), value.size() - have);
        stream.append(value.constData() + have, 1);
    }
}

TEST(FrameStream, OfAnEchoAllMissingBytesAreAskedForOnceItHasBegun) {
    FrameStream stream;
    const QByteArray request = readOf(1, 10);
    stream.sent(request, FrameStream::EchoLook::Certain);
    EXPECT_EQ(stream.missing(), 5) << "a frame may be as short as that";
    stream.append(request.constData(), 3);
    EXPECT_EQ(stream.missing(), request.size() - 3);
}

TEST(FrameStream, NoiseWithoutEndIsDropped) {
    FrameStream stream;
    FrameStream::Piece piece;
    for (int i = 0; i < 100000; ++i) {
        stream.append("\x55", 1);
        while (stream.next(&piece)) {
            stream.drop(piece.length);
        }
        ASSERT_LE(stream.buffer().size(), 1100);
    }
}

TEST(AnnouncedLength, IsWhatTheHeadSays) {
    struct Row {
        const char* hex;
        int length;
    };
    const Row rows[] = {{"", 0},     {"01", 0},   {"0103", 0}, {"010302", 7}, {"0101FF", 260},
                        {"0183", 5}, {"0107", 5}, {"0108", 8}, {"0105", 8},   {"0106", 8},
                        {"010F", 8}, {"0110", 8}, {"012B", 0}, {"FF83", 5},   {"010400", 5}};
    for (const Row& row : rows) {
        EXPECT_EQ(dx7::announcedLength(QByteArray::fromHex(row.hex), 0), row.length) << row.hex;
    }
}

}  // namespace

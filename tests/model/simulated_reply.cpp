#include "simulated_reply.h"

#include "generators.h"
#include "host_script.h"

namespace differential {

using model::Byte;
using model::Frame;
using Bytes = std::vector<Byte>;

namespace {

void appendCrc(Bytes& reply) {
    const int crc = model::crcOf(reply, reply.size());
    reply.push_back(static_cast<Byte>(crc & 0xFF));
    reply.push_back(static_cast<Byte>(crc >> 8));
}

// Values repeat often, so that polls find both changed and unchanged ones.
Byte deviceByte(int where, int deviceState) {
    const std::uint64_t random =
        scrambled(static_cast<std::uint64_t>(where), static_cast<std::uint64_t>(deviceState));
    const Byte some[8] = {
        0, 1, 0, 0, 0xFF, 2, static_cast<Byte>(random >> 8), static_cast<Byte>(random >> 16)};
    return some[random % 8];
}

Bytes goodReply(const Frame& head, int deviceState) {
    Bytes reply;
    if (head.expectLen <= 0 || head.expectLen > 100000) {
        return reply;
    }
    const std::size_t length = static_cast<std::size_t>(head.expectLen);
    if (head.dataCount == 0 && head.sendLen >= 8) {
        reply.assign(head.sendBuf.begin(), head.sendBuf.begin() + 6);
    } else {
        reply = {head.sendBuf[0], head.sendBuf[1], static_cast<Byte>(length - 5)};
    }
    const int registerNumber = head.sendBuf[2] * 256 + head.sendBuf[3];
    for (int i = 0; reply.size() + 2 < length; ++i) {
        reply.push_back(deviceByte(2 * registerNumber + i, deviceState));
    }
    reply.resize(length >= 2 ? length - 2 : 0);
    appendCrc(reply);
    reply.resize(length);
    return reply;
}

}  // namespace

const char* nameOf(ReplyKind kind) {
    const char* const names[] = {
        "good",  "with random data",      "truncated",    "extended", "corrupted",          "exception",
        "empty", "random with right CRC", "random bytes", "FF FF",    "echo of the request"};
    return names[static_cast<int>(kind)];
}

std::vector<Byte> simulatedReply(const std::vector<Frame>& frames, ReplyKind kind, int deviceState,
                                 int place) {
    const Frame head = frames.empty() ? Frame() : frames[0];
    const std::size_t spot = static_cast<std::size_t>(place);
    Bytes reply = goodReply(head, deviceState);
    switch (kind) {
        case ReplyKind::Good:
            break;
        case ReplyKind::RandomData:
            if (reply.size() > 2) {
                reply = bytesOf(place, reply.size() - 2);
                appendCrc(reply);
            }
            break;
        case ReplyKind::Truncated:
            reply.resize(reply.empty() ? 0 : spot % reply.size());
            break;
        case ReplyKind::Extended:
            reply.resize(reply.size() + 1 + spot % 3, static_cast<Byte>(place));
            break;
        case ReplyKind::Corrupted:
            if (!reply.empty()) {
                reply[spot % reply.size()] ^= static_cast<Byte>(1 + spot % 255);
            }
            break;
        case ReplyKind::Exception:
            reply = {head.sendBuf[0], static_cast<Byte>(head.sendBuf[1] | 0x80),
                     static_cast<Byte>(1 + spot % 4)};
            appendCrc(reply);
            break;
        case ReplyKind::Empty:
            reply.clear();
            break;
        case ReplyKind::RandomRightCrc:
            reply = bytesOf(place, spot % 40);
            appendCrc(reply);
            break;
        case ReplyKind::RandomBytes:
            reply = bytesOf(place, reply.size());
            break;
        case ReplyKind::TwoBytes:
            reply = {0xFF, 0xFF};
            break;
        case ReplyKind::Echo:
            reply.assign(
                head.sendBuf.begin(),
                head.sendBuf.begin() + (head.sendLen > 0 && head.sendLen <= 1024 ? head.sendLen : 0));
            break;
    }
    return reply;
}

}  // namespace differential

#include "host/exchange/mbap.h"

#include <algorithm>

#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr int PROTOCOL_AT = 2;
constexpr int LENGTH_AT = 4;
// Unit and function code.
constexpr int SHORTEST_REST = 2;
constexpr int CRC_BYTES = 2;

void appendWord(QByteArray& bytes, int word) {
    bytes.append(static_cast<char>(word >> 8));
    bytes.append(static_cast<char>(word & 0xFF));
}

// Of what follows the head; -1 where the bytes are no head, or not yet a whole one.
int restLength(const QByteArray& bytes) {
    const int length = wordAt(bytes, LENGTH_AT);
    const bool head =
        wordAt(bytes, PROTOCOL_AT) == 0 && length >= SHORTEST_REST && length <= MBAP_LONGEST_REST;
    return head ? length : -1;
}

}  // namespace

QByteArray mbapFrame(quint16 id, const QByteArray& rtuFrame) {
    const int rest = rtuFrame.size() - CRC_BYTES;
    QByteArray frame;
    frame.reserve(MBAP_BYTES + rest);
    appendWord(frame, id);
    appendWord(frame, 0);
    appendWord(frame, rest);
    frame.append(rtuFrame.constData(), rest);
    return frame;
}

bool beginsLikeMbap(const QByteArray& bytes) {
    // An RTU frame of station 0 to 247 may begin with any two bytes, but two zeros follow in few of them.
    return bytes.size() >= MBAP_BYTES + SHORTEST_REST && restLength(bytes) == bytes.size() - MBAP_BYTES &&
           !endsWithCrc(bytes, 0, bytes.size());
}

QByteArray MbapStream::wrap(const QByteArray& rtuFrame) {
    awaited_ = true;
    return mbapFrame(++id_, rtuFrame);
}

std::optional<MbapStream::Piece> MbapStream::take() {
    if (buffer_.size() < MBAP_BYTES) {
        return {};
    }
    const int rest = restLength(buffer_);
    Piece piece;
    if (rest < 0) {
        piece.bytes.swap(buffer_);
        return piece;
    }
    if (buffer_.size() < MBAP_BYTES + rest) {
        return {};
    }
    const bool ours = awaited_ && wordAt(buffer_, 0) == id_;
    piece.kind = ours ? Piece::Frame : Piece::OtherId;
    piece.bytes = buffer_.mid(MBAP_BYTES, rest);
    appendCrc(piece.bytes);
    buffer_.remove(0, MBAP_BYTES + rest);
    awaited_ = awaited_ && !ours;
    return piece;
}

void MbapStream::reset() {
    buffer_.resize(0);
    awaited_ = false;
}

int MbapStream::missing() const {
    const int rest = std::max(restLength(buffer_), SHORTEST_REST);
    const int wanted = buffer_.size() < MBAP_BYTES ? MBAP_BYTES + SHORTEST_REST : MBAP_BYTES + rest;
    return std::max(wanted - buffer_.size(), 1);
}

}  // namespace dx7

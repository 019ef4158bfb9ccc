#include "host/exchange/mbap.h"

#include <algorithm>

#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr int PROTOCOL_AT = 2;
constexpr int LENGTH_AT = 4;
// Unit and function code.
constexpr int SHORTEST_REST = 2;
// With all of them due one is used again.
constexpr int MOST_IDS = 0xFFFF;

void appendWord(QByteArray& bytes, int word) {
    bytes.append(static_cast<char>(word >> 8));
    bytes.append(static_cast<char>(word & 0xFF));
}

// The number of bytes that follow the head; -1 without a whole head.
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
    return restLength(bytes) > 0;
}

QByteArray MbapStream::wrap(const QByteArray& rtuFrame, qint64 nowUs) {
    do {
        ++id_;
    } while (due_.contains(id_) && due_.size() <= MOST_IDS);
    awaited_ = byteAt(rtuFrame, 0) != 0;
    if (awaited_) {
        due_[id_] = nowUs;
    }
    lost_ = false;
    return mbapFrame(id_, rtuFrame);
}

void MbapStream::append(const char* bytes, int count) {
    if (!lost_) {
        buffer_.append(bytes, count);
    }
}

MbapStream::Piece::Kind MbapStream::kindOf(quint16 id, qint64* askedUs) {
    if (!due_.contains(id)) {
        return Piece::Unasked;
    }
    *askedUs = due_.take(id);
    const bool ours = awaited_ && id == id_;
    awaited_ = awaited_ && !ours;
    return ours ? Piece::Frame : Piece::Late;
}

std::optional<MbapStream::Piece> MbapStream::take() {
    if (buffer_.size() < MBAP_BYTES) {
        return {};
    }
    const int rest = restLength(buffer_);
    Piece piece;
    if (rest < 0) {
        lost_ = true;
        piece.bytes.swap(buffer_);
        return piece;
    }
    if (buffer_.size() < MBAP_BYTES + rest) {
        return {};
    }
    piece.kind = kindOf(static_cast<quint16>(wordAt(buffer_, 0)), &piece.askedUs);
    piece.bytes = buffer_.mid(MBAP_BYTES, rest);
    appendCrc(piece.bytes);
    buffer_.remove(0, MBAP_BYTES + rest);
    return piece;
}

void MbapStream::reset() {
    buffer_.resize(0);
    awaited_ = lost_ = false;
    due_.clear();
}

int MbapStream::missing() const {
    const int rest = std::max(restLength(buffer_), SHORTEST_REST);
    return std::max(MBAP_BYTES + rest - buffer_.size(), 1);
}

}  // namespace dx7

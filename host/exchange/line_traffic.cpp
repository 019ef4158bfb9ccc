#include "host/exchange/line_traffic.h"

#include <algorithm>

#include "host/exchange/frame_tap.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

LineTraffic::LineTraffic(const LineSettings& settings) : settings_(settings), echo_(settings.echo) {
    output_.reserve(LONGEST_FRAME_BYTES);
    frame_.reserve(LONGEST_FRAME_BYTES);
}

void LineTraffic::reset() {
    stream_.drop(stream_.buffer().size());
    awaitNothing();
    output_.resize(0);
}

void LineTraffic::send(const QByteArray& frame, bool alike, qint64 nowUs) {
    copyBytes(output_, frame);
    stream_.sent(frame, echo_.look(byteAt(frame, 1), alike));
    echo_.sent(++sequence_);
    lastActivityUs_ = nowUs + lineTimeUs(settings_, frame.size());
    if (tap_ != nullptr) {
        tap_->requestSent(frame, 0);
    }
}

void LineTraffic::append(const char* bytes, int count, qint64 nowUs) {
    stream_.append(bytes, count);
    lastActivityUs_ = nowUs;
}

std::optional<FrameStream::Kind> LineTraffic::take(bool last, qint64 nowUs) {
    FrameStream::Piece piece;
    if (!(last ? stream_.last(&piece) : stream_.next(&piece))) {
        return {};
    }
    frame_.resize(0);
    frame_.append(stream_.buffer().constData(), piece.length);
    stream_.drop(piece.length);
    if (piece.kind == FrameStream::Kind::Echo) {
        echo_.echoed();
        stream_.sent(QByteArray(), FrameStream::EchoLook::None);
        return piece.kind;
    }
    if (piece.kind != FrameStream::Kind::Frame) {
        echo_.strayed();
    }
    if (tap_ != nullptr) {
        tap_->frameReceived(frame_, std::max<qint64>(nowUs - lastActivityUs_, 0));
    }
    return piece.kind;
}

qint64 LineTraffic::wholeUs() const {
    return lastActivityUs_ + PIECE_GAP_US + lineTimeUs(settings_, stream_.missing());
}

}  // namespace dx7

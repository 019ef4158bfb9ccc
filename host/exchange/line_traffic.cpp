#include "host/exchange/line_traffic.h"

#include <algorithm>

#include "host/exchange/frame_tap.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

LineTraffic::LineTraffic(const LineSettings& settings)
    : settings_(settings), echo_(settings.carrier == Carrier::ModbusTcp ? EchoMode::Off : settings.echo) {
    firstBytes_.reserve(FIRST_BYTES);
    carried_.reserve(LONGEST_FRAME_BYTES);
    output_.reserve(LONGEST_FRAME_BYTES);
    frame_.reserve(LONGEST_FRAME_BYTES);
}

void LineTraffic::reset() {
    stream_.drop(stream_.buffer().size());
    awaitNothing();
    mbap_.reset();
    output_.resize(0);
}

void LineTraffic::awaitNothing() {
    stream_.await({});
    mbap_.giveUp();
}

void LineTraffic::send(const QByteArray& frame, bool alike, qint64 nowUs) {
    copyBytes(carried_, frame);
    copyBytes(output_, hasIds() ? mbap_.wrap(frame, nowUs) : frame);
    stream_.sent(frame, echo_.look(byteAt(frame, 1), alike));
    echo_.sent(++sequence_);
    lastActivityUs_ = nowUs + lineTimeUs(settings_, frame.size());
    if (tap_ != nullptr) {
        tap_->requestSent(frame, 0);
    }
}

void LineTraffic::append(const char* bytes, int count, qint64 nowUs) {
    firstBytes_.append(bytes, std::min(count, FIRST_BYTES - firstBytes_.size()));
    if (hasIds()) {
        mbap_.append(bytes, count);
    } else {
        stream_.append(bytes, count);
    }
    lastActivityUs_ = nowUs;
}

std::optional<FrameStream::Kind> LineTraffic::takeUnderId(qint64 nowUs) {
    const std::optional<MbapStream::Piece> piece = mbap_.take();
    if (!piece) {
        return {};
    }
    copyBytes(frame_, piece->bytes);
    tapReceived(nowUs);
    askedUs_.reset();
    switch (piece->kind) {
        case MbapStream::Piece::Frame:
            return FrameStream::Kind::Frame;
        case MbapStream::Piece::Noise:
            return FrameStream::Kind::Noise;
        case MbapStream::Piece::Late:
            askedUs_ = piece->askedUs;
            break;
        default:
            break;
    }
    return FrameStream::Kind::OtherId;
}

void LineTraffic::tapReceived(qint64 nowUs) {
    if (tap_ != nullptr) {
        tap_->frameReceived(frame_, std::max<qint64>(nowUs - lastActivityUs_, 0));
    }
}

std::optional<FrameStream::Kind> LineTraffic::take(bool last, qint64 nowUs) {
    if (hasIds()) {
        // However long the rest of a frame takes, it comes, or the connection is lost.
        return takeUnderId(nowUs);
    }
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
    tapReceived(nowUs);
    return piece.kind;
}

qint64 LineTraffic::wholeUs() const {
    return lastActivityUs_ + PIECE_GAP_US + lineTimeUs(settings_, missing());
}

}  // namespace dx7

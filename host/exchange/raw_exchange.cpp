#include "host/exchange/raw_exchange.h"

#include <algorithm>

#include "host/exchange/frame_stream.h"
#include "host/exchange/frame_tap.h"
#include "host/exchange/reply_times.h"
#include "host/exchange/rtu_frame.h"
#include "host/exchange/station_ledger.h"

namespace dx7 {

namespace {

// Bytes of one frame do not lie further apart in a TCP connection.
constexpr qint64 TCP_GAP_US = 20000;
constexpr int FIRST_BYTES = 8;
constexpr int MOST_RAW_BYTES = 4096;
// After the time-out and two of the longest frames even noise without end is not waited for.
constexpr qint64 LAST_US = 1000000;

}  // namespace

RawExchange::RawExchange(const LineSettings& settings) : settings_(settings) {}

// The silence that ends a frame of unknown length.
qint64 RawExchange::gapUs() const {
    LineSettings plain = settings_;
    plain.gapMs.reset();
    return isOverTcp(settings_) ? TCP_GAP_US : silentIntervalUs(plain);
}

void RawExchange::reset() {
    buffer_.clear();
    mbap_.reset();
    end_.reset();
    request_.clear();
}

QByteArray RawExchange::begin(const QByteArray& frame, qint64 nowUs) {
    request_ = frame;
    buffer_.clear();
    foreign_.clear();
    end_.reset();
    sentUs_ = lastUs_ = nowUs + lineTimeUs(settings_, frame.size());
    const bool broadcast = byteAt(frame, 0) == 0;
    deadlineUs_ = sentUs_ + (broadcast ? settings_.turnaroundMs * qint64(1000) : timeoutUs(settings_));
    latestUs_ = deadlineUs_ + lineTimeUs(settings_, 2 * LONGEST_FRAME_BYTES) + LAST_US;
    if (tap_ != nullptr) {
        tap_->requestSent(frame, 0);
    }
    return hasIds() ? mbap_.wrap(frame, nowUs) : frame;
}

// Bytes in.

void RawExchange::feed(const char* bytes, int count, qint64 nowUs) {
    firstBytes_.append(bytes, std::min(count, FIRST_BYTES - firstBytes_.size()));
    if (hasIds()) {
        mbap_.append(bytes, count);
        takeUnderIds(nowUs);
    } else if (underWay()) {
        buffer_.append(bytes, std::min(count, MOST_RAW_BYTES - buffer_.size()));
        lastUs_ = nowUs;
        judgedUs_ = 0;
        judge(nowUs);
    } else {
        ++dropped_;
    }
}

void RawExchange::takeUnderIds(qint64 nowUs) {
    while (const std::optional<MbapStream::Piece> piece = mbap_.take()) {
        if (!underWay() || piece->kind == MbapStream::Piece::Late ||
            piece->kind == MbapStream::Piece::Unasked) {
            ++dropped_;
        } else if (piece->kind == MbapStream::Piece::Noise) {
            finish(RawEnd::Damaged, piece->bytes, nowUs);
        } else {
            finish(isHead(piece->bytes, 0) ? RawEnd::Reply : RawEnd::Foreign, piece->bytes, nowUs);
        }
    }
}

bool RawExchange::isHead(const QByteArray& bytes, int start) const {
    const int function = byteAt(bytes, start + 1);
    const int asked = byteAt(request_, 1);
    return byteAt(bytes, start) == byteAt(request_, 0) &&
           (function == asked || function == (asked | EXCEPTION_BIT));
}

bool RawExchange::replyMayEqualRequest() const {
    const int function = byteAt(request_, 1);
    return repliesLikeItself(function) || announcedLength(request_, 0) == 0;
}

// The reply in the bytes; empty while there is none. `silent`: nothing follows them.
QByteArray RawExchange::replyIn(const QByteArray& bytes, bool silent) const {
    for (int start = 0; start + SHORTEST_FRAME_BYTES <= bytes.size(); ++start) {
        if (!isHead(bytes, start)) {
            continue;
        }
        const int announced = announcedLength(bytes, start);
        if (announced > 0 && endsWithCrc(bytes, start, announced)) {
            return bytes.mid(start, announced);
        }
        const int rest = bytes.size() - start;
        if (silent && rest <= LONGEST_FRAME_BYTES && endsWithCrc(bytes, start, rest)) {
            return bytes.mid(start);
        }
    }
    return {};
}

// What came, without the adapter's echo. Where the reply may equal the request, one copy of it may be the
// reply.
QByteArray RawExchange::withoutEcho() const {
    if (settings_.echo == EchoMode::Off || !buffer_.startsWith(request_)) {
        return buffer_;
    }
    QByteArray after = buffer_.mid(request_.size());
    if (settings_.echo == EchoMode::On) {
        return after;
    }
    if (replyMayEqualRequest()) {
        return replyIn(after, true).isEmpty() ? buffer_ : after;
    }
    // A long reply may begin with the bytes of its request.
    const int announced = announcedLength(buffer_, 0);
    const bool reply = announced > request_.size() && endsWithCrc(buffer_, 0, announced);
    return reply ? buffer_ : after;
}

void RawExchange::judge(qint64 nowUs) {
    judgedUs_ = std::max<qint64>(nowUs - lastUs_, 0);
    const QByteArray rest = withoutEcho();
    const bool silent = judgedUs_ >= gapUs();
    const QByteArray reply = replyIn(rest, silent);
    const bool unclear =
        reply == request_ && rest.size() == buffer_.size() && settings_.echo == EchoMode::Auto;
    if (!reply.isEmpty()) {
        if (!unclear) {
            finish(RawEnd::Reply, reply, lastUs_);
        }
        return;
    }
    if (silent && endsWithCrc(rest, 0, rest.size()) && !isHead(rest, 0)) {
        foreign_ = rest;
        buffer_.clear();
    } else if (judgedUs_ >= longGapUs() && isHead(rest, 0)) {
        finish(RawEnd::Damaged, rest, lastUs_);
    }
}

// Time.

qint64 RawExchange::longGapUs() const {
    return std::max(gapUs(), PIECE_GAP_US);
}

DueUs RawExchange::nextDueUs() const {
    if (!underWay()) {
        return {};
    }
    const bool waits = !buffer_.isEmpty() && judgedUs_ < longGapUs();
    if (!waits) {
        return deadlineUs_;
    }
    return std::min(lastUs_ + (judgedUs_ < gapUs() ? gapUs() : longGapUs()), latestUs_);
}

void RawExchange::advance(qint64 nowUs) {
    if (!underWay()) {
        return;
    }
    if (!buffer_.isEmpty() && nowUs > lastUs_ + judgedUs_) {
        judge(nowUs);
    }
    const bool coming = !buffer_.isEmpty() && judgedUs_ < longGapUs();
    if (underWay() && (nowUs >= latestUs_ || (nowUs >= deadlineUs_ && !coming))) {
        giveUp(nowUs);
    }
}

// Nothing more is waited for.
void RawExchange::giveUp(qint64 nowUs) {
    const QByteArray rest = withoutEcho();
    const QByteArray reply = replyIn(rest, true);
    mbap_.giveUp();
    if (byteAt(request_, 0) == 0) {
        finish(RawEnd::Broadcast, {}, nowUs);
    } else if (!reply.isEmpty()) {
        finish(RawEnd::Reply, reply, lastUs_);
        end_->perhapsEcho = reply == request_ && !end_->echoed && settings_.echo == EchoMode::Auto;
    } else if (!foreign_.isEmpty()) {
        finish(RawEnd::Foreign, foreign_, lastUs_);
    } else {
        finish(rest.isEmpty() ? RawEnd::Nothing : RawEnd::Damaged, rest, lastUs_);
    }
}

void RawExchange::finish(RawEnd::Kind kind, const QByteArray& bytes, qint64 nowUs) {
    RawEnd end;
    end.kind = kind;
    end.bytes = bytes;
    end.afterUs = std::max<qint64>(nowUs - sentUs_, 0);
    end.echoed = !hasIds() && buffer_.startsWith(request_) && withoutEcho().size() < buffer_.size();
    const bool answered = kind == RawEnd::Reply || kind == RawEnd::Broadcast;
    end.perhapsLate =
        kind == RawEnd::Reply && !hasIds() && unansweredUs_ && sentUs_ - *unansweredUs_ < FORGET_US;
    if (!answered) {
        unansweredUs_ = sentUs_;
    }
    if (tap_ != nullptr && !bytes.isEmpty()) {
        tap_->frameReceived(bytes, 0);
    }
    end_ = end;
}

}  // namespace dx7

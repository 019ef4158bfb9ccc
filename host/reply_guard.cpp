#include "reply_guard.h"

#include <algorithm>

#include "rtu_frame.h"

namespace dx7 {

namespace {

// Noise beyond this is put aside without a further look, so that judging stays cheap however much comes.
enum { READ_OVERHEAD = 5, MOST_UNJUDGED_BYTES = 4 * LONGEST_FRAME_BYTES };

bool isRead(int function) {
    return function >= 1 && function <= 4;
}

// Length of a reply that starts at `start`, as its own head announces it; 0 when that cannot be told.
int announcedLength(const QByteArray& bytes, int start) {
    const int function = byteAt(bytes, start + 1);
    if (function < 0) {
        return 0;
    }
    if ((function & EXCEPTION_BIT) != 0 || function == 7) {
        return EXCEPTION_FRAME_BYTES;
    }
    if (isRead(function)) {
        const int data = byteAt(bytes, start + 2);
        return data < 0 ? 0 : data + READ_OVERHEAD;
    }
    return isWriteFunction(function) ? 8 : 0;
}

}  // namespace

ReplyGuard::ReplyGuard(const QByteArray& request, int expectLen, LateReplies* late)
    : request_(request), expectLen_(expectLen), late_(late) {}

bool ReplyGuard::headMatches(const QByteArray& bytes, int start) const {
    return byteAt(bytes, start) == byteAt(request_, 0) && byteAt(bytes, start + 1) == byteAt(request_, 1);
}

bool ReplyGuard::isException(int start) const {
    return byteAt(buffer_, start) == byteAt(request_, 0) &&
           byteAt(buffer_, start + 1) == (byteAt(request_, 1) | EXCEPTION_BIT) &&
           endsWithCrc(buffer_, start, EXCEPTION_FRAME_BYTES);
}

// An acknowledgement echoes its request; the byte count of a reply with data agrees with its length.
bool ReplyGuard::agrees(int start) const {
    const int function = byteAt(request_, 1);
    if (isWriteFunction(function)) {
        return buffer_.mid(start + ECHO_START, ECHO_BYTES) == request_.mid(ECHO_START, ECHO_BYTES);
    }
    return !isRead(function) || byteAt(buffer_, start + 2) == expectLen_ - READ_OVERHEAD;
}

bool ReplyGuard::isGoodReply(int start) const {
    return headMatches(buffer_, start) && endsWithCrc(buffer_, start, expectLen_) && agrees(start);
}

// End of a whole frame that begins at `start` by its own announcement; -1 when there is none.
int ReplyGuard::wholeFrameEnd(int start) const {
    const int announced = announcedLength(buffer_, start);
    return announced > 0 && endsWithCrc(buffer_, start, announced) ? start + announced : -1;
}

// End of a whole frame that begins at `start`, by its own announcement or else by the first CRC that fits; -1
// while none is complete.
int ReplyGuard::frameEnd(int start) const {
    const int announced = wholeFrameEnd(start);
    if (announced > 0) {
        return announced;
    }
    const int longest = std::min(buffer_.size() - start, int(LONGEST_FRAME_BYTES));
    for (int length = SHORTEST_FRAME_BYTES; length <= longest; ++length) {
        if (endsWithCrc(buffer_, start, length)) {
            return start + length;
        }
    }
    return -1;
}

// Where a good reply or an exception to the request begins behind the head of the buffer; -1 when nowhere.
int ReplyGuard::nextAnswer() const {
    for (int start = 1; start + SHORTEST_FRAME_BYTES < buffer_.size(); ++start) {
        if (isGoodReply(start) || isException(start)) {
            return start;
        }
    }
    return -1;
}

void ReplyGuard::putAside(int length) {
    if (!putAsideIfLate(length)) {
        foreign_ += buffer_.left(length);
        aside_ += foreign_.last();
        buffer_.remove(0, length);
    }
}

bool ReplyGuard::putAsideIfLate(int length) {
    const QByteArray frame = buffer_.left(length);
    if (late_ == nullptr || !endsWithCrc(frame, 0, frame.size()) ||
        late_->claim(frame) != LateReplies::Owner::Late) {
        return false;
    }
    lateFrames_ += frame;
    aside_ += frame;
    buffer_.remove(0, length);
    return true;
}

void ReplyGuard::complete(int length, Verdict* verdict) {
    reply_ = buffer_.left(length);
    *verdict = Verdict::Complete;
}

// Judges what begins at the head of the buffer. False when it was put aside and the next head is to be
// judged.
bool ReplyGuard::judgeHead(Verdict* verdict) {
    *verdict = Verdict::Waiting;
    if (isException(0)) {
        if (putAsideIfLate(EXCEPTION_FRAME_BYTES)) {
            return false;
        }
        exceptionCode_ = byteAt(buffer_, 2);
        exceptionFrame_ = buffer_.left(EXCEPTION_FRAME_BYTES);
        *verdict = Verdict::Exception;
        return true;
    }
    if (isGoodReply(0)) {
        if (putAsideIfLate(expectLen_)) {
            return false;
        }
        complete(expectLen_, verdict);
        return true;
    }
    if (headMatches(buffer_, 0)) {
        return judgeDamaged(verdict);
    }
    const int whole = wholeFrameEnd(0);
    const int answer = whole > 0 ? whole : nextAnswer();
    const int end = answer > 0 ? answer : frameEnd(0);
    if (end > 0) {
        putAside(end);
        return false;
    }
    return true;
}

// What begins with the right station and function code and is no good reply.
bool ReplyGuard::judgeDamaged(Verdict* verdict) {
    const int announced = announcedLength(buffer_, 0);
    const bool whole = endsWithCrc(buffer_, 0, announced);
    if (awaitsLongerLate(announced)) {
        return true;
    }
    if (whole && putAsideIfLate(announced)) {
        return false;
    }
    if (buffer_.size() < expectLen_) {
        if (whole) {
            // A whole frame, shorter than announced: nothing more will come.
            complete(announced, verdict);
        }
        return true;
    }
    const bool elsewhere = endsWithCrc(buffer_, 0, expectLen_) && !agrees(0);
    const int answer = elsewhere ? expectLen_ : nextAnswer();
    if (answer > 0) {
        putAside(answer);
        return false;
    }
    complete(expectLen_, verdict);
    return true;
}

// A late reply to an earlier request, longer than the one expected, may be under way.
bool ReplyGuard::awaitsLongerLate(int announced) const {
    return late_ != nullptr && announced > buffer_.size() && announced > expectLen_ &&
           late_->awaits(byteAt(buffer_, 0), byteAt(buffer_, 1), announced);
}

Verdict ReplyGuard::feed(const QByteArray& bytes) {
    buffer_ += bytes;
    if (buffer_.size() > MOST_UNJUDGED_BYTES) {
        putAside(buffer_.size() - LONGEST_FRAME_BYTES);
    }
    Verdict verdict = Verdict::Waiting;
    while (!buffer_.isEmpty() && !judgeHead(&verdict)) {
    }
    return verdict;
}

void ReplyGuard::giveUp() {
    if (buffer_.isEmpty()) {
        return;
    }
    const bool ours = byteAt(buffer_, 0) == byteAt(request_, 0);
    const int function = byteAt(buffer_, 1);
    const bool answers = ours && (function < 0 || (function & ~EXCEPTION_BIT) == byteAt(request_, 1));
    // Bytes of the right number without any good CRC are nobody's frame: the damage may have hit the head of
    // ours.
    const bool damaged = buffer_.size() == expectLen_ && frameEnd(0) < 0;
    if (answers || damaged) {
        reply_ = buffer_.left(expectLen_);
        buffer_.clear();
    } else {
        putAside(buffer_.size());
    }
}

QVector<QByteArray> ReplyGuard::takeAside() {
    QVector<QByteArray> taken;
    taken.swap(aside_);
    return taken;
}

QByteArray ReplyGuard::mismatch() const {
    QByteArray last;
    for (const QByteArray& bytes : foreign_) {
        if (headMatches(bytes, 0) && endsWithCrc(bytes, 0, bytes.size())) {
            last = bytes;
        }
    }
    return last;
}

bool ReplyGuard::replyBegan() const {
    const int function = byteAt(request_, 1);
    const int third = isRead(function) ? expectLen_ - READ_OVERHEAD : byteAt(request_, 2);
    return headMatches(reply_, 0) && (function == 7 || byteAt(reply_, 2) == third);
}

ReplyFault ReplyGuard::fault() const {
    if (reply_.isEmpty()) {
        return ReplyFault::Nothing;
    }
    const int announced = announcedLength(reply_, 0);
    if (reply_.size() == announced && !endsWithCrc(reply_, 0, announced)) {
        return ReplyFault::WrongCrc;
    }
    if (reply_.size() != expectLen_ || (announced > 0 && announced != expectLen_ && headMatches(reply_, 0))) {
        return ReplyFault::WrongLength;
    }
    return endsWithCrc(reply_, 0, reply_.size()) ? ReplyFault::None : ReplyFault::WrongCrc;
}

}  // namespace dx7

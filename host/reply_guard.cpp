#include "reply_guard.h"

#include <algorithm>

#include "rtu_frame.h"

namespace dx7 {

namespace {

enum { READ_OVERHEAD = 5, ECHO_BYTES = 6 };

bool isRead(int function) {
    return function >= 1 && function <= 4;
}
bool isWrite(int function) {
    return function == 5 || function == 6 || function == 15 || function == 16;
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
    return isWrite(function) ? 8 : 0;
}

}  // namespace

ReplyGuard::ReplyGuard(const QByteArray& request, int expectLen) : request_(request), expectLen_(expectLen) {}

bool ReplyGuard::headMatches(const QByteArray& bytes, int start) const {
    return byteAt(bytes, start) == byteAt(request_, 0) && byteAt(bytes, start + 1) == byteAt(request_, 1);
}

bool ReplyGuard::isException(int start) const {
    return byteAt(buffer_, start) == byteAt(request_, 0) &&
           byteAt(buffer_, start + 1) == (byteAt(request_, 1) | EXCEPTION_BIT) &&
           endsWithCrc(buffer_, start, EXCEPTION_FRAME_BYTES);
}

bool ReplyGuard::echoes(int start) const {
    return !isWrite(byteAt(request_, 1)) ||
           buffer_.mid(start + 2, ECHO_BYTES - 2) == request_.mid(2, ECHO_BYTES - 2);
}

bool ReplyGuard::isGoodReply(int start) const {
    return headMatches(buffer_, start) && endsWithCrc(buffer_, start, expectLen_) && echoes(start);
}

// End of a whole frame that begins at `start`, by its own announcement or else by the first CRC that fits; -1
// while none is complete.
int ReplyGuard::frameEnd(int start) const {
    const int announced = announcedLength(buffer_, start);
    if (announced > 0 && endsWithCrc(buffer_, start, announced)) {
        return start + announced;
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
    foreign_ += buffer_.left(length);
    buffer_.remove(0, length);
}

// Judges what begins at the head of the buffer. False when it was put aside and the next head is to be
// judged.
bool ReplyGuard::judgeHead(Verdict* verdict) {
    *verdict = Verdict::Waiting;
    if (isException(0)) {
        exceptionCode_ = byteAt(buffer_, 2);
        exceptionFrame_ = buffer_.left(EXCEPTION_FRAME_BYTES);
        *verdict = Verdict::Exception;
        return true;
    }
    if (headMatches(buffer_, 0) && buffer_.size() >= expectLen_) {
        const bool elsewhere = endsWithCrc(buffer_, 0, expectLen_) && !echoes(0);
        if (!elsewhere) {
            const int answer = isGoodReply(0) ? -1 : nextAnswer();
            if (answer > 0) {
                putAside(answer);
                return false;
            }
            reply_ = buffer_.left(expectLen_);
            *verdict = Verdict::Complete;
            return true;
        }
        putAside(expectLen_);
        return false;
    }
    if (headMatches(buffer_, 0) && endsWithCrc(buffer_, 0, announcedLength(buffer_, 0))) {
        // A whole frame, shorter than announced: nothing more will come.
        reply_ = buffer_.left(announcedLength(buffer_, 0));
        *verdict = Verdict::Complete;
        return true;
    }
    if (headMatches(buffer_, 0)) {
        return true;
    }
    const int answer = nextAnswer();
    const int end = answer > 0 ? answer : frameEnd(0);
    if (end > 0) {
        putAside(end);
        return false;
    }
    return true;
}

Verdict ReplyGuard::feed(const QByteArray& bytes) {
    buffer_ += bytes;
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

#include "host/exchange/frame_stream.h"

#include <algorithm>
#include <cstring>

#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr int MOST_BYTES = 4 * LONGEST_FRAME_BYTES;

bool beginAlike(const QByteArray& a, const QByteArray& b, int count) {
    return std::memcmp(a.constData(), b.constData(), static_cast<std::size_t>(count)) == 0;
}

}  // namespace

int announcedLength(const QByteArray& bytes, int start) {
    const int function = byteAt(bytes, start + 1);
    if (function < 0) {
        return 0;
    }
    if ((function & EXCEPTION_BIT) != 0 || function == READ_EXCEPTION_STATUS) {
        return EXCEPTION_FRAME_BYTES;
    }
    if (readsBits(function) || readsWords(function)) {
        const int count = byteAt(bytes, start + 2);
        return count < 0 ? 0 : count + READ_OVERHEAD_BYTES;
    }
    return isWriteFunction(function) || function == DIAGNOSTICS ? WRITE_REPLY_BYTES : 0;
}

FrameStream::FrameStream() {
    buffer_.reserve(2 * MOST_BYTES);
    echo_.reserve(LONGEST_FRAME_BYTES);
}

void FrameStream::sent(const QByteArray& frame, EchoLook echo) {
    look_ = echo;
    echo_.resize(0);
    if (echo != EchoLook::None) {
        echo_.append(frame);
    }
}

bool FrameStream::headAwaited(int start) const {
    return headOf(buffer_, start, awaited_);
}

// Length of the whole frame that begins at `start` by its own announcement; 0 without one.
int FrameStream::wholeFrame(int start) const {
    const int length = announcedLength(buffer_, start);
    return length > 0 && endsWithCrc(buffer_, start, length) ? length : 0;
}

// Where an awaited frame begins after the head of the buffer; -1 when nowhere.
int FrameStream::laterFrame() const {
    for (int start = 1; start + SHORTEST_FRAME_BYTES < buffer_.size(); ++start) {
        if (headAwaited(start) && wholeFrame(start) > 0) {
            return start;
        }
    }
    return -1;
}

// Length of a frame at the head whose length nothing announces, such as a request of another master; -1 while
// there is none.
int FrameStream::frameByCrc() const {
    const int longest = std::min(buffer_.size(), int(LONGEST_FRAME_BYTES));
    for (int length = SHORTEST_FRAME_BYTES; length <= longest; ++length) {
        if (endsWithCrc(buffer_, 0, length)) {
            return length;
        }
    }
    return -1;
}

// Whether the head is, or with more bytes may be, the echo. A reply may begin with the same bytes as its
// request, so where it is not certain that an echo comes, a whole reply goes first, unless it is the request
// byte for byte.
bool FrameStream::echoes(Piece* piece, bool complete, bool* undecided) const {
    const int compared = std::min(buffer_.size(), echo_.size());
    *undecided = false;
    if (compared == 0 || !beginAlike(buffer_, echo_, compared)) {
        return false;
    }
    const int whole = wholeFrame(0);
    const int most = echo_.size() + (look_ == EchoLook::Possible ? 1 : 0);
    const bool frame = whole > most || (whole > 0 && whole < echo_.size());
    if (look_ != EchoLook::Certain && frame) {
        return false;
    }
    const bool decided = buffer_.size() > echo_.size() ||
                         (echo_.size() >= EXCEPTION_FRAME_BYTES && buffer_.size() == echo_.size());
    if (!decided && !complete) {
        *undecided = true;
        return false;
    }
    if (buffer_.size() < echo_.size()) {
        return false;
    }
    *piece = Piece{Kind::Echo, echo_.size()};
    return true;
}

bool FrameStream::next(Piece* piece) const {
    if (buffer_.isEmpty()) {
        return false;
    }
    bool undecided = false;
    if (echoes(piece, false, &undecided)) {
        return true;
    }
    if (undecided) {
        return false;
    }
    const int whole = wholeFrame(0);
    if (whole > 0) {
        *piece = Piece{Kind::Frame, whole};
        return true;
    }
    const int later = laterFrame();
    if (later > 0) {
        *piece = Piece{headAwaited(0) && later == awaited_.length ? Kind::Damaged : Kind::Noise, later};
        return true;
    }
    if (headAwaited(0)) {
        const bool refusal = (byteAt(buffer_, 1) & EXCEPTION_BIT) != 0;
        const int wanted = refusal ? int(EXCEPTION_FRAME_BYTES) : awaited_.length;
        *piece = Piece{Kind::Damaged, wanted};
        return buffer_.size() >= wanted && announcedLength(buffer_, 0) <= buffer_.size();
    }
    const int length = frameByCrc();
    if (length > 0) {
        *piece = Piece{Kind::Frame, length};
        return true;
    }
    // Noise without end is dropped, so that judging stays cheap however much comes.
    *piece = Piece{Kind::Noise, buffer_.size() - LONGEST_FRAME_BYTES};
    return buffer_.size() > MOST_BYTES;
}

bool FrameStream::last(Piece* piece) const {
    if (buffer_.isEmpty() || next(piece)) {
        return !buffer_.isEmpty();
    }
    bool undecided = false;
    if (!echoes(piece, true, &undecided)) {
        *piece = Piece{resembles(buffer_, awaited_) ? Kind::Damaged : Kind::Noise, buffer_.size()};
    }
    return true;
}

int FrameStream::missing() const {
    const int have = buffer_.size();
    const bool echo = have < echo_.size() && beginAlike(buffer_, echo_, have);
    if (echo) {
        return have == 0 ? std::min(echo_.size(), int(EXCEPTION_FRAME_BYTES)) : echo_.size() - have;
    }
    const int announced = std::max(announcedLength(buffer_, 0), int(EXCEPTION_FRAME_BYTES));
    return std::max(announced - have, 1);
}

}  // namespace dx7

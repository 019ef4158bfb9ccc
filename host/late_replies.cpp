#include "late_replies.h"

#include <algorithm>

#include "rtu_frame.h"

namespace dx7 {

namespace {

// The oldest beyond these are forgotten; none is that old in a reasonable window.
const std::size_t MOST_REMEMBERED = 256;
const int SILENT_WINDOWS = 10;
const int DRAIN_BYTES = 2 * LONGEST_FRAME_BYTES;

QByteArray echo(const QByteArray& frame) {
    return frame.mid(ECHO_START, ECHO_BYTES);
}

}  // namespace

bool LateReplies::Sent::isAnsweredBy(const QByteArray& frame) const {
    if (byteAt(frame, 0) != station()) {
        return false;
    }
    if (byteAt(frame, 1) == (function() | EXCEPTION_BIT)) {
        return frame.size() == EXCEPTION_FRAME_BYTES;
    }
    return byteAt(frame, 1) == function() && frame.size() == expectLen &&
           (!isWriteFunction(function()) || echo(frame) == echo(bytes));
}

// Refusals apart, which carry no values.
bool LateReplies::Sent::isMistakableFor(const Sent& other) const {
    return station() == other.station() && function() == other.function() && expectLen == other.expectLen &&
           (!isWriteFunction(function()) || echo(bytes) == echo(other.bytes));
}

qint64 LateReplies::waitUntilUs(const QByteArray& request, int expectLen, qint64 nowUs) {
    const auto expired = [nowUs](const Sent& sent) {
        return (sent.alive ? sent.expiresUs : sent.silentExpiresUs) <= nowUs;
    };
    earlier_.erase(std::remove_if(earlier_.begin(), earlier_.end(), expired), earlier_.end());
    const Sent next{request, expectLen, 0, 0, false};
    qint64 untilUs = nowUs;
    for (const Sent& sent : earlier_) {
        if (sent.alive && sent.bytes != request && sent.isMistakableFor(next)) {
            untilUs = std::max(untilUs, sent.expiresUs);
        }
    }
    return untilUs;
}

std::vector<QByteArray> LateReplies::drain(const QByteArray& bytes, qint64 nowUs) {
    std::vector<QByteArray> found;
    if (earlier_.empty()) {
        return found;
    }
    latestUs_ = nowUs + windowUs_;
    drained_ = (drained_ + bytes).right(DRAIN_BYTES);
    for (int start = 0; start < drained_.size();) {
        const QByteArray frame = awaitedAt(start);
        if (frame.isEmpty()) {
            ++start;
            continue;
        }
        claim(frame);
        found.push_back(frame);
        drained_.remove(0, start + frame.size());
        start = 0;
    }
    return found;
}

// The whole frame at `start` of what was drained that an earlier request could have caused; empty when there
// is none.
QByteArray LateReplies::awaitedAt(int start) const {
    for (const Sent& sent : earlier_) {
        for (const int length : {sent.expectLen, int(EXCEPTION_FRAME_BYTES)}) {
            QByteArray frame = drained_.mid(start, length);
            if (sent.isAnsweredBy(frame) && endsWithCrc(frame, 0, length)) {
                return frame;
            }
        }
    }
    return QByteArray();
}

void LateReplies::begin(const QByteArray& request, int expectLen, qint64 deadlineUs, qint64 nowUs) {
    waitUntilUs(request, expectLen, nowUs);
    latestUs_ = deadlineUs + windowUs_;
    present_ = Sent{request, expectLen, latestUs_, deadlineUs + SILENT_WINDOWS * windowUs_, false};
    surplus_ = false;
    drained_.clear();
}

void LateReplies::end(Ending ending) {
    if (!present_) {
        return;
    }
    const int station = present_->station();
    const bool anyEarlier = std::any_of(earlier_.begin(), earlier_.end(),
                                        [&](const Sent& sent) { return sent.station() == station; });
    if (ending == Ending::Unanswered) {
        remember(present_->alive);
    } else if (ending == Ending::Damaged ? anyEarlier : surplus_) {
        // The reply may have been an earlier request's, then the present one's is still to come.
        markAlive(station);
        remember(true);
    }
    present_.reset();
}

void LateReplies::remember(bool alive) {
    if (earlier_.size() >= MOST_REMEMBERED) {
        earlier_.erase(earlier_.begin());
    }
    present_->alive = alive;
    earlier_.push_back(*present_);
}

LateReplies::Owner LateReplies::claim(const QByteArray& frame) {
    const auto first = std::find_if(earlier_.begin(), earlier_.end(),
                                    [&](const Sent& sent) { return sent.isAnsweredBy(frame); });
    const bool forPresent = present_ && present_->isAnsweredBy(frame);
    if (first == earlier_.end()) {
        if (forPresent) {
            forgetStation(present_->station());
        }
        return forPresent ? Owner::Present : Owner::Nobody;
    }
    const auto index = static_cast<std::size_t>(first - earlier_.begin());
    const bool taken = forPresent && isRepetition(frame, index);
    consume(index);
    surplus_ = surplus_ || taken;
    return taken ? Owner::Present : Owner::Late;
}

// Whether every earlier request that could have caused the frame has the present one's bytes. `first` is the
// oldest of them.
bool LateReplies::isRepetition(const QByteArray& frame, std::size_t first) const {
    const bool write = isWriteFunction(present_->function());
    return std::all_of(
        earlier_.begin() + static_cast<std::ptrdiff_t>(first), earlier_.end(), [&](const Sent& sent) {
            const bool concerned = write ? sent.station() == present_->station() : sent.isAnsweredBy(frame);
            return !concerned || sent.bytes == present_->bytes;
        });
}

// The reply to this request has come, so none to an older one of its station will.
void LateReplies::consume(std::size_t index) {
    const int station = earlier_.at(index).station();
    std::vector<Sent> kept;
    for (std::size_t i = 0; i < earlier_.size(); ++i) {
        if (i > index || earlier_.at(i).station() != station) {
            kept.push_back(earlier_.at(i));
        }
    }
    earlier_ = kept;
    markAlive(station);
}

void LateReplies::forgetStation(int station) {
    earlier_.erase(std::remove_if(earlier_.begin(), earlier_.end(),
                                  [&](const Sent& sent) { return sent.station() == station; }),
                   earlier_.end());
}

void LateReplies::markAlive(int station) {
    for (Sent& sent : earlier_) {
        if (!sent.alive && sent.station() == station) {
            // What held its reply up is over: it follows now, if at all.
            sent.alive = true;
            sent.expiresUs = std::max(sent.expiresUs, latestUs_);
        }
    }
    if (present_ && present_->station() == station) {
        present_->alive = true;
    }
}

bool LateReplies::awaits(int station, int function, int length) const {
    return std::any_of(earlier_.begin(), earlier_.end(), [&](const Sent& sent) {
        return sent.station() == station && sent.function() == function && sent.expectLen == length;
    });
}

}  // namespace dx7

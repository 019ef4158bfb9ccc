#include "host/exchange/bus_parser.h"

#include <algorithm>

#include "host/exchange/damage.h"
#include "host/exchange/frame_shape.h"
#include "host/exchange/frame_stream.h"
#include "host/exchange/rtu_frame.h"
#include "host/exchange/station_ledger.h"

namespace dx7 {

namespace {

// Fewer damaged bytes are what a line picks up where it turns round.
constexpr int SHORTEST_DAMAGE = SHORTEST_FRAME_BYTES;
// Before so many replies tell how fast they come, this long is taken for the slowest.
constexpr int FEW_REPLIES = 8;
constexpr qint64 FIRST_LONGEST_US = 100000;
// What an adapter's latency timer adds.
constexpr qint64 LATENCY_US = 20000;
// So many bytes of two frames may differ, and they are alike all the same.
constexpr int MOST_DIFFERENT_BYTES = 2;

bool hasCrcAt(const QByteArray& bytes, int length) {
    return length > 0 && endsWithCrc(bytes, 0, length);
}

// The same bytes but for a few: one of them was damaged.
bool alike(const QByteArray& a, const QByteArray& b) {
    if (a.size() != b.size()) {
        return false;
    }
    int different = 0;
    for (int i = 0; i < a.size(); ++i) {
        different += a.at(i) != b.at(i) ? 1 : 0;
    }
    return different <= MOST_DIFFERENT_BYTES;
}

// Whether its station, function code, length and fields are those of the reply to the request.
bool fits(const QByteArray& request, const QByteArray& frame) {
    const int asked = byteAt(request, 1);
    const int function = byteAt(frame, 1);
    if (byteAt(frame, 0) != byteAt(request, 0)) {
        return false;
    }
    if (function == (asked | EXCEPTION_BIT)) {
        return frame.size() == EXCEPTION_FRAME_BYTES;
    }
    if (function != asked) {
        return false;
    }
    if (repliesLikeItself(asked)) {
        return frame == request;
    }
    const int length = awaitedReply(request).length;
    if (isWriteFunction(asked)) {
        return frame.size() == length &&
               frame.mid(ECHO_START, ECHO_BYTES) == request.mid(ECHO_START, ECHO_BYTES);
    }
    if (readsBits(asked) || readsWords(asked)) {
        return frame.size() == length && byteAt(frame, 2) == length - READ_OVERHEAD_BYTES;
    }
    return length == 0 || frame.size() == length;
}

}  // namespace

BusParser::BusParser(const LineSettings& settings)
    : settings_(settings), gapUs_(std::max(PIECE_GAP_US, silentIntervalUs(settings))) {}

std::vector<BusEvent> BusParser::takeEvents() {
    std::vector<BusEvent> taken;
    taken.swap(events_);
    return taken;
}

// Bytes and time.

void BusParser::feed(const char* bytes, int count, qint64 nowUs) {
    if (count <= 0) {
        return;
    }
    advance(nowUs);
    nowUs_ = nowUs;
    buffer_.append(bytes, count);
    chunks_.push_back({buffer_.size(), nowUs});
    parse(false);
}

DueUs BusParser::nextDueUs() const {
    return chunks_.empty() ? DueUs() : DueUs(chunks_.back().timeUs + gapUs_);
}

void BusParser::advance(qint64 nowUs) {
    nowUs_ = nowUs;
    if (const DueUs dueUs = nextDueUs(); dueUs && nowUs >= *dueUs) {
        parse(true);
        keepStrays();
        begun_ = true;
    }
}

void BusParser::finish() {
    const DueUs dueUs = nextDueUs();
    const bool cut = dueUs && nowUs_ < *dueUs;
    parse(true);
    if (!cut) {
        keepStrays();
    }
    const bool waits = open_ && (cut || nowUs_ - open_->endUs <= longestReplyUs());
    closeOpen(waits ? BusEvent::Pending : BusEvent::Unanswered);
}

// When the byte before `end` came.
qint64 BusParser::timeAt(int end) const {
    for (const Chunk& chunk : chunks_) {
        if (end <= chunk.end) {
            return chunk.timeUs;
        }
    }
    return chunks_.empty() ? 0 : chunks_.back().timeUs;
}

void BusParser::drop(int count) {
    buffer_.remove(0, count);
    for (Chunk& chunk : chunks_) {
        chunk.end -= count;
    }
    while (!chunks_.empty() && chunks_.front().end <= 0) {
        chunks_.pop_front();
    }
}

// Frames.

// Length of the reply that is waited for, as far as the request tells; 0 where it does not.
int BusParser::openLength() const {
    return open_ ? awaitedReply(open_->bytes).length : 0;
}

// Length of the frame that begins the buffer; 0 where none does, LENGTH_OPEN while more bytes are needed to
// tell.
int BusParser::frameAtHead(bool silent) const {
    const int request = requestLength(buffer_, 0);
    const int reply = replyLength(buffer_, 0);
    bool more = request == LENGTH_OPEN || reply == LENGTH_OPEN;
    // The status that function code 7 asks for may make its reply begin as the request.
    const bool again =
        open_ && reply == openLength() && reply > buffer_.size() && buffer_.startsWith(open_->bytes);
    if (again && !silent) {
        return LENGTH_OPEN;
    }
    for (const int length : {reply == openLength() ? reply : 0, request, reply}) {
        if (hasCrcAt(buffer_, length)) {
            return length;
        }
        more = more || length > buffer_.size();
    }
    const int function = byteAt(buffer_, 1);
    const int station = byteAt(buffer_, 0);
    const bool unknown = stray_.bytes.isEmpty() && function > 0 &&
                         !tellsItsLength(function & ~EXCEPTION_BIT) && station > 0 &&
                         station <= dx7common::HIGHEST_STATION;
    if (unknown) {
        for (const Chunk& chunk : chunks_) {
            if (chunk.end >= SHORTEST_FRAME_BYTES && chunk.end <= LONGEST_FRAME_BYTES &&
                hasCrcAt(buffer_, chunk.end)) {
                return chunk.end;
            }
        }
        more = more || buffer_.size() < LONGEST_FRAME_BYTES;
    }
    return more && !silent ? LENGTH_OPEN : 0;
}

void BusParser::parse(bool silent) {
    while (!buffer_.isEmpty()) {
        const int length = frameAtHead(silent);
        if (length == LENGTH_OPEN) {
            return;
        }
        if (length > 0) {
            takeFrame(length);
        } else {
            takeStray();
        }
    }
}

void BusParser::takeStray() {
    stray_.bytes += buffer_.at(0);
    stray_.endUs = timeAt(1);
    drop(1);
    // No frame ends after so many, and a line that is never silent must not fill the memory.
    if (stray_.bytes.size() == LONGEST_FRAME_BYTES) {
        keepStrays();
        begun_ = true;
    }
}

void BusParser::keepStrays() {
    Heard damage;
    std::swap(damage, stray_);
    if (begun_ && !damage.bytes.isEmpty()) {
        takeDamage(damage);
    }
}

void BusParser::show(const Heard& heard, bool request) const {
    if (tap_ == nullptr) {
        return;
    }
    const qint64 agoUs = std::max<qint64>(nowUs_ - heard.endUs, 0);
    if (request) {
        tap_->requestSent(heard.bytes, agoUs);
    } else {
        tap_->frameReceived(heard.bytes, agoUs);
    }
}

void BusParser::takeFrame(int length) {
    keepStrays();
    begun_ = true;
    const Heard frame{buffer_.left(length), timeAt(length)};
    drop(length);
    const bool reply = isReply(frame);
    show(frame, !reply);
    if (reply) {
        takeReply(frame);
    } else {
        takeRequest(frame);
    }
    lastDamage_.clear();
}

// Whether the frame is what the open request waits for.
bool BusParser::answersOpen(const Heard& heard) const {
    const QByteArray& frame = heard.bytes;
    if (!open_ || !fits(open_->bytes, frame)) {
        return false;
    }
    // Where it may be the next request as well, nothing but time tells.
    const bool unclear = requestLength(frame, 0) == frame.size();
    const qint64 afterUs = heard.endUs - open_->endUs - lineTimeUs(settings_, frame.size());
    return !unclear || afterUs <= longestReplyUs();
}

// Whether the request before the open one waited for the same, and may have waited still.
bool BusParser::mayAnswerBefore(const Heard& heard) const {
    return before_ && before_->bytes != open_->bytes && fits(before_->bytes, heard.bytes) &&
           open_->endUs - before_->endUs <= longestReplyUs();
}

// The time in which a reply has come up to now, as a rule.
qint64 BusParser::longestReplyUs() const {
    return replyTimes_.count() < FEW_REPLIES ? FIRST_LONGEST_US
                                             : replyTimes_.percentileUs(99) * 13 / 10 + LATENCY_US;
}

// Whether the frame repeats what a damaged request asked for.
bool BusParser::answersDamaged(const QByteArray& frame) const {
    return !open_ && alike(lastDamage_, frame);
}

bool BusParser::isReply(const Heard& frame) const {
    const QByteArray& bytes = frame.bytes;
    if ((byteAt(bytes, 1) & EXCEPTION_BIT) != 0 || answersOpen(frame)) {
        return true;
    }
    const bool request = requestLength(bytes, 0) == bytes.size();
    const bool reply = replyLength(bytes, 0) == bytes.size();
    return reply && (!request || answersDamaged(bytes));
}

void BusParser::takeReply(const Heard& frame) {
    BusEvent event;
    event.reply = frame.bytes;
    event.replyUs = frame.endUs;
    event.kind = BusEvent::Orphan;
    if (answersOpen(frame)) {
        const bool doubtful = mayAnswerBefore(frame);
        event.kind = doubtful ? BusEvent::Doubtful : BusEvent::Exchange;
        event.request = open_->bytes;
        event.requestUs = open_->endUs;
        if (!doubtful && requestLength(frame.bytes, 0) != frame.bytes.size()) {
            const qint64 lineUs = lineTimeUs(settings_, frame.bytes.size());
            replyTimes_.add(std::max<qint64>(frame.endUs - open_->endUs - lineUs, 0));
        }
        open_.reset();
    }
    before_.reset();
    events_.push_back(event);
}

void BusParser::takeRequest(const Heard& frame) {
    before_ = open_;
    closeOpen();
    if (byteAt(frame.bytes, 0) == 0) {
        BusEvent event;
        event.kind = BusEvent::Broadcast;
        event.request = frame.bytes;
        event.requestUs = frame.endUs;
        events_.push_back(event);
        return;
    }
    open_ = frame;
}

void BusParser::closeOpen(BusEvent::Kind kind) {
    if (open_) {
        BusEvent event;
        event.kind = kind;
        event.request = open_->bytes;
        event.requestUs = open_->endUs;
        events_.push_back(event);
        open_.reset();
    }
}

void BusParser::takeDamage(const Heard& damage) {
    show(damage, false);
    BusEvent event;
    event.damaged = damage.bytes;
    event.damagedUs = damage.endUs;
    event.kind = BusEvent::Damage;
    const bool ours = open_ && resembles(damage.bytes, awaitedReply(open_->bytes));
    const bool again =
        open_ && !repliesLikeItself(byteAt(open_->bytes, 1)) && alike(damage.bytes, open_->bytes);
    if (ours && !again) {
        event.kind = BusEvent::DamagedReply;
        event.request = open_->bytes;
        event.requestUs = open_->endUs;
        open_.reset();
    } else if (!again && damage.bytes.size() >= SHORTEST_DAMAGE) {
        closeOpen();
    }
    events_.push_back(event);
    lastDamage_ = damage.bytes;
}

}  // namespace dx7

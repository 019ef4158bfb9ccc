#include "host/exchange/line_listener.h"

#include <algorithm>
#include <vector>

#include "common/modbus_limits.h"
#include "host/exchange/frame_shape.h"
#include "host/exchange/frame_stream.h"
#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

// More says nothing new, and costs time.
constexpr int MOST_HEARD_BYTES = 65536;

// Of a burst that is looked at as a whole.
constexpr int MOST_TILED_BYTES = 600;

// `last`: the frame before, or null. Where both are possible, a reply follows its request.
HeardPiece::Kind kindOf(bool request, bool reply, const QByteArray& bytes, const HeardPiece* last) {
    if ((byteAt(bytes, 1) & EXCEPTION_BIT) != 0) {
        return HeardPiece::Reply;
    }
    const bool asked = last != nullptr && last->kind == HeardPiece::Request &&
                       byteAt(last->bytes, 0) == byteAt(bytes, 0) &&
                       byteAt(last->bytes, 1) == byteAt(bytes, 1);
    return reply && (!request || asked) ? HeardPiece::Reply : HeardPiece::Request;
}

// The frame that begins at `start` of a burst; a piece without bytes where none does. `alone`: nothing but
// silence, or a frame, is before it.
HeardPiece frameAt(const QByteArray& burst, int start, bool alone, const HeardPiece* last) {
    const int request = requestLength(burst, start);
    const int reply = replyLength(burst, start);
    const bool isRequest = endsWithCrc(burst, start, request);
    const bool isReply = endsWithCrc(burst, start, reply);
    HeardPiece piece;
    if (isRequest || isReply) {
        piece.bytes = burst.mid(start, isRequest ? request : reply);
        piece.kind = kindOf(isRequest, isReply, piece.bytes, last);
        return piece;
    }
    const int rest = burst.size() - start;
    const bool unknown = alone && rest <= LONGEST_FRAME_BYTES &&
                         !tellsItsLength(byteAt(burst, start + 1) & ~EXCEPTION_BIT) &&
                         byteAt(burst, start) >= dx7common::LOWEST_STATION &&
                         byteAt(burst, start) <= dx7common::HIGHEST_STATION;
    if (unknown && endsWithCrc(burst, start, rest)) {
        piece.bytes = burst.mid(start);
        piece.kind = kindOf(true, true, piece.bytes, last);
    }
    return piece;
}

// The lengths of the frames that make up the burst as a whole, whatever their function codes and fields: each
// has a valid CRC, and no byte is left over. Empty where there are none. Noise seldom does that: once in
// 65,536 bursts.
std::vector<int> tiles(const QByteArray& burst) {
    const int size = burst.size();
    if (size > MOST_TILED_BYTES) {
        return {};
    }
    // Of the frame that begins there, when the rest is made up of frames; else 0.
    std::vector<int> lengths(static_cast<std::size_t>(size) + 1);
    for (int start = size - SHORTEST_FRAME_BYTES; start >= 0; --start) {
        const int longest = std::min(size - start, int(LONGEST_FRAME_BYTES));
        for (int length = longest; length >= SHORTEST_FRAME_BYTES; --length) {
            const auto end = static_cast<std::size_t>(start) + static_cast<std::size_t>(length);
            const bool rest = start + length == size || lengths[end] > 0;
            if (rest && endsWithCrc(burst, start, length)) {
                lengths[static_cast<std::size_t>(start)] = length;
            }
        }
    }
    std::vector<int> chosen;
    for (int start = 0; start < size && lengths[static_cast<std::size_t>(start)] > 0;
         start += chosen.back()) {
        chosen.push_back(lengths[static_cast<std::size_t>(start)]);
    }
    return chosen;
}

// The last frame among the pieces; a piece without bytes where there is none.
HeardPiece lastFrame(const QVector<HeardPiece>& pieces) {
    HeardPiece last;
    for (const HeardPiece& piece : pieces) {
        last = piece.kind == HeardPiece::Stray ? last : piece;
    }
    return last;
}

QVector<HeardPiece> tiled(const QByteArray& burst, qint64 endUs, HeardPiece last) {
    QVector<HeardPiece> pieces;
    int start = 0;
    for (const int length : tiles(burst)) {
        HeardPiece piece;
        piece.bytes = burst.mid(start, length);
        const bool request = requestLength(burst, start) == length;
        const bool reply = replyLength(burst, start) == length;
        piece.kind =
            kindOf(request || !reply, reply || !request, piece.bytes, last.bytes.isEmpty() ? nullptr : &last);
        piece.endUs = endUs;
        start += length;
        pieces += last = piece;
    }
    return pieces;
}

// Parts what came without a silence in it into pieces.
QVector<HeardPiece> parted(const QByteArray& burst, qint64 endUs, HeardPiece last) {
    QVector<HeardPiece> pieces;
    QByteArray stray;
    const auto keepStray = [&] {
        if (!stray.isEmpty()) {
            pieces += HeardPiece{HeardPiece::Stray, stray, endUs};
            stray.clear();
        }
    };
    for (int start = 0; start < burst.size();) {
        HeardPiece piece = frameAt(burst, start, stray.isEmpty(), last.bytes.isEmpty() ? nullptr : &last);
        if (piece.bytes.isEmpty()) {
            stray += burst.at(start++);
            continue;
        }
        keepStray();
        piece.endUs = endUs;
        start += piece.bytes.size();
        pieces += last = piece;
    }
    keepStray();
    return pieces;
}

void takeBurst(const QByteArray& burst, qint64 endUs, QVector<HeardPiece>* pieces) {
    const HeardPiece last = lastFrame(*pieces);
    const QVector<HeardPiece> found = parted(burst, endUs, last);
    const bool strays = std::any_of(found.begin(), found.end(),
                                    [](const HeardPiece& piece) { return piece.kind == HeardPiece::Stray; });
    const QVector<HeardPiece> whole = strays ? tiled(burst, endUs, last) : QVector<HeardPiece>();
    *pieces += whole.isEmpty() ? found : whole;
}

}  // namespace

LineListener::LineListener(const LineSettings& settings, qint64 nowUs)
    : gapUs_(std::max(PIECE_GAP_US, silentIntervalUs(settings))),
      beginUs_(nowUs),
      latestUs_(nowUs + LISTEN_US + lineTimeUs(settings, LONGEST_FRAME_BYTES) + gapUs_) {}

void LineListener::received(const char* bytes, int count, qint64 nowUs) {
    const int taken = std::min(count, MOST_HEARD_BYTES - bytes_);
    if (taken > 0) {
        chunks_.push_back(Chunk{QByteArray(bytes, taken), nowUs});
        bytes_ += taken;
    }
}

qint64 LineListener::endUs() const {
    const qint64 plannedUs = beginUs_ + LISTEN_US;
    return chunks_.empty() ? plannedUs
                           : std::min(std::max(plannedUs, chunks_.back().endUs + gapUs_), latestUs_);
}

QVector<HeardPiece> LineListener::pieces() const {
    QVector<HeardPiece> pieces;
    QByteArray burst;
    for (std::size_t i = 0; i < chunks_.size(); ++i) {
        burst += chunks_[i].bytes;
        const bool over = i + 1 == chunks_.size() || chunks_[i + 1].endUs - chunks_[i].endUs >= gapUs_;
        if (over) {
            takeBurst(burst, chunks_[i].endUs, &pieces);
            burst.clear();
        }
    }
    return pieces;
}

}  // namespace dx7

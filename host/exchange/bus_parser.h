/// \file
/// What a master and its stations say to each other, from the bytes alone, as one hears them on the line.
#ifndef DX7_HOST_BUS_PARSER_H
#define DX7_HOST_BUS_PARSER_H

#include <QByteArray>
#include <deque>
#include <optional>
#include <vector>

#include "host/exchange/frame_tap.h"
#include "host/exchange/latency_histogram.h"
#include "host/line/clock.h"
#include "host/line/line_settings.h"

namespace dx7 {

/// Something that was heard. Frames have their CRC; times are those of their last bytes.
struct BusEvent {
    enum Kind {
        /// A request and its reply, or refusal.
        Exchange,
        /// A request and a reply that may be to this one or to the one before, which it followed too soon.
        Doubtful,
        /// A request that another one follows, or nothing for longer than a reply takes.
        Unanswered,
        /// A request to which the reply may still come: it was the last thing that was heard.
        Pending,
        /// A request, and bytes without a valid CRC in place of its reply (`damaged`).
        DamagedReply,
        /// A request to all stations.
        Broadcast,
        /// A reply to no request that was heard.
        Orphan,
        /// Bytes without a valid CRC in the place of no reply (`damaged`); LONGEST_FRAME_BYTES at most.
        Damage
    };
    Kind kind = Damage;
    QByteArray request;
    qint64 requestUs = 0;
    QByteArray reply;
    qint64 replyUs = 0;
    QByteArray damaged;
    qint64 damagedUs = 0;
};

/// Cuts what is heard into frames and pairs requests with replies, by length, function code, CRC and order
/// alone: behind USB adapters the time between bytes proves nothing. It may begin in the middle of anything,
/// and finds its way back after damage.
///
/// A frame of a known function code has the length that its own bytes announce. One of another code ends
/// where a chunk of bytes ends, with a right CRC there; silence decides only what more bytes could not.
///
/// Where request and reply are the same bytes (function codes 5, 6 and 8), the order tells; after damage,
/// what the damaged bytes look like. After four or more damaged bytes a request is not paired with what
/// follows them: that may be the reply to one that was not heard.
///
/// Pure, for one thread: times are microseconds on the caller's clock, and do not decrease. Nothing of it
/// fails.
class BusParser {
public:
    explicit BusParser(const LineSettings& settings);

    /// Sees every frame and damaged byte in the order of the line (borrowed; null = none). What it throws
    /// passes out of the call that led to it, and the parser is of no use after that.
    void setTap(FrameTap* tap) { tap_ = tap; }

    /// A chunk of bytes came, the last of them at `nowUs`.
    void feed(const char* bytes, int count, qint64 nowUs);
    /// Judges what silence decides.
    void advance(qint64 nowUs);
    /// When advance() has something to do.
    DueUs nextDueUs() const;
    /// Nothing more is listened to: everything is told, but for a frame that was just coming.
    void finish();

    /// What was found since this was called last, in the order of the requests.
    std::vector<BusEvent> takeEvents();

private:
    /// A part of the buffer that came in one piece.
    struct Chunk {
        /// Where it ends, from the beginning of the buffer.
        int end = 0;
        qint64 timeUs = 0;
    };
    struct Heard {
        QByteArray bytes;
        qint64 endUs = 0;
    };

    void parse(bool silent);
    int frameAtHead(bool silent) const;
    int openLength() const;
    qint64 timeAt(int end) const;
    void drop(int count);
    void show(const Heard& heard, bool request) const;
    void takeFrame(int length);
    void takeStray();
    void keepStrays();
    void takeDamage(const Heard& damage);
    void takeRequest(const Heard& frame);
    void takeReply(const Heard& frame);
    bool isReply(const Heard& frame) const;
    bool answersOpen(const Heard& heard) const;
    bool mayAnswerBefore(const Heard& heard) const;
    qint64 longestReplyUs() const;
    bool answersDamaged(const QByteArray& frame) const;
    void closeOpen(BusEvent::Kind kind = BusEvent::Unanswered);

    LineSettings settings_;
    qint64 gapUs_;
    FrameTap* tap_ = nullptr;
    /// A frame or a silence was heard, or more than a frame.
    bool begun_ = false;
    /// Of the last call.
    qint64 nowUs_ = 0;
    /// Of replies that no request can be taken for.
    LatencyHistogram replyTimes_;
    QByteArray buffer_;
    std::deque<Chunk> chunks_;
    Heard stray_;
    /// The request whose reply has not come.
    std::optional<Heard> open_;
    /// The one before, where that had no reply either.
    std::optional<Heard> before_;
    /// The last damage, where no frame came since.
    QByteArray lastDamage_;
    std::vector<BusEvent> events_;
};

}  // namespace dx7

#endif

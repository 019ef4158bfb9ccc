/// \file
/// One request of any kind and what comes for it, without the driver.
#ifndef DX7_HOST_RAW_EXCHANGE_H
#define DX7_HOST_RAW_EXCHANGE_H

#include <QByteArray>
#include <optional>

#include "host/exchange/mbap.h"
#include "host/line/clock.h"
#include "host/line/line_settings.h"

namespace dx7 {

class FrameTap;

/// How a raw request ended.
struct RawEnd {
    enum Kind {
        /// A frame of its station and function code, or their refusal, with a valid CRC.
        Reply,
        /// A frame with a valid CRC of another station or function code, and nothing else.
        Foreign,
        /// Bytes without a valid CRC, and nothing else.
        Damaged,
        Nothing,
        /// It was for all stations, which do not answer.
        Broadcast
    };
    Kind kind = Nothing;
    /// Of a Reply or Foreign: the frame, with its CRC; of Damaged all that came.
    QByteArray bytes;
    /// From the end of the request to the last byte of it.
    qint64 afterUs = 0;
    /// The request came back before it, and was taken out.
    bool echoed = false;
    /// It is the request itself, once: the adapter's echo looks alike.
    bool perhapsEcho = false;
    /// An earlier request of the last 10 s had no reply: this may be the late one to that.
    bool perhapsLate = false;
};

/// Sends a frame and finds the reply in what comes. The length of a reply to a known function code follows
/// from its own bytes; any other one, and one of another length, ends with a silence of 3.5 characters, of 20
/// ms over TCP, before which its CRC is right. What comes before a request is dropped.
///
/// Pure, for one thread: times are microseconds on the caller's clock. It borrows the tap.
class RawExchange {
public:
    explicit RawExchange(const LineSettings& settings);

    /// Borrowed; null = none.
    void setTap(FrameTap* tap) { tap_ = tap; }
    /// Whether the adapter echoes, where that was found out.
    void setEcho(EchoMode echo) { settings_.echo = echo; }
    EchoMode echo() const { return settings_.echo; }

    /// Begins; `frame` is a whole RTU frame. What is returned is to be handed to the line at once. Only while
    /// no request is under way.
    QByteArray begin(const QByteArray& frame, qint64 nowUs);
    /// Bytes came, the last of them at `nowUs`.
    void feed(const char* bytes, int count, qint64 nowUs);
    /// Does what is due.
    void advance(qint64 nowUs);
    /// When advance() has something to do; empty when nothing is under way.
    DueUs nextDueUs() const;
    /// What the request that begin() named came to; empty while it is under way.
    const std::optional<RawEnd>& end() const { return end_; }
    /// The line was lost, or opened anew.
    void reset();
    /// How often bytes came while no request was under way, or, over Modbus/TCP, a frame under another id.
    int dropped() const { return dropped_; }
    /// The first bytes that ever came.
    const QByteArray& firstBytes() const { return firstBytes_; }

private:
    bool hasIds() const { return settings_.carrier == Carrier::ModbusTcp; }
    bool underWay() const { return !request_.isEmpty() && !end_; }
    qint64 gapUs() const;
    qint64 longGapUs() const;
    void takeUnderIds(qint64 nowUs);
    void judge(qint64 nowUs);
    void giveUp(qint64 nowUs);
    bool isHead(const QByteArray& bytes, int start) const;
    bool replyMayEqualRequest() const;
    QByteArray withoutEcho() const;
    QByteArray replyIn(const QByteArray& bytes, bool silent) const;
    void finish(RawEnd::Kind kind, const QByteArray& bytes, qint64 nowUs);

    LineSettings settings_;
    FrameTap* tap_ = nullptr;
    MbapStream mbap_;
    QByteArray request_;
    QByteArray buffer_;
    /// A frame that is not the reply.
    QByteArray foreign_;
    QByteArray firstBytes_;
    std::optional<RawEnd> end_;
    /// When the last byte of the request is on the line.
    qint64 sentUs_ = 0;
    qint64 deadlineUs_ = 0;
    /// With it all ends, whatever still comes.
    qint64 latestUs_ = 0;
    qint64 lastUs_ = 0;
    /// The silence since then that was judged.
    qint64 judgedUs_ = 0;
    /// When the last request without a reply was sent.
    DueUs unansweredUs_;
    int dropped_ = 0;
};

}  // namespace dx7

#endif

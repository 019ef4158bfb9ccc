/// \file
/// The guard over what arrives after a request. The driver judges a reply by its length and CRC alone; the
/// guard looks at what that leaves open before the driver sees it. Pure: bytes go in, a verdict comes out.
#ifndef DX7_HOST_REPLY_GUARD_H
#define DX7_HOST_REPLY_GUARD_H

#include <QByteArray>
#include <QVector>

#include "late_replies.h"

namespace dx7 {

enum class Verdict {
    Waiting,    ///< More bytes may come.
    Complete,   ///< reply() holds what belongs to the driver, good or bad.
    Exception,  ///< The station refused the request; exceptionCode() says why.
};

/// How a reply that does not carry the announced data is to be counted.
enum class ReplyFault { None, Nothing, WrongCrc, WrongLength };

/// Watches one request for its reply. A frame of another station or function code, or an acknowledgement that
/// does not echo the request's address (and value, quantity), or data with another byte count than asked for,
/// is put aside as foreign, and waiting goes on. A reply is complete as soon as the announced number of bytes
/// is there. A frame that may be the late reply to an earlier request is put aside as late.
class ReplyGuard {
public:
    /// `request` is the whole request frame, `expectLen` the announced length of the reply (above 0). `late`
    /// (optional, borrowed) knows the earlier requests and has been told that this one is out.
    ReplyGuard(const QByteArray& request, int expectLen, LateReplies* late = nullptr);

    /// Takes bytes in the order of arrival and judges what is there so far.
    Verdict feed(const QByteArray& bytes);
    /// The time is over: what is there is the reply, if it begins like one.
    void giveUp();

    const QByteArray& reply() const { return reply_; }
    int exceptionCode() const { return exceptionCode_; }
    /// The refusal as it came; empty without one.
    const QByteArray& exceptionFrame() const { return exceptionFrame_; }
    /// What is wrong with reply(), by the driver's own measure.
    ReplyFault fault() const;
    /// Whole frames (or stretches of noise) that were put aside.
    const QVector<QByteArray>& foreign() const { return foreign_; }
    /// Whole frames that are, or may be, late replies to earlier requests.
    const QVector<QByteArray>& late() const { return lateFrames_; }
    /// The last of foreign() that is a whole frame of the request's station and function code; empty without
    /// one.
    QByteArray mismatch() const;
    /// The frames of both kinds that were put aside since this was asked last, in their order.
    QVector<QByteArray> takeAside();
    /// Whether reply() begins with the station, the function code and the byte behind them that the reply
    /// must have.
    bool replyBegan() const;

private:
    bool headMatches(const QByteArray& bytes, int start) const;
    bool isException(int start) const;
    bool isGoodReply(int start) const;
    bool agrees(int start) const;
    int frameEnd(int start) const;
    int nextAnswer() const;
    int wholeFrameEnd(int start) const;
    void putAside(int length);
    bool putAsideIfLate(int length);
    void complete(int length, Verdict* verdict);
    bool judgeHead(Verdict* verdict);
    bool judgeDamaged(Verdict* verdict);
    bool awaitsLongerLate(int announced) const;

    QByteArray request_;
    int expectLen_;
    LateReplies* late_;
    QByteArray buffer_;
    QByteArray reply_;
    int exceptionCode_ = 0;
    QByteArray exceptionFrame_;
    QVector<QByteArray> foreign_;
    QVector<QByteArray> lateFrames_;
    QVector<QByteArray> aside_;
};

}  // namespace dx7

#endif

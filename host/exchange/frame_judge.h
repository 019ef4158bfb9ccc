/// \file
/// Whose a received frame is.
#ifndef DX7_HOST_FRAME_JUDGE_H
#define DX7_HOST_FRAME_JUDGE_H

#include <QByteArray>
#include <optional>

#include "host/exchange/copy_watch.h"
#include "host/exchange/line_books.h"
#include "host/exchange/line_traffic.h"
#include "host/line/line_settings.h"

namespace dx7 {

/// What is under way while a frame is judged.
struct UnderWay {
    /// Station of the present request; empty without one, and where it is a broadcast.
    std::optional<int> present;
    /// Function code of the present request.
    int function = 0;
    /// Bytes of its reply.
    int expectLen = 0;
    /// The line waits for the reply to the present request.
    bool reply = false;
    /// Station of the query whose answer the line waits for; empty where it waits for none.
    std::optional<int> queried;
};

/// What a frame means to what is under way. Nothing where it says nothing of that.
struct Verdict {
    /// The frame is the reply to the present request, and is held under this ticket.
    std::optional<quint64> ticket;
    /// With a ticket: the station refuses the request.
    bool refusal = false;
    /// No reply to the present request will come.
    bool lost = false;
    /// This station has answered all queries that it owed the answers to.
    std::optional<int> answered;
    /// It is the like of what is awaited, without a good CRC.
    bool damaged = false;
};

/// Tells a reply, an echo, a late copy, the answer of a query and noise apart, and keeps the books by what it
/// finds: what the stations owe, what is held, what disturbed the line. It sends nothing and waits for
/// nothing.
///
/// Pure, for one thread: times are microseconds on the caller's clock. Its owner is the line's Exchange,
/// whose comment says what a frame proves. Nothing of it fails: every frame has a verdict.
class FrameJudge {
public:
    /// All of them outlive it.
    FrameJudge(const LineSettings& settings, LineBooks& books, LineTraffic& traffic);

    /// A request begins, and nothing has come for it.
    void begin();
    /// Judges the piece that `traffic` has taken last.
    Verdict judge(FrameStream::Kind kind, const UnderWay& underWay, qint64 nowUs);
    /// The line has been silent for a time-out: the only proof for stations that answer no query.
    void takeSilence();
    /// Such a station's reply is held.
    bool needsSilence() const;

    /// The present request's reply, or what came in place of it; empty while nothing did.
    const QByteArray& reply() const { return reply_; }
    /// reply() is damaged.
    bool damaged() const { return damaged_; }
    /// The last frame with the present request's station and function code that does not answer it; empty
    /// without one.
    const QByteArray& mismatch() const { return mismatch_; }
    /// Until when copies of what came last are waited for, before anything is sent; empty where they are not.
    DueUs copiesEndUs() const { return copies_.pauseEndUs(traffic_.sequence()); }
    /// What is known of the line when the kind of a query is chosen.
    QueryConditions conditions() const;

private:
    Verdict judgeFrame(const UnderWay& underWay, qint64 nowUs);
    Verdict acceptData(int number, const UnderWay& underWay, qint64 nowUs);
    Verdict acceptQuery(int number, int index, const UnderWay& underWay, qint64 nowUs);
    Verdict holdReply(int number);
    void putAside(const UnderWay& underWay, qint64 nowUs);
    void countOtherId(qint64 nowUs);
    Verdict refuseUnderId(const UnderWay& underWay);
    Verdict takeDamage(FrameStream::Kind kind, const UnderWay& underWay);
    void keepDamaged(int expectLen);
    void disturb(std::optional<int> number, const UnderWay& underWay, bool more = true);
    bool strangerNear(qint64 nowUs) const;

    const LineSettings& settings_;
    LineBooks& books_;
    LineTraffic& traffic_;
    CopyWatch copies_;
    QByteArray reply_;
    QByteArray mismatch_;
    /// reply_ holds what came in place of the present reply.
    bool damaged_ = false;
    /// When a query of another master, or its answer, came last.
    std::optional<qint64> strangerUs_;
};

}  // namespace dx7

#endif

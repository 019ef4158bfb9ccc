/// \file
/// The exchange of requests and replies on one line: what is sent when, whose reply a frame is, and whether
/// that is proven. Pure: time and bytes go in, bytes and the next due time come out.
#ifndef DX7_HOST_EXCHANGE_H
#define DX7_HOST_EXCHANGE_H

#include <QByteArray>
#include <optional>
#include <vector>

#include "host/exchange/copy_watch.h"
#include "host/exchange/echo_watch.h"
#include "host/exchange/frame_stream.h"
#include "host/exchange/proof_schedule.h"
#include "host/exchange/proof_window.h"
#include "host/exchange/station_ledger.h"
#include "host/line/line_settings.h"

namespace dx7 {

class FrameTap;

/// What the exchange met on the line besides requests and their replies.
struct ExchangeNote {
    enum Kind {
        Query,        ///< A status query went out.
        QueryAnswer,  ///< It was answered; `value` is the status byte, or minus the exception code.
        Late,         ///< A reply came after its time-out.
        Surplus,      ///< A frame that answers nothing, though the like has been asked for.
        Copy,         ///< A frame that has come before.
        Foreign,      ///< A frame that answers nothing that was asked here.
        Echo,         ///< A request came back as it was sent.
        Noise,        ///< Bytes outside of any frame; `value` is their number.
        Damaged       ///< The like of a reply without a good CRC; `value` is the number of bytes.
    };
    Kind kind = Query;
    int station = 0;     ///< 0 where none can be told.
    qint64 afterUs = 0;  ///< From the end of the request to the last byte of its answer.
    int value = 0;
};

/// How a request ended.
struct ExchangeEnd {
    enum Kind {
        Reply,      ///< reply() is the reply.
        Exception,  ///< reply() is the station's refusal.
        Damaged,    ///< reply() is what came in place of it, and a query shows that nothing else will come.
        Nothing,    ///< A query shows that no reply will come. The request may be repeated.
        Owed,       ///< No reply up to now; one may still come. The request must not be repeated.
        Refused,    ///< It was not sent: a reply could not be told from the adapter's echo.
        Broadcast   ///< The pause after a broadcast is over.
    };
    Kind kind = Nothing;
    quint64 ticket = 0;  ///< Of a Reply or Exception: what settlements() names it by.
    bool sent = false;   ///< Bytes of it went to the line.
    qint64 sentUs = 0;   ///< When; queries may have gone before it.
};

/// A Modbus RTU reply does not say which request it answers: one that is late, doubled, another master's or
/// the adapter's echo passes every check of a later request of the same shape. But frames keep their order.
/// So a reply is held until status queries of two kinds that were sent after it are answered in their places:
/// each request since has brought one frame of its shape, and nothing else has come in between. Then what is
/// held is good. If anything else came, what is held is doubtful. Return query data (function code 8,
/// sub-function 0) carries a counter, so that its answer is like no copy, no left-over of an earlier program
/// and no other master's; the answer to read exception status (function code 7) is like no echo. They take
/// turns. An exception answers, too; but one that refuses code 8 does not count, so that the first reply of
/// such a station needs three answers after it, and so does the first one after anything that may have
/// shifted its answers.
///
/// An answer proves the replies of all stations, except those of another station that has not been proven
/// since it was first asked, timed out, came late or had a surplus or damaged frame, and what may be the echo
/// of function code 5 or 6: these need answers of their own. Where function code 7 is read as data, code 8
/// proves that first, or code 7 after a reply to something else. For 10 s after a query of another master, or
/// an answer to one, code 8 alone proves anything, and not by an exception. A station that answers one kind
/// alone is proven by that; one that answers neither is believed after a time-out of silence.
///
/// A station has at most one unanswered request of the host. While it owes the reply, only a query goes out
/// to it; its late reply is the reply, and a query that is answered without it shows that none will come.
/// What is owed is asked for again after 3 s, never with a query for whose answer that to the first could
/// pass, and is forgotten after 10 s. A query whose answer comes after the reply to a later request shows
/// that this was the reply to an earlier one. Where the adapter echoes, nothing that looks like the request
/// counts before the echo has come. Station 0 owes nothing.
///
/// This class sends, waits and decides whose a frame is. What the stations owe is in its StationLedger, what
/// is held in its ProofWindow, whom to query when in its ProofSchedule, which frames came before in its
/// CopyWatch, whether the adapter echoes in its EchoWatch.
// The order of the members is that of their purposes, not of their sizes: a line has only one exchange.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
class Exchange {
public:
    /// Copies the settings; nothing is under way.
    explicit Exchange(const LineSettings& settings);

    // Time and bytes in.

    /// Bytes came, the last of them at `nowUs`.
    void feed(const char* bytes, int count, qint64 nowUs);
    /// Does what is due at `nowUs`.
    void advance(qint64 nowUs);
    /// The line was closed, or opened anew: nothing is under way, and what is held is doubtful.
    void reset();

    // Bytes and the next due time out.

    /// The frame to be handed to the line now; empty when there is none. outputTaken() follows.
    const QByteArray& output() const { return output_; }
    void outputTaken() { output_.resize(0); }
    /// The line took no byte of output(): it was lost before. To be called before outputTaken() and reset().
    void notSent();
    /// When advance() has something to do.
    DueUs nextDueUs() const;
    /// How many bytes must come before feed() can tell anything new; 1 or more.
    int missing() const { return stream_.missing(); }
    /// Bytes have come that are not a whole frame yet.
    bool partial() const { return !stream_.isEmpty(); }
    /// A reply or an answer is awaited.
    bool awaiting() const { return phase_ == Phase::Data || phase_ == Phase::Query; }

    // Requests.

    /// Nothing is under way: a request may begin once clearUs() has come.
    bool idle() const { return phase_ == Phase::Idle && output_.isEmpty() && !end_; }
    /// When the line has been silent for long enough to send.
    qint64 clearUs() const;
    /// Begins to exchange `request`, a whole frame, whose reply has `expectLen` bytes; 0 = it has none.
    /// `first`: it is not a repetition, so that its operation has its time from now. Only while idle() and
    /// not before clearUs().
    void begin(const QByteArray& request, int expectLen, bool first, qint64 nowUs);
    /// The end of the request that begin() named, once.
    std::optional<ExchangeEnd> takeEnd();
    const QByteArray& reply() const { return reply_; }
    /// Bytes of the present request are on the line, or may be.
    bool requestSent() const {
        return requestSent_ && (present_ > 0 || phase_ == Phase::Pause) && phase_ != Phase::Idle;
    }
    /// When a station that owes the answer to a query may be asked again; 0 when it owes none.
    qint64 askAgainUs(int number) const;
    /// Other stations can be served while one owes a reply; else an operation waits for its whole time.
    void setOthers(bool others) { others_ = others; }

    // Proof.

    /// What was settled since this was called last, in the order of the tickets.
    const std::vector<Settlement>& settlements() const { return window_.settlements(); }
    void clearSettlements() { window_.clearSettlements(); }
    /// A cycle of the polling plan is over.
    void cycleEnded() { schedule_.cycleEnded(); }
    /// From now on, or no longer, everything that is held is proven as soon as nothing else is under way.
    void setFinishing(bool finishing) { schedule_.setFinishing(finishing); }
    bool finishing() const { return schedule_.finishing(); }
    /// Something is held that is neither good nor doubtful.
    bool unproven() const { return !window_.empty(); }
    /// Whether a query is due now. Only while idle().
    bool proofDue(qint64 nowUs) const { return schedule_.station(conditions(), nowUs) > 0; }
    /// When one that is not due now will be, at the latest; -1 = not without something new.
    DueUs proofUs(qint64 nowUs) const { return schedule_.dueUs(conditions(), nowUs); }
    /// Something came in between since the last proof: what comes now is doubtful up to the next.
    bool disturbed() const { return window_.disturbed(); }
    /// Sends it.
    void prove(qint64 nowUs);
    /// Sends function code 7 to station `number` and waits for the answer for the time-out; its answer is
    /// noted. With a query to the station out already, it waits for that. Only while idle() and not before
    /// clearUs().
    void query(int number, qint64 nowUs);
    /// The station answers requests, but neither kind of query.
    bool deafToQueries(int station) const { return stations_.at(station).isDeaf(); }
    /// What the counter of the queries begins after, so that programs that follow each other differ.
    void setCounter(quint16 counter) { counter_ = counter; }

    /// What was met since this was called last.
    const std::vector<ExchangeNote>& notes() const { return notes_; }
    void clearNotes() { notes_.clear(); }
    /// The last frame with the present request's station and function code that does not answer it; empty
    /// without one.
    const QByteArray& mismatch() const { return mismatch_; }
    /// Borrowed; null = none.
    void setTap(FrameTap* tap) { tap_ = tap; }
    bool echoes() const { return echo_.echoes(); }
    /// When the line carried its last byte.
    qint64 lastActivityUs() const { return lastActivityUs_; }

private:
    enum class Phase {
        Idle,
        Waiting,  ///< For the silent interval before `next_`.
        Data,
        Query,
        Pause  ///< After a broadcast.
    };
    enum class Next { Data, Query };
    /// Why a query is out, and what follows it.
    enum class Purpose {
        Proof,
        Resolve,  ///< The present request has timed out.
        Precede   ///< The present request is sent after it.
    };
    qint64 boundUs() const;
    qint64 waitUs(const StationRecord& station) const;
    DueUs flushUs() const;

    void sendAt(Next next, qint64 nowUs);
    void sendWhenClear(qint64 nowUs);
    void transmit(const QByteArray& frame, qint64 nowUs);
    void sendData(qint64 nowUs);
    void sendQuery(qint64 nowUs);
    void beginQuery(int station, Purpose purpose, qint64 nowUs);
    void awaitQuery(const StationRecord& station, qint64 nowUs);
    void awaitOwedQuery(int number, Purpose purpose, qint64 nowUs);

    void takePieces(bool last, qint64 nowUs);
    void onFrame(qint64 nowUs);
    void acceptData(int number, qint64 nowUs);
    void acceptQuery(int number, int index, qint64 nowUs);
    void loseData(int number);
    bool strangerNear(qint64 nowUs) const;
    QueryConditions conditions() const;
    qint64 silentUs() const;
    void settleDeaf();
    void putAside(qint64 nowUs);
    void noteDamage(FrameStream::Kind kind, bool last, qint64 nowUs);
    void takeDamaged();
    void askOtherwise(qint64 nowUs);
    void disturb(int number, bool more = true);
    void note(ExchangeNote::Kind kind, int station, qint64 afterUs = 0, int value = 0);

    void onDataDeadline(qint64 nowUs);
    void resolve(qint64 nowUs);
    void onQueryDeadline(qint64 nowUs);
    void finishQuery(bool answered, qint64 nowUs);
    bool replyIsComing(qint64 nowUs);
    void end(ExchangeEnd::Kind kind, quint64 ticket = 0);

    LineSettings settings_;
    FrameStream stream_;
    StationLedger stations_;
    ProofWindow window_;
    ProofSchedule schedule_;
    CopyWatch copies_;
    EchoWatch echo_;
    QByteArray output_;
    QByteArray frame_;  ///< The frame that is being looked at.
    QByteArray query_;
    QByteArray reply_;
    QByteArray mismatch_;

    Phase phase_ = Phase::Idle;
    Next next_ = Next::Data;
    Purpose purpose_ = Purpose::Proof;
    int present_ = 0;     ///< Station of the present request; 0 when none is open.
    int queried_ = 0;     ///< Station of the query that is waited for.
    QByteArray request_;  ///< The present request.
    int expectLen_ = 0;
    bool requestSent_ = false;
    qint64 requestUs_ = 0;     ///< When it was sent.
    bool damaged_ = false;     ///< reply_ holds what came in place of the present reply.
    bool plainQuery_ = false;  ///< The query that is waited for is query()'s.
    bool echoTest_ = false;    ///< The query before the present request tells whether the adapter echoes.
    bool refused_ = false;     ///< The present operation ended as Refused.
    qint64 operationUs_ = 0;   ///< When the present operation began.
    qint64 deadlineUs_ = 0;
    std::optional<ExchangeEnd> end_;
    bool others_ = true;

    qint64 lastActivityUs_ = 0;
    qint64 idleSinceUs_ = 0;

    quint64 sequence_ = 0;  ///< Of the frame sent last.
    std::vector<ExchangeNote> notes_;
    /// When a query of another master, or its answer, came last.
    std::optional<qint64> strangerUs_;
    quint16 counter_ = 0;

    FrameTap* tap_ = nullptr;
};

}  // namespace dx7

#endif

/// \file
/// The exchange of requests and replies on one line: what is sent when. Pure: time and bytes go in, bytes and
/// the next due time come out.
#ifndef DX7_HOST_EXCHANGE_H
#define DX7_HOST_EXCHANGE_H

#include <QByteArray>
#include <optional>
#include <vector>

#include "host/exchange/frame_judge.h"
#include "host/exchange/line_books.h"
#include "host/exchange/line_traffic.h"
#include "host/exchange/open_query.h"
#include "host/exchange/reply_times.h"
#include "host/line/line_settings.h"

namespace dx7 {

class FrameTap;

/// How a request ended.
struct ExchangeEnd {
    enum Kind {
        /// reply() is the reply.
        Reply,
        /// reply() is the station's refusal.
        Exception,
        /// reply() is what came in place of it, and a query shows that nothing else will come.
        Damaged,
        /// A query shows that no reply will come. The request may be repeated.
        Nothing,
        /// No reply up to now; one may still come. The request must not be repeated.
        Owed,
        /// It was not sent: a reply could not be told from the adapter's echo.
        Refused,
        /// The pause after a broadcast is over.
        Broadcast
    };
    Kind kind = Nothing;
    /// Of a Reply or Exception: what settlements() names it by.
    std::optional<quint64> ticket;
    /// Bytes of it went to the line.
    bool sent = false;
    /// When; queries may have gone before it.
    qint64 sentUs = 0;
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
/// Over Modbus/TCP all of this is needless: a reply names its request by the transaction id. It is good as
/// soon as it has come; nothing is owed after a time-out; a frame under another id is counted, and disturbs
/// nothing.
///
/// This class sends and waits: requests, pauses, status queries and time-outs. Whose a frame is, its
/// FrameJudge decides; the bytes of both directions are in its LineTraffic, with what is known of the
/// adapter's echo; what the stations owe, what is held and whom to query when in its LineBooks; its OpenQuery
/// is the query that it waits for.
///
/// Pure, for one thread: times are microseconds on the caller's clock. Its CommLoop owns it; it borrows the
/// tap alone. What goes wrong on a line is an ExchangeEnd, a Settlement or an ExchangeNote; only what the tap
/// throws passes out of it.
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
    const QByteArray& output() const { return traffic_.output(); }
    void outputTaken() { traffic_.outputTaken(); }
    /// The line took no byte of output(): it was lost before. To be called before outputTaken() and reset().
    void notSent();
    /// When advance() has something to do.
    DueUs nextDueUs() const;
    /// How many bytes must come before feed() can tell anything new; 1 or more.
    int missing() const { return traffic_.missing(); }
    /// Bytes have come that are not a whole frame yet.
    bool partial() const { return traffic_.partial(); }
    /// A reply or an answer is awaited.
    bool awaiting() const { return phase_ == Phase::Data || phase_ == Phase::Query; }

    // Requests.

    /// Nothing is under way: a request may begin once clearUs() has come.
    bool idle() const { return phase_ == Phase::Idle && output().isEmpty() && !end_; }
    /// When the line has been silent for long enough to send.
    qint64 clearUs() const;
    /// Begins to exchange `request`, a whole frame, whose reply has `expectLen` bytes; 0 = it has none.
    /// `first`: it is not a repetition, so that its operation has its time from now. Only while idle() and
    /// not before clearUs().
    void begin(const QByteArray& request, int expectLen, bool first, qint64 nowUs);
    /// The end of the request that begin() named, once.
    std::optional<ExchangeEnd> takeEnd();
    const QByteArray& reply() const { return judge_.reply(); }
    /// Bytes of the present request are on the line, or may be.
    bool requestSent() const {
        return requestSent_ && (present_ || phase_ == Phase::Pause) && phase_ != Phase::Idle;
    }
    /// When a station that owes the answer to a query may be asked again; empty when it owes none.
    DueUs askAgainUs(int number) const;
    /// Other stations can be served while one owes a reply; else an operation waits for its whole time.
    void setOthers(bool others) { others_ = others; }

    // Proof.

    /// What was settled since this was called last, in the order of the tickets.
    const std::vector<Settlement>& settlements() const { return books_.window.settlements(); }
    void clearSettlements() { books_.window.clearSettlements(); }
    /// A cycle of the polling plan is over.
    void cycleEnded() { books_.schedule.cycleEnded(); }
    /// From now on, or no longer, everything that is held is proven as soon as nothing else is under way.
    void setFinishing(bool finishing) { books_.schedule.setFinishing(finishing); }
    bool finishing() const { return books_.schedule.finishing(); }
    /// Something is held that is neither good nor doubtful.
    bool unproven() const { return !books_.window.empty(); }
    /// Whether a query is due now. Only while idle().
    bool proofDue(qint64 nowUs) const { return books_.schedule.station(conditions(), nowUs).has_value(); }
    /// When one that is not due now will be, at the latest; empty where not without something new.
    DueUs proofUs(qint64 nowUs) const { return books_.schedule.dueUs(conditions(), nowUs); }
    /// Something came in between since the last proof: what comes now is doubtful up to the next.
    bool disturbed() const { return books_.window.disturbed(); }
    /// Sends it.
    void prove(qint64 nowUs);
    /// Sends function code 7 to station `number` and waits for the answer for the time-out; its answer is
    /// noted. With a query to the station out already, it waits for that. Only while idle() and not before
    /// clearUs().
    void query(int number, qint64 nowUs);
    /// From now on, or no longer, query() alone asks the station for what it owes.
    void setProbed(int number, bool probed) { station(number).probed = probed; }
    /// The station answers requests, but neither kind of query; or none is needed.
    bool deafToQueries(int station) const {
        return traffic_.hasIds() || books_.stations.at(station).isDeaf();
    }
    /// The first bytes that ever came, for a look at what protocol they are of; some bytes are enough.
    const QByteArray& firstBytes() const { return traffic_.firstBytes(); }
    /// What the counter of the queries begins after, so that programs that follow each other differ.
    void setCounter(quint16 counter) { query_.setCounter(counter); }

    /// What was met since this was called last.
    const std::vector<ExchangeNote>& notes() const { return books_.notes; }
    void clearNotes() { books_.notes.clear(); }
    /// The last frame with the present request's station and function code that does not answer it; empty
    /// without one.
    const QByteArray& mismatch() const { return judge_.mismatch(); }
    /// Borrowed; null = none.
    void setTap(FrameTap* tap) { traffic_.setTap(tap); }
    bool echoes() const { return traffic_.echo().echoes(); }
    /// When the line carried its last byte.
    qint64 lastActivityUs() const { return traffic_.lastActivityUs(); }

private:
    enum class Phase {
        Idle,
        /// For the silent interval before `next_`.
        Waiting,
        Data,
        Query,
        /// After a broadcast.
        Pause
    };
    enum class Next { Data, Query };
    using Purpose = OpenQuery::Purpose;
    StationRecord& station(int number) { return books_.stations.at(number); }
    QueryConditions conditions() const { return judge_.conditions(); }
    OperationTime operation() const {
        return OperationTime{operationUs_ + operationTimeUs(settings_), others_};
    }
    DueUs flushUs() const;
    qint64 silentUs() const;
    UnderWay underWay() const;
    /// Station of the query whose answer is awaited.
    std::optional<int> queried() const {
        return phase_ == Phase::Query ? std::optional<int>(query_.station()) : std::nullopt;
    }

    void sendAt(Next next, qint64 nowUs);
    void sendWhenClear(qint64 nowUs);
    void sendData(qint64 nowUs);
    void sendQuery(qint64 nowUs);
    void beginQuery(int number, Purpose purpose, qint64 nowUs);
    void awaitOwedQuery(int number, Purpose purpose, qint64 nowUs);

    void takePieces(bool last, qint64 nowUs);
    void follow(const Verdict& verdict, bool last, qint64 nowUs);
    void onReply(const Verdict& verdict, qint64 nowUs);
    void onQueriesAnswered(int number, qint64 nowUs);
    bool frameIsComing(qint64 latestUs, qint64 nowUs);
    void onDataDeadline(qint64 nowUs);
    void resolve(qint64 nowUs);
    void onQueryDeadline(qint64 nowUs);
    void finishQuery(bool answered, qint64 nowUs);
    void rest(qint64 nowUs);
    void endWithoutReply();
    void end(ExchangeEnd::Kind kind, std::optional<quint64> ticket = {});

    LineSettings settings_;
    LineBooks books_;
    LineTraffic traffic_;
    FrameJudge judge_;
    OpenQuery query_;

    // What is awaited, and up to when.
    Phase phase_ = Phase::Idle;
    Next next_ = Next::Data;
    qint64 deadlineUs_ = 0;
    qint64 idleSinceUs_ = 0;

    // The present request.
    /// Its station, or that of query(); empty before the first and where it is a broadcast.
    std::optional<int> present_;
    QByteArray request_;
    int expectLen_ = 0;
    bool requestSent_ = false;
    /// When it was sent.
    qint64 requestUs_ = 0;
    /// When the present operation began.
    qint64 operationUs_ = 0;
    /// The present operation ended as Refused.
    bool refused_ = false;
    std::optional<ExchangeEnd> end_;
    bool others_ = true;
    /// Queries in a row that were to prove the last of what is held.
    int lastProofs_ = 0;
};

}  // namespace dx7

#endif

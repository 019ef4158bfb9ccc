/// \file
/// What each station of a line was asked, what it owes, and which status queries it answers. Pure; times are
/// microseconds on the caller's clock.
#ifndef DX7_HOST_STATION_LEDGER_H
#define DX7_HOST_STATION_LEDGER_H

#include <QByteArray>
#include <QtGlobal>
#include <array>
#include <optional>
#include <vector>

#include "host/exchange/rtu_frame.h"
#include "host/line/clock.h"

namespace dx7 {

/// A query that is not answered may be sent again after this time.
constexpr qint64 ASK_AGAIN_US = 3000000;
/// What is owed for longer is not waited for any more.
constexpr qint64 FORGET_US = 10000000;

/// The two kinds of status query, as bits.
enum QueryKind : unsigned {
    /// Read exception status, function code 7: its answer is like no echo.
    STATUS_QUERY = 1,
    /// Return query data, function code 8, with a counter: like no other answer.
    DIAGNOSTIC_QUERY = 2
};

/// The reply to these function codes may be the request itself.
bool repliesLikeItself(int function);

/// What is known of the line when the kind of a query is chosen.
struct QueryConditions {
    /// Whether the adapter echoes, or does not.
    bool echoKnown = false;
    /// Another master sent queries of late, or they were answered.
    bool strangerNear = false;
};

/// A status query that went out.
struct StatusQuery {
    /// Function code 8 with the counter; else function code 7.
    bool diagnostic = false;
    quint16 counter = 0;
    /// When its last byte was on the line.
    qint64 endUs = 0;
    quint64 sequence = 0;
    /// A later reply came before the answer.
    bool passed = false;
    /// Its echo came.
    bool echoed = false;
    /// Something without a good CRC came in place of the answer.
    bool damaged = false;

    QueryKind kind() const { return diagnostic ? DIAGNOSTIC_QUERY : STATUS_QUERY; }
    /// Its function code.
    int function() const { return diagnostic ? DIAGNOSTICS : READ_EXCEPTION_STATUS; }
    /// Bytes of its answer, unless that is a refusal.
    int answerBytes() const { return diagnostic ? DIAGNOSTIC_FRAME_BYTES : int(EXCEPTION_FRAME_BYTES); }
};

/// One station. `sequence` counts the frames that were sent on the line.
struct StationRecord {
    // Its last request for data.
    QByteArray request;
    /// Bytes of the reply.
    int expectLen = 0;
    /// When its last byte was on the line.
    qint64 endUs = 0;
    quint64 sequence = 0;
    bool owesData = false;
    /// Since when.
    qint64 owedUs = 0;
    /// Its end was given as Owed.
    bool reported = false;
    /// Its echo came.
    bool echoed = false;

    // The queries that it owes the answers to, the oldest first.
    /// Of out[].
    int queries = 0;
    std::array<StatusQuery, 16> out;
    /// When the last one was sent.
    qint64 queryUs = 0;

    // Which queries it answers.
    bool diagnosticNext = false;
    bool statusAnswered = false;
    bool diagnosticAnswered = false;
    /// It has answered code 8, and not with a refusal.
    bool diagnosticCounted = false;
    /// Refusals in a row.
    int refusedCounts = 0;
    /// Queries in a row that a later reply came without an answer to.
    int statusPassed = 0;
    int diagnosticPassed = 0;

    // What is proven of it.
    /// It needs queries of its own.
    bool unproven = true;
    /// It did not need them at least once.
    bool proven = false;
    /// Those that it answered in their place since it became unproven.
    unsigned provenKinds = 0;
    /// See established().
    bool inStep = false;
    /// Those that went unanswered; see mayHaveSlipped().
    unsigned missedKinds = 0;
    bool disturbed = false;
    /// Something that it owed was forgotten, and it was not silent since.
    bool forgotten = false;
    /// Function code 7 was asked for as data since the last proof.
    bool statusData = false;
    /// Its replies that are held.
    int held = 0;
    /// Those of them that repeat their requests.
    int heldMirrors = 0;
    /// The kinds of query that were answered after the oldest of them.
    unsigned oldestKinds = 0;
    /// Of the last reply to anything but function code 7.
    quint64 otherSequence = 0;
    /// Of the last query that was answered in its place.
    quint64 closedSequence = 0;

    /// Whoever polls asks it whether it answers, at times of its own choice.
    bool probed = false;
    /// A bit for each function code that it was asked with.
    quint32 functions = 0;
    /// The slowest answer of late, from the end of its request.
    qint64 slowUs = 0;
    qint64 heardUs = 0;
    qint64 askedUs = 0;

    bool wasAskedWith(int function) const { return (functions >> (function & 31) & 1U) != 0; }
    void noteAskedWith(int function) { functions |= 1U << (function & 31); }
    /// Takes note of a request for data that was sent, whose last byte is on the line at `requestEndUs`: its
    /// reply is owed.
    void noteRequest(const QByteArray& frame, int replyBytes, quint64 number, qint64 requestEndUs);
    bool owesStatus() const;
    bool owesDiagnostic() const;
    /// It owes the answer to a query that is `frame` byte for byte.
    bool owesLike(const QByteArray& frame) const;
    /// How many of its queries no later reply has come after.
    int unpassed() const;

    /// `frame` is the echo of its request or of a query that had none yet; that is noted.
    bool takeEcho(const QByteArray& frame);
    /// Whether `frame` answers the request that is owed. `echoes`: so does the adapter.
    bool answersData(const QByteArray& frame, bool echoes) const;
    /// Index of the oldest query that `frame` answers; empty without one.
    std::optional<int> answeredQuery(const QByteArray& frame, bool echoes) const;

    /// The last of its queries; only while it owes any.
    StatusQuery& newestQuery() { return out[static_cast<std::size_t>(queries - 1)]; }
    const StatusQuery& newestQuery() const { return out[static_cast<std::size_t>(queries - 1)]; }
    /// Takes note of a query that was sent.
    void addQuery(const StatusQuery& query);
    /// A reply came without the answers to the queries before its request. They stay owed, for it may be the
    /// reply to an earlier request. `count`: nothing speaks against that they will not come. Returns the
    /// kinds of those queries, without the damaged.
    unsigned passQueries(bool count);
    /// The answers up to this one will not come any more. `count`: see passQueries(). Returns the kinds of
    /// the queries before it, without the damaged and those that were passed.
    unsigned dropQueries(quint64 upTo, bool count);
    /// Answers of these kinds are missing. Whether what came since may belong to earlier requests: the
    /// station does answer such queries, as is known now, but does not count, so that nothing else would
    /// tell.
    bool mayHaveSlipped(unsigned missing);
    /// One slow answer is not remembered for ever.
    void learnPace(qint64 afterUs);

    /// It came late or not at all: only its own answers prove what it sends, until they prove it, too.
    void doubt();
    /// What it sends may belong to earlier requests than it seems to.
    void disturb();
    /// A query to it was answered in its place.
    void noteProof(QueryKind kind);
    /// So many queries were answered after one of its replies that no left-over of earlier requests can be
    /// what it answers. The answers of a station that counts are like no other.
    bool established() const { return diagnosticCounted || inStep; }
    /// It has answered code 8, `counted` or with a refusal. Returns whether it ceases to count by that.
    bool noteCounted(bool counted);
    /// `answers`: how many queries it answered after a reply of its own, of all its kinds.
    void noteInStep(int answers);
    /// The only answers that prove its replies are its own.
    bool needsOwn() const { return unproven || heldMirrors > 0; }

    /// The kinds of query that it may answer, as far as is known.
    unsigned kinds() const;
    /// It has answered the last query's kind before.
    bool answeredKindOfLast() const;
    /// Nothing shows yet that it does not answer function code 7, or 8.
    bool mayAnswerStatus() const;
    bool mayAnswerDiagnostics() const;
    /// It answers requests, but neither kind of query.
    bool isDeaf() const { return !mayAnswerStatus() && !mayAnswerDiagnostics(); }
    /// Whether its next query is function code 8.
    bool useDiagnostic(const QueryConditions& line) const;
    /// Until when the answer that is owed would pass for that to the next query, which is like it; empty
    /// where it would not.
    DueUs alikeUntilUs(const QueryConditions& line) const;
    /// When a query may go to it; empty = never.
    DueUs askUs(const QueryConditions& line) const;
    bool mayAsk(const QueryConditions& line, qint64 nowUs) const {
        const DueUs mayUs = askUs(line);
        return mayUs && nowUs >= *mayUs;
    }
};

/// All stations of a line, kept in its LineBooks. For one thread; nothing of it fails.
class StationLedger {
public:
    StationLedger() : stations_(256) {}

    StationRecord& at(int number) { return stations_[static_cast<std::size_t>(number & 0xFF)]; }
    const StationRecord& at(int number) const { return stations_[static_cast<std::size_t>(number & 0xFF)]; }
    /// The stations that were asked, each once.
    const std::vector<int>& asked() const { return asked_; }
    /// The last byte of a frame to the station will be on the line at `endUs`.
    void noteAsked(int number, qint64 endUs);
    /// Nothing is owed any more, and no station is proven.
    void reset();
    /// Forgets what is owed for too long; should it come, it is surplus. What is still waited for stays:
    /// the reply of station `awaited`, unless its end was reported, and the answers of station `queried`.
    void forget(qint64 nowUs, std::optional<int> awaited, std::optional<int> queried);
    /// When forget() will next have looked at everything.
    qint64 forgetUs() const { return forgetUs_; }

private:
    std::vector<StationRecord> stations_;
    std::vector<int> asked_;
    qint64 forgetUs_ = 0;
};

}  // namespace dx7

#endif

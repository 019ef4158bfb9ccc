/// \file
/// The status query that the line waits for.
#ifndef DX7_HOST_OPEN_QUERY_H
#define DX7_HOST_OPEN_QUERY_H

#include <QByteArray>
#include <optional>

#include "host/exchange/line_books.h"
#include "host/exchange/line_traffic.h"
#include "host/line/line_settings.h"

namespace dx7 {

/// The operation that a query is for, or comes between.
struct OperationTime {
    /// When it has had its time.
    qint64 lastUs = 0;
    /// Other stations can be served while one owes a reply.
    bool others = true;
};

/// Of one query after the other: to whom it goes and why, of which kind it is, how long its answer has, and
/// whether another one is sent in its place. Queries of function code 8 are counted, so that no two of them
/// are alike.
///
/// Pure, for one thread: times are microseconds on the caller's clock. Its owner is the line's Exchange,
/// which says when it is sent. Nothing of it fails.
class OpenQuery {
public:
    /// Why it goes out, and what follows it.
    enum class Purpose {
        /// It proves what is held, or was asked for by itself.
        Proof,
        /// The present request has timed out.
        Resolve,
        /// The present request is sent after it.
        Precede
    };

    /// All of them outlive it.
    OpenQuery(const LineSettings& settings, LineBooks& books, LineTraffic& traffic);

    /// What the counter begins after, so that programs that follow each other differ.
    void setCounter(quint16 counter) { counter_ = counter; }

    /// From now on it is the one to this station.
    void open(int station, Purpose purpose);
    /// It is not open any more. Whether it was an echo test.
    bool close();
    /// It, or the next one, asks for the status itself.
    void setPlain() { plain_ = true; }
    /// It, or the next one, tells whether the adapter echoes, before a request is sent; or does not.
    void setEchoTest(bool echoTest) { echoTest_ = echoTest; }
    /// What follows is not that any more: the present request has its reply.
    void setAnswered() { purpose_ = Purpose::Proof; }

    /// Its station. Only after open().
    int station() const { return station_; }
    Purpose purpose() const { return purpose_; }
    bool plain() const { return plain_; }
    /// It proves what is held, at the end of everything.
    bool last() const;

    /// Gives it to the line, of the kind that tells most.
    void send(const QueryConditions& line, qint64 nowUs);
    /// The bytes that send() gave to the line last; empty before the first.
    const QByteArray& bytes() const { return bytes_; }
    /// Until when its answer is waited for, apart from the line time of that; now or later.
    qint64 deadlineUs(const OperationTime& operation, qint64 nowUs) const;
    /// Line time of the answer to the last query to the station.
    qint64 answerTimeUs() const;

    /// Its answer came damaged: the other kind of query may tell, unless that is out, too.
    bool asksOtherwise(const QueryConditions& line) const;
    /// It was not answered in time, and another query may tell what it has not told.
    bool asksAgain(const QueryConditions& line, const OperationTime& operation, qint64 nowUs) const;
    /// Only its echo came: what follows from that is far-reaching, so the answer has the time of an
    /// operation, up to this. Empty where that is over, or something else came.
    std::optional<qint64> echoAloneUntilUs(qint64 nowUs) const;

private:
    const StationRecord& record() const { return books_.stations.at(station_); }
    void build(StatusQuery& query);

    const LineSettings& settings_;
    LineBooks& books_;
    LineTraffic& traffic_;
    QByteArray bytes_;
    int station_ = 0;
    Purpose purpose_ = Purpose::Proof;
    bool plain_ = false;
    bool echoTest_ = false;
    quint16 counter_ = 0;
};

}  // namespace dx7

#endif

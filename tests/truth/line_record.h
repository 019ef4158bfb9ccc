// What was on a simulated line, and what a host can know of it.
#ifndef DX7_TESTS_TRUTH_LINE_RECORD_H
#define DX7_TESTS_TRUTH_LINE_RECORD_H

#include <QByteArray>
#include <QVector>
#include <cstdint>
#include <vector>

#include "scenario.h"

namespace truth {

/// The value that a station gives for one item with its reading number `reading`: of a register all 16 bits.
int valueOf(int station, int function, int item, std::uint64_t reading);

/// What makes two frames alike to a program that reads them: replies of one shape pass for each other.
QByteArray shapeOf(const QByteArray& frame);
/// The shape of the good reply to a request.
QByteArray replyShape(const QByteArray& request);

/// Every value tells its item and its moment: what is shown can be judged by what was read, sent, lost and
/// put in.
class LineRecord {
public:
    explicit LineRecord(const QVector<StationKind>& stations) : stations_(stations) {}

    void noteSent(const QByteArray& request, qint64 atUs) {
        sent_.push_back(Sent{request, atUs, readings_.size()});
    }
    void noteReading(qint64 atUs) { readings_.push_back(atUs); }
    void noteExecution(const QByteArray& request, qint64 atUs) {
        executions_.push_back(Execution{request, atUs});
    }
    /// A frame of this shape was lost without a trace.
    void noteLost(const QByteArray& shape, qint64 atUs) { lost_.push_back(Mark{shape, atUs}); }
    /// One that the host did not ask for was put in.
    void noteInserted(const QByteArray& shape, qint64 atUs) { inserted_.push_back(Mark{shape, atUs}); }
    /// One that it did not ask for, or asked for long ago, has come.
    void noteInsertion(qint64 atUs) { insertionsUs_.push_back(atUs); }
    /// An adapter that does not always echo sent a query of code 8 back: byte for byte its answer.
    void noteEchoedQuery(int station, qint64 atUs) { echoedQueries_.push_back(EchoedQuery{station, atUs}); }
    /// A query of the second master came that may be the host's byte for byte.
    void noteFalseEcho() { falseEcho_ = true; }

    /// How many readings were taken.
    std::uint64_t readings() const { return readings_.size(); }
    /// The number of the last reading of any station up to `atUs`.
    std::uint64_t readingAt(qint64 atUs) const;
    struct Sent {
        QByteArray frame;
        qint64 atUs = 0;
        std::uint64_t readings = 0;  ///< That had been taken before.
    };
    /// When the host sent exactly this request last, not after `beforeUs`; null = never.
    const Sent* lastSent(const QByteArray& frame, qint64 beforeUs) const;
    bool executed(const QByteArray& request, qint64 fromUs, qint64 toUs) const;
    /// The bytes up to `toUs` are those of a line on which nothing went wrong, with frames put in for others:
    /// since `fromUs` a reply of this shape was lost without a trace, and a frame of it was put in; or both
    /// such a frame and answers to queries of both kinds after it were. What is put in is on the line up to
    /// 100 ms before it has come. Of a station that answers code 7 alone: an answer to it was put in at any
    /// time; of one that answers no query: a reply was; of one that refuses code 8, so that no answer has a
    /// counter: a reply and answers of both kinds were. And since `fromUs` the adapter echoed a query of code
    /// 8 to it, which it does not do with all requests, while late frames of it came.
    bool undecidable(const QByteArray& shape, qint64 fromUs, qint64 toUs) const;
    /// How many frames that the host did not ask for, or asked for long ago, had come by then.
    int insertions(qint64 untilUs) const;

private:
    struct Execution {
        QByteArray request;
        qint64 atUs = 0;
    };
    struct Mark {
        QByteArray shape;
        qint64 atUs = 0;
    };

    struct EchoedQuery {
        int station = 0;
        qint64 atUs = 0;
    };

    QVector<StationKind> stations_;
    std::vector<qint64> readings_;  // When each was taken.
    std::vector<Sent> sent_;
    std::vector<Execution> executions_;
    std::vector<Mark> lost_;
    std::vector<Mark> inserted_;
    std::vector<qint64> insertionsUs_;
    std::vector<EchoedQuery> echoedQueries_;
    bool falseEcho_ = false;
};

}  // namespace truth

#endif

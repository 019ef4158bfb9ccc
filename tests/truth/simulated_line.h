// A line with stations on it, on the virtual clock. Every value tells its item and its moment.
#ifndef DX7_TESTS_TRUTH_SIMULATED_LINE_H
#define DX7_TESTS_TRUTH_SIMULATED_LINE_H

#include <QByteArray>
#include <functional>
#include <map>
#include <queue>
#include <vector>

#include "random.h"
#include "scenario.h"

namespace truth {

/// The value that a station gives for one item with its reading number `reading`: of a register all 16 bits.
int valueOf(int station, int function, int item, std::uint64_t reading);

/// What makes two frames alike to a program that reads them: replies of one shape pass for each other.
QByteArray shapeOf(const QByteArray& frame);
/// The shape of the good reply to a request.
QByteArray replyShape(const QByteArray& request);

/// A write that a station carried out.
struct Execution {
    QByteArray request;
    qint64 atUs = 0;
};

class SimulatedLine {
public:
    using Trace = std::function<void(qint64 atUs, const char* what, const QByteArray& frame)>;

    explicit SimulatedLine(const Scenario& scenario, Trace trace = {});

    /// The host puts a frame on the line. A `query` is sent to prove others.
    void send(const QByteArray& frame, bool query, qint64 nowUs);
    /// When anything happens next; -1 = nothing does.
    qint64 nextUs() const { return events_.empty() ? -1 : events_.top().atUs; }
    /// Everything up to `nowUs` happens; returns the bytes that reach the host.
    QByteArray run(qint64 nowUs);

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
    /// such a frame and an answer to a query after it were. What is put in is on the line up to 100 ms before
    /// it has come. Of a station that answers code 7 alone: an answer
    /// to it was put in at any time; of one that answers no query: a reply was; of one that refuses code 8,
    /// so that no answer has a counter: both were.
    bool undecidable(const QByteArray& shape, qint64 fromUs, qint64 toUs) const;
    /// How many frames that the host did not ask for, or asked for long ago, had come by then.
    int insertions(qint64 untilUs) const;

private:
    enum class Origin { Host, Master, Old };
    struct Event {
        qint64 atUs = 0;
        std::uint64_t order = 0;
        enum Kind { Request, Work, Ready, Bytes, Master } kind = Request;
        QByteArray frame;
        QByteArray shape;  // Of Ready: of the good reply.
        Origin origin = Origin::Host;
        qint64 askedUs = 0;
        int fault = 0;  // Number of the fault; of Work: what it takes.
        bool operator<(const Event& other) const {
            return atUs != other.atUs ? atUs > other.atUs : order > other.order;
        }
    };
    struct Active {
        Fault fault;
        Random random;
        std::vector<Event> waiting;  // Of OneBehind: replies.
        int left = 0;
    };
    struct Mark {
        QByteArray shape;
        qint64 atUs = 0;
    };

    void push(qint64 atUs, Event::Kind kind, const QByteArray& frame, Origin origin, qint64 askedUs = 0,
              int fault = 0, const QByteArray& shape = QByteArray());
    void happen(const Event& event);
    void onRequest(const Event& event);
    void onWork(const Event& event);
    void onReady(const Event& event);
    void onMaster(const Event& event);
    void askAsMaster(Active& active, qint64 atUs);
    QByteArray strangeRequest(Active& active, int flags);
    void leaveOver(Active& active, const QByteArray& request, qint64 nowUs);
    QByteArray answer(const QByteArray& request, qint64 atUs);
    QByteArray refusal(const QByteArray& request, int code) const;
    QByteArray readReply(const QByteArray& request) const;
    qint64 extraUs(qint64 nowUs);
    bool lose(const QByteArray& frame, int direction);
    bool pass(std::vector<Event>& replies, qint64 nowUs);
    void put(const Event& reply, qint64 nowUs);
    QByteArray damage(const QByteArray& frame, bool* traceless);
    void deliver(const QByteArray& frame, qint64 nowUs, const char* what);
    void noteInsertion(bool strange);
    void trace(qint64 atUs, const char* what, const QByteArray& frame) const;

    Scenario scenario_;
    Trace trace_;
    std::vector<Active> faults_;
    std::priority_queue<Event> events_;
    std::uint64_t order_ = 0;
    qint64 pipeFreeUs_ = 0;
    qint64 sendFreeUs_ = 0;
    std::map<int, qint64> busyUntilUs_;
    qint64 lineUntilUs_ = 0;        ///< When the last reply of all goes out.
    std::vector<qint64> readings_;  // When each was taken.
    std::vector<Sent> sent_;
    std::vector<Execution> executions_;
    std::vector<Mark> lost_;
    std::vector<Mark> inserted_;
    std::vector<qint64> insertionsUs_;
    std::vector<QByteArray> asked_;  // Requests of the host, for the second master.
    QByteArray arrived_;
    std::uint64_t masterCounter_ = 0;
    bool falseEcho_ = false;  // A request of the second master came that was the host's byte for byte.
};

}  // namespace truth

#endif

// A line with stations on it, on the virtual clock.
#ifndef DX7_TESTS_TRUTH_SIMULATED_LINE_H
#define DX7_TESTS_TRUTH_SIMULATED_LINE_H

#include <QByteArray>
#include <functional>
#include <map>
#include <queue>
#include <vector>

#include "line_record.h"
#include "random.h"
#include "scenario.h"

namespace truth {

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
    const LineRecord& record() const { return record_; }

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
    LineRecord record_;
    std::priority_queue<Event> events_;
    std::uint64_t order_ = 0;
    qint64 pipeFreeUs_ = 0;
    qint64 sendFreeUs_ = 0;
    std::map<int, qint64> busyUntilUs_;
    qint64 lineUntilUs_ = 0;         ///< When the last reply of all goes out.
    std::vector<QByteArray> asked_;  // Requests of the host, for the second master.
    QByteArray arrived_;
    std::uint64_t masterCounter_ = 0;
};

}  // namespace truth

#endif

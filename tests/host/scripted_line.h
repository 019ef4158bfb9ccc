// A line whose other end is a function, on a clock that moves only when it is waited on.
#ifndef DX7_TESTS_HOST_SCRIPTED_LINE_H
#define DX7_TESTS_HOST_SCRIPTED_LINE_H

#include <QVector>
#include <functional>
#include <map>

#include "host/line/line.h"
#include "tests/kit/hex.h"
#include "tests/kit/virtual_clock.h"

using kit::hex;
using kit::VirtualClock;

class ScriptedLine : public dx7::Line {
public:
    // Called with every request; answers through arrive().
    using Script = std::function<void(ScriptedLine&, const QByteArray& request)>;

    explicit ScriptedLine(VirtualClock& clock) : clock_(clock) {}

    bool open() override;
    Opening reopen() override;
    // What was on its way is lost.
    void close() override;
    bool isOpen() const override { return open_; }
    bool receive(QByteArray* bytes) override;
    bool send(const QByteArray& bytes) override;
    bool tookBytes() const override { return took_ > 0; }
    void expect(int count) override { expected_ = count; }
    int descriptor() const override { return -1; }
    QString failure() const override { return QStringLiteral("scripted loss"); }

    // `bytes` are there `delayUs` from now.
    void arrive(const QByteArray& bytes, qint64 delayUs) {
        arrivals_.emplace(clock_.nowUs() + delayUs, bytes);
    }
    // The same, but not before what is on its way already.
    void arriveInTurn(const QByteArray& bytes, qint64 delayUs);
    // When the bytes that expect() asked for have come; -1 = not with what is on its way.
    qint64 worthUs() const;

    Script script;
    QVector<QByteArray> requests;
    QVector<qint64> requestTimes;
    // The line is lost when it has taken so many bytes of a request; -1 takes all.
    int lostAfterBytes = -1;
    bool refuseOpen = false;
    int openAttempts = 0;
    qint64 openTakesUs = 0;

private:
    bool finishOpening();

    VirtualClock& clock_;
    bool open_ = true;
    int took_ = 0;
    int expected_ = 1;
    qint64 openEndUs_ = -1;  // -1 when no attempt is under way.
    std::multimap<qint64, QByteArray> arrivals_;
};

// The bytes with their CRC after them.
QByteArray framed(const QByteArray& bytes);
// Whether the request is a status query by which replies are proven.
bool isQuery(const QByteArray& request);
// The requests without the status queries.
QVector<QByteArray> withoutQueries(const QVector<QByteArray>& requests);

// A device with registers and coils that all hold 0 unless set. Answers function codes 1 to 8 and 16.
class ScriptedDevice {
public:
    QByteArray answer(const QByteArray& request);

    std::map<int, int> registers;
    std::map<int, int> coils;
};

#endif

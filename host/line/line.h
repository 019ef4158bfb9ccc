/// \file
/// The line to the device, as the communication loop sees it.
#ifndef DX7_HOST_LINE_H
#define DX7_HOST_LINE_H

#include <QByteArray>
#include <QString>
#include <functional>
#include <memory>
#include <utility>

#include "host/line/line_settings.h"

namespace dx7 {

/// A byte stream that can be opened, lost and opened again. Used from one thread.
class Line {
public:
    enum class Opening { Open, UnderWay, Failed };

    virtual ~Line() = default;

    /// Opens or reopens and waits until that is done. False when it failed; failure() says why.
    virtual bool open() = 0;
    /// The same for a caller who has other things to do: begins an attempt, or looks what has become of the
    /// one under way. Does not wait. While an earlier close() goes on, it is under way, too. failure() says
    /// why it failed. A line that needs no time to open uses open().
    virtual Opening reopen();
    /// A question whose yes ends an open() that waits; it is asked every 20 ms, in the same thread.
    void setStopRequest(std::function<bool()> stopped) { stopRequest_ = std::move(stopped); }
    /// Does not wait: what takes its time goes on aside. Drops an attempt to open, too.
    virtual void close() = 0;
    virtual bool isOpen() const = 0;

    /// Takes what has arrived, without waiting, appended to `*bytes`: one read system call, at most 4096
    /// bytes. False when the line is lost; it is closed then. True when nothing
    /// has arrived.
    virtual bool receive(QByteArray* bytes) = 0;
    /// Hands `bytes` to the line without waiting: writes what it takes now and keeps the rest, which flush()
    /// goes on with. False when the line is lost; it is closed then.
    virtual bool send(const QByteArray& bytes) = 0;
    /// Whether the line took any byte of the last send(), also of one that failed, then or by flush().
    virtual bool tookBytes() const = 0;
    /// Goes on with what send() left; to be called when a Poller says so, and now and then in any case. False
    /// when the line is lost or took nothing for 5 s, counted from the first flush() in vain; it is closed
    /// then.
    virtual bool flush(qint64 nowUs);
    /// Whether bytes of send() are left.
    virtual bool sending() const { return false; }
    /// Hint: fewer than `count` bytes (1 or more) are not worth a wake-up. Holds until it is changed, also
    /// for bytes that have arrived already. Cheap when the count does not change.
    virtual void expect(int count);
    /// What a Poller watches; -1 while the line is not open.
    virtual int descriptor() const { return -1; }
    /// Time on the wire of one character in microseconds, rounded up; 0 where bytes come in one piece (TCP).
    virtual qint64 characterUs() const { return 0; }

    /// Why the line was lost or did not open.
    virtual QString failure() const = 0;

protected:
    bool stopRequested() const { return stopRequest_ && stopRequest_(); }

private:
    std::function<bool()> stopRequest_;
};

/// The line that `settings` describe, not yet opened.
std::unique_ptr<Line> makeLine(const LineSettings& settings);

}  // namespace dx7

#endif

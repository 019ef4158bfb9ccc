/// \file
/// The line to the device, as the communication loop sees it.
#ifndef DX7_HOST_LINE_H
#define DX7_HOST_LINE_H

#include <QByteArray>
#include <QString>
#include <memory>

#include "clock.h"
#include "line_settings.h"

namespace dx7 {

/// A byte stream that can be opened, lost and opened again. Used from one thread.
class Line {
public:
    enum class Opening { Open, UnderWay, Failed };

    virtual ~Line() = default;

    /// Opens or reopens and waits until that is done. On failure returns false and says why in `*why`.
    virtual bool open(QString* why) = 0;
    /// The same for a caller who has other things to do: begins an attempt, or looks what has become of the
    /// one under way. failure() says why it failed. A line that needs no time to open uses open().
    virtual Opening reopen();
    virtual void close() = 0;
    virtual bool isOpen() const = 0;

    /// Hands all bytes to the line. False when the line is lost; it is closed then.
    virtual bool write(const QByteArray& bytes) = 0;
    /// Whether the line took any byte of the last write(), also of one that failed. True where that is not
    /// known.
    virtual bool tookBytes() const { return true; }

    /// Appends what has arrived to `*bytes`; when nothing has, waits for the first bytes until `deadlineUs`.
    /// False when the line is lost; it is closed then. Nothing within the time is no failure.
    virtual bool read(QByteArray* bytes, qint64 deadlineUs) = 0;

    /// Why the line was lost or did not open.
    virtual QString failure() const = 0;
};

/// The line that `settings` describe, not yet opened. `clock` must outlive it.
std::unique_ptr<Line> makeLine(const LineSettings& settings, Clock& clock);

}  // namespace dx7

#endif

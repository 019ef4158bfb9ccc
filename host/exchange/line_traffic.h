/// \file
/// What goes to the line and what comes from it, frame by frame.
#ifndef DX7_HOST_LINE_TRAFFIC_H
#define DX7_HOST_LINE_TRAFFIC_H

#include <QByteArray>
#include <optional>

#include "host/exchange/echo_watch.h"
#include "host/exchange/frame_stream.h"
#include "host/exchange/mbap.h"
#include "host/line/line_settings.h"

namespace dx7 {

class FrameTap;

/// Keeps the frame that is to be handed to the line, cuts what comes into pieces, takes the adapter's echo
/// out of it and counts what was sent. It knows of no request: what a frame answers is decided elsewhere.
/// Over Modbus/TCP each frame goes out under an id, and has its reply by that; there is no echo.
///
/// Pure, for one thread: times are microseconds on the caller's clock. Its owner is the line's Exchange.
/// What comes damaged is a piece, too; only what the tap throws passes out of it.
class LineTraffic {
public:
    /// `settings` outlives it.
    explicit LineTraffic(const LineSettings& settings);

    /// Nothing is under way, and what has come of a frame is dropped. What was learnt of the echo stays.
    void reset();
    /// Borrowed; null = none.
    void setTap(FrameTap* tap) { tap_ = tap; }

    // Out.

    /// `frame` is the next output(). `alike`: its reply may equal it.
    void send(const QByteArray& frame, bool alike, qint64 nowUs);
    /// The frame to be handed to the line now; empty when there is none.
    const QByteArray& output() const { return output_; }
    void outputTaken() { output_.resize(0); }
    /// Whether output() carries this frame.
    bool carries(const QByteArray& frame) const { return !output_.isEmpty() && carried_ == frame; }
    /// Whether an id tells which request a reply answers.
    bool hasIds() const { return settings_.carrier == Carrier::ModbusTcp; }
    /// Number of the frame that was sent last, 1 and up; 0 before the first.
    quint64 sequence() const { return sequence_; }

    // In.

    /// A reply of `length` bytes from this station and function code is awaited.
    void await(int station, int function, int length) { stream_.await({station, function, length}); }
    void awaitNothing();
    const AwaitedReply& awaited() const { return stream_.awaited(); }
    /// Bytes came, the last of them at `nowUs`; 1 or more.
    void append(const char* bytes, int count, qint64 nowUs);
    /// Takes the first piece of what has come; frame() is the piece. Empty when more bytes are needed to
    /// tell; `last`: no more will come, so that everything is told.
    std::optional<FrameStream::Kind> take(bool last, qint64 nowUs);
    /// The bytes of the piece that was taken last.
    const QByteArray& frame() const { return frame_; }
    /// Bytes have come that are not a whole frame yet.
    bool partial() const { return hasIds() ? mbap_.partial() : !stream_.isEmpty(); }
    /// How many bytes must come before take() can tell anything new; 1 or more.
    int missing() const { return hasIds() ? mbap_.missing() : stream_.missing(); }
    /// The first bytes that ever came, at most FIRST_BYTES.
    const QByteArray& firstBytes() const { return firstBytes_; }
    static constexpr int FIRST_BYTES = 8;
    /// Of the last OtherId: when its request was sent; empty where no reply was due.
    std::optional<qint64> askedUs() const { return askedUs_; }
    /// When a frame of which a part has come will be whole, or is given up, at the latest.
    qint64 wholeUs() const;

    /// When the line carried its last byte; a frame that is being sent, its last one.
    qint64 lastActivityUs() const { return lastActivityUs_; }
    EchoWatch& echo() { return echo_; }
    const EchoWatch& echo() const { return echo_; }

private:
    std::optional<FrameStream::Kind> takeUnderId(qint64 nowUs);
    void tapReceived(qint64 nowUs);

    const LineSettings& settings_;
    FrameStream stream_;
    MbapStream mbap_;
    EchoWatch echo_;
    QByteArray output_;
    /// The frame in output_.
    QByteArray carried_;
    QByteArray frame_;
    QByteArray firstBytes_;
    std::optional<qint64> askedUs_;
    quint64 sequence_ = 0;
    qint64 lastActivityUs_ = 0;
    FrameTap* tap_ = nullptr;
};

}  // namespace dx7

#endif

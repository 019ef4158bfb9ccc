/// \file
/// What goes to the line and what comes from it, frame by frame.
#ifndef DX7_HOST_LINE_TRAFFIC_H
#define DX7_HOST_LINE_TRAFFIC_H

#include <QByteArray>
#include <optional>

#include "host/exchange/echo_watch.h"
#include "host/exchange/frame_stream.h"
#include "host/line/line_settings.h"

namespace dx7 {

class FrameTap;

/// Keeps the frame that is to be handed to the line, cuts what comes into pieces, takes the adapter's echo
/// out of it and counts what was sent. It knows of no request: what a frame answers is decided elsewhere.
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
    /// Number of the frame that was sent last, 1 and up; 0 before the first.
    quint64 sequence() const { return sequence_; }

    // In.

    /// A reply of `length` bytes from this station and function code is awaited.
    void await(int station, int function, int length) { stream_.await({station, function, length}); }
    void awaitNothing() { stream_.await({}); }
    const AwaitedReply& awaited() const { return stream_.awaited(); }
    /// Bytes came, the last of them at `nowUs`; 1 or more.
    void append(const char* bytes, int count, qint64 nowUs);
    /// Takes the first piece of what has come; frame() is the piece. Empty when more bytes are needed to
    /// tell; `last`: no more will come, so that everything is told.
    std::optional<FrameStream::Kind> take(bool last, qint64 nowUs);
    /// The bytes of the piece that was taken last.
    const QByteArray& frame() const { return frame_; }
    /// Bytes have come that are not a whole frame yet.
    bool partial() const { return !stream_.isEmpty(); }
    /// How many bytes must come before take() can tell anything new; 1 or more.
    int missing() const { return stream_.missing(); }
    /// When a frame of which a part has come will be whole, or is given up, at the latest.
    qint64 wholeUs() const;

    /// When the line carried its last byte; a frame that is being sent, its last one.
    qint64 lastActivityUs() const { return lastActivityUs_; }
    EchoWatch& echo() { return echo_; }
    const EchoWatch& echo() const { return echo_; }

private:
    const LineSettings& settings_;
    FrameStream stream_;
    EchoWatch echo_;
    QByteArray output_;
    QByteArray frame_;
    quint64 sequence_ = 0;
    qint64 lastActivityUs_ = 0;
    FrameTap* tap_ = nullptr;
};

}  // namespace dx7

#endif

/// \file
/// Cuts the bytes of a line into frames. Pure.
#ifndef DX7_HOST_FRAME_STREAM_H
#define DX7_HOST_FRAME_STREAM_H

#include <QByteArray>

#include "host/exchange/damage.h"

namespace dx7 {

/// Bytes of one reply do not lie further apart, whatever carries them.
constexpr qint64 PIECE_GAP_US = 50000;

/// Bytes go in as they come; next() says what the first of them are. A frame is whole when its CRC is right
/// at the length that its own head announces, or else at the first length where the CRC fits.
///
/// Its LineTraffic owns it. For one thread; it knows no time, and nothing of it fails.
class FrameStream {
public:
    enum class Kind {
        /// A whole frame with a good CRC.
        Frame,
        /// The bytes that were sent last, as they were sent.
        Echo,
        /// As many bytes as the awaited reply has, with its station and function code, but no good CRC.
        Damaged,
        /// Bytes outside of any frame.
        Noise,
        /// A frame under the id of an earlier request whose reply had not come, or of none (Modbus/TCP
        /// alone).
        OtherId
    };
    struct Piece {
        Kind kind = Kind::Noise;
        int length = 0;
    };

    FrameStream();

    void append(const char* bytes, int count) { buffer_.append(bytes, count); }
    /// Whether the first bytes that equal what was sent are its echo: never; unless they begin a whole frame
    /// of another length; the same, but a single byte more may be one that a line picks up where it turns
    /// round; always.
    enum class EchoLook { None, Unlikely, Possible, Certain };
    /// `frame` was handed to the line.
    void sent(const QByteArray& frame, EchoLook echo);
    void await(const AwaitedReply& awaited) { awaited_ = awaited; }
    const AwaitedReply& awaited() const { return awaited_; }

    /// What the buffer begins with. False when more bytes are needed to tell.
    bool next(Piece* piece) const;
    /// The same when no more bytes will come: everything is told.
    bool last(Piece* piece) const;
    void drop(int count) { buffer_.remove(0, count); }

    const QByteArray& buffer() const { return buffer_; }
    bool isEmpty() const { return buffer_.isEmpty(); }
    /// How many more bytes must come, at least, before next() can tell anything; 1 or more.
    int missing() const;

private:
    bool headAwaited(int start) const;
    bool echoes(Piece* piece, bool complete, bool* undecided) const;
    int wholeFrame(int start) const;
    int laterFrame() const;
    int frameByCrc() const;

    QByteArray buffer_;
    EchoLook look_ = EchoLook::None;
    /// What an echo would be; empty when none is looked for.
    QByteArray echo_;
    AwaitedReply awaited_;
};

/// Length of the reply at `start` as its own head announces it; 0 when that cannot be told.
int announcedLength(const QByteArray& bytes, int start);

}  // namespace dx7

#endif

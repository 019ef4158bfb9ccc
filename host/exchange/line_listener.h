/// \file
/// Listening to a line before anything is sent: whether another master is on it.
#ifndef DX7_HOST_LINE_LISTENER_H
#define DX7_HOST_LINE_LISTENER_H

#include <QByteArray>
#include <QVector>
#include <vector>

#include "host/line/line_settings.h"

namespace dx7 {

/// So long a line is listened to, in microseconds, unless a frame is just coming.
constexpr qint64 LISTEN_US = 300000;

/// Bytes that were received before this host sent anything.
struct HeardPiece {
    enum Kind {
        /// A whole frame of a master.
        Request,
        /// A whole frame of a station.
        Reply,
        /// Bytes that no valid CRC makes a frame.
        Stray
    };
    Kind kind = Stray;
    QByteArray bytes;
    /// When the last of them came.
    qint64 endUs = 0;
};

/// Takes bytes with their times, and says what they are. A frame may begin anywhere, for listening may have
/// begun in the middle of one. A CRC of 16 bits fits by chance, too. So it has to be a frame of a known
/// function code, with the length and the fields of its request or reply, or one of any function code with
/// silence before and after it.
///
/// Pure, for one thread: times are microseconds on the caller's clock. Nothing of it fails.
class LineListener {
public:
    /// Listening begins at `nowUs`.
    LineListener(const LineSettings& settings, qint64 nowUs);

    /// Bytes came, the last of them at `nowUs`.
    void received(const char* bytes, int count, qint64 nowUs);
    /// When it is over: LISTEN_US after its beginning; later while bytes come, so that the frame that they
    /// may be is whole, by the time of the longest frame at most.
    qint64 endUs() const;
    /// What was heard, in order. Empty on a quiet line.
    QVector<HeardPiece> pieces() const;

private:
    struct Chunk {
        QByteArray bytes;
        qint64 endUs = 0;
    };

    /// Longest silence within a frame.
    qint64 gapUs_;
    qint64 beginUs_;
    qint64 latestUs_;
    std::vector<Chunk> chunks_;
    int bytes_ = 0;
};

}  // namespace dx7

#endif

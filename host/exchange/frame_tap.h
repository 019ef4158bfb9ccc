/// \file
/// Where the communication loop reports the frames that pass on the line.
#ifndef DX7_HOST_FRAME_TAP_H
#define DX7_HOST_FRAME_TAP_H

#include <QByteArray>

namespace dx7 {

/// Sees every request when it was handed to the line, and what came back, foreign frames included, when it
/// was judged. Called from inside the loop, in its thread; it must not call the loop. What it throws, a
/// LineError where frames cannot be kept, passes out of the call of the loop that led to it.
class FrameTap {
public:
    virtual ~FrameTap() = default;
    /// `frame` was handed to the line `agoUs` microseconds ago.
    virtual void requestSent(const QByteArray& frame, qint64 agoUs = 0) = 0;
    /// The last byte of `frame` came `agoUs` microseconds ago.
    virtual void frameReceived(const QByteArray& frame, qint64 agoUs = 0) = 0;
};

}  // namespace dx7

#endif

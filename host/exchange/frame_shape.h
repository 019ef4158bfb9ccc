/// \file
/// How long a frame is by its own first bytes, as one hears it on a line. Pure functions, for any thread;
/// none of them fails.
#ifndef DX7_HOST_FRAME_SHAPE_H
#define DX7_HOST_FRAME_SHAPE_H

#include <QByteArray>

namespace dx7 {

/// More bytes are needed to tell.
constexpr int LENGTH_OPEN = -1;

/// Whether a frame of this function code tells its length.
bool tellsItsLength(int function);

/// Length of the request that may begin at `start`, with its CRC; 0 where none can by its station, function
/// code and fields, LENGTH_OPEN while the bytes end too early to tell.
int requestLength(const QByteArray& bytes, int start);
/// Likewise of a reply or refusal.
int replyLength(const QByteArray& bytes, int start);

}  // namespace dx7

#endif

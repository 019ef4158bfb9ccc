/// \file
/// Recorded frames in words.
#ifndef DX7_HOST_FRAME_TEXT_H
#define DX7_HOST_FRAME_TEXT_H

#include <QString>

#include "host/exchange/damage.h"
#include "host/files/recording.h"

namespace dx7 {

/// What a frame says, as "station 1 read holding registers: 0xF319, quantity 2". One that does not end with
/// its own CRC is damaged as damageText() says: `awaited` is the reply that was waited for. Takes frames of
/// any length and content. Any thread may call it.
QString describeFrame(const RecordedFrame& frame, const AwaitedReply& awaited = {});

}  // namespace dx7

#endif

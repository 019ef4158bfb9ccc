/// \file
/// Recorded frames in words.
#ifndef DX7_HOST_FRAME_TEXT_H
#define DX7_HOST_FRAME_TEXT_H

#include <QString>

#include "host/files/recording.h"

namespace dx7 {

/// What a frame says, as "station 1 read holding registers: 0xF319, quantity 2"; "wrong CRC" when it does not
/// end with its own. Takes frames of any length and content. Any thread may call it.
QString describeFrame(const RecordedFrame& frame);

}  // namespace dx7

#endif

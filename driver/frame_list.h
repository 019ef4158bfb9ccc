/// \file
/// The frames of the operation in progress (driver.frameList) without an allocation per transaction: the
/// record of the frame that leaves is kept for the next one.
#ifndef KORVALENT_DX7_FRAME_LIST_H
#define KORVALENT_DX7_FRAME_LIST_H

#include "korvalent_dx7.h"

/// Appends a copy of `frame`.
void appendFrame(const FRAME_PRO& frame);

/// Removes the frame on the wire; nothing when there is none.
void removeFirstFrame();

#endif

/// \file
/// Frames for tests.
#ifndef DX7_TESTS_DEVICE_FRAMES_H
#define DX7_TESTS_DEVICE_FRAMES_H

#include "device/line/frame.h"

/// `frame` followed by its CRC.
inline dx7sim::Bytes withCrc(dx7sim::Bytes frame) {
    frame.resize(frame.size() + 2);
    dx7sim::renewCrc(frame);
    return frame;
}

#endif

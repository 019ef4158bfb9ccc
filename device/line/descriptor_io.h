/// \file
/// Bytes in and out of non-blocking descriptors.
#ifndef DX7_DEVICE_DESCRIPTOR_IO_H
#define DX7_DEVICE_DESCRIPTOR_IO_H

#include "device/line/frame.h"

namespace dx7sim {

enum class ReadEnd { NothingMore, EndOfFile, Failed };

/// Appends to `bytes` what can be read from the non-blocking `fd` now, and says why it stopped; errno is set
/// for Failed.
ReadEnd readAvailable(int fd, Bytes& bytes);

/// Writes what the non-blocking `fd` takes; the rest is lost.
void writeAvailable(int fd, const Bytes& bytes);

}  // namespace dx7sim

#endif

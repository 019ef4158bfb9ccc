/// \file
/// Bytes in and out of non-blocking descriptors.
#ifndef DX7_DEVICE_DESCRIPTOR_IO_H
#define DX7_DEVICE_DESCRIPTOR_IO_H

#include "device/line/frame.h"

namespace dx7sim {

/// Why reading stopped: nothing more is there now (or enough was read for one go), the other end has closed,
/// or reading failed.
enum class ReadEnd { NothingMore, EndOfFile, Failed };

/// Appends to `bytes` what can be read from the non-blocking `fd` now, and says why it stopped; errno is set
/// for Failed.
ReadEnd readAvailable(int fd, Bytes& bytes);

/// Writes what the non-blocking `fd` takes; the rest is lost.
void writeAvailable(int fd, const Bytes& bytes);

/// The same for a non-blocking socket. No SIGPIPE comes when the other end has gone.
void sendAvailable(int socket, const Bytes& bytes);

}  // namespace dx7sim

#endif

/// \file
/// Bytes in and out of a non-blocking descriptor of a serial port or socket, without an event loop. The
/// descriptor is borrowed; nothing is kept between calls.
#ifndef DX7_HOST_DESCRIPTOR_IO_H
#define DX7_HOST_DESCRIPTOR_IO_H

#include <QByteArray>
#include <QString>
#include <optional>

namespace dx7 {

enum class Channel { Port, Socket };

/// Appends to `*bytes` what has arrived, without waiting: one system call, 4096 bytes at most. A port must be
/// set up so that a read which finds nothing fails with EAGAIN (VMIN is 1). Empty, also when nothing has
/// arrived, or why the descriptor can no longer be read.
std::optional<QString> takeArrived(int descriptor, QByteArray* bytes);

/// What became of bytes that a descriptor was given.
struct Handed {
    /// How many it took; 0 for none now.
    int count = 0;
    /// Why the descriptor is lost; empty where it is not.
    std::optional<QString> loss;
};

/// Hands over what the descriptor takes of the bytes now: one system call. A socket that was closed at the
/// other end raises no signal.
Handed handBytes(int descriptor, Channel channel, const char* bytes, int count);

}  // namespace dx7

#endif

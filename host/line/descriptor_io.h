/// \file
/// Bytes in and out of a non-blocking descriptor of a serial port or socket, without an event loop. The
/// descriptor is borrowed; nothing is kept between calls.
#ifndef DX7_HOST_DESCRIPTOR_IO_H
#define DX7_HOST_DESCRIPTOR_IO_H

#include <QByteArray>
#include <QString>

namespace dx7 {

enum class Channel { Port, Socket };

/// Appends to `*bytes` what has arrived, without waiting: one system call, 4096 bytes at most. True when
/// nothing has. A port must be set up so that a read which finds nothing fails with EAGAIN (VMIN is 1). False
/// when the descriptor can no longer be read; `*failure` says why.
bool takeArrived(int descriptor, QByteArray* bytes, QString* failure);

/// Hands over what the descriptor takes of the bytes now: one system call. How many it took, 0 for none now;
/// -1 when it is lost, and `*failure` says why. A socket that was closed at the other end raises no signal.
int handBytes(int descriptor, Channel channel, const char* bytes, int count, QString* failure);

}  // namespace dx7

#endif

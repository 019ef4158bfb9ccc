/// \file
/// Bytes in and out of a non-blocking descriptor of a serial port or socket, without an event loop.
#ifndef DX7_HOST_DESCRIPTOR_IO_H
#define DX7_HOST_DESCRIPTOR_IO_H

#include <QByteArray>
#include <QString>

namespace dx7 {

enum class Channel { Port, Socket };

/// Appends to `*bytes` what has arrived; when nothing has, waits up to `waitUs` microseconds for the first. A
/// signal ends the wait early. Nothing in time is no failure. False when the descriptor can no longer be
/// read; `*failure` says why.
bool readDescriptor(int descriptor, QByteArray* bytes, qint64 waitUs, QString* failure);

/// Hands all bytes to the descriptor, for 5 s at most. False when it does not take them; `*failure` says why,
/// and `*taken` (optional) how many it took. A socket that was closed at the other end raises no signal.
bool writeDescriptor(int descriptor, Channel channel, const QByteArray& bytes, QString* failure,
                     int* taken = nullptr);

/// Appends to `*bytes` what has arrived, without waiting: one system call, 4096 bytes at most. Nothing is no
/// failure. A port must be set up so that a read which finds nothing fails with EAGAIN (VMIN is 1). False
/// when the descriptor can no longer be read; `*failure` says why.
bool takeArrived(int descriptor, QByteArray* bytes, QString* failure);

/// Hands over what the descriptor takes of the bytes now: one system call. How many it took, 0 for none now;
/// -1 when it is lost, and `*failure` says why. A socket that was closed at the other end raises no signal.
int handBytes(int descriptor, Channel channel, const char* bytes, int count, QString* failure);

}  // namespace dx7

#endif

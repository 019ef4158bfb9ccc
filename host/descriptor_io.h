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

}  // namespace dx7

#endif

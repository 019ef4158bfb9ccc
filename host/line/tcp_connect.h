/// \file
/// TCP connections made on the side, while the caller does something else.
#ifndef DX7_HOST_TCP_CONNECT_H
#define DX7_HOST_TCP_CONNECT_H

#include <QByteArray>
#include <QString>
#include <future>

#include "common/file_descriptor.h"

namespace dx7 {

/// How an attempt to connect ended.
struct Connected {
    /// Does not block; not open when the attempt failed.
    dx7common::FileDescriptor socket;
    /// Why it failed, in the locale's encoding: the thread may outlive what Qt needs to convert it, when the
    /// program ends.
    QByteArray failure;
};

/// Begins to connect to a host, given by name or address, on a thread of its own. An attempt ends 3 s after
/// the name was found (each of its addresses has that time). Dropping the future does not block; a
/// connection made afterwards is closed.
std::future<Connected> beginConnecting(const QString& host, int port);

}  // namespace dx7

#endif

/// \file
/// One master per serial port, whatever name it is opened by: dx7 and dx7-device take the same lock.
#ifndef DX7_COMMON_PORT_LOCK_H
#define DX7_COMMON_PORT_LOCK_H

#include <sys/types.h>

#include <string>

#include "common/file_descriptor.h"

namespace dx7common {

/// A lock that goes by the number of the device (major and minor), which links, second nodes and bind mounts
/// share. It is a socket in the abstract namespace: it needs no folder and no rights, holds between users,
/// and ends with its program, however that ends. Programs in another network namespace do not see it; they
/// are kept off by flock() on the port itself, as long as they use the same node. No call waits. One thread
/// at a time.
class PortLock {
public:
    PortLock() = default;
    ~PortLock() { release(); }
    PortLock(const PortLock&) = delete;
    PortLock& operator=(const PortLock&) = delete;

    /// Takes the lock of the port that `path` leads to, before the port is opened. What is not a device has
    /// no lock and is let pass: opening it says what is wrong. False when another program holds the lock;
    /// `*why` says which, unless `why` is null. A holder can be asked 64 times who it is.
    bool take(const std::string& path, std::string* why);

    /// Makes sure that the opened `port`, which is borrowed, is the one that was locked, and locks it itself,
    /// too. False when it is not or another program has locked it; `*why` says so.
    bool confirm(int port, std::string* why) const;

    /// Gives the lock back; also at the end of the object.
    void release();

private:
    FileDescriptor socket_;
    bool isDevice_ = false;
    dev_t number_ = 0;
};

}  // namespace dx7common

#endif

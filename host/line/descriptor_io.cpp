#include "host/line/descriptor_io.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "host/error.h"

namespace dx7 {

namespace {

constexpr int MOST_ARRIVED_BYTES = 4096;

// EIO at a line means that its other end is gone, not that a disk is broken.
QString reasonOf(int error) {
    return error == EIO ? QStringLiteral("Input/output error (it was unplugged, or closed at the other end)")
                        : systemReason(error);
}

ssize_t hand(int descriptor, Channel channel, const char* bytes, size_t count) {
    return channel == Channel::Socket ? ::send(descriptor, bytes, count, MSG_NOSIGNAL)
                                      : ::write(descriptor, bytes, count);
}

}  // namespace

std::optional<QString> takeArrived(int descriptor, QByteArray* bytes) {
    char chunk[MOST_ARRIVED_BYTES];
    const ssize_t count = ::read(descriptor, chunk, sizeof chunk);
    if (count > 0) {
        bytes->append(chunk, static_cast<int>(count));
        return {};
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return {};
    }
    return count < 0 ? reasonOf(errno) : QStringLiteral("it was closed at the other end");
}

Handed handBytes(int descriptor, Channel channel, const char* bytes, int count) {
    const ssize_t taken = hand(descriptor, channel, bytes, static_cast<size_t>(count));
    if (taken >= 0) {
        return Handed{static_cast<int>(taken), {}};
    }
    if (errno == EAGAIN || errno == EINTR) {
        return {};
    }
    return Handed{0, reasonOf(errno)};
}

}  // namespace dx7

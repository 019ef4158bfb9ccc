#include "descriptor_io.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "system_reason.h"

namespace dx7 {

namespace {

const qint64 WRITE_PATIENCE_US = 5000000;
const int CHUNK_BYTES = 512;
const int MOST_ARRIVED_BYTES = 4096;

enum class Wait { Ready, Nothing, Interrupted, Failed };

// Of a line: its end at the other side is no fault of a disk.
QString reasonOf(int error) {
    return error == EIO ? QStringLiteral("Input/output error (it was unplugged, or closed at the other end)")
                        : systemReason(error);
}

Wait waitFor(int descriptor, short events, qint64 waitUs) {
    pollfd one{descriptor, events, 0};
    const timespec time{static_cast<time_t>(waitUs / 1000000), static_cast<long>(waitUs % 1000000 * 1000)};
    const int ready = ::ppoll(&one, 1, &time, nullptr);
    if (ready < 0) {
        return errno == EINTR ? Wait::Interrupted : Wait::Failed;
    }
    return ready > 0 ? Wait::Ready : Wait::Nothing;
}

// Whether the other end is gone, without waiting.
bool hungUp(int descriptor) {
    pollfd one{descriptor, POLLRDHUP, 0};
    return ::poll(&one, 1, 0) > 0;
}

ssize_t hand(int descriptor, Channel channel, const char* bytes, size_t count) {
    return channel == Channel::Socket ? ::send(descriptor, bytes, count, MSG_NOSIGNAL)
                                      : ::write(descriptor, bytes, count);
}

}  // namespace

bool readDescriptor(int descriptor, QByteArray* bytes, qint64 waitUs, QString* failure) {
    if (waitUs > 0) {
        const Wait wait = waitFor(descriptor, POLLIN, waitUs);
        if (wait != Wait::Ready) {
            *failure = wait == Wait::Failed ? reasonOf(errno) : QString();
            return wait != Wait::Failed;
        }
    }
    char chunk[CHUNK_BYTES];
    const ssize_t count = ::read(descriptor, chunk, sizeof chunk);
    if (count > 0) {
        bytes->append(chunk, static_cast<int>(count));
        return true;
    }
    // A serial port that is set up to return at once reads no bytes where others say EAGAIN. When it was said
    // to be readable, no bytes mean its end.
    if (count < 0 ? errno == EAGAIN || errno == EINTR : waitUs <= 0 && !hungUp(descriptor)) {
        return true;
    }
    *failure = count < 0 ? reasonOf(errno) : QStringLiteral("it was closed at the other end");
    return false;
}

bool takeArrived(int descriptor, QByteArray* bytes, QString* failure) {
    char chunk[MOST_ARRIVED_BYTES];
    const ssize_t count = ::read(descriptor, chunk, sizeof chunk);
    if (count > 0) {
        bytes->append(chunk, static_cast<int>(count));
        return true;
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return true;
    }
    *failure = count < 0 ? reasonOf(errno) : QStringLiteral("it was closed at the other end");
    return false;
}

int handBytes(int descriptor, Channel channel, const char* bytes, int count, QString* failure) {
    const ssize_t taken = hand(descriptor, channel, bytes, static_cast<size_t>(count));
    if (taken >= 0) {
        return static_cast<int>(taken);
    }
    if (errno == EAGAIN || errno == EINTR) {
        return 0;
    }
    *failure = reasonOf(errno);
    return -1;
}

bool writeDescriptor(int descriptor, Channel channel, const QByteArray& bytes, QString* failure, int* taken) {
    for (int sent = 0; sent < bytes.size();) {
        if (taken != nullptr) {
            *taken = sent;
        }
        const ssize_t count =
            hand(descriptor, channel, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent));
        if (count >= 0) {
            sent += static_cast<int>(count);
        } else if (errno != EAGAIN && errno != EINTR) {
            *failure = reasonOf(errno);
            return false;
        } else if (errno == EAGAIN) {
            const Wait wait = waitFor(descriptor, POLLOUT, WRITE_PATIENCE_US);
            if (wait != Wait::Ready) {
                *failure = wait == Wait::Interrupted ? QStringLiteral("a signal came while it took no bytes")
                                                     : QStringLiteral("it takes no bytes");
                return false;
            }
        }
    }
    if (taken != nullptr) {
        *taken = bytes.size();
    }
    return true;
}

}  // namespace dx7

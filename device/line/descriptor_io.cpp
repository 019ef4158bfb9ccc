#include "device/line/descriptor_io.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace dx7sim {

namespace {

// Hands `bytes` to `give`, which takes some of them, until it takes no more.
template <typename Give>
void giveAll(const Bytes& bytes, Give give) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = give(bytes.data() + sent, bytes.size() - sent);
        if (count < 0 && errno != EINTR) {
            return;
        }
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

}  // namespace

ReadEnd readAvailable(int fd, Bytes& bytes) {
    // Bounded, so that a client that never stops sending cannot keep the loop from its other duties.
    constexpr std::size_t CHUNK = 512;
    constexpr std::size_t MOST = 8192;
    std::uint8_t chunk[CHUNK];
    for (std::size_t taken = 0; taken < MOST;) {
        const ssize_t count = ::read(fd, chunk, sizeof chunk);
        if (count > 0) {
            bytes.insert(bytes.end(), chunk, chunk + count);
            taken += static_cast<std::size_t>(count);
        } else if (count == 0) {
            return ReadEnd::EndOfFile;
        } else if (errno != EINTR) {
            return errno == EAGAIN ? ReadEnd::NothingMore : ReadEnd::Failed;
        }
    }
    return ReadEnd::NothingMore;
}

void writeAvailable(int fd, const Bytes& bytes) {
    giveAll(bytes, [fd](const std::uint8_t* next, std::size_t count) { return ::write(fd, next, count); });
}

void sendAvailable(int socket, const Bytes& bytes) {
    giveAll(bytes, [socket](const std::uint8_t* next, std::size_t count) {
        return ::send(socket, next, count, MSG_NOSIGNAL);
    });
}

}  // namespace dx7sim

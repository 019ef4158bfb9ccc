#include "common/port_lock.h"

#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "common/process_name.h"

namespace dx7common {

namespace {

// Ends of pseudo-terminals for programs: each mount of devpts counts its own.
constexpr unsigned FIRST_PTS_MAJOR = 136;
constexpr unsigned LAST_PTS_MAJOR = 143;

std::string lockName(const struct stat& status) {
    const unsigned number = major(status.st_rdev);
    std::string name = "dx7-line-" + std::to_string(number) + ":" + std::to_string(minor(status.st_rdev));
    if (number >= FIRST_PTS_MAJOR && number <= LAST_PTS_MAJOR) {
        name += "-" + std::to_string(status.st_dev);
    }
    return name;
}

struct Address {
    sockaddr_un place{};
    socklen_t size;

    // In the abstract namespace: the path begins with a zero byte.
    explicit Address(const std::string& name)
        : size(static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size())) {
        place.sun_family = AF_UNIX;
        std::memcpy(place.sun_path + 1, name.data(), name.size());
    }
    const sockaddr* generic() const { return reinterpret_cast<const sockaddr*>(&place); }
};

FileDescriptor newSocket() {
    return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

// "dx7 (process 1234)" or what can be known of it.
std::string holderText(const Address& address) {
    ucred holder{};
    socklen_t size = sizeof holder;
    const FileDescriptor asking = newSocket();
    const bool known = ::connect(asking.number(), address.generic(), address.size) == 0 &&
                       ::getsockopt(asking.number(), SOL_SOCKET, SO_PEERCRED, &holder, &size) == 0 &&
                       holder.pid > 0;
    if (!known) {
        return "another dx7 or dx7-device";
    }
    const std::string name = processName(holder.pid);
    return (name.empty() ? "another program" : name) + " (process " + std::to_string(holder.pid) + ")";
}

}  // namespace

bool PortLock::take(const std::string& path, std::string* why) {
    release();
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISCHR(status.st_mode)) {
        return true;
    }
    isDevice_ = true;
    number_ = status.st_rdev;
    const Address address(lockName(status));
    constexpr int ASKING_PROGRAMS = 64;
    socket_ = newSocket();
    // Where nothing can be locked, as without sockets, the port is used all the same.
    if (!socket_.isOpen() || ::bind(socket_.number(), address.generic(), address.size) == 0) {
        ::listen(socket_.number(), ASKING_PROGRAMS);
        return true;
    }
    if (errno != EADDRINUSE) {
        return true;
    }
    release();
    if (why != nullptr) {
        *why = "it is in use by " + holderText(address);
    }
    return false;
}

bool PortLock::confirm(int port, std::string* why) const {
    struct stat status {};
    if (isDevice_ && (::fstat(port, &status) != 0 || status.st_rdev != number_)) {
        *why = "another device has taken its name";
        return false;
    }
    if (::flock(port, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        *why = "another program has locked it";
        return false;
    }
    return true;
}

void PortLock::release() {
    socket_.close();
    isDevice_ = false;
}

}  // namespace dx7common

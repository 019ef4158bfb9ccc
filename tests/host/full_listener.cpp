#include "full_listener.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

namespace {

// The system counts more places than it was asked for.
const int MOST_PLACES = 64;
const int LOCAL_CONNECT_MS = 200;

int makeSocket() {
    return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

sockaddr_in localPlace(int port) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    place.sin_port = htons(static_cast<std::uint16_t>(port));
    return place;
}

}  // namespace

FullListener::FullListener(int port) : listener_(makeSocket()) {
    const int on = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in place = localPlace(port);
    if (::bind(listener_, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0 ||
        ::listen(listener_, 0) != 0) {
        throw std::runtime_error("cannot listen");
    }
    fill();
}

FullListener::~FullListener() {
    for (const int other : others_) {
        ::close(other);
    }
    ::close(listener_);
}

int FullListener::port() const {
    sockaddr_in place{};
    socklen_t length = sizeof place;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&place), &length);
    return ntohs(place.sin_port);
}

// Connects until somebody has to wait.
void FullListener::fill() {
    const sockaddr_in place = localPlace(port());
    for (int i = 0; i < MOST_PLACES; ++i) {
        others_.push_back(makeSocket());
        ::connect(others_.back(), reinterpret_cast<const sockaddr*>(&place), sizeof place);
        pollfd one{others_.back(), POLLOUT, 0};
        if (::poll(&one, 1, LOCAL_CONNECT_MS) == 0) {
            return;
        }
    }
    throw std::runtime_error("everybody can connect");
}

void FullListener::makeRoom() const {
    ::listen(listener_, MOST_PLACES);
}

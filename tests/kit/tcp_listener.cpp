#include "tests/kit/tcp_listener.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kit {

TcpListener::TcpListener() : number_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof place;
    ::bind(number_, reinterpret_cast<const sockaddr*>(&place), size);
    ::listen(number_, 4);
    ::getsockname(number_, reinterpret_cast<sockaddr*>(&place), &size);
    port_ = ntohs(place.sin_port);
}

TcpListener::~TcpListener() {
    ::close(number_);
}

void TcpListener::stop() const {
    ::shutdown(number_, SHUT_RDWR);
}

}  // namespace kit

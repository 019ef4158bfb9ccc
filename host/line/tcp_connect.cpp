#include "host/line/tcp_connect.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QByteArray>
#include <cerrno>
#include <memory>
#include <utility>

#include "common/system_reason.h"
#include "host/line/helper_thread.h"

namespace dx7 {

namespace {

constexpr int CONNECT_TIMEOUT_MS = 3000;

QByteArray errorText(int error) {
    return QByteArray::fromStdString(dx7common::systemReason(error));
}

// 0, or the error number of the failed connection.
int awaitConnection(int descriptor) {
    pollfd one{descriptor, POLLOUT, 0};
    const int ready = ::poll(&one, 1, CONNECT_TIMEOUT_MS);
    if (ready <= 0) {
        return ready == 0 ? ETIMEDOUT : errno;
    }
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

Connected connectTo(const addrinfo& place) {
    dx7common::FileDescriptor socket(
        ::socket(place.ai_family, place.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    int error = 0;
    if (!socket.isOpen() || ::connect(socket.number(), place.ai_addr, place.ai_addrlen) != 0) {
        error = errno == EINPROGRESS ? awaitConnection(socket.number()) : errno;
    }
    return error == 0 ? Connected{std::move(socket), QByteArray()}
                      : Connected{dx7common::FileDescriptor(), errorText(error)};
}

Connected connectTo(const QByteArray& host, const QByteArray& port) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.constData(), port.constData(), &wanted, &found);
    if (error != 0) {
        return Connected{dx7common::FileDescriptor(),
                         error == EAI_SYSTEM ? errorText(errno) : QByteArray(::gai_strerror(error))};
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> places(found, ::freeaddrinfo);
    Connected connected;
    for (const addrinfo* place = found; place != nullptr && !connected.socket.isOpen();
         place = place->ai_next) {
        connected = connectTo(*place);
    }
    return connected;
}

}  // namespace

std::future<Connected> beginConnecting(const QString& host, int port) {
    const auto promise = std::make_shared<std::promise<Connected>>();
    std::future<Connected> attempt = promise->get_future();
    const int error = runAside([promise, name = host.toUtf8(), service = QByteArray::number(port)] {
        promise->set_value(connectTo(name, service));
    });
    if (error != 0) {
        promise->set_value(Connected{dx7common::FileDescriptor(), errorText(error)});
    }
    return attempt;
}

}  // namespace dx7

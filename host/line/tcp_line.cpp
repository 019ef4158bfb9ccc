#include "host/line/tcp_line.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace dx7 {

namespace {

constexpr unsigned ACKNOWLEDGE_TIMEOUT_MS = 5000;

void setUp(int socket) {
    // A request is not to wait for a fuller packet.
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    // When the other end has vanished without a word, the connection is to be lost and made anew, and not to
    // be tried by the system at ever longer intervals for a quarter of an hour.
    ::setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &ACKNOWLEDGE_TIMEOUT_MS,
                 sizeof ACKNOWLEDGE_TIMEOUT_MS);
}

void setLowWaterMark(int socket, int bytes) {
    ::setsockopt(socket, SOL_SOCKET, SO_RCVLOWAT, &bytes, sizeof bytes);
}

}  // namespace

Line::Opening TcpLine::reopen() {
    if (!attempt_.valid()) {
        begin();
    }
    if (attempt_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        return Opening::UnderWay;
    }
    return finish() ? Opening::Open : Opening::Failed;
}

void TcpLine::begin() {
    close();
    attempt_ = beginConnecting(settings_.tcpHost, settings_.tcpPort);
}

// Collects the result of the attempt.
bool TcpLine::finish() {
    Connected connected = attempt_.get();
    socket_ = std::move(connected.socket);
    failure_ = QString::fromLocal8Bit(connected.failure);
    if (isOpen()) {
        setUp(socket_.number());
        if (expected_ != 1) {
            setLowWaterMark(socket_.number(), expected_);
        }
    }
    return isOpen();
}

void TcpLine::close() {
    attempt_ = std::future<Connected>();
    dropUnsent();
    socket_.close();
}

void TcpLine::awaitOpening(int ms) {
    attempt_.wait_for(std::chrono::milliseconds(ms));
}

void TcpLine::expect(int count) {
    if (count != expected_) {
        expected_ = count;
        if (isOpen()) {
            setLowWaterMark(descriptor(), count);
        }
    }
}

}  // namespace dx7

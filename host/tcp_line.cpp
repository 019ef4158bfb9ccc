#include "tcp_line.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "descriptor_io.h"

namespace dx7 {

namespace {

const unsigned ACKNOWLEDGE_TIMEOUT_MS = 5000;

void setUp(int socket) {
    // A request is not to wait for a fuller packet.
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    // When the other end has vanished without a word, the connection is to be lost and made anew, and not to
    // be tried by the system at ever longer intervals for a quarter of an hour.
    ::setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &ACKNOWLEDGE_TIMEOUT_MS,
                 sizeof ACKNOWLEDGE_TIMEOUT_MS);
}

}  // namespace

bool TcpLine::open(QString* why) {
    begin();
    attempt_.wait();
    if (finish()) {
        return true;
    }
    *why = failure_;
    return false;
}

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

// Takes over what has become of the attempt.
bool TcpLine::finish() {
    Connected connected = attempt_.get();
    socket_ = std::move(connected.socket);
    failure_ = QString::fromLocal8Bit(connected.failure);
    if (isOpen()) {
        setUp(socket_.descriptor());
    }
    return isOpen();
}

void TcpLine::close() {
    attempt_ = std::future<Connected>();
    socket_.close();
}

bool TcpLine::lose() {
    close();
    return false;
}

bool TcpLine::write(const QByteArray& bytes) {
    taken_ = 0;
    return isOpen() &&
           (writeDescriptor(socket_.descriptor(), Channel::Socket, bytes, &failure_, &taken_) || lose());
}

bool TcpLine::read(QByteArray* bytes, qint64 deadlineUs) {
    return isOpen() &&
           (readDescriptor(socket_.descriptor(), bytes, deadlineUs - clock_.nowUs(), &failure_) || lose());
}

}  // namespace dx7

#include "tcp_line.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <QNetworkProxy>

#include "descriptor_io.h"

namespace dx7 {

namespace {
const int CONNECT_TIMEOUT_MS = 3000;
const unsigned ACKNOWLEDGE_TIMEOUT_MS = 5000;

// When the other end has vanished without a word, the connection is to be lost and made anew, and not to be
// tried by the system at ever longer intervals for a quarter of an hour.
void limitSilence(int socket) {
    ::setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &ACKNOWLEDGE_TIMEOUT_MS,
                 sizeof ACKNOWLEDGE_TIMEOUT_MS);
}

}  // namespace

TcpLine::TcpLine(const LineSettings& settings, Clock& clock) : settings_(settings), clock_(clock) {
    socket_.setProxy(QNetworkProxy::NoProxy);
}

bool TcpLine::open(QString* why) {
    close();
    socket_.connectToHost(settings_.tcpHost, static_cast<quint16>(settings_.tcpPort));
    if (socket_.waitForConnected(CONNECT_TIMEOUT_MS)) {
        socket_.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        limitSilence(descriptor());
        failure_.clear();
        open_ = true;
        return true;
    }
    failure_ = socket_.errorString();
    *why = failure_;
    socket_.abort();
    return false;
}

void TcpLine::close() {
    open_ = false;
    socket_.abort();
}

bool TcpLine::isOpen() const {
    return open_;
}

bool TcpLine::lose() {
    close();
    return false;
}

int TcpLine::descriptor() const {
    return static_cast<int>(socket_.socketDescriptor());
}

bool TcpLine::write(const QByteArray& bytes) {
    return isOpen() && (writeDescriptor(descriptor(), Channel::Socket, bytes, &failure_) || lose());
}

bool TcpLine::read(QByteArray* bytes, qint64 deadlineUs) {
    return isOpen() &&
           (readDescriptor(descriptor(), bytes, deadlineUs - clock_.nowUs(), &failure_) || lose());
}

}  // namespace dx7

#include "tcp_line.h"

#include <QNetworkProxy>
#include <algorithm>

namespace dx7 {

namespace {
const int CONNECT_TIMEOUT_MS = 3000;
const int WRITE_TIMEOUT_MS = 5000;
}  // namespace

TcpLine::TcpLine(const LineSettings& settings, Clock& clock) : settings_(settings), clock_(clock) {
    socket_.setProxy(QNetworkProxy::NoProxy);
}

bool TcpLine::open(QString* why) {
    close();
    socket_.connectToHost(settings_.tcpHost, static_cast<quint16>(settings_.tcpPort));
    if (socket_.waitForConnected(CONNECT_TIMEOUT_MS)) {
        socket_.setSocketOption(QAbstractSocket::LowDelayOption, 1);
        failure_.clear();
        return true;
    }
    failure_ = socket_.errorString();
    *why = failure_;
    socket_.abort();
    return false;
}

void TcpLine::close() {
    socket_.abort();
}

bool TcpLine::isOpen() const {
    return socket_.state() == QAbstractSocket::ConnectedState;
}

bool TcpLine::lose() {
    failure_ = socket_.errorString();
    close();
    return false;
}

bool TcpLine::write(const QByteArray& bytes) {
    if (!isOpen() || socket_.write(bytes) != bytes.size()) {
        return lose();
    }
    while (socket_.bytesToWrite() > 0) {
        if (!socket_.waitForBytesWritten(WRITE_TIMEOUT_MS)) {
            return lose();
        }
    }
    return true;
}

bool TcpLine::read(QByteArray* bytes, qint64 deadlineUs) {
    for (;;) {
        if (socket_.bytesAvailable() > 0) {
            bytes->append(socket_.readAll());
            return true;
        }
        if (!isOpen()) {
            return lose();
        }
        const qint64 leftMs = (deadlineUs - clock_.nowUs() + 999) / 1000;
        const bool ready = socket_.waitForReadyRead(static_cast<int>(std::max<qint64>(leftMs, 0)));
        if (!ready && isOpen() && leftMs <= 0) {
            return true;
        }
    }
}

}  // namespace dx7

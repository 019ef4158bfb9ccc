#include "serial_line.h"

#include <linux/serial.h>
#include <sys/ioctl.h>

#include <QFileInfo>
#include <algorithm>
#include <cerrno>
#include <cstring>

namespace dx7 {

namespace {

const int WRITE_TIMEOUT_MS = 5000;

QSerialPort::Parity portParity(Parity parity) {
    switch (parity) {
        case Parity::Even:
            return QSerialPort::EvenParity;
        case Parity::Odd:
            return QSerialPort::OddParity;
        default:
            return QSerialPort::NoParity;
    }
}

// The lock that keeps two programs off one port carries the path as its name: a relative one would lock out
// the programs on another folder's port, too.
QString absolutePort(const QString& port) {
    return port.contains(QLatin1Char('/')) ? QFileInfo(port).absoluteFilePath() : port;
}

QString whyNotOpened(const QSerialPort& port) {
    QString why = port.errorString();
    if (port.error() == QSerialPort::PermissionError) {
        return why + QStringLiteral(
                         " (another program has it open, or this user may not use it: see its group, often "
                         "dialout)");
    }
    return why;
}

}  // namespace

SerialLine::SerialLine(const LineSettings& settings, Clock& clock) : settings_(settings), clock_(clock) {
    port_.setPortName(absolutePort(settings.serialPort));
}

bool SerialLine::open(QString* why) {
    close();
    port_.clearError();
    if (!port_.open(QIODevice::ReadWrite)) {
        failure_ = whyNotOpened(port_);
    } else if (!configure() || (settings_.rs485 && !enableRs485())) {
        port_.close();
    } else {
        failure_.clear();
        return true;
    }
    *why = failure_;
    return false;
}

bool SerialLine::configure() {
    const bool ok =
        port_.setBaudRate(settings_.baud) &&
        port_.setDataBits(settings_.dataBits == 7 ? QSerialPort::Data7 : QSerialPort::Data8) &&
        port_.setParity(portParity(settings_.parity)) &&
        port_.setStopBits(settings_.stopBits == 2 ? QSerialPort::TwoStop : QSerialPort::OneStop) &&
        port_.setFlowControl(QSerialPort::NoFlowControl);
    if (!ok) {
        failure_ = QStringLiteral("its settings were refused: ") + port_.errorString();
    }
    return ok;
}

bool SerialLine::enableRs485() {
    serial_rs485 mode;
    std::memset(&mode, 0, sizeof mode);
    mode.flags = SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND;
    if (ioctl(port_.handle(), TIOCSRS485, &mode) == 0) {
        return true;
    }
    failure_ =
        QStringLiteral(
            "the kernel has no RS-485 mode for it (%1); leave --rs485 and rs485 = true out: adapters that "
            "switch the transmitter by themselves need no mode")
            .arg(QString::fromLocal8Bit(std::strerror(errno)));
    return false;
}

void SerialLine::close() {
    if (port_.isOpen()) {
        port_.close();
    }
}

bool SerialLine::isOpen() const {
    return port_.isOpen();
}

bool SerialLine::lose() {
    failure_ = port_.errorString();
    close();
    return false;
}

bool SerialLine::write(const QByteArray& bytes) {
    if (!isOpen() || port_.write(bytes) != bytes.size()) {
        return lose();
    }
    while (port_.bytesToWrite() > 0) {
        if (!port_.waitForBytesWritten(WRITE_TIMEOUT_MS)) {
            return lose();
        }
    }
    return true;
}

bool SerialLine::read(QByteArray* bytes, qint64 deadlineUs) {
    while (isOpen()) {
        if (port_.bytesAvailable() > 0) {
            bytes->append(port_.readAll());
            return true;
        }
        const qint64 leftMs = (deadlineUs - clock_.nowUs() + 999) / 1000;
        const bool ready = port_.waitForReadyRead(static_cast<int>(std::max<qint64>(leftMs, 0)));
        if (!ready && port_.error() != QSerialPort::NoError && port_.error() != QSerialPort::TimeoutError) {
            return lose();
        }
        if (!ready && leftMs <= 0) {
            return true;
        }
    }
    return false;
}

}  // namespace dx7

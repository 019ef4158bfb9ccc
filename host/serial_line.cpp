#include "serial_line.h"

#include <linux/serial.h>
#include <sys/ioctl.h>

#include <QFile>
#include <QFileInfo>
#include <cerrno>

#include "descriptor_io.h"
#include "port_lock_file.h"
#include "system_reason.h"

namespace dx7 {

namespace {

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

// What the port is called in /dev. QSerialPort has a lock of its own that carries the path as its name, which
// other programs know, too: neither a link nor a relative path will do for it.
QString realPort(const QString& port) {
    const QFileInfo file(port.contains(QLatin1Char('/')) ? port : QStringLiteral("/dev/") + port);
    const QString real = file.canonicalFilePath();
    return real.isEmpty() ? file.absoluteFilePath() : real;
}

// QSerialPort says the same of a lock file that is in the way and of missing rights.
QString whyNotOpened(const QSerialPort& port, const QString& path) {
    QString why = port.errorString();
    if (port.error() == QSerialPort::PermissionError) {
        const QString lockFile = portLockFile(path);
        if (QFile::exists(lockFile)) {
            return lockFileText(lockFile);
        }
        return why + QStringLiteral(
                         " (another program has it open, or this user may not use it: see its group, often "
                         "dialout)");
    }
    return why;
}

}  // namespace

SerialLine::SerialLine(const LineSettings& settings, Clock& clock) : settings_(settings), clock_(clock) {}

bool SerialLine::open(QString* why) {
    close();
    port_.clearError();
    if (openPort() && configure() && (!settings_.rs485 || enableRs485())) {
        failure_.clear();
        return true;
    }
    close();
    *why = failure_;
    return false;
}

bool SerialLine::openPort() {
    // The lock comes first: opening changes the port's settings for the program that has it.
    const QString port = realPort(settings_.serialPort);
    std::string why;
    if (lock_.take(QFile::encodeName(port).toStdString(), &why)) {
        if (!QFileInfo::exists(port)) {
            failure_ = systemReason(ENOENT);
            return false;
        }
        port_.setPortName(port);
        if (!port_.open(QIODevice::ReadWrite) &&
            !(port_.error() == QSerialPort::PermissionError && removeStaleLock(portLockFile(port)) &&
              port_.open(QIODevice::ReadWrite))) {
            failure_ = whyNotOpened(port_, port);
            return false;
        }
        if (lock_.confirm(port_.handle(), &why)) {
            return true;
        }
    }
    failure_ = QString::fromStdString(why);
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
    serial_rs485 mode{};
    mode.flags = SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND;
    if (ioctl(port_.handle(), TIOCSRS485, &mode) == 0) {
        return true;
    }
    failure_ =
        QStringLiteral(
            "the kernel has no RS-485 mode for it (%1); leave --rs485 and rs485 = true out: adapters that "
            "switch the transmitter by themselves need no mode")
            .arg(systemReason(errno));
    return false;
}

void SerialLine::close() {
    if (port_.isOpen()) {
        port_.close();
    }
    lock_.release();
}

bool SerialLine::isOpen() const {
    return port_.isOpen();
}

bool SerialLine::lose() {
    close();
    return false;
}

bool SerialLine::write(const QByteArray& bytes) {
    taken_ = 0;
    return isOpen() && (writeDescriptor(port_.handle(), Channel::Port, bytes, &failure_, &taken_) || lose());
}

bool SerialLine::read(QByteArray* bytes, qint64 deadlineUs) {
    return isOpen() &&
           (readDescriptor(port_.handle(), bytes, deadlineUs - clock_.nowUs(), &failure_) || lose());
}

}  // namespace dx7

#include "host/line/serial_port.h"

#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>

#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <cerrno>
#include <chrono>
#include <thread>

#include "common/file_descriptor.h"
#include "common/port_lock.h"
#include "host/error.h"
#include "host/line/port_access.h"
#include "host/line/port_lock_file.h"
#include "host/line/request_to_send.h"
#include "host/line/terminal_settings.h"

namespace dx7 {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds IN_USE_PATIENCE(200);
constexpr milliseconds IN_USE_LOOK(10);
constexpr milliseconds UNSENT_LOOK(20);

// What the port is called in /dev. A bare name is one of /dev, or else of the present folder. The lock file,
// which other programs know, carries the path as its name: neither a link nor a relative path will do for it.
QString realPort(const QString& port) {
    const QString inDev = QStringLiteral("/dev/") + port;
    const bool bare = !port.isEmpty() && !port.contains(QLatin1Char('/'));
    const QFileInfo file(bare && QFileInfo::exists(inDev) ? inDev : port);
    const QString real = file.canonicalFilePath();
    return real.isEmpty() ? file.absoluteFilePath() : real;
}

class SerialPort : public OpenPort {
public:
    explicit SerialPort(const LineSettings& settings)
        : settings_(settings), path_(realPort(settings.serialPort)) {}
    ~SerialPort() override;

    int descriptor() const override { return port_.number(); }
    // False: `failure` says why, and whether another program has the port; which one, if `names` it.
    bool open(OpenedPort* failure, bool names);

private:
    bool lockAndOpen(OpenedPort* failure, bool names);
    bool takeLockFile(OpenedPort* failure);
    bool openNode(OpenedPort* failure);
    bool configure(OpenedPort* failure);
    bool enableRs485(OpenedPort* failure) const;
    void holdTransmitter() const;
    void letOutputEnd() const;

    LineSettings settings_;
    QString path_;
    // First, for it is given back last.
    dx7common::PortLock lock_;
    std::unique_ptr<QLockFile> lockFile_;
    dx7common::FileDescriptor port_;
    // Null before it was changed.
    TerminalState before_;
};

bool SerialPort::open(OpenedPort* failure, bool names) {
    return lockAndOpen(failure, names) && configure(failure) && (!settings_.rs485 || enableRs485(failure));
}

bool SerialPort::lockAndOpen(OpenedPort* failure, bool names) {
    // The lock comes first: opening changes the port's settings for the program that has it.
    std::string why;
    if (!lock_.take(QFile::encodeName(path_).toStdString(), names ? &why : nullptr)) {
        *failure = {nullptr, QString::fromStdString(why), true};
        return false;
    }
    if (!QFileInfo::exists(path_)) {
        failure->failure = systemReason(ENOENT);
        return false;
    }
    if (!takeLockFile(failure) || !openNode(failure)) {
        return false;
    }
    if (!lock_.confirm(port_.number(), &why)) {
        const QVector<PortHolder> holders = names ? holdersOf(path_) : QVector<PortHolder>();
        const QString who =
            holders.isEmpty() ? QString() : QStringLiteral("; it is held by ") + holdersText(holders);
        *failure = {nullptr, QString::fromStdString(why) + who, true};
        return false;
    }
    return true;
}

bool SerialPort::takeLockFile(OpenedPort* failure) {
    const QString name = portLockFile(path_);
    if (name.isEmpty()) {
        failure->failure = QStringLiteral("no folder for lock files, such as /var/lock, can be written");
        return false;
    }
    lockFile_ = std::make_unique<QLockFile>(name);
    if (lockFile_->tryLock() || (removeStaleLock(name) && lockFile_->tryLock())) {
        return true;
    }
    lockFile_.reset();
    const bool inTheWay = QFile::exists(name);
    *failure = {nullptr,
                inTheWay ? lockFileText(name) : QStringLiteral("its lock file %1 cannot be made").arg(name),
                inTheWay};
    return false;
}

bool SerialPort::openNode(OpenedPort* failure) {
    const int access = settings_.listenOnly ? O_RDONLY : O_RDWR;
    if (port_.open(QFile::encodeName(path_), access | O_NOCTTY | O_NONBLOCK)) {
        return true;
    }
    const int error = errno;
    failure->failure = refusedPortText(path_, error);
    failure->inUse = error == EBUSY;
    return false;
}

bool SerialPort::configure(OpenedPort* failure) {
    holdTransmitter();
    before_ = terminalState(port_.number());
    if (!before_) {
        failure->failure = systemReason(errno);
        return false;
    }
    ::ioctl(port_.number(), TIOCEXCL);
    if (!setUpTerminal(port_.number(), *before_, settings_)) {
        failure->failure = QStringLiteral("its settings were refused: ") + systemReason(errno);
        return false;
    }
    // A baud rate in place of none raises RTS once more.
    holdTransmitter();
    return true;
}

void SerialPort::holdTransmitter() const {
    if (settings_.listenOnly) {
        lowerRts(port_.number());
    }
}

bool SerialPort::enableRs485(OpenedPort* failure) const {
    serial_rs485 mode{};
    mode.flags = SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND;
    if (::ioctl(port_.number(), TIOCSRS485, &mode) == 0) {
        return true;
    }
    failure->failure =
        QStringLiteral(
            "the kernel has no RS-485 mode for it (%1); leave --rs485 and rs485 = true out: adapters that "
            "switch the transmitter by themselves need no mode")
            .arg(systemReason(errno));
    return false;
}

// Output goes out as long as it goes on; closing would wait up to 30 s for what is stuck.
void SerialPort::letOutputEnd() const {
    const auto look = UNSENT_LOOK + milliseconds(2 * lineTimeUs(settings_, 1) / 1000);
    int before = unsentBytes(port_.number());
    for (int left = before; left > 0; before = left) {
        std::this_thread::sleep_for(look);
        left = unsentBytes(port_.number());
        if (left >= before) {
            dropUnsentBytes(port_.number());
            return;
        }
    }
}

SerialPort::~SerialPort() {
    // Before it was set up it may be another program's.
    if (before_) {
        letOutputEnd();
        // The system would send back what comes until the port is closed.
        setTerminalState(port_.number(), settings_.listenOnly ? *withoutEcho(*before_) : *before_);
        ::ioctl(port_.number(), TIOCNXCL);
    }
    port_.close();
    lockFile_.reset();
    lock_.release();
}

// The program that has the port answers a limited number of questions for its name, so not every try asks.
OpenedPort openOnce(const LineSettings& settings, bool names) {
    auto port = std::make_unique<SerialPort>(settings);
    OpenedPort result;
    if (port->open(&result, names)) {
        result.port = std::move(port);
    }
    return result;
}

}  // namespace

OpenedPort openSerialPort(const LineSettings& settings) {
    using SteadyClock = std::chrono::steady_clock;
    const SteadyClock::time_point end = SteadyClock::now() + IN_USE_PATIENCE;
    for (;;) {
        const bool last = SteadyClock::now() >= end;
        OpenedPort result = openOnce(settings, last);
        if (last || !result.inUse) {
            return result;
        }
        std::this_thread::sleep_for(IN_USE_LOOK);
    }
}

}  // namespace dx7

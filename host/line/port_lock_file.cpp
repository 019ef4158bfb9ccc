#include "host/line/port_lock_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <climits>
#include <optional>
#include <string>

#include "common/file_descriptor.h"
#include "common/process_name.h"

namespace dx7 {

namespace {

// In the order of QSerialPort.
constexpr const char* LOCK_FOLDERS[] = {"/var/lock", "/etc/locks", "/var/spool/locks",  "/var/spool/uucp",
                                        "/tmp",      "/var/tmp",   "/var/lock/lockdev", "/run/lock"};

constexpr int MOST_LOCK_BYTES = 1024;

// The process that the first line names; empty when it names none.
std::optional<pid_t> processIn(const QString& lockFile) {
    QFile file(lockFile);
    const QByteArray line = file.open(QIODevice::ReadOnly) ? file.readLine(MOST_LOCK_BYTES) : QByteArray();
    const qint64 process = line.trimmed().toLongLong();
    if (process <= 0 || process > INT_MAX) {
        return std::nullopt;
    }
    return static_cast<pid_t>(process);
}

// A program that lives has its file locked itself. One of another container has a process number of there.
bool isLocked(const dx7common::FileDescriptor& file) {
    return ::flock(file.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool isRunning(pid_t process) {
    return ::kill(process, 0) == 0 || errno != ESRCH;
}

QString nameOf(pid_t process) {
    const std::string name = dx7common::processName(process);
    return name.empty() ? QStringLiteral("a program") : QString::fromLocal8Bit(name.c_str());
}

}  // namespace

QString portLockFile(const QString& port) {
    QString name = port.startsWith(QLatin1String("/dev/")) ? port.mid(5) : port;
    name.replace(QLatin1Char('/'), QLatin1Char('_'));
    for (const char* folder : LOCK_FOLDERS) {
        const QFileInfo info{QLatin1String(folder)};
        QString path = info.filePath() + QStringLiteral("/LCK..") + name;
        if (info.isReadable() && (QFile::exists(path) || info.isWritable())) {
            return path;
        }
    }
    return QString();
}

bool removeStaleLock(const QString& lockFile) {
    const QByteArray path = QFile::encodeName(lockFile);
    const dx7common::FileDescriptor file(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    const std::optional<pid_t> process = processIn(lockFile);
    if (!file.isOpen() || !process || isRunning(*process) || isLocked(file)) {
        return false;
    }
    // Meanwhile another program may have made its own.
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(file.number(), &opened) == 0 && ::lstat(path.constData(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino && ::unlink(path.constData()) == 0;
}

QString lockFileText(const QString& lockFile) {
    const std::optional<pid_t> process = processIn(lockFile);
    if (!process) {
        return QStringLiteral("the lock file %1 names no process: remove it if no program has the port open")
            .arg(lockFile);
    }
    const dx7common::FileDescriptor file(QFile::encodeName(lockFile), O_RDONLY | O_NONBLOCK);
    if (isRunning(*process) || (file.isOpen() && isLocked(file))) {
        return QStringLiteral("it is in use by %1 (process %2), as the lock file %3 says")
            .arg(nameOf(*process))
            .arg(*process)
            .arg(lockFile);
    }
    return QStringLiteral(
               "the lock file %1 of a program that has ended (process %2) is left and cannot be removed: "
               "remove it as root or as its owner")
        .arg(lockFile)
        .arg(*process);
}

}  // namespace dx7

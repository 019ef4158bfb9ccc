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

#include "common/file_descriptor.h"

namespace dx7 {

namespace {

// In the order of QSerialPort.
constexpr const char* LOCK_FOLDERS[] = {"/var/lock", "/etc/locks", "/var/spool/locks",  "/var/spool/uucp",
                                        "/tmp",      "/var/tmp",   "/var/lock/lockdev", "/run/lock"};

constexpr int MOST_LOCK_BYTES = 1024;

// The process that the first line names; 0 when it names none.
qint64 processIn(const QString& lockFile) {
    QFile file(lockFile);
    const QByteArray line = file.open(QIODevice::ReadOnly) ? file.readLine(MOST_LOCK_BYTES) : QByteArray();
    const qint64 process = line.trimmed().toLongLong();
    return process > 0 && process <= INT_MAX ? process : 0;
}

// A program that lives has its file locked itself. One of another container has a process number of there.
bool isLocked(const dx7common::FileDescriptor& file) {
    return ::flock(file.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool isRunning(qint64 process) {
    return ::kill(static_cast<pid_t>(process), 0) == 0 || errno != ESRCH;
}

QString nameOf(qint64 process) {
    QFile file(QStringLiteral("/proc/%1/comm").arg(process));
    const QByteArray name = file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
    return name.isEmpty() ? QStringLiteral("a program") : QString::fromLocal8Bit(name);
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
    const qint64 process = processIn(lockFile);
    if (!file.isOpen() || process == 0 || isRunning(process) || isLocked(file)) {
        return false;
    }
    // Meanwhile another program may have made its own.
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(file.number(), &opened) == 0 && ::lstat(path.constData(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino && ::unlink(path.constData()) == 0;
}

QString lockFileText(const QString& lockFile) {
    const qint64 process = processIn(lockFile);
    if (process == 0) {
        return QStringLiteral("the lock file %1 names no process: remove it if no program has the port open")
            .arg(lockFile);
    }
    const dx7common::FileDescriptor file(QFile::encodeName(lockFile), O_RDONLY | O_NONBLOCK);
    if (isRunning(process) || (file.isOpen() && isLocked(file))) {
        return QStringLiteral("it is in use by %1 (process %2), as the lock file %3 says")
            .arg(nameOf(process))
            .arg(process)
            .arg(lockFile);
    }
    return QStringLiteral(
               "the lock file %1 of a program that has ended (process %2) is left and cannot be removed: "
               "remove it as root or as its owner")
        .arg(lockFile)
        .arg(process);
}

}  // namespace dx7

#include "host/files/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <cerrno>
#include <cstdio>
#include <memory>

#include "common/file_descriptor.h"
#include "host/error.h"
#include "host/files/durable_file.h"

namespace dx7 {

namespace {

constexpr int NAME_TRIES = 100;
constexpr mode_t MODE_BITS = 0777;
constexpr mode_t NEW_FILE_MODE = 0666;
constexpr mode_t OWNER_ONLY = 0600;

// Where a path leads, and what is there.
struct Target {
    QByteArray path;
    bool exists = false;
    struct stat status = {};
};

// An unpredictable name in the folder of `path`.
QByteArray sideName(const QByteArray& path) {
    const quint64 random = QRandomGenerator::system()->generate64();
    return folderOf(path) + "/.dx7-" + QByteArray::number(random, 36);
}

// A file that is removed with its owner, unless it was renamed.
class SideFile {
public:
    SideFile() = default;
    ~SideFile() {
        if (!path_.isEmpty()) {
            ::unlink(path_.constData());
        }
    }

    // False with errno.
    bool create(const QByteArray& beside, mode_t mode);
    bool renameTo(const QByteArray& path);
    // The same where nothing has that name; false with EEXIST where something has.
    bool renameToNew(const QByteArray& path);

    const QByteArray& path() const { return path_; }
    bool exists() const { return !path_.isEmpty(); }
    dx7common::FileDescriptor& descriptor() { return *descriptor_; }

private:
    Q_DISABLE_COPY(SideFile)
    QByteArray path_;
    std::unique_ptr<dx7common::FileDescriptor> descriptor_;
};

bool SideFile::create(const QByteArray& beside, mode_t mode) {
    for (int i = 0; i < NAME_TRIES; ++i) {
        const QByteArray name = sideName(beside);
        descriptor_ =
            std::make_unique<dx7common::FileDescriptor>(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
        if (descriptor_->isOpen()) {
            path_ = name;
            return true;
        }
        if (errno != EEXIST) {
            return false;
        }
    }
    return false;
}

bool SideFile::renameTo(const QByteArray& path) {
    if (std::rename(path_.constData(), path.constData()) != 0) {
        return false;
    }
    path_.clear();
    return true;
}

bool SideFile::renameToNew(const QByteArray& path) {
    if (!dx7::renameToNew(path_, path)) {
        return false;
    }
    path_.clear();
    return true;
}

// In a folder such as /tmp only root and the owners of file and folder may replace a file.
bool isHeldByItsFolder(const Target& target) {
    struct stat folder = {};
    return ::geteuid() != 0 && target.status.st_uid != ::geteuid() &&
           ::stat(folderOf(target.path).constData(), &folder) == 0 && (folder.st_mode & S_ISVTX) != 0 &&
           folder.st_uid != ::geteuid();
}

// What speaks against writing there; empty when nothing does.
QString faultOf(const Target& target) {
    if (target.path.isEmpty()) {
        return systemReason(ELOOP);
    }
    if (target.exists && S_ISDIR(target.status.st_mode)) {
        return QStringLiteral("it is a folder");
    }
    if (target.exists && !S_ISREG(target.status.st_mode)) {
        return QStringLiteral("it is not a regular file");
    }
    if (target.exists && ::access(target.path.constData(), W_OK) != 0) {
        return systemReason(errno);
    }
    if (target.exists && isHeldByItsFolder(target)) {
        return QStringLiteral("it belongs to another user, and its folder lets only the owner replace it");
    }
    return QString();
}

[[noreturn]] void refuseExisting(const QString& path) {
    throw UsageError(QStringLiteral("%1 exists already, and a backup is not overwritten by mistake; --force "
                                    "writes it anew and keeps the old one beside it")
                         .arg(path));
}

// Throws UsageError.
Target targetOf(const QString& path, Existing existing) {
    Target target;
    const QByteArray name = QFile::encodeName(path);
    struct stat named = {};
    QString fault;
    if (::stat(name.constData(), &named) == 0) {
        // What a link in /proc leads to may have no name any more, or another file has it.
        target.exists = true;
        if (S_ISREG(named.st_mode) && existing == Existing::Refuse) {
            refuseExisting(path);
        }
        target.path = S_ISREG(named.st_mode) ? followLinks(name) : name;
        if (!target.path.isEmpty() &&
            (::stat(target.path.constData(), &target.status) != 0 || target.status.st_dev != named.st_dev ||
             target.status.st_ino != named.st_ino)) {
            fault = QStringLiteral("it leads to a file without a name");
        }
    } else if (errno == ENOENT) {
        target.path = followLinks(name);
    } else {
        fault = systemReason(errno);
    }
    fault = fault.isEmpty() ? faultOf(target) : fault;
    if (!fault.isEmpty()) {
        throw UsageError(QStringLiteral("%1 cannot be written: %2").arg(path, fault));
    }
    return target;
}

bool createBeside(const Target& target, SideFile* file) {
    return file->create(target.path, target.exists ? OWNER_ONLY : NEW_FILE_MODE);
}

// A file system that does not know owners or modes, or an owner who may not be set, is not a failure.
bool isNotAllowed(int error) {
    return error == EPERM || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

// The new file gets owner, group and mode of the old one, as far as that is allowed; a group that is not the
// old one gets no rights of it. False with errno when the disk fails.
bool takeOver(const Target& target, int descriptor) {
    if (!target.exists) {
        return true;
    }
    const auto taken = [](int result) { return result == 0 || isNotAllowed(errno); };
    mode_t mode = target.status.st_mode & MODE_BITS;
    if (::fchown(descriptor, target.status.st_uid, target.status.st_gid) != 0) {
        if (!isNotAllowed(errno)) {
            return false;
        }
        if (::fchown(descriptor, static_cast<uid_t>(-1), target.status.st_gid) != 0) {
            if (!isNotAllowed(errno)) {
                return false;
            }
            mode &= ~static_cast<mode_t>(S_IRWXG);
        }
    }
    return taken(::fchmod(descriptor, mode));
}

// False with errno when the new file is not on the disk.
bool fill(const Target& target, SideFile* file, const QByteArray& content) {
    return createBeside(target, file) &&
           writeBytes(file->descriptor().number(), content.constData(),
                      static_cast<size_t>(content.size())) &&
           takeOver(target, file->descriptor().number()) && syncFile(file->descriptor().number()) &&
           file->descriptor().close();
}

// A file system without hard links, or one that does not allow this one.
bool cannotLink(int error) {
    return error == EPERM || error == EACCES || error == EMLINK || error == ENOSYS || error == EOPNOTSUPP ||
           error == EXDEV;
}

// The old file's second name.
struct Backup {
    QByteArray path;
    // It is another file with the same content.
    bool copy = false;
};

// The content of `target`, synchronised. False with errno.
bool copyOld(const Target& target, SideFile* copy) {
    QFile old(QFile::decodeName(target.path));
    if (!old.open(QIODevice::ReadOnly)) {
        errno = EIO;
        return false;
    }
    const QByteArray content = old.readAll();
    if (content.size() != target.status.st_size) {
        errno = EIO;
        return false;
    }
    return fill(target, copy, content);
}

QByteArray backupName(const QByteArray& path, int number) {
    return path + ".~" + QByteArray::number(number) + '~';
}

// The highest number among the backups; 0 where there are none.
int highestBackup(const QByteArray& path) {
    int highest = 0;
    const QByteArray own = path.mid(path.lastIndexOf('/') + 1);
    const QDir folder(QFile::decodeName(folderOf(path)));
    const QStringList names = folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::System);
    for (const QString& name : names) {
        const QByteArray beside = QFile::encodeName(name);
        const int number = beside.mid(own.size() + 2, beside.size() - own.size() - 3).toInt();
        highest = number > highest && beside == backupName(own, number) ? number : highest;
    }
    return highest;
}

// Gives the old file the number after the highest, so that a later backup has a higher one, whichever were
// removed. False with errno.
bool keepOld(const Target& target, Backup* backup) {
    SideFile copy;
    const int first = highestBackup(target.path) + 1;
    for (int number = first; number < first + NAME_TRIES; ++number) {
        const QByteArray name = backupName(target.path, number);
        const bool taken =
            copy.exists() ? copy.renameToNew(name) : ::link(target.path.constData(), name.constData()) == 0;
        if (taken) {
            backup->path = name;
            return true;
        }
        if (errno == EEXIST) {
            continue;
        }
        if (copy.exists() || !cannotLink(errno) || !copyOld(target, &copy)) {
            return false;
        }
        backup->copy = true;
        --number;
    }
    errno = EEXIST;
    return false;
}

// After the folder could not be synchronised: the state from before. False when that is impossible.
bool takeBack(const Target& target, const Backup& backup) {
    const bool done = target.exists
                          ? !backup.copy && std::rename(backup.path.constData(), target.path.constData()) == 0
                          : ::unlink(target.path.constData()) == 0;
    syncFolderOf(target.path);
    return done;
}

[[noreturn]] void fail(const QString& path, const Target& target, const QString& fault) {
    throw LineError(QStringLiteral("%1 could not be saved: %2; %3")
                        .arg(path, fault,
                             target.exists ? QStringLiteral("the file was left as it was")
                                           : QStringLiteral("no file was made")));
}

}  // namespace

void checkWholeFile(const QString& path, Existing existing) {
    SideFile trial;
    if (!createBeside(targetOf(path, existing), &trial)) {
        throw UsageError(QStringLiteral("%1 cannot be written: %2").arg(path, systemReason(errno)));
    }
}

QString writeWholeFile(const QString& path, const QByteArray& content, Existing existing) {
    Target target;
    try {
        target = targetOf(path, existing);
    } catch (const UsageError& error) {
        throw LineError(error.text());
    }
    SideFile file;
    Backup backup;
    const bool kept = fill(target, &file, content) && (!target.exists || keepOld(target, &backup));
    // The second name is on the disk before the first one is another file's.
    const bool done = kept && (target.exists ? syncFolderOf(target.path) && file.renameTo(target.path)
                                             : file.renameToNew(target.path));
    if (!done) {
        const int error = errno;
        if (!backup.path.isEmpty()) {
            ::unlink(backup.path.constData());
        }
        fail(path, target,
             !target.exists && error == EEXIST ? QStringLiteral("a file of that name has appeared")
                                               : systemReason(error));
    }
    if (!syncFolderOf(target.path)) {
        const QString fault =
            QStringLiteral("its folder could not be synchronised (%1)").arg(systemReason(errno));
        if (takeBack(target, backup)) {
            fail(path, target, fault);
        }
        throw LineError(
            QStringLiteral("%1 has its new content, but may lose it at a power failure: %2; save it again")
                .arg(path, fault));
    }
    return QFile::decodeName(backup.path);
}

}  // namespace dx7

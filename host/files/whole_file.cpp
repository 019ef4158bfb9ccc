#include "host/files/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
    bool linkTo(const QByteArray& old);
    bool renameTo(const QByteArray& path);

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

bool SideFile::linkTo(const QByteArray& old) {
    for (int i = 0; i < NAME_TRIES; ++i) {
        const QByteArray name = sideName(old);
        if (::link(old.constData(), name.constData()) == 0) {
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

// Throws UsageError.
Target targetOf(const QString& path) {
    Target target;
    const QByteArray name = QFile::encodeName(path);
    struct stat named = {};
    QString fault;
    if (::stat(name.constData(), &named) == 0) {
        // What a link in /proc leads to may have no name any more, or another file has it.
        target.exists = true;
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

// The old file keeps a second name until the new one is safe. False with errno when the disk fails; a file
// system without hard links, or one that does not allow this one, is not a failure.
bool keepOld(const Target& target, SideFile* old) {
    return !target.exists || old->linkTo(target.path) || errno == EPERM || errno == EACCES ||
           errno == EMLINK || errno == ENOSYS || errno == EOPNOTSUPP || errno == EXDEV;
}

// After the folder could not be synchronised: the state from before. False when that is impossible.
bool takeBack(const Target& target, SideFile* old) {
    const bool done =
        target.exists ? old->exists() && old->renameTo(target.path) : ::unlink(target.path.constData()) == 0;
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

void checkWholeFile(const QString& path) {
    SideFile trial;
    if (!createBeside(targetOf(path), &trial)) {
        throw UsageError(QStringLiteral("%1 cannot be written: %2").arg(path, systemReason(errno)));
    }
}

void writeWholeFile(const QString& path, const QByteArray& content) {
    Target target;
    try {
        target = targetOf(path);
    } catch (const UsageError& error) {
        throw LineError(error.text());
    }
    SideFile file;
    SideFile old;
    if (!fill(target, &file, content) || !keepOld(target, &old) || !file.renameTo(target.path)) {
        fail(path, target, systemReason(errno));
    }
    if (!syncFolderOf(target.path)) {
        const QString fault =
            QStringLiteral("its folder could not be synchronised (%1)").arg(systemReason(errno));
        if (takeBack(target, &old)) {
            fail(path, target, fault);
        }
        throw LineError(
            QStringLiteral("%1 has its new content, but may lose it at a power failure: %2; save it again")
                .arg(path, fault));
    }
}

}  // namespace dx7

#include "host/files/durable_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>

#include "common/file_descriptor.h"

namespace dx7 {

namespace {

constexpr int MOST_LINKS = 40;
constexpr mode_t RESERVED_MODE = 0600;

// An empty file takes the name first, which refuses one that is taken.
bool renameToReserved(const QByteArray& from, const QByteArray& to) {
    const dx7common::FileDescriptor reserved(to, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, RESERVED_MODE);
    if (!reserved.isOpen()) {
        return false;
    }
    if (std::rename(from.constData(), to.constData()) == 0) {
        return true;
    }
    const int error = errno;
    ::unlink(to.constData());
    errno = error;
    return false;
}

}  // namespace

bool writeBytes(int descriptor, const char* bytes, size_t count) {
    while (count > 0) {
        const ssize_t taken = ::write(descriptor, bytes, count);
        if (taken > 0) {
            bytes += taken;
            count -= static_cast<size_t>(taken);
        } else if (taken == 0) {
            errno = ENOSPC;
            return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool syncFile(int descriptor) {
    int result = 0;
    do {
        result = ::fsync(descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool renameToNew(const QByteArray& from, const QByteArray& to) {
    bool done = ::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0;
    if (!done && (errno == EINVAL || errno == ENOSYS)) {
        // The file system has no such operation; linking refuses a name that is taken as well.
        done = ::link(from.constData(), to.constData()) == 0;
        if (done) {
            ::unlink(from.constData());
        } else if (errno != EEXIST) {
            return renameToReserved(from, to);
        }
    }
    return done;
}

bool syncFolderOf(const QByteArray& path) {
    dx7common::FileDescriptor folder(folderOf(path), O_RDONLY | O_DIRECTORY);
    if (folder.isOpen()) {
        return syncFile(folder.number()) || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    }
    if (errno != EACCES) {
        return false;
    }
    // A folder that may be written and not read: all of its file system then.
    const dx7common::FileDescriptor file(path, O_RDONLY | O_NONBLOCK);
    return file.isOpen() && ::syncfs(file.number()) == 0;
}

QByteArray folderOf(const QByteArray& path) {
    const int slash = path.lastIndexOf('/');
    return slash < 0 ? QByteArray(".") : path.left(slash == 0 ? 1 : slash);
}

QByteArray followLinks(const QByteArray& path) {
    QByteArray at = path;
    for (int links = 0; links < MOST_LINKS; ++links) {
        char target[PATH_MAX];
        const ssize_t length = ::readlink(at.constData(), target, sizeof target);
        if (length <= 0) {
            return at;
        }
        const QByteArray next(target, static_cast<int>(length));
        at = next.startsWith('/') ? next : folderOf(at) + '/' + next;
    }
    return QByteArray();
}

}  // namespace dx7

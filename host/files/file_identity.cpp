#include "host/files/file_identity.h"

#include <sys/stat.h>

#include <QFile>
#include <optional>

#include "host/files/durable_file.h"

namespace dx7 {

namespace {

using Status = struct stat;

std::optional<Status> statusOf(const QByteArray& path) {
    Status status = {};
    return ::stat(path.constData(), &status) == 0 ? std::optional<Status>(status) : std::nullopt;
}

bool sameNode(const Status& one, const Status& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool sameDevice(const Status& one, const Status& other) {
    return S_ISCHR(one.st_mode) && S_ISCHR(other.st_mode) && one.st_rdev == other.st_rdev;
}

// Where there is no file yet: the folder and the name in it.
bool samePlace(const QByteArray& path, const QByteArray& other) {
    const QByteArray one = followLinks(path);
    const QByteArray two = followLinks(other);
    const auto folder = statusOf(folderOf(one));
    const auto otherFolder = statusOf(folderOf(two));
    return folder && otherFolder && sameNode(*folder, *otherFolder) &&
           one.mid(one.lastIndexOf('/') + 1) == two.mid(two.lastIndexOf('/') + 1);
}

}  // namespace

bool sameFile(const QString& path, const QString& other) {
    const QByteArray one = QFile::encodeName(path);
    const QByteArray two = QFile::encodeName(other);
    const auto status = statusOf(one);
    const auto otherStatus = statusOf(two);
    if (status && otherStatus) {
        return sameNode(*status, *otherStatus) || sameDevice(*status, *otherStatus);
    }
    return !status && !otherStatus && samePlace(one, two);
}

bool isOpenedAs(const QString& path, int descriptor) {
    const auto status = statusOf(QFile::encodeName(path));
    Status opened = {};
    return status && (S_ISREG(status->st_mode) || S_ISFIFO(status->st_mode)) &&
           ::fstat(descriptor, &opened) == 0 && sameNode(*status, opened);
}

}  // namespace dx7

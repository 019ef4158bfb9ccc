/// \file
/// Files that are known to be on the disk: every step is looked at, and repeated when a signal broke it off.
#ifndef DX7_HOST_DURABLE_FILE_H
#define DX7_HOST_DURABLE_FILE_H

#include <sys/types.h>

#include <QByteArray>
#include <QString>

namespace dx7 {

/// A descriptor that is closed with its owner. Not open: -1.
class FileDescriptor {
public:
    FileDescriptor() = default;
    /// As open(2), close-on-exec; a signal does not end it. `errno` says why it is not open.
    FileDescriptor(const QByteArray& path, int flags, mode_t mode = 0);
    ~FileDescriptor();

    /// As the constructor, in place of what was open. False when it is not open then.
    bool open(const QByteArray& path, int flags, mode_t mode = 0);
    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    /// The owner closes it from now on.
    int release();
    /// False with `errno` when closing failed: bytes may be lost. It is not open any more in any case.
    bool close();

private:
    Q_DISABLE_COPY(FileDescriptor)
    int number_ = -1;
};

/// Each is false with `errno` when it failed.

/// All bytes, however many pieces the system takes them in.
bool writeBytes(int descriptor, const char* bytes, size_t count);
/// Content and size of a regular file are on the disk.
bool syncFile(int descriptor);
/// The names in the folder of `path` are on the disk. True as well where the file system has no such
/// operation (EINVAL, ENOSYS, EOPNOTSUPP): nothing more can be done there.
bool syncFolderOf(const QByteArray& path);

/// The folder of a path: "." when it names none.
QByteArray folderOf(const QByteArray& path);

/// Where the content of `path` is, or would be made: symbolic links are followed, also one that leads to
/// nothing yet. Empty when they lead in a circle.
QByteArray followLinks(const QByteArray& path);

}  // namespace dx7

#endif

/// \file
/// Files that are known to be on the disk: every step is looked at, and repeated when a signal broke it off.
/// Descriptors are borrowed; each call waits for the disk.
#ifndef DX7_HOST_DURABLE_FILE_H
#define DX7_HOST_DURABLE_FILE_H

#include <sys/types.h>

#include <QByteArray>
#include <QString>

namespace dx7 {

/// Each is false with `errno` when it failed.

/// All bytes, however many pieces the system takes them in.
bool writeBytes(int descriptor, const char* bytes, size_t count);
/// Content and size of a regular file are on the disk.
bool syncFile(int descriptor);
/// The file takes the name where nothing has it; false with EEXIST where something has. On a file system
/// that can neither link nor refuse that is not a single step.
bool renameToNew(const QByteArray& from, const QByteArray& to);
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

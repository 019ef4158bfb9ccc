/// \file
/// Whether two names mean the same file at the moment of the call. Nothing is kept open.
#ifndef DX7_HOST_FILE_IDENTITY_H
#define DX7_HOST_FILE_IDENTITY_H

#include <QString>

namespace dx7 {

/// True when writing to one would change the other: the same file through symbolic and hard links and other
/// spellings of a path, the same device under two names, or the same place where no file is yet. False when
/// one of them cannot be reached.
bool sameFile(const QString& path, const QString& other);

/// True when `path` is the regular file or pipe that the open descriptor leads to.
bool isOpenedAs(const QString& path, int descriptor);

}  // namespace dx7

#endif

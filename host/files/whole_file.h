/// \file
/// Files that are replaced as a whole or not at all. Each call waits for the disk; nothing is kept between
/// calls.
#ifndef DX7_HOST_WHOLE_FILE_H
#define DX7_HOST_WHOLE_FILE_H

#include <QByteArray>
#include <QString>

namespace dx7 {

/// Whether writeWholeFile() has a chance, without touching what is there. Throws UsageError when `path` is a
/// folder, pipe, device or socket, a file that may not be written, or when no file can be made in its folder.
void checkWholeFile(const QString& path);

/// Gives the file this content: into a new file in the same folder, written, synchronised and closed, which
/// then takes the place of the old one; at last the folder is synchronised. The disk has the content when
/// this returns.
///
/// A symbolic link stays, what it leads to is replaced. The new file has the mode of the old one, and its
/// owner where that is allowed; without an old one, 0666 less the umask. Another hard link keeps the old
/// content.
///
/// Throws LineError when any step fails. The old file is in its place then, unchanged; only where it could
/// neither be kept under a second name (a file system without hard links) nor the folder be synchronised is
/// the new content in its place, and the text says so.
void writeWholeFile(const QString& path, const QByteArray& content);

}  // namespace dx7

#endif

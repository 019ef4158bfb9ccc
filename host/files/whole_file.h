/// \file
/// Files that are replaced as a whole or not at all. Each call waits for the disk; nothing is kept between
/// calls.
#ifndef DX7_HOST_WHOLE_FILE_H
#define DX7_HOST_WHOLE_FILE_H

#include <QByteArray>
#include <QString>

namespace dx7 {

/// What becomes of a file that has the name already.
enum class Existing {
    /// It stays, and nothing is written.
    Refuse,
    /// It stays beside the new one, under its name with ".~1~", or the number after the highest there is.
    Keep
};

/// Whether writeWholeFile() has a chance, without touching what is there. Throws UsageError when `path` is a
/// file that is to be refused, a folder, pipe, device or socket, a file that may not be written, or when no
/// file can be made in its folder.
void checkWholeFile(const QString& path, Existing existing);

/// Gives the file this content: into a new file in the same folder, written, synchronised and closed, which
/// then takes the place of the old one; at last the folder is synchronised. The disk has the content when
/// this returns.
///
/// With Existing::Keep the old file has its second name, and the disk knows, before the new one takes its
/// first: at each moment there is a whole file of that name; where the file system has no hard links, the
/// second one is a copy. With Existing::Refuse a file that has appeared since checkWholeFile() stays, too.
///
/// A symbolic link stays, what it leads to is replaced. The new file has the mode of the old one, and its
/// owner where that is allowed; without an old one, 0666 less the umask. Another hard link keeps the old
/// content.
///
/// Returns the name under which the old file is kept; empty when there was none.
///
/// Throws LineError when any step fails. The old file is in its place then, unchanged and under this name
/// alone; only where it could not be linked (a file system without hard links) and the folder could not be
/// synchronised is the new content in its place, and the text says so.
QString writeWholeFile(const QString& path, const QByteArray& content, Existing existing);

}  // namespace dx7

#endif

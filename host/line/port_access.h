/// \file
/// Who has a serial port open, and who may open it, as the system's own files tell.
#ifndef DX7_HOST_PORT_ACCESS_H
#define DX7_HOST_PORT_ACCESS_H

#include <QString>
#include <QVector>

namespace dx7 {

/// A program that has a port open.
struct PortHolder {
    qint64 process = 0;
    /// At most 15 characters; empty when the system does not tell it.
    QString program;
};

/// Whether this user may read and write a port, and who else may.
struct PortAccess {
    bool permitted = false;
    /// Its group; empty where the system does not tell it.
    QString group;
    /// Members of the group may read and write it.
    bool groupMay = false;
};

/// The programs that have the file open, but for this one, in the order of their process numbers. `processes`
/// is where the system tells of them. Programs of other users are seen by root alone. Any thread; what cannot
/// be read is left out.
QVector<PortHolder> holdersOf(const QString& path, const QString& processes = QStringLiteral("/proc"));

/// Any thread; nothing is permitted where the file does not exist.
PortAccess accessOf(const QString& path);

/// "minicom (process 4711)"; several with commas between them.
QString holdersText(const QVector<PortHolder>& holders);
/// "members of the group "dialout" may use it: sudo usermod -aG dialout $USER, then log in again".
QString permissionText(const PortAccess& access);
/// Why the port could not be opened with this error of the system: for EBUSY who has it, for EACCES who may
/// have it.
QString refusedPortText(const QString& path, int error);

}  // namespace dx7

#endif

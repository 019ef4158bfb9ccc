/// \file
/// The lock file LCK..NAME by which programs tell each other that a serial port is in use. Paths are
/// whole ones; nothing is kept between calls.
#ifndef DX7_HOST_PORT_LOCK_FILE_H
#define DX7_HOST_PORT_LOCK_FILE_H

#include <QString>

namespace dx7 {

/// Where QSerialPort has the lock file of a port, given by its path. Empty when it has no place for one.
QString portLockFile(const QString& port);

/// Removes a lock file whose program has ended, where this user may. False when it is there still.
bool removeStaleLock(const QString& lockFile);

/// Why that lock file, which is there, keeps this program off the port, and what to do: a program is named by
/// what the file says of it.
QString lockFileText(const QString& lockFile);

}  // namespace dx7

#endif

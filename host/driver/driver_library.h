/// \file
/// Finding and loading the driver as a panel does: a shared library, every function resolved by its name.
#ifndef DX7_HOST_DRIVER_LIBRARY_H
#define DX7_HOST_DRIVER_LIBRARY_H

#include <QLibrary>
#include <QStringList>

#include "host/driver/driver_functions.h"

namespace dx7 {

/// Owns the loaded library, and unloads it at its end: functions(), and the DriverSession and ItemNotation
/// that borrow them, must not be used after that. Two objects of one file share one driver and its state. One
/// thread at a time.
class DriverLibrary {
public:
    /// Loads the first of these that is there: `path` when it is not empty, else the environment variable
    /// DX7_DRIVER, else the library beside the program, in ../lib or in ../driver, else the loader's own
    /// search path. Throws UsageError that names what was tried, or the function that the library lacks.
    explicit DriverLibrary(const QString& path = QString());
    ~DriverLibrary();

    const DriverFunctions& functions() const { return functions_; }
    /// The path of the file that the loader took; empty when it does not say.
    QString loadedFile() const;

    /// Where the library is looked for, in order, when `path` was given (or not).
    static QStringList candidates(const QString& path);

private:
    Q_DISABLE_COPY(DriverLibrary)
    template <typename Function>
    void resolve(const char* name, Function* function);

    QLibrary library_;
    DriverFunctions functions_;
};

}  // namespace dx7

#endif

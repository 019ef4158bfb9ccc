#include "driver_copy.h"

#include <QFile>
#include <stdexcept>

namespace dx7bench {

namespace {

// A file that is loaded already is not loaded again, whatever its name; so the copies are files of their own.
QString copiedTo(const QTemporaryDir& folder) {
    const QString library = qEnvironmentVariable("DX7_DRIVER", QStringLiteral(DX7_LIBRARY));
    const QString copy = folder.filePath(QStringLiteral("libkorvalent_dx7.so"));
    if (!folder.isValid() || !QFile::copy(library, copy)) {
        throw std::runtime_error("cannot copy the driver library " + library.toStdString() + " to " +
                                 copy.toStdString());
    }
    return copy;
}

}  // namespace

DriverCopy::DriverCopy() : library_(std::make_unique<dx7::DriverLibrary>(copiedTo(folder_))) {
    state_ = reinterpret_cast<korvalent_dx7*>(QLibrary::resolve(library_->fileName(), "driver"));
    if (state_ == nullptr) {
        throw std::runtime_error("the driver library does not export its state");
    }
}

}  // namespace dx7bench

#include "host/driver/driver_library.h"

#include <dlfcn.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "host/error.h"

namespace dx7 {

namespace {

constexpr char LIBRARY_FILE[] = "libkorvalent_dx7.so";

}  // namespace

QStringList DriverLibrary::candidates(const QString& path) {
    if (!path.isEmpty()) {
        return {path};
    }
    const QString environment = qEnvironmentVariable("DX7_DRIVER");
    if (!environment.isEmpty()) {
        return {environment};
    }
    const QString file = QLatin1String(LIBRARY_FILE);
    const QDir programDir(QCoreApplication::applicationDirPath());
    QStringList paths;
    for (const char* folder : {".", "../lib", DX7_LIBRARY_FOLDER, "../driver"}) {
        const QString candidate =
            QDir::cleanPath(programDir.absoluteFilePath(QLatin1String(folder) + QLatin1Char('/') + file));
        if (!paths.contains(candidate)) {
            paths += candidate;
        }
    }
    return paths + QStringList{file};
}

DriverLibrary::DriverLibrary(const QString& path) {
    const QStringList tried = candidates(path);
    QString reason;
    for (const QString& candidate : tried) {
        const bool searched = !candidate.contains(QLatin1Char('/'));
        if (!searched && !QFileInfo::exists(candidate)) {
            reason = QStringLiteral("no such file");
            continue;
        }
        library_.setFileName(candidate);
        if (library_.load()) {
            break;
        }
        reason = library_.errorString();
        if (!searched) {
            break;
        }
    }
    if (!library_.isLoaded()) {
        throw UsageError(
            QStringLiteral("the driver library could not be loaded: %1 (tried %2); name it with --driver "
                           "PATH or in the environment variable DX7_DRIVER")
                .arg(reason, tried.join(QStringLiteral(", "))));
    }
    DriverFunctions& f = functions_;
    resolve("intf_getProtocolType", &f.getProtocolType);
    resolve("intf_getDriverParameter", &f.getDriverParameter);
    resolve("intf_getDriverPropertyPage", &f.getDriverPropertyPage);
    resolve("intf_SetDriverPropertyPage", &f.SetDriverPropertyPage);
    resolve("intf_getRegListByType", &f.getRegListByType);
    resolve("intf_getRegDiscription", &f.getRegDiscription);
    resolve("intf_initProperty", &f.initProperty);
    resolve("intf_setAddrValueChangeCallBack", &f.setAddrValueChangeCallBack);
    resolve("intf_setRcpAddress", &f.setRcpAddress);
    resolve("intf_checkAddrValidity", &f.checkAddrValidity);
    resolve("intf_checkAddr", &f.checkAddr);
    resolve("intf_multiCopy", &f.multiCopy);
    resolve("intf_addrMerge", &f.addrMerge);
    resolve("intf_addConditionRead", &f.addConditionRead);
    resolve("intf_getSendFrame", &f.getSendFrame);
    resolve("intf_dealRcvFrame", &f.dealRcvFrame);
    resolve("intf_getData", &f.getData);
    resolve("intf_setData", &f.setData);
}

QString DriverLibrary::loadedFile() const {
    Dl_info found = {};
    const auto* const inside = reinterpret_cast<const void*>(functions_.getDriverParameter);
    return ::dladdr(inside, &found) != 0 && found.dli_fname != nullptr ? QFile::decodeName(found.dli_fname)
                                                                       : QString();
}

DriverLibrary::~DriverLibrary() {
    library_.unload();
}

template <typename Function>
void DriverLibrary::resolve(const char* name, Function* function) {
    *function = reinterpret_cast<Function>(library_.resolve(name));
    if (*function == nullptr) {
        throw UsageError(
            QStringLiteral("the library %1 is not a driver for this host: it lacks the function %2")
                .arg(library_.fileName(), QLatin1String(name)));
    }
}

}  // namespace dx7

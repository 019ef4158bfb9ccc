#include "host/line/port_list.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <utility>

#include "host/number_text.h"

namespace dx7 {

namespace {

// Of the file of an attribute.
constexpr int MOST_ATTRIBUTE_BYTES = 256;
// USB device, interface, port and bus lie between a terminal and what names the adapter.
constexpr int MOST_FOLDERS_UP = 6;

QString attribute(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QString::fromUtf8(file.read(MOST_ATTRIBUTE_BYTES)).simplified();
}

// Maker and product of the USB device that the folder belongs to.
QString usbName(const QString& folder) {
    QDir place(folder);
    for (int i = 0; i < MOST_FOLDERS_UP && !place.isRoot(); ++i) {
        const QString product = attribute(place.filePath(QStringLiteral("product")));
        if (!product.isEmpty()) {
            return (attribute(place.filePath(QStringLiteral("manufacturer"))) + QLatin1Char(' ') + product)
                .trimmed();
        }
        if (!place.cdUp()) {
            break;
        }
    }
    return {};
}

QString linkTarget(const QString& path) {
    return QFileInfo(path).canonicalFilePath();
}

// The kernel's driver of the hardware. Between it and a port of the board newer kernels have folders of a bus
// of their own, whose drivers say nothing.
QString kernelDriver(const QString& device) {
    QDir place(device);
    QString name;
    for (int i = 0; i < MOST_FOLDERS_UP && !place.isRoot(); ++i) {
        const QString bus = QFileInfo(linkTarget(place.filePath(QStringLiteral("subsystem")))).fileName();
        name = QFileInfo(linkTarget(place.filePath(QStringLiteral("driver")))).fileName();
        if (bus != QLatin1String("serial-base") || !place.cdUp()) {
            break;
        }
    }
    return name;
}

QString adapterName(const QString& device) {
    const QString usb = usbName(device);
    return usb.isEmpty() ? kernelDriver(device) : usb;
}

QString byIdName(const QString& path, const PortPlaces& places) {
    const QDir names(places.devices + QStringLiteral("/serial/by-id"));
    for (const QFileInfo& name : names.entryInfoList(QDir::Files | QDir::System | QDir::NoDotAndDotDot)) {
        if (name.canonicalFilePath() == path) {
            return name.filePath();
        }
    }
    return {};
}

std::optional<int> latencyOf(const QString& device) {
    const std::optional<qint64> ms = plainNumber(attribute(device + QStringLiteral("/latency_timer")));
    return ms ? std::optional<int>(static_cast<int>(*ms)) : std::nullopt;
}

// Whether the terminal has hardware. The kernel makes ports of the board in advance, and gives type 0 to
// those that the board does not have.
bool isPort(const QString& terminal) {
    const QString type = attribute(terminal + QStringLiteral("/type"));
    return QFileInfo::exists(terminal + QStringLiteral("/device")) && type != QLatin1String("0");
}

// A name without the number at its end, and that number.
std::pair<QString, qint64> partedName(const QString& name) {
    int digits = 0;
    while (digits < name.size() && name.at(name.size() - 1 - digits).isDigit()) {
        ++digits;
    }
    return {name.left(name.size() - digits), plainNumber(name.right(digits)).value_or(-1)};
}

// ttyUSB2 before ttyUSB10.
bool beforeByNumber(const QString& a, const QString& b) {
    return partedName(a) < partedName(b);
}

}  // namespace

QVector<PortInfo> serialPorts(const PortPlaces& places) {
    QStringList names = QDir(places.terminals).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    std::sort(names.begin(), names.end(), beforeByNumber);
    QVector<PortInfo> ports;
    for (const QString& name : names) {
        const QString terminal = places.terminals + QLatin1Char('/') + name;
        const QString path = places.devices + QLatin1Char('/') + name;
        if (!isPort(terminal) || !QFileInfo::exists(path)) {
            continue;
        }
        const QString device = linkTarget(terminal + QStringLiteral("/device"));
        PortInfo port;
        port.path = path;
        port.adapter = adapterName(device);
        port.byId = byIdName(path, places);
        port.latencyMs = latencyOf(device);
        port.access = accessOf(path);
        port.holders = holdersOf(path, places.processes);
        ports += port;
    }
    return ports;
}

}  // namespace dx7

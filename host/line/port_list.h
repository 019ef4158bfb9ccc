/// \file
/// The serial ports of this computer, as the system's own files tell of them.
#ifndef DX7_HOST_PORT_LIST_H
#define DX7_HOST_PORT_LIST_H

#include <QString>
#include <QVector>
#include <optional>

#include "host/line/port_access.h"

namespace dx7 {

struct PortInfo {
    /// In /dev.
    QString path;
    /// Maker and product of a USB adapter, else the kernel's driver; empty where nothing tells.
    QString adapter;
    /// The name under /dev/serial/by-id, which stays when adapters are plugged in otherwise; empty without
    /// one.
    QString byId;
    /// How long the adapter collects bytes before it hands them on, in ms; empty where it does not say.
    std::optional<int> latencyMs;
    PortAccess access;
    QVector<PortHolder> holders;
};

/// Where the system tells of its ports.
struct PortPlaces {
    QString devices = QStringLiteral("/dev");
    QString terminals = QStringLiteral("/sys/class/tty");
    QString processes = QStringLiteral("/proc");
};

/// In the order of their names, numbers by their size. Not listed: terminals without hardware, and ports of
/// the board that the kernel found nothing behind. Any thread; nothing fails: what cannot be read is empty.
QVector<PortInfo> serialPorts(const PortPlaces& places = {});

}  // namespace dx7

#endif
